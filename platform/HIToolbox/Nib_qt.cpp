// SPDX-License-Identifier: MIT
// Nib_qt.cpp - windows from interface files.
// The XML is read into objects with properties first; a window is then built from its object, so
// that a damaged file gives an error and never half a window. What is not known is passed over.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/Windows_qt.h"

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QXmlStreamReader>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabBar>

#include <algorithm>
#include <array>
#include <optional>
#include <sys/stat.h>
#include <unordered_map>

namespace {

// Real files hold some hundred objects, nested about ten deep.
constexpr qint64 kMostBytes = 4 << 20;
constexpr std::size_t kMostObjects = 20000;
constexpr int kMostDepth = 100;

struct NibObject
{
    QString className;
    QHash<QString, QString> values; // texts, numbers and truth values as written
    QHash<QString, int> objects; // ids
    QHash<QString, QList<int>> arrays; // ids
    QHash<QString, QHash<QString, int>> tables; // names to ids

    QString Text(const char* name) const { return values.value(QString::fromLatin1(name)); }
    bool Has(const char* name) const { return values.contains(QString::fromLatin1(name)); }
    int Number(const char* name, int absent = 0) const
    {
        bool ok = false;
        const int number = Text(name).trimmed().toInt(&ok);
        return ok ? number : absent;
    }
    bool IsTrue(const char* name, bool absent = false) const
    {
        return Has(name) ? Text(name) == u"TRUE" : absent;
    }
    OSType Code(const char* name) const // four characters; blanks count
    {
        const QByteArray code = Text(name).toLatin1();
        OSType value = 0;
        for (const char c : code.size() == 4 ? code : QByteArray()) {
            value = value << 8 | static_cast<UInt8>(c);
        }
        return value;
    }
    // "top left bottom right", in the range of the API's coordinates.
    std::optional<QRect> Rectangle(const char* name) const
    {
        const QStringList parts = Text(name).simplified().split(u' ');
        std::array<int, 4> side {};
        if (parts.size() != 4) {
            return std::nullopt;
        }
        for (std::size_t at = 0; at < side.size(); ++at) {
            bool ok = false;
            side[at] = parts[static_cast<qsizetype>(at)].toShort(&ok);
            if (!ok) {
                return std::nullopt;
            }
        }
        return QRect(side[1], side[0], side[3] - side[1], side[2] - side[0]);
    }
};

/// The objects of one file. References stand by id and are followed only when they are used.
class NibFile
{
public:
    static std::unique_ptr<NibFile> Read(const QString& path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly) || file.size() > kMostBytes) {
            return nullptr;
        }
        QByteArray bytes = file.read(file.size()); // a larger limit would be allocated whole
        for (char& c : bytes) { // titles hold raw control bytes now and then, which XML forbids
            if (static_cast<UInt8>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') {
                c = ' ';
            }
        }
        auto nib = std::make_unique<NibFile>();
        QXmlStreamReader xml(QString::fromUtf8(bytes));
        if (!xml.readNextStartElement() || xml.name() != u"object") {
            return nullptr;
        }
        nib->m_root = nib->ReadObject(xml, 0);
        const NibObject* root = nib->Find(nib->m_root);
        return !xml.hasError() && root && root->Text("targetFramework") == u"IBCarbonFramework"
            ? std::move(nib)
            : nullptr;
    }

    const NibObject* Find(int id) const
    {
        const auto found = m_objects.find(id);
        return found == m_objects.end() ? nullptr : &found->second;
    }
    const NibObject* FindNamed(const QString& name) const
    {
        const auto table = Find(m_root)->tables.value(QStringLiteral("nameTable"));
        return table.contains(name) ? Find(table.value(name)) : nullptr;
    }

