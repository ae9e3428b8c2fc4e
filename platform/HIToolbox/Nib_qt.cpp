// SPDX-License-Identifier: MIT
// Nib_qt.cpp - windows from interface files.
// The XML is read into objects with properties first; a window is then built from its object, so
// that a damaged file gives an error and never half a window. What is not known is passed over.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/Windows_qt.h"
#include "QuickDraw/Icons_qt.h"

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QStringDecoder>
#include <QtCore/QXmlStreamReader>
#include <QtCore/QtEndian>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QCheckBox>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLineEdit>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QRadioButton>
#include <QtWidgets/QTabBar>
#include <QtWidgets/QTabWidget>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <optional>
#include <sys/stat.h>
#include <unordered_map>

namespace {

// Real files hold some hundred objects, nested about ten deep.
constexpr qint64 kMostBytes = 4 << 20;
constexpr std::size_t kMostObjects = 20000;
constexpr int kMostDepth = 100;
constexpr int kLongestEntity = 16; // real files declare none
constexpr int kTwoLines = 28; // pixels that an edit text needs to be of several lines

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
        const qint64 number = Text(name).trimmed().toLongLong(&ok); // 32 bits, signed or not
        return ok && number >= INT32_MIN && number <= UINT32_MAX ? static_cast<int>(number)
                                                                 : absent;
    }
    bool IsTrue(const char* name, bool absent = false) const
    {
        return Has(name) ? Text(name) == u"TRUE" : absent;
    }
    OSType Code(const char* name) const // four MacRoman characters; blanks count
    {
        std::array<char, 8> code {};
        const CFStringRef string = CFStringCreateWithCString(
            kCFAllocatorDefault, Text(name).toUtf8().constData(), kCFStringEncodingUTF8);
        const bool ok = string
            && CFStringGetCString(string, code.data(), code.size(), kCFStringEncodingMacRoman)
            && std::strlen(code.data()) == 4;
        if (string) {
            CFRelease(string);
        }
        return ok ? qFromBigEndian<OSType>(code.data()) : 0;
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
            const double value = parts[static_cast<qsizetype>(at)].toDouble(&ok);
            if (!ok || !(std::abs(value) <= INT16_MAX)) {
                return std::nullopt;
            }
            side[at] = qRound(value);
        }
        return QRect(side[1], side[0], side[3] - side[1], side[2] - side[0]);
    }
};

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
        if ((c < u' ' && c != u'\t' && c != u'\n' && c != u'\r') || c >= QChar(0xFFFE)) {
            c = u' ';
        }
    }
    return text;
}

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
        auto nib = std::make_unique<NibFile>();
        QXmlStreamReader xml(
            Decode(file.read(file.size()))); // a larger limit would be allocated whole
        xml.setEntityExpansionLimit(kLongestEntity);
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
        const auto [slot, isFirst] = m_objects.try_emplace(id); // of a duplicate the first counts
        NibObject* const kept = isFirst ? &slot->second : nullptr;
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
        if (kept) {
            *kept = std::move(object);
        }
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

ControlKind KindOf(const NibObject& object, const QRect& bounds)
{
    static const QHash<QString, ControlKind> kinds = {
        { QStringLiteral("IBCarbonPicture"), ControlKind::Image },
        { QStringLiteral("IBCarbonIcon"), ControlKind::Image },
        { QStringLiteral("IBCarbonImageView"), ControlKind::Image },
        { QStringLiteral("IBCarbonButton"), ControlKind::PushButton },
        { QStringLiteral("IBCarbonCheckBox"), ControlKind::CheckBox },
        { QStringLiteral("IBCarbonRadioButton"), ControlKind::RadioButton },
        { QStringLiteral("IBCarbonStaticText"), ControlKind::StaticText },
        { QStringLiteral("IBCarbonEditText"), ControlKind::EditText },
        { QStringLiteral("IBCarbonGroupBox"), ControlKind::GroupBox },
        { QStringLiteral("IBCarbonSeparator"), ControlKind::Separator },
        { QStringLiteral("IBCarbonTab"), ControlKind::Tab },
    };
    const ControlKind kind = kinds.value(object.className, ControlKind::Pane);
    const bool severalLines = kind == ControlKind::EditText && !object.IsTrue("isSingleLine")
        && !object.IsTrue("isPassword") && bounds.height() >= kTwoLines;
    return severalLines ? ControlKind::EditLines : kind;
}

