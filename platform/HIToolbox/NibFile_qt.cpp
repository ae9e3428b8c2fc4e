// SPDX-License-Identifier: MIT
// NibFile_qt.cpp - reads an interface file.
#include "HIToolbox/NibFile_qt.h"

#include "support/Bridges_qt.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtCore/QStringDecoder>
#include <QtCore/QXmlStreamReader>
#include <QtCore/QtEndian>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace {

// Real files hold some hundred objects, nested about ten deep, with two attributes a tag.
constexpr qint64 kMaxBytes = 4 << 20;
constexpr int kMaxElements = 120'000;
constexpr int kMaxDepth = 200;
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

// True if no tag has more than 16 attributes: the XML reader compares each with all others.
bool HasPlainTags(const QString& text)
{
    static const auto* tooMany = new QRegularExpression( // never freed: Qt may be gone by then
        QStringLiteral(R"(<(?:[^<>"'=]*+=\s*+(?:"[^"]*+"|'[^']*+')){17})"));
    return !tooMany->match(text).hasMatch();
}

// Reads the element that begins here. `count` is of those read so far.
NibElement ReadElement(QXmlStreamReader& xml, int depth, int& count)
{
    const auto attribute = [attributes = xml.attributes()](const char* name) {
        return attributes.value(QLatin1String(name)).toString();
    };
    NibElement element;
    element.kind = xml.name().toString();
    element.name = attribute("name");
    element.className = attribute("class");
    const bool isReference = element.kind == u"reference";
    element.id = std::max(0, attribute(isReference ? "idRef" : "id").toInt());
    if (depth > kMaxDepth || ++count > kMaxElements)
        xml.raiseError(QStringLiteral("too deep or too large"));
    if (element.kind == u"object" || element.kind == u"array" || element.kind == u"dictionary") {
        while (xml.readNextStartElement())
            element.children.push_back(ReadElement(xml, depth + 1, count));
    } else {
        element.text = xml.readElementText(QXmlStreamReader::SkipChildElements);
    }
    return element;
}

} // namespace

const NibElement* NibElement::Property(const char* property) const
{
    const auto found = std::find_if(children.rbegin(), children.rend(), [=](const auto& child) {
        return child.name == QLatin1String(property);
    });
    return found == children.rend() ? nullptr : &*found;
}

QString NibElement::Text(const char* property) const
{
    const NibElement* found = Property(property);
    return found ? found->text : QString();
}

int NibElement::Number(const char* property, int absent) const
{
    bool ok = false;
    const qint64 number = Text(property).trimmed().toLongLong(&ok); // 32 bits, signed or not
    return ok && number >= INT32_MIN && number <= UINT32_MAX ? static_cast<int>(number) : absent;
}

bool NibElement::IsTrue(const char* property, bool absent) const
{
    return Has(property) ? Text(property) == u"TRUE" : absent;
}

OSType NibElement::Code(const char* property) const
{
    std::array<char, 8> code {};
    const Ref<CFStringRef> string = Bridges_CreateCFString(Text(property));
    const bool ok
        = CFStringGetCString(string.get(), code.data(), code.size(), kCFStringEncodingMacRoman)
        && std::strlen(code.data()) == 4;
    return ok ? qFromBigEndian<OSType>(code.data()) : 0;
}

std::optional<QRect> NibElement::Rectangle(const char* property) const
{
    const QStringList parts = Text(property).simplified().split(u' ');
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
    QXmlStreamReader xml(text);
    xml.setEntityExpansionLimit(kLongestEntity);
    if (!HasPlainTags(text) || !xml.readNextStartElement() || xml.name() != u"object")
        return nullptr;
    auto nib = std::make_unique<NibFile>();
    int count = 0;
    nib->m_root = ReadElement(xml, 0, count);
    if (xml.hasError() || nib->m_root.Text("targetFramework") != u"IBCarbonFramework")
        return nullptr;
    nib->Index(nib->m_root);
    return nib;
}

// Of two objects with one id the first counts.
void NibFile::Index(const NibElement& element)
{
    if (element.id != 0 && element.kind == u"object")
        m_objects.emplace(element.id, &element);
    for (const NibElement& child : element.children)
        Index(child);
}

const NibElement* NibFile::Resolve(const NibElement* element) const
{
    if (!element || element->kind == u"object")
        return element;
    const auto found = m_objects.find(element->kind == u"reference" ? element->id : 0);
    return found == m_objects.end() ? nullptr : found->second;
}

const NibElement* NibFile::FindNamed(const QString& name) const
{
    const NibElement* table = m_root.Property("nameTable");
    for (std::size_t key = 0; table && key + 1 < table->children.size(); key += 2) {
        if (table->children[key].text == name)
            return Resolve(&table->children[key + 1]);
    }
    return nullptr;
}