private:
    // Reads the object that begins here; returns its id, or one of our own where it has none.
    int ReadObject(QXmlStreamReader& xml, int depth)
    {
        bool ok = false;
        int id = xml.attributes().value(QLatin1String("id")).toInt(&ok);
        if (!ok || id <= 0) {
            id = m_nextOwnId--;
        }
        if (depth > kMostDepth || m_objects.size() >= kMostObjects) {
            xml.raiseError(QStringLiteral("too deep or too large"));
            return id;
        }
        NibObject object;
        object.className = xml.attributes().value(QLatin1String("class")).toString();
        while (xml.readNextStartElement()) {
            const QString name = xml.attributes().value(QLatin1String("name")).toString();
            if (xml.name() == u"object" || xml.name() == u"reference") {
                object.objects.insert(name, ReadLink(xml, depth));
            } else if (xml.name() == u"array") {
                QList<int> links;
                while (xml.readNextStartElement()) {
                    links.append(ReadLink(xml, depth));
                }
                object.arrays.insert(name, links);
            } else if (xml.name() == u"dictionary") {
                object.tables.insert(name, ReadTable(xml, depth));
            } else {
                object.values.insert(name,
                                     xml.readElementText(QXmlStreamReader::SkipChildElements));
            }
        }
        m_objects.try_emplace(id, std::move(object)); // of a duplicate the first counts
        return id;
    }

    int ReadLink(QXmlStreamReader& xml, int depth)
    {
        if (xml.name() == u"object") {
            return ReadObject(xml, depth + 1);
        }
        const int id = xml.attributes().value(QLatin1String("idRef")).toInt();
        xml.skipCurrentElement();
        return id; // 0, for what is no reference either, is nobody's id
    }

    QHash<QString, int> ReadTable(QXmlStreamReader& xml, int depth)
    {
        QHash<QString, int> table;
        QString key;
        bool isKey = true;
        while (xml.readNextStartElement()) {
            if (isKey) {
                key = xml.readElementText(QXmlStreamReader::SkipChildElements);
            } else {
                table.insert(key, ReadLink(xml, depth));
            }
            isKey = !isKey;
        }
        return table;
    }

    std::unordered_map<int, NibObject> m_objects;
    int m_root = 0;
    int m_nextOwnId = -1;
};

ControlKind KindOf(const QString& className)
{
    static const QHash<QString, ControlKind> kinds = {
        { QStringLiteral("IBCarbonPicture"), ControlKind::Image },
        { QStringLiteral("IBCarbonButton"), ControlKind::PushButton },
        { QStringLiteral("IBCarbonCheckBox"), ControlKind::CheckBox },
        { QStringLiteral("IBCarbonRadioButton"), ControlKind::RadioButton },
        { QStringLiteral("IBCarbonStaticText"), ControlKind::StaticText },
        { QStringLiteral("IBCarbonEditText"), ControlKind::EditText },
        { QStringLiteral("IBCarbonGroupBox"), ControlKind::GroupBox },
        { QStringLiteral("IBCarbonSeparator"), ControlKind::Separator },
        { QStringLiteral("IBCarbonTab"), ControlKind::Tab },
    };
    return kinds.value(className, ControlKind::Pane);
}

// The record that the file's separate properties stand for.
ControlFontStyleRec FontStyle(const NibObject& object)
{
    ControlFontStyleRec style {};
    const auto use = [&style](int mask) { style.flags = static_cast<SInt16>(style.flags | mask); };
    if (object.Has("justification")) {
        style.just = static_cast<SInt16>(object.Number("justification"));
        use(kControlUseJustMask);
    }
    const int size = object.Number("controlSize", object.IsTrue("small") ? 1 : 0);
    if (object.Has("fontStyle")) {
        style.font = static_cast<SInt16>(object.Number("fontStyle"));
        use(style.font < 0 ? kControlUseFontMask : kControlUseThemeFontIDMask);
    } else if (size == 1 || size == 3) { // small, mini
        style.font = size == 1 ? kControlFontSmallSystemFont : kControlFontMiniSystemFont;
        use(kControlUseFontMask);
    }
    const QStringList rgb = object.Text("foreColor").simplified().split(u' ');
    if (rgb.size() == 3) {
        style.foreColor = { rgb[0].toUShort(), rgb[1].toUShort(), rgb[2].toUShort() };
        use(kControlUseForeColorMask);
    }
    return style;
}

/// Builds one window.
class Builder
{
public:
    Builder(const NibFile& nib, CFBundleRef bundle, OwnWindow& window)
        : m_nib(nib)
        , m_bundle(bundle)
        , m_window(window)
    {
    }