Bindings BindingsOf(const NibObject* layout)
{
    const auto binding = [layout](const char* name) {
        const int kind = layout->Number(name);
        return kind == 1 ? Binding::TopLeft : kind == 2 ? Binding::BottomRight : Binding::None;
    };
    return layout ? Bindings { binding("bindingLeftKind"), binding("bindingTopKind"),
                               binding("bindingRightKind"), binding("bindingBottomKind") }
                  : Bindings();
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

// The path of a resource in the bundle; empty when there is none.
QString FindResource(CFBundleRef bundle, CFStringRef name, CFStringRef type)
{
    const CFURLRef url = CFBundleCopyResourceURL(bundle, name, type, nullptr);
    if (!url) {
        return {};
    }
    std::array<UInt8, 4096> path {};
    const bool ok = CFURLGetFileSystemRepresentation(url, true, path.data(), path.size());
    CFRelease(url);
    return ok ? QString::fromUtf8(reinterpret_cast<const char*>(path.data())) : QString();
}

QString FindFile(CFBundleRef bundle, const QString& name)
{
    const CFStringRef string = CFStringCreateWithCString(
        kCFAllocatorDefault, name.toUtf8().constData(), kCFStringEncodingUTF8);
    const QString path = string ? FindResource(bundle, string, nullptr) : QString();
    if (string) {
        CFRelease(string);
    }
    return path;
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
            = Controls_Create(m_window, container, KindOf(object, bounds), bounds);
        if (!object.IsTrue("layoutSuspended")) {
            control.bindings
                = BindingsOf(m_nib.Find(object.objects.value(QStringLiteral("layoutInfo"))));
        }
        control.id = { object.Code("controlSignature"), object.Number("controlID") };
        control.command = object.Code("command");
        control.SetFontStyle(FontStyle(object));
        control.SetText(object.Text("title").toStdString());
        control.widget->setEnabled(object.IsTrue("enabled", true));
        control.SetHidden(object.IsTrue("hidden"));
        const QString help
            = object.Text(object.Has("helpTagText") ? "helpTagText" : "helpTagExtendedText");
        if (!help.isEmpty()) { // literal, though Qt would take markup
            control.widget->setToolTip(Qt::convertFromPlainText(help));
        }
        const int state = object.Number("initialState");
        switch (control.kind) {
        case ControlKind::Image:
            control.widget->setAccessibleName(m_window.Title());
            SetImage(control, object);
            break;
        case ControlKind::PushButton: {
            control.SetDefault(object.Number("buttonType") == 1);
            control.SetCancel(object.Number("buttonType") == 2);
            const QImage icon = FindIcon(object);
            if (!icon.isNull()) {
                static_cast<QPushButton*>(control.widget)->setIcon(QPixmap::fromImage(icon));
            }
            break;
        }
        case ControlKind::CheckBox: {
            auto* box = static_cast<Toggle<QCheckBox>*>(control.widget);
            box->automatic = object.IsTrue("autoToggle", true);
            box->setCheckState(state == 0       ? Qt::Unchecked
                                   : state == 2 ? Qt::PartiallyChecked
                                                : Qt::Checked);
            break;
        }
        case ControlKind::RadioButton: {
            auto* button = static_cast<Toggle<QRadioButton>*>(control.widget);
            button->automatic = object.IsTrue("autoToggle", true);
            button->setChecked(state == 1);
            break;
        }
        case ControlKind::GroupBox:
            if (object.Number("titleType") == 1) {
                auto* box = static_cast<QGroupBox*>(control.widget);
                box->setCheckable(true);
                box->setChecked(state != 0);
            }
            break;
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

    // Looks into the current resource files first, then into the one that came with the nib.
    template <typename Find> void SearchResources(Find find)
    {
        if (find()) {
            return;
        }
        const SInt16 saved = CurResFile();
        const CFBundleRefNum map = CFBundleOpenBundleResourceMap(m_bundle);
        if (map != kResFileNotOpened) {
            find();
            CFBundleCloseBundleResourceMap(m_bundle, map);
            UseResFile(saved);
        }
    }

    void SetImage(OpaqueControlRef& control, const NibObject& object)
    {
        auto* view = static_cast<PictureView*>(control.widget);
        if (object.className == u"IBCarbonPicture") {
            SetPicture(control, object);
        } else if (object.className == u"IBCarbonIcon") {
            view->SetPicture(DecodedPicture::OfImage(FindIcon(object)));
        } else {
            bool ok = false;
            const double alpha = object.Text("alpha").toDouble(&ok);
            view->SetPicture(DecodedPicture::OfImage(FindImage(object)),
                             object.IsTrue("scaleToFit"), ok ? std::clamp(alpha, 0.0, 1.0) : 1);
        }
    }

    void SetPicture(OpaqueControlRef& control, const NibObject& object)
    {
        if (object.Has("contentResID")) {
            SearchResources([&] {
                PicHandle picture = GetPicture(static_cast<SInt16>(object.Number("contentResID")));
                return picture
                    && SetControlData(&control, kControlPicturePart, kControlPictureHandleTag,
                                      sizeof picture, &picture)
                    == noErr;
            });
        }
    }

    QImage FindIcon(const NibObject& object)
    {
        QImage icon;
        if (object.Has("contentResID")) {
            SearchResources([&] {
                icon = Icons_Load(object.Number("contentType"),
                                  static_cast<SInt16>(object.Number("contentResID")));
                return !icon.isNull();
            });
        }
        return icon;
    }

    // An image view names a file of the bundle, by one property or another.
    QImage FindImage(const NibObject& object)
    {
        for (const QString& value : object.values) {
            const QString path = value.contains(u'/') || !value.contains(u'.')
                ? QString()
                : FindFile(m_bundle, value);
            QImage image = path.isEmpty() ? QImage() : Icons_Read(path);
            if (!image.isNull()) {
                return image;
            }
        }
        return {};
    }

    // The panes of a tab control lie on top of each other; its bar shows one of them.
    void FillTab(OpaqueControlRef& tab, const NibObject& object, std::size_t first)
    {
        auto* tabs = static_cast<QTabWidget*>(tab.widget);
        static constexpr QTabWidget::TabPosition kSides[]
            = { QTabWidget::North, QTabWidget::South, QTabWidget::East, QTabWidget::West };
        tabs->setTabPosition(kSides[object.Number("direction") & 3]);
        for (const int id : object.arrays.value(QStringLiteral("tabItems"))) {
            if (const NibObject* item = m_nib.Find(id)) {
                tabs->addTab(new QWidget, item->Text("title").replace(u'&', QStringLiteral("&&")));
            }
        }
        tabs->tabBar()->raise();
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
        if (tabs->count() != 0) {
            show(0);
            QObject::connect(tabs, &QTabWidget::currentChanged, show);
        }
    }

    const NibFile& m_nib;
    CFBundleRef m_bundle;
    OwnWindow& m_window;
    QSet<int> m_built;
};

// Where a window asks to stand: at its own rectangle (0), or in the middle (1 to 3), cascaded (4 to
// 6) or as an alert (7 to 9) on the main screen, the parent window or the parent's screen.
QRect Place(QRect content, int position, bool constrained)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen) {
        return content;
    }
    QRect room = screen->availableGeometry();
    QRect over = room;
    const auto& windows = Windows_All();
    const auto parent = std::find_if(windows.rbegin(), windows.rend(),
                                     [](const WindowPtr& window) { return window->IsVisible(); });
    const int place = position >= 1 && position <= 9 ? (position - 1) / 3 : -1;
    if (place >= 0 && position % 3 != 1 && parent != windows.rend()) {
        const QRect frame = (*parent)->Structure();
        if (const QScreen* its = QGuiApplication::screenAt(frame.center())) {
            room = its->availableGeometry();
        }
        over = position % 3 == 2 ? frame : room;
    }
    constexpr QPoint kStep(20, 22);
    if (place == 1) {
        content.moveTo(over.topLeft() + kStep);
        const auto isTaken = [&content](const WindowPtr& window) {
            return window->Content().topLeft() == content.topLeft();
        };
        while (room.contains(content) && std::any_of(windows.begin(), windows.end(), isTaken)) {
            content.translate(kStep);
        }
    } else if (place >= 0) { // an alert: a third of the spare room above instead of half
        content.moveTo(over.left() + (over.width() - content.width()) / 2,
                       over.top() + (over.height() - content.height()) / (place == 2 ? 3 : 2));
    }
    if (const QScreen* its = QGuiApplication::screenAt(content.center())) {
        room = its->availableGeometry();
    }
    if (constrained) {
        content.moveLeft(
            std::max(room.left(), std::min(content.left(), room.right() + 1 - content.width())));
        content.moveTop(
            std::max(room.top(), std::min(content.top(), room.bottom() + 1 - content.height())));
    }
    return content;
}

