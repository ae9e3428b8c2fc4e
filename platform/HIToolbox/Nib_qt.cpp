// SPDX-License-Identifier: MIT
// Nib_qt.cpp - windows from interface files. A window is built from objects that have been read whole, so that a
// damaged file gives an error and never half a window. Unknown properties are passed over.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/NibFile_qt.h"
#include "QuickDraw/Icons_qt.h"
#include "support/Bridges_qt.h"
#include "support/Ref.h"

#include <Carbon/Carbon.h>
#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QFile>
#include <QtCore/QScopeGuard>
#include <QtGui/QGuiApplication>
#include <QtGui/QScreen>
#include <QtGui/QTextDocument>

#include <algorithm>
#include <array>
#include <sys/stat.h>
#include <tuple>
#include <unordered_set>

namespace {

constexpr int kMaxWindowSide = 4096; // pixels; real windows fit on a screen
constexpr int kMaxNesting = 100; // of controls

// The record that the file's separate properties stand for.
ControlFontStyleRec FontStyle(const NibElement& object)
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

// The path of a resource in the bundle; empty if absent.
QString FindResource(CFBundleRef bundle, CFStringRef name, CFStringRef type)
{
    const Ref<CFURLRef> url(CFBundleCopyResourceURL(bundle, name, type, nullptr));
    std::array<UInt8, 4096> path {};
    const bool ok
        = url && CFURLGetFileSystemRepresentation(url.get(), true, path.data(), path.size());
    return ok ? QString::fromUtf8(reinterpret_cast<const char*>(path.data())) : QString();
}

using MakeControl = ControlPtr (*)(OwnWindow&, const QRect&);

template <class Kind> ControlPtr Make(OwnWindow& window, const QRect& bounds)
{
    return Controls_Create<Kind>(window, bounds);
}

// Kinds of control that no About box or alert needs become panes, with what they hold.
MakeControl MakerOf(const QString& className)
{
    static const QHash<QString, MakeControl> makers = {
        { QStringLiteral("IBCarbonPicture"), Make<PictureControl> },
        { QStringLiteral("IBCarbonIcon"), Make<PictureControl> },
        { QStringLiteral("IBCarbonImageView"), Make<PictureControl> },
        { QStringLiteral("IBCarbonButton"), Make<PushButton> },
        { QStringLiteral("IBCarbonStaticText"), Make<StaticText> },
        { QStringLiteral("IBCarbonGroupBox"), Make<GroupBox> },
        { QStringLiteral("IBCarbonSeparator"), Make<Separator> },
    };
    return makers.value(className, Make<Pane>);
}

// Builds one window.
class Builder
{
public:
    Builder(const NibFile& nib, CFBundleRef bundle, OwnWindow& window)
        : m_nib(nib)
        , m_bundle(bundle)
        , m_window(window)
    {
    }

    void AddControls(const NibElement& parent, OpaqueControlRef* container, int depth = 0)
    {
        const NibElement* subviews = parent.Property("subviews");
        if (!subviews || depth > kMaxNesting)
            return;
        for (const NibElement& child : subviews->children) {
            const NibElement* object = m_nib.Resolve(&child);
            if (object && m_built.insert(object).second) // a damaged file may run in circles
                AddControl(*object, container, depth);
        }
    }

private:
    void AddControl(const NibElement& object, OpaqueControlRef* container, int depth)
    {
        QRect bounds = object.Rectangle("bounds").value_or(QRect());
        bounds.setSize(bounds.size().expandedTo({ 0, 0 }));
        const ControlPtr control = MakerOf(object.className)(m_window, bounds);
        if (container)
            control->EmbedIn(*container);
        control->id = { object.Code("controlSignature"), object.Number("controlID") };
        control->command = object.Code("command");
        control->SetFontStyle(FontStyle(object));
        control->SetTitle(object.Text("title").toStdString());
        control->widget->setEnabled(object.IsTrue("enabled", true));
        control->SetHidden(object.IsTrue("hidden"));
        const QString help
            = object.Text(object.Has("helpTagText") ? "helpTagText" : "helpTagExtendedText");
        if (!help.isEmpty()) // literal, though Qt would take markup
            control->widget->setToolTip(Qt::convertFromPlainText(help));
        if (auto* picture = dynamic_cast<PictureControl*>(control.get()))
            SetContent(*picture, object);
        else if (auto* button = dynamic_cast<PushButton*>(control.get()))
            SetUp(*button, object);
        AddControls(object, control.get(), depth + 1);
    }