    void AddControls(const NibObject& parent, OpaqueControlRef* container, int depth = 0)
    {
        for (const int id : parent.arrays.value(QStringLiteral("subviews"))) {
            const NibObject* object = m_nib.Find(id);
            if (object && depth < kMostDepth
                && !m_built.contains(id)) { // a damaged file may run in circles
                m_built.insert(id);
                AddControl(*object, container, depth);
            }
        }
    }

private:
    void AddControl(const NibObject& object, OpaqueControlRef* container, int depth)
    {
        QRect bounds = object.Rectangle("bounds").value_or(QRect());
        bounds.setSize(bounds.size().expandedTo({ 0, 0 }));
        OpaqueControlRef& control
            = Controls_Create(m_window, container, KindOf(object.className), bounds);
        control.id = { object.Code("controlSignature"), object.Number("controlID") };
        control.command = object.Code("command");
        control.SetFontStyle(FontStyle(object));
        control.SetText(object.Text("title").toStdString());
        control.widget->setEnabled(object.IsTrue("enabled", true));
        control.SetHidden(object.IsTrue("hidden"));
        if (object.Has("helpTagText")) { // literal, though Qt would take markup
            control.widget->setToolTip(Qt::convertFromPlainText(object.Text("helpTagText")));
        }
        switch (control.kind) {
        case ControlKind::Image:
            control.widget->setAccessibleName(m_window.Title());
            SetPicture(control, object);
            break;
        case ControlKind::PushButton:
            control.SetDefault(object.Number("buttonType") == 1);
            control.SetCancel(object.Number("buttonType") == 2);
            break;
        case ControlKind::CheckBox:
        case ControlKind::RadioButton: {
            auto* button = static_cast<QAbstractButton*>(control.widget);
            button->setCheckable(true);
            button->setChecked(object.Number("initialState") != 0);
            break;
        }
        case ControlKind::EditText:
            static_cast<QLineEdit*>(control.widget)
                ->setEchoMode(object.IsTrue("isPassword") ? QLineEdit::Password
                                                          : QLineEdit::Normal);
            break;
        default:
            break;
        }
        const std::size_t first = m_window.controls.size();
        AddControls(object, &control, depth + 1);
        if (control.kind == ControlKind::Tab) {
            FillTab(control, object, first);
        }
    }

    // The current resource files come first, then the file that came with the nib.
    void SetPicture(OpaqueControlRef& control, const NibObject& object)
    {
        if (!object.Has("contentResID")) {
            return;
        }
        const auto id = static_cast<SInt16>(object.Number("contentResID"));
        const auto set = [&] {
            PicHandle picture = GetPicture(id);
            return picture
                && SetControlData(&control, kControlPicturePart, kControlPictureHandleTag,
                                  sizeof picture, &picture)
                == noErr;
        };
        if (set()) {
            return;
        }
        const SInt16 saved = CurResFile();
        const CFBundleRefNum map = CFBundleOpenBundleResourceMap(m_bundle);
        if (map != kResFileNotOpened) {
            set();
            CFBundleCloseBundleResourceMap(m_bundle, map);
            UseResFile(saved);
        }
    }

    // The panes of a tab control lie on top of each other; its bar shows one of them.
    void FillTab(OpaqueControlRef& tab, const NibObject& object, std::size_t first)
    {
        auto* bar = tab.widget->findChild<QTabBar*>(QString(), Qt::FindDirectChildrenOnly);
        for (const int id : object.arrays.value(QStringLiteral("tabItems"))) {
            if (const NibObject* item = m_nib.Find(id)) {
                bar->addTab(item->Text("title"));
            }
        }
        std::vector<std::weak_ptr<OpaqueControlRef>> panes;
        for (std::size_t at = first; at < m_window.controls.size(); ++at) {
            if (m_window.controls[at]->container == &tab) {
                panes.push_back(m_window.controls[at]);
            }
        }
        const auto show = [panes](int index) {
            for (std::size_t at = 0; at < panes.size(); ++at) {
                if (const auto pane = panes[at].lock()) {
                    pane->SetHidden(at != static_cast<std::size_t>(index));
                }
            }
        };
        if (bar->count() != 0) {
            show(0);
            QObject::connect(bar, &QTabBar::currentChanged, show);
        }
    }

    const NibFile& m_nib;
    CFBundleRef m_bundle;
    OwnWindow& m_window;
    QSet<int> m_built;
};

// Where a window asks to stand on the screen; its own rectangle otherwise.
QRect Place(QRect content, int position)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen || position < 1 || (position > 3 && position < 7) || position > 9) {
        return content;
    }
    const QRect room = screen->availableGeometry();
    const bool alert = position >= 7; // a third of the spare room above instead of half
    content.moveTo(room.left() + (room.width() - content.width()) / 2,
                   room.top() + (room.height() - content.height()) / (alert ? 3 : 2));
    return content;
}