// Not every class of window has what a file may ask of it.
WindowFrame FrameOf(const NibObject& window, WindowClass windowClass)
{
    const bool plain = windowClass == kHelpWindowClass || windowClass == kPlainWindowClass
        || windowClass == kOverlayWindowClass || windowClass == kAltPlainWindowClass
        || windowClass == kSimpleWindowClass;
    const bool document = windowClass == kDocumentWindowClass;
    const bool fixed = windowClass == kAlertWindowClass || windowClass == kMovableAlertWindowClass
        || windowClass == kModalWindowClass || windowClass == kSheetAlertWindowClass;
    const auto has = [&window](const char* name) { return window.IsTrue(name, true); };
    return { !plain, !fixed && !plain && has("isResizable"), document && has("hasCollapseBox"),
             document && (has("hasHorizontalZoom") || has("hasVerticalZoom")) };
}

QString ToQString(CFStringRef string)
{
    const CFIndex most = CFStringGetLength(string) * 3 + 1;
    QByteArray bytes(most, '\0');
    return CFStringGetCString(string, bytes.data(), most, kCFStringEncodingUTF8)
        ? QString::fromUtf8(bytes.constData())
        : QString();
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
    if (stat(QFile::encodeName(path).constData(), &version) != 0 || !S_ISREG(version.st_mode)) {
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
    const QString path = FindResource(bundle, name, CFSTR("nib"));
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
    const auto windowClass
        = static_cast<WindowClass>(object->Number("carbonWindowClass", kDocumentWindowClass));
    const QRect place
        = Place(*content, object->Number("windowPosition"), object->IsTrue("isConstrained", true));
    const auto made = Windows_Create(object->Text("title"), place, FrameOf(*object, windowClass));
    made->windowClass = windowClass;
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
