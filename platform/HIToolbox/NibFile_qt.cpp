// SPDX-License-Identifier: MIT
// NibFile_qt.cpp - reads an interface file.
#include "HIToolbox/NibFile_qt.h"

#include "support/Bridges_qt.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QFile>
#include <QtCore/QStringDecoder>
#include <QtCore/QXmlStreamReader>
#include <QtCore/QtEndian>

#include <array>
#include <cmath>
#include <cstring>

namespace {

// Real files hold some hundred objects, nested about ten deep, with two attributes a tag.
constexpr qint64 kMaxBytes = 4 << 20;
constexpr std::size_t kMaxObjects = 20000;
constexpr int kMaxEntries = 100000; // properties and references of all objects
constexpr int kMaxAttributes = 16; // of a tag: the XML reader compares each with all others
constexpr int kLongestEntity = 16; // real files declare none

// The text of a file: UTF-8 unless a byte-order mark or Latin-1 in its first line says otherwise. Titles
// hold raw control characters now and then, which XML forbids.
QString Decode(const QByteArray& bytes)
{
    const QByteArray line = bytes.left(bytes.indexOf('>'));
    const auto encoding
        = QStringConverter::encodingForData(bytes, u'<')
              .value_or(line.toUpper().contains("ISO-8859-1") ? QStringConverter::Latin1
                                                              : QStringConverter::Utf8);
    QString text = QStringDecoder(encoding)(bytes);
    for (QChar& c : text) {
        if ((c < u' ' && c != u'\t' && c != u'\n' && c != u'\r') || c >= QChar(0xFFFE))
            c = u' ';
    }
    return text;
}

// True if no tag has too many attributes, counted by their "=" outside of quotes.
bool HasPlainTags(const QString& text)
{
    bool inTag = false;
    QChar quote;
    int attributes = 0;
    for (const QChar c : text) {
        if (!inTag) {
            inTag = c == u'<';
            attributes = 0;
        } else if (!quote.isNull()) {
            quote = c == quote ? QChar() : quote;
        } else if (c == u'"' || c == u'\'') {
            quote = c;
        } else if (c == u'=' && ++attributes > kMaxAttributes) {
            return false;
        } else {
            inTag = c != u'>';
        }
    }
    return true;
}

} // namespace

bool NibObject::Has(const char* name) const
{
    return values.contains(QString::fromLatin1(name));
}

QString NibObject::Text(const char* name) const
{
    return values.value(QString::fromLatin1(name));
}

int NibObject::Number(const char* name, int absent) const
{
    bool ok = false;
    const qint64 number = Text(name).trimmed().toLongLong(&ok); // 32 bits, signed or not
    return ok && number >= INT32_MIN && number <= UINT32_MAX ? static_cast<int>(number) : absent;
}

bool NibObject::IsTrue(const char* name, bool absent) const
{
    return Has(name) ? Text(name) == u"TRUE" : absent;
}

OSType NibObject::Code(const char* name) const
{
    std::array<char, 8> code {};
    const Ref<CFStringRef> string = Bridges_CreateCFString(Text(name));
    const bool ok
        = CFStringGetCString(string.get(), code.data(), code.size(), kCFStringEncodingMacRoman)
        && std::strlen(code.data()) == 4;
    return ok ? qFromBigEndian<OSType>(code.data()) : 0;
}

std::optional<QRect> NibObject::Rectangle(const char* name) const
{
    const QStringList parts = Text(name).simplified().split(u' ');
    std::array<int, 4> side {};
    if (parts.size() != 4)
        return std::nullopt;
    for (std::size_t at = 0; at < side.size(); ++at) {
        bool ok = false;
        const double value = parts[static_cast<qsizetype>(at)].toDouble(&ok);
        if (!ok || !(std::abs(value) <= INT16_MAX))
            return std::nullopt;
        side[at] = qRound(value);
    }
    return QRect(side[1], side[0], side[3] - side[1], side[2] - side[0]);
}

std::unique_ptr<NibFile> NibFile::Read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxBytes)
        return nullptr;
    const QString text = Decode(file.read(file.size())); // a larger limit would be allocated whole
    if (!HasPlainTags(text))
        return nullptr;
    auto nib = std::make_unique<NibFile>();
    QXmlStreamReader xml(text);
    xml.setEntityExpansionLimit(kLongestEntity);
    if (!xml.readNextStartElement() || xml.name() != u"object")
        return nullptr;
    nib->m_root = nib->ReadObject(xml, 0);
    const NibObject* root = nib->Find(nib->m_root);
    return !xml.hasError() && root && root->Text("targetFramework") == u"IBCarbonFramework"
        ? std::move(nib)
        : nullptr;
}

const NibObject* NibFile::Find(int id) const
{
    const auto found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

const NibObject* NibFile::FindNamed(const QString& name) const
{
    const auto table = Find(m_root)->tables.value(QStringLiteral("nameTable"));
    return table.contains(name) ? Find(table.value(name)) : nullptr;
}

// Reads the object that begins here; returns its id, or a negative one if it has none.
int NibFile::ReadObject(QXmlStreamReader& xml, int depth)
{
    bool ok = false;
    int id = xml.attributes().value(QLatin1String("id")).toInt(&ok);
    if (!ok || id <= 0)
        id = m_nextOwnId--;
    if (depth > kMaxDepth || m_objects.size() >= kMaxObjects) {
        xml.raiseError(QStringLiteral("too deep or too large"));
        return id;
    }
    const auto [slot, isFirst] = m_objects.try_emplace(id); // of a duplicate the first counts
    NibObject* const kept = isFirst ? &slot->second : nullptr;
    NibObject object;
    object.className = xml.attributes().value(QLatin1String("class")).toString();
    while (xml.readNextStartElement())
        ReadProperty(xml, object, depth);
    if (kept)
        *kept = std::move(object);
    return id;
}

void NibFile::ReadProperty(QXmlStreamReader& xml, NibObject& object, int depth)
{
    CountEntry(xml);
    const QString name = xml.attributes().value(QLatin1String("name")).toString();
    if (xml.name() == u"object" || xml.name() == u"reference") {
        object.objects.insert(name, ReadLink(xml, depth));
    } else if (xml.name() == u"array") {
        QList<int> links;
        while (xml.readNextStartElement())
            links.append(ReadLink(xml, depth));
        object.arrays.insert(name, links);
    } else if (xml.name() == u"dictionary") {
        object.tables.insert(name, ReadTable(xml, depth));
    } else {
        object.values.insert(name, xml.readElementText(QXmlStreamReader::SkipChildElements));
    }
}

int NibFile::ReadLink(QXmlStreamReader& xml, int depth)
{
    CountEntry(xml);
    if (xml.name() == u"object")
        return ReadObject(xml, depth + 1);
    const int id = xml.attributes().value(QLatin1String("idRef")).toInt();
    xml.skipCurrentElement();
    return id; // 0, no object's id, for anything but a reference
}

QHash<QString, int> NibFile::ReadTable(QXmlStreamReader& xml, int depth)
{
    QHash<QString, int> table;
    QString key;
    bool isKey = true;
    while (xml.readNextStartElement()) {
        if (isKey)
            key = xml.readElementText(QXmlStreamReader::SkipChildElements);
        else
            table.insert(key, ReadLink(xml, depth));
        isKey = !isKey;
    }
    return table;
}

void NibFile::CountEntry(QXmlStreamReader& xml)
{
    if (++m_entries > kMaxEntries)
        xml.raiseError(QStringLiteral("too large"));
}