QString ToQString(CFStringRef string)
{
    const CFIndex most = CFStringGetLength(string) * 3 + 1;
    QByteArray bytes(most, '\0');
    return CFStringGetCString(string, bytes.data(), most, kCFStringEncodingUTF8)
        ? QString::fromUtf8(bytes.constData())
        : QString();
}

// The path of "name.nib" in the bundle; empty when there is none.
QString FindNib(CFBundleRef bundle, CFStringRef name)
{
    const CFURLRef url = CFBundleCopyResourceURL(bundle, name, CFSTR("nib"), nullptr);
    if (!url) {
        return {};
    }
    std::array<UInt8, 4096> path {};
    const bool ok = CFURLGetFileSystemRepresentation(url, true, path.data(), path.size());
    CFRelease(url);
    return ok ? QString::fromUtf8(reinterpret_cast<const char*>(path.data())) : QString();
}

/// The file read last, kept as long as it stays the same one: a box is mostly opened again.
struct KeptNib
{
    QString path;
    struct stat version = {};
    std::shared_ptr<const NibFile> file;

    bool Is(const QString& wanted, const struct stat& now) const
    {
        return file && path == wanted && version.st_dev == now.st_dev
            && version.st_ino == now.st_ino && version.st_size == now.st_size
            && version.st_mtim.tv_sec == now.st_mtim.tv_sec
            && version.st_mtim.tv_nsec == now.st_mtim.tv_nsec;
    }
};

std::shared_ptr<const NibFile> ReadNib(const QString& path)
{
    static auto* kept = new KeptNib; // never freed: Qt may be gone by then
    struct stat version = {};
    if (stat(QFile::encodeName(path).constData(), &version) != 0) {
        return nullptr;
    }
    if (!kept->Is(path, version)) {
        *kept = { path, version, NibFile::Read(path) };
    }
    return kept->file;
}

} // namespace

struct OpaqueIBNibRef
{
    CFBundleRef bundle; // retained
    std::shared_ptr<const NibFile> file;
};

OSStatus CreateNibReferenceWithCFBundle(CFBundleRef bundle, CFStringRef name, IBNibRef* nib)
{
    if (!bundle || !name || !nib) {
        return paramErr;
    }
    const QString path = FindNib(bundle, name);
    auto file = path.isEmpty() ? nullptr : ReadNib(path + QStringLiteral("/objects.xib"));
    if (!file) {
        return kIBCarbonRuntimeCantFindNibFile;
    }
    CFRetain(bundle);
    *nib = new OpaqueIBNibRef { bundle, std::move(file) };
    return noErr;
}

OSStatus CreateWindowFromNib(IBNibRef nib, CFStringRef name, WindowRef* window)
{
    if (!nib || !name || !window) {
        return paramErr;
    }
    const NibObject* object = nib->file->FindNamed(ToQString(name));
    if (!object) {
        return kIBCarbonRuntimeCantFindObject;
    }
    if (object->className != u"IBCarbonWindow") {
        return kIBCarbonRuntimeObjectNotOfRequestedType;
    }
    const auto content = object->Rectangle("windowRect");
    const NibObject* root = nib->file->Find(object->objects.value(QStringLiteral("rootControl")));
    if (!content || content->isEmpty() || !root) {
        return kIBCarbonRuntimeCantFindObject;
    }
    if (!Application_IsReady()) {
        return windowWrongStateErr;
    }
    const auto made
        = Windows_Create(object->Text("title"), Place(*content, object->Number("windowPosition")),
                         object->IsTrue("isResizable", true));
    made->windowClass
        = static_cast<WindowClass>(object->Number("carbonWindowClass", kDocumentWindowClass));
    const int brush = object->Number("themeBrush");
    if (brush == kThemeBrushWhite || brush == kThemeBrushBlack) {
        made->SetBackground(static_cast<ThemeBrush>(brush));
    }
    Builder(*nib->file, nib->bundle, *made).AddControls(*root, nullptr);
    *window = made.get();
    return noErr;
}

void DisposeNibReference(IBNibRef nib)
{
    if (nib) {
        CFRelease(nib->bundle);
        delete nib;
    }
}