    void SetUp(PushButton& button, const NibElement& object)
    {
        const int type = object.Number("buttonType");
        button.SetDefault(type == 1);
        if (type == 2)
            m_window.Widget()->cancelButton = button.Button();
        button.Button()->setIcon(QPixmap::fromImage(FindIcon(object)));
    }

    void SetContent(PictureControl& control, const NibElement& object)
    {
        if (object.className == u"IBCarbonPicture") {
            UseResource(object, [&](SInt16 id) { return control.SetPicture(GetPicture(id)); });
        } else if (object.className == u"IBCarbonIcon") {
            control.View()->SetImage(FindIcon(object));
        } else {
            bool ok = false;
            const double alpha = object.Text("alpha").toDouble(&ok);
            control.View()->SetImage(FindImage(object), object.IsTrue("scaleToFit"),
                                     ok ? std::clamp(alpha, 0.0, 1.0) : 1);
        }
    }

    // Calls a function with the id of a control's resource, and again with the nib's resource files if it fails.
    template <class Use> void UseResource(const NibElement& object, Use use)
    {
        const auto id = static_cast<SInt16>(object.Number("contentResID"));
        if (!object.Has("contentResID") || use(id))
            return;
        const SInt16 saved = CurResFile();
        const CFBundleRefNum map = CFBundleOpenBundleResourceMap(m_bundle);
        const auto end = qScopeGuard([&] {
            CFBundleCloseBundleResourceMap(m_bundle, map);
            UseResFile(saved);
        });
        if (map != kResFileNotOpened)
            use(id);
    }

    QImage FindIcon(const NibElement& object)
    {
        QImage icon;
        UseResource(object, [&](SInt16 id) {
            icon = Icons_Load(object.Number("contentType"), id);
            return !icon.isNull();
        });
        return icon;
    }

    // An image view names a file of the bundle, by one property or another.
    QImage FindImage(const NibElement& object)
    {
        for (const NibElement& property : object.children) {
            const QString& name = property.text;
            if (name.contains(u'/') || !name.contains(u'.'))
                continue;
            const QString path
                = FindResource(m_bundle, Bridges_CreateCFString(name).get(), nullptr);
            const QImage image = path.isEmpty() ? QImage() : Icons_Read(path);
            if (!image.isNull())
                return image;
        }
        return {};
    }

    const NibFile& m_nib;
    CFBundleRef m_bundle;
    OwnWindow& m_window;
    std::unordered_set<const NibElement*> m_built;
};

// The place for a window's content, whose rectangle in the file is in screen coordinates.
//   position     0: there; 1 to 3 in the middle, 4 to 6 cascaded, 7 to 9 as an alert: on the main screen, over
//                the parent window or on its screen
//   constrained  moved so that it lies on a screen
QRect PlaceOf(QRect content, int position, bool constrained)
{
    const QScreen* screen = QGuiApplication::primaryScreen();
    if (!screen)
        return content;
    QRect room = screen->availableGeometry();
    QRect over = room;
    const auto& windows = Windows_All();
    const auto parent = std::find_if(windows.rbegin(), windows.rend(),
                                     [](const WindowPtr& window) { return window->IsVisible(); });
    const int place = position >= 1 && position <= 9 ? (position - 1) / 3 : -1;
    if (place >= 0 && position % 3 != 1 && parent != windows.rend()) {
        const QRect frame = (*parent)->Structure();
        if (const QScreen* its = QGuiApplication::screenAt(frame.center()))
            room = its->availableGeometry();
        over = position % 3 == 2 ? frame : room;
    }
    constexpr QPoint kStep(20, 22);
    if (place == 1) {
        content.moveTo(over.topLeft() + kStep);
        const auto isTaken = [&content](const WindowPtr& window) {
            return window->Content().topLeft() == content.topLeft();
        };
        while (room.contains(content) && std::ranges::any_of(windows, isTaken))
            content.translate(kStep);
    } else if (place >= 0) { // an alert: a third of the spare room above instead of half
        content.moveTo(over.left() + (over.width() - content.width()) / 2,
                       over.top() + (over.height() - content.height()) / (place == 2 ? 3 : 2));
    }
    if (const QScreen* its = QGuiApplication::screenAt(content.center()))
        room = its->availableGeometry();
    if (constrained) {
        const QSize spare = room.size() - content.size();
        content.moveTo(std::max(room.left(), std::min(content.left(), room.left() + spare.width())),
                       std::max(room.top(), std::min(content.top(), room.top() + spare.height())));
    }
    return content;
}

// Keeps the file that was read last: the same box is usually reopened.
std::shared_ptr<const NibFile> ReadNib(const QString& path)
{
    using Version = std::tuple<QString, dev_t, ino_t, off_t, time_t, long>;
    static auto& keptVersion = *new Version; // never freed: Qt may be gone by then
    static auto& kept = *new std::shared_ptr<const NibFile>;
    struct stat now = {};
    if (stat(QFile::encodeName(path).constData(), &now) != 0 || !S_ISREG(now.st_mode))
        return nullptr;
    const Version version(path, now.st_dev, now.st_ino, now.st_size, now.st_mtim.tv_sec,
                          now.st_mtim.tv_nsec);
    if (!kept || keptVersion != version) {
        kept = NibFile::Read(path);
        keptVersion = version;
    }
    return kept;
}

} // namespace

struct OpaqueIBNibRef
{
    CFBundleRef bundle; // retained
    std::shared_ptr<const NibFile> file;
};

OSStatus CreateNibReferenceWithCFBundle(CFBundleRef bundle, CFStringRef name, IBNibRef* nib)
try {
    if (!bundle || !name || !nib)
        return paramErr;
    const QString path = FindResource(bundle, name, CFSTR("nib"));
    auto file = path.isEmpty() ? nullptr : ReadNib(path + QStringLiteral("/objects.xib"));
    if (!file)
        return kIBCarbonRuntimeCantFindNibFile;
    *nib = new OpaqueIBNibRef { bundle, std::move(file) };
    CFRetain(bundle);
    return noErr;
} catch (...) {
    return memFullErr;
}

OSStatus CreateWindowFromNib(IBNibRef nib, CFStringRef name, WindowRef* window)
try {
    if (!nib || !name || !window)
        return paramErr;
    const NibElement* object = nib->file->FindNamed(Bridges_FromCFString(name));
    if (!object)
        return kIBCarbonRuntimeCantFindObject;
    if (object->className != u"IBCarbonWindow")
        return kIBCarbonRuntimeObjectNotOfRequestedType;
    const auto content = object->Rectangle("windowRect");
    const NibElement* root = nib->file->Resolve(object->Property("rootControl"));
    if (!content || content->isEmpty() || !root || content->width() > kMaxWindowSide
        || content->height() > kMaxWindowSide)
        return kIBCarbonRuntimeCantFindObject;
    if (!Application_IsReady())
        return windowWrongStateErr;
    const auto windowClass
        = static_cast<WindowClass>(object->Number("carbonWindowClass", kDocumentWindowClass));
    const QRect place = PlaceOf(*content, object->Number("windowPosition"),
                                object->IsTrue("isConstrained", true));
    const bool hasFrame = windowClass != kHelpWindowClass && windowClass != kPlainWindowClass
        && windowClass != kOverlayWindowClass && windowClass != kAltPlainWindowClass
        && windowClass != kSimpleWindowClass;
    const auto made = std::make_shared<OwnWindow>(object->Text("title"), place, hasFrame);
    made->windowClass = windowClass;
    // KEPT: stored brush numbers mean the reverse of the API's constants, in all real files.
    constexpr int kStoredBlack = -1;
    constexpr int kStoredWhite = -2;
    const int brush = object->Number("themeBrush");
    if (brush == kStoredBlack || brush == kStoredWhite)
        made->SetBackground(brush == kStoredBlack ? kThemeBrushBlack : kThemeBrushWhite);
    Builder(*nib->file, nib->bundle, *made).AddControls(*root, nullptr);
    *window = Windows_Add(made);
    return noErr;
} catch (...) {
    return memFullErr;
}

void DisposeNibReference(IBNibRef nib)
{
    if (nib) {
        CFRelease(nib->bundle);
        delete nib;
    }
}
