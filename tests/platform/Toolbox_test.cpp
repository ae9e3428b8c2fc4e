// SPDX-License-Identifier: MIT
// Toolbox_test.cpp - windows, controls, events and alerts by the recorded conversations in toolbox/: without a screen,
// at several scales, and with an X server, a window manager, a pointer and a keyboard.
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"
#include "tools/ResourceWriter.h"

#include <veltrano/Host.h>
#include <veltrano/HostWindow.h>

#include <QtCore/QThread>
#include <QtGui/QAccessible>
#include <QtGui/QClipboard>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QLabel>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QTextEdit>
#include <xcb/xcb.h>

#include <clocale>
#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <memory>

static std::string Shown(const QString& text) { return Shown(text.toStdString()); }

static std::ostream& operator<<(std::ostream& out, const QRect& r)
{
    return out << r.x() << ',' << r.y() << ' ' << r.width() << 'x' << r.height();
}

static std::ostream& operator<<(std::ostream& out, const Rect& r)
{
    return out << QRect(r.left, r.top, r.right - r.left, r.bottom - r.top);
}

namespace {

std::string Code(UInt32 code)
{
    return { char(code >> 24), char(code >> 16), char(code >> 8), char(code) };
}

// Runs a shell command and returns what it printed.
std::string Shell(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    for (int c = 0; (c = fgetc(pipe)) != EOF;)
        output += static_cast<char>(c);
    pclose(pipe);
    return output;
}

// Runs a command while our own events go on.
void During(const std::string& command) { Shell("(" + command + ") >/dev/null 2>&1 &"); }

std::map<std::string, WindowRef> sWindows;
std::map<std::string, QPointer<QWidget>> sWidgets;
char sJunk[64] = {};

} // namespace

template <> WindowRef Argument<WindowRef>::Of(const std::string& word)
{
    return word == "junk" ? reinterpret_cast<WindowRef>(sJunk) : sWindows[word];
}

// WINDOW.NUMBER, also with a signature in front of the number.
template <> ControlRef Argument<ControlRef>::Of(const std::string& word)
{
    const std::string number = word.substr(word.find('.') + 1);
    if (number == "junk")
        return reinterpret_cast<ControlRef>(sJunk);
    const std::size_t digit = std::min(number.find_first_of("0123456789"), number.size());
    const ControlID id { digit == 4 ? Argument<UInt32>::Of(number.substr(0, 4)) : UInt32 { 'test' },
                         std::atoi(number.substr(digit).c_str()) };
    ControlRef control = nullptr;
    GetControlByID(Argument<WindowRef>::Of(word.substr(0, word.find('.'))), &id, &control);
    return control;
}

// Of a window, a host, or the alert or About box on the screen.
template <> QWidget* Argument<QWidget*>::Of(const std::string& word)
{
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (widget->isVisible() && (word == "alert" || word == "box")
            && (word == "alert") == (widget->findChild<QScrollArea*>() != nullptr)
            && widget->findChild<QTextEdit*>())
            return widget;
    EXPECT_TRUE(sWidgets[word]) << word;
    return sWidgets[word];
}
template <> QWindow* Argument<QWindow*>::Of(const std::string& word)
{
    return Argument<QWidget*>::Of(word)->windowHandle();
}

template <> QPoint Argument<QPoint>::Of(const std::string& word)
{
    const QStringList parts = QString::fromStdString(word).split(u',');
    return { parts.value(0).toInt(), parts.value(1).toInt() };
}

namespace {

// A plain window of another X client, as a host that is no Qt program has it.
class PlainHost
{
public:
    PlainHost()
    {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
        const std::uint32_t mask = XCB_EVENT_MASK_BUTTON_PRESS;
        xcb_create_window(m_x, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 400, 300, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK,
                          &mask);
        xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                            8, 5, "Plain");
        xcb_map_window(m_x, window);
        xcb_flush(m_x);
        Shell("timeout 5 sh -c 'until xwininfo -name Plain | grep -q IsViewable; do sleep 0.02; "
              "done' 2>&1; wmctrl -a Plain; xdotool windowmove "
              + std::to_string(window) + " 300 200; sleep 0.2");
        const xcb_gcontext_t context = xcb_generate_id(m_x);
        const std::uint32_t color = 0x336699;
        xcb_create_gc(m_x, context, window, XCB_GC_FOREGROUND, &color);
        const xcb_rectangle_t all { 0, 0, 400, 300 };
        xcb_poly_fill_rectangle(m_x, window, context, 1, &all);
        xcb_flush(m_x);
    }
    ~PlainHost() { xcb_disconnect(m_x); } // and the window is gone
    PlainHost(const PlainHost&) = delete;
    PlainHost& operator=(const PlainHost&) = delete;

    int Clicks()
    {
        int clicks = 0;
        std::free(xcb_get_input_focus_reply(m_x, xcb_get_input_focus(m_x), nullptr)); // all is here
        while (xcb_generic_event_t* event = xcb_poll_for_event(m_x)) {
            clicks += (event->response_type & 0x7F) == XCB_BUTTON_PRESS;
            std::free(event);
        }
        return clicks;
    }

private:
    xcb_connection_t* m_x = xcb_connect(nullptr, nullptr);

public:
    const xcb_window_t window = xcb_generate_id(m_x);
};

class Toolbox : public testing::TestWithParam<const char*>, protected Conversation
{
protected:
    Toolbox()
        : Conversation(GetParam())
    {
        Later(0, [] {}); // starts the toolbox, so that a host's widgets can be made
    }
    ~Toolbox() override
    {
        m_handlers.clear();
        for (const auto& [name, window] : std::exchange(sWindows, {}))
            DisposeWindow(window);
        for (const auto& [name, widget] : std::exchange(sWidgets, {}))
            delete widget;
    }

    void SetPicture(SInt16 id, const char* color)
    {
        m_image = QImage(4, 4, QImage::Format_RGB32);
        m_image.fill(QColor(color));
        const QByteArray data = EncodePicture(m_image, m_image.rect());
        m_resources.Set({ 'PICT', id, 0, {}, { data.begin(), data.end() } });
    }

    OSErr UsePicture(ControlRef control, SInt16 id)
    {
        const CFBundleRefNum map = CFBundleOpenBundleResourceMap(m_bundle->Bundle());
        PicHandle picture = GetPicture(id);
        PicHandle kept = nullptr;
        const OSErr error = SetControlData(control, 5, 'pich', sizeof picture, &picture);
        GetControlData(control, 0, 'pich', sizeof kept, &kept, nullptr);
        EXPECT_TRUE(error != noErr || picture == kept);
        ReleaseResource(reinterpret_cast<Handle>(picture));
        CFBundleCloseBundleResourceMap(m_bundle->Bundle(), map);
        return error;
    }

    /// Text comes out byte for byte as it went in.
    static OSErr SetText(ControlRef control, std::string text)
    {
        const auto size = static_cast<Size>(text.size());
        const OSErr error = SetControlData(control, 0, 'text', size, text.data());
        std::string its(text.size(), '?');
        Size itsSize = -1;
        GetControlData(control, 0, 'text', size, its.data(), &itsSize);
        EXPECT_TRUE(error != noErr || (text == its && size == itsSize));
        its.assign(text.size(), '?'); // and its beginning, where there is no room for more
        GetControlData(control, 0, 'text', size / 2, its.data(), &itsSize);
        text.replace(text.size() / 2, text.npos, text.size() - text.size() / 2, '?');
        EXPECT_TRUE(error != noErr || (text == its && size == itsSize));
        return error;
    }

    void AddHandler(const std::string& name, WindowRef window, OSStatus answer, std::string what)
    {
        m_handlers[name] = std::make_unique<Handler>(
            GetWindowEventTarget(window),
            std::vector<EventTypeSpec> { { kEventClassCommand, kEventCommandProcess } },
            [=, this](EventRef) {
                const OSStatus kept = answer; // it may remove itself
                Say(name, " is called");
                if (!what.empty())
                    Do(std::string(what));
                return kept;
            });
    }

    void Do(const std::string& line) override
    {
        if (line[0] == '+')
            m_nib += '\n' + line;
        else
            Conversation::Do(line);
    }

    static QPushButton* Button(const QWidget* in, const std::string& name)
    {
        for (auto* button : in->findChildren<QPushButton*>())
            if (button->accessibleName().toStdString() == name)
                return button;
        return nullptr;
    }

    void About(WindowRef parent,
               const std::string& bundle,
               SInt32 picture,
               const std::string& text,
               const std::string& version)
    {
        const VeltranoModuleRef module = VeltranoOpenModule(VELTRANO_BUNDLE);
        m_level = QThread::currentThread()->loopLevel();
        Good(VeltranoShowAboutBox(module, parent, bundle == "host" ? HOST_BUNDLE : nullptr, picture,
                                  version.c_str(), text.c_str(), 0));
        m_level = -1;
        VeltranoCloseModule(module);
    }

    /// What is to be read out in a widget, itself first: roles and names.
    void Read(QAccessibleInterface* from)
    {
        const auto role = from->role();
        if (!from->state().invisible && role != QAccessible::Client
            && role != QAccessible::ScrollBar)
            Say(qAccessibleRoleString(role), ' ', Shown(from->text(QAccessible::Name)),
                from->state().readOnly ? ", read only" : "");
        for (int child = 0; child < from->childCount(); ++child)
            Read(from->child(child));
    }

    void SayLayout()
    {
        const QWidget* alert = Argument<QWidget*>::Of("alert");
        const auto gap = [](int points, int standard) {
            return points == standard ? std::to_string(points) : "some";
        };
        std::map<int, const QPushButton*> buttons; // from left to right
        for (const auto* button : alert->findChildren<QPushButton*>())
            buttons[button->x()] = button;
        int last = 0;
        std::string line;
        for (const auto& [x, button] : buttons) {
            line += gap(x - last, x == buttons.rbegin()->first ? 12 : 20) + ' '
                + Shown(button->text().left(5)) + ' ';
            last = button->geometry().right() + 1;
        }
        const auto* scroll = alert->findChild<QScrollArea*>();
        EXPECT_LT(scroll->geometry().bottom(), buttons.begin()->second->y());
        EXPECT_LE(buttons.begin()->second->geometry().bottom(), alert->height());
        EXPECT_TRUE(alert->screen()->availableGeometry().contains(alert->frameGeometry()));
        const QRect sign = alert->findChild<QLabel*>()->geometry();
        Say(line, gap(alert->width() - last, 20), ", sign ", gap(sign.x(), 20), ' ',
            gap(alert->width() - sign.right() - 1, 20),
            scroll->widget()->height() > scroll->height() ? ", scrolls" : "");
    }

    /// Whether a text has more lines than it shows: the rest is read in a tag.
    void SayCut(QTextEdit* view)
    {
        QCoreApplication::sendPostedEvents(view->window(), QEvent::LayoutRequest);
        QImage image(view->size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        view->render(&image, {}, {}, QWidget::DrawChildren);
        for (int x = 0; x < image.width(); ++x)
            EXPECT_LT(qAlpha(image.pixel(x, image.height() - 4)), 40); // no second line's letters
        Say(view->viewport()->toolTip().isEmpty() ? "whole, " : "cut, ", view->font().pixelSize(),
            " pixels, ", Shown(view->accessibleName()));
    }

    static bool IsWhereXSays(WindowRef window, const std::string& title)
    {
        Rect content {};
        Rect structure {};
        GetWindowBounds(window, kWindowContentRgn, &content);
        GetWindowBounds(window, kWindowStructureRgn, &structure);
        EXPECT_LT(structure.top, content.top - 10); // a title bar
        return Shell("xwininfo -name '" + title + "' | awk '/Absolute/ { printf \"%d \", $NF }'")
            == std::to_string(content.left) + ' ' + std::to_string(content.top) + ' ';
    }

    void DoNext()
    {
        // The one before it may look at events itself, and so does a box on its way to the screen.
        if (m_isBusy || QThread::currentThread()->loopLevel() <= m_level)
            return Later(0.01, [this] { DoNext(); });
        const std::string command = m_pending.front();
        m_pending.pop_front();
        Say('(', command, ')');
        m_isBusy = !command.starts_with("run ");
        Do(command);
        m_isBusy = false;
    }

    OSStatus Log(const std::string& window, EventRef event)
    {
        if (GetEventClass(event) == kEventClassWindow) {
            WindowRef direct = nullptr;
            GetEventParameter(event, kEventParamDirectObject, typeWindowRef, nullptr, sizeof direct,
                              nullptr, &direct);
            EXPECT_EQ(sWindows[window], direct);
            Say(window, ": ", m_kinds.at(GetEventKind(event)));
        } else {
            HICommandExtended command {};
            GetEventParameter(event, kEventParamDirectObject, typeHICommand, nullptr,
                              sizeof command, nullptr, &command);
            const bool isControl = command.attributes == kHICommandFromControl;
            Say(window, ": ", Code(command.commandID), " from ",
                isControl ? "a control" : "the window");
        }
        return eventNotHandledErr;
    }

    void Open(const std::string& name, const std::string& object)
    {
        std::string xib = m_nib.empty()
            ? ReadFile(PROJECT_FOLDER "/tests/data/example.nib/objects.xib")
            : NibOf(m_nib);
        for (const auto& edit : std::exchange(m_edits, {})) {
            EXPECT_NE(xib.npos, xib.find(edit[1])) << edit[1];
            xib.replace(xib.find(edit[1]), edit[1].size(), edit[2]);
        }
        m_bundle = std::make_unique<NibBundle>(xib);
        m_bundle->Put(m_resources);
        m_image.save(QString::fromStdString(m_bundle->Resource("image.png")));
        m_handlers.erase(name);
        DisposeWindow(sWindows[name]);
        const QWidgetList before = QApplication::topLevelWidgets();
        WindowRef window = nullptr;
        const SInt16 file = CurResFile();
        if (!Good(m_bundle->Open(object, &window))) {
            EXPECT_FALSE(window);
            return;
        }
        EXPECT_EQ(file, CurResFile());
        for (auto& [gone, its] : sWindows) // whose place this one may have taken
            its = its == window ? nullptr : its;
        sWindows[name] = window;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (!before.contains(widget))
                sWidgets[name] = widget;
        std::vector<EventTypeSpec> types { { kEventClassCommand, kEventCommandProcess } };
        for (const auto& [kind, what] : m_kinds)
            types.push_back({ kEventClassWindow, kind });
        m_handlers[name]
            = std::make_unique<Handler>(GetWindowEventTarget(window), types,
                                        [=, this](EventRef event) { return Log(name, event); });
    }

    /// What a user sees of a widget and of those in it.
    void See(const QWidget* widget, const std::string& indent = {})
    {
        const auto* button = qobject_cast<const QPushButton*>(widget);
        const auto* text = qobject_cast<const QTextEdit*>(widget);
        const auto* box = qobject_cast<const QGroupBox*>(widget);
        const QString title = button ? button->text()
            : text                   ? text->toPlainText()
            : box                    ? box->title()
            : widget->isWindow()     ? widget->windowTitle()
                                     : widget->accessibleName();
        std::ostringstream line;
        line << indent << widget->metaObject()->className() << ' ' << widget->geometry() << ' '
             << Shown(title);
        if (button || text || box)
            line << ' ' << widget->font().pixelSize() << " pixels";
        if (text)
            line << " aligned " << text->document()->defaultTextOption().alignment().toInt() << ", "
                 << widget->palette().color(QPalette::WindowText).name().toStdString();
        const auto flags = widget->windowFlags();
        const std::pair<bool, const char*> marks[]
            = { { widget->font().bold(), "bold" },
                { widget->font().italic(), "italic" },
                { widget->font().underline(), "underlined" },
                { !widget->isEnabled(), "disabled" },
                { widget->isHidden(), "hidden" },
                { button && button->isDefault(), "default" },
                { button && !button->icon().isNull(), "with an icon" },
                { widget->isWindow() && !flags.testFlag(Qt::WindowTitleHint), "frameless" },
                { widget->isWindow() && flags & Qt::WindowMinMaxButtonsHint, "with other buttons" },
                { widget->isWindow() && widget->minimumSize() != widget->maximumSize(),
                  "resizable" } };
        for (const auto& [is, mark] : marks)
            line << (is ? std::string(", ") + mark : "");
        line << (widget->toolTip().isEmpty() ? "" : ", tag ") << widget->toolTip().toStdString();
        Say(line.str());
        if (!qobject_cast<const QAbstractScrollArea*>(widget))
            for (const QWidget* child : widget->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
                See(child, indent + "  ");
    }

    /// The data of a control by each tag, and the sizes that each tag refuses.
    void Data(ControlRef control)
    {
        for (const char* name : { "text", "font", "dflt", "pich", "cncl" }) {
            const ResType tag = Argument<UInt32>::Of(name);
            Size size = -7;
            const OSErr error = GetControlDataSize(control, 0, tag, &size);
            std::string data(size > 0 ? static_cast<std::size_t>(size) : 0, '?');
            EXPECT_EQ(error,
                      GetControlData(control, 6, tag, Size(data.size()), data.data(), &size));
            if (error == errDataNotSupported) {
                EXPECT_EQ(-7, size);
                EXPECT_EQ(error, SetControlData(control, 0, tag, 1, name));
                continue;
            }
            if (!Good(error))
                return;
            EXPECT_TRUE(size == 0 || SetControlData(control, 0, tag, size, nullptr) == paramErr);
            if (tag != 'text') {
                EXPECT_EQ(errDataSizeMismatch,
                          SetControlData(control, 0, tag, size - 1, data.data()));
                EXPECT_EQ(errDataSizeMismatch,
                          SetControlData(control, 0, tag, size + 1, data.data()));
                EXPECT_EQ(errDataSizeMismatch,
                          GetControlData(control, 0, tag, size - 1, data.data(), nullptr));
            }
            ControlFontStyleRec style {};
            std::memcpy(&style, data.data(), std::min(sizeof style, data.size()));
            const auto& [red, green, blue] = style.foreColor;
            if (tag == 'font')
                Say("font ", style.font, std::hex, ", flags ", style.flags, ", colour ", red, ' ',
                    green, ' ', blue, std::dec, ", just ", style.just);
            else
                Say(name, ' ',
                    tag == 'text'       ? Shown(data)
                        : tag == 'dflt' ? std::to_string(data[0])
                                        : "a handle");
        }
        Rect bounds;
        UInt32 command = 0;
        Good(GetControlCommandID(control, &command));
        Say("at ", *GetControlBounds(control, &bounds),
            command ? " sends " + Shown(Code(command)) : "",
            IsControlVisible(control) ? "" : ", not visible");
    }

    void Bounds(WindowRef window, WindowRegionCode code)
    {
        const RgnHandle region = NewRgn();
        const OSStatus error = GetWindowRegion(window, code, region);
        Rect bounds = {};
        EXPECT_EQ(error, GetWindowBounds(window, code, &bounds));
        if (Good(error))
            Say(*GetRegionBounds(region, &bounds));
        DisposeRgn(region);
    }

    /// A window of the host that is all button.
    void MakeHost(const std::string& name, Qt::WindowModality modality)
    {
        auto* host = new QWidget;
        auto* button = new QPushButton(host);
        host->setGeometry(100, 100, 300, 200);
        button->resize(300, 200);
        QObject::connect(button, &QPushButton::clicked, [this, name] { Say(name, " is clicked"); });
        host->setWindowModality(modality);
        host->show();
        sWidgets[name] = host;
        sWindows[name] = CreateWindowRefWithQWidget(button); // its top-level window counts
    }

    static void Drag(std::string name, QPoint from, QPoint to)
    {
        QTest::mousePress(Argument<QWindow*>::Of(name), Qt::LeftButton, {}, from);
        if (from != to)
            QTest::mouseMove(Argument<QWindow*>::Of(name), to);
        if (sWidgets[name]) // still
            QTest::mouseRelease(Argument<QWindow*>::Of(name), Qt::LeftButton, {}, to);
    }

    /// Kind, message, explanation, and what the record holds.
    void Alert()
    {
        std::map<std::string, std::string> values { { "message", Word(2) },
                                                    { "explanation", Word(3) } };
        for (std::size_t at = 4; at < m_words.size(); ++at)
            values[m_words[at].substr(0, m_words[at].find('='))]
                = m_words[at].substr(m_words[at].find('=') + 1);
        std::map<std::string, std::string> pascal;
        const auto text = [&](const char* name) -> ConstStringPtr {
            if (!values.contains(name) || values[name] == "standard")
                return values.contains(name) ? kAlertDefaultOKText : nullptr;
            pascal[name] = char(values[name].size()) + values[name];
            return reinterpret_cast<ConstStringPtr>(pascal[name].data());
        };
        AlertStdAlertParamRec param {};
        param.defaultText = text("ok");
        param.cancelText = text("cancel");
        param.otherText = text("other");
        param.helpButton = !values["help"].empty();
        param.defaultButton = static_cast<SInt16>(std::atoi(values["default"].c_str()));
        param.cancelButton = static_cast<SInt16>(std::atoi(values["escape"].c_str()));
        SInt16 item = 77;
        Good(StandardAlert(Argument<AlertType>::Of(Word(1)), text("message"), text("explanation"),
                           m_words.size() == 4 ? nullptr : &param, &item));
        Say("item ", item);
    }

    // clang-format off
    const Commands m_commands = {
        // An interface file: the lines of NibOf, or the example's; changes to its text; what is beside it
        { "window", [this] { m_nib = m_line; } },
        { "edit", [this] { m_edits.push_back(m_words); } },
        { "picture", Call([this](SInt16 id, std::string color) { SetPicture(id, color.c_str()); }) },
        { "resource", Call([this](ResType type, SInt16 id, std::string hex) { const auto bytes = QByteArray::fromHex(hex.c_str()); m_resources.Set({ type, id, 0, {}, { bytes.begin(), bytes.end() } }); }) },
        { "open", Call([this](std::string name, std::string window) { Open(name, window.empty() ? "Test" : window); }) },
        // Windows
        { "show", Call(ShowWindow) },
        { "hide", Call(HideWindow) },
        { "front", Call(BringToFront) },
        { "move", Call([](WindowRef window, SInt16 h, SInt16 v) { MoveWindow(window, h, v, true); }) },
        { "draw", Call(DrawControls) },
        { "dispose", Call(DisposeWindow) },
        { "run", Call([this](std::string name) { if (Good(RunAppModalLoopForWindow(Argument<WindowRef>::Of(name)))) Say(name, " has run"); }) },
        { "quit", Call(QuitAppModalLoopForWindow) },
        { "modality", Call(SetWindowModality) },
        { "brush", Call([](WindowRef window, ThemeBrush brush) { return SetThemeWindowBackground(window, brush, true); }) },
        { "setclass", Call(SetWindowClass) },
        { "class", Call([this](WindowRef window) { WindowClass its = 77; if (Good(GetWindowClass(window, &its))) Say(its); }) },
        { "content", Call([this](WindowRef window) { Bounds(window, kWindowContentRgn); }) },
        { "structure", Call([this](WindowRef window) { Bounds(window, kWindowStructureRgn); }) },
        { "region", Call([this](WindowRef window, WindowRegionCode code) { Bounds(window, code); }) },
        { "visible", Call(IsWindowVisible) },
        { "title", Call([this](WindowRef window) { CFStringRef title = nullptr; if (Good(CopyWindowTitleAsCFString(window, &title))) Say(Shown(TextOf(Own(title).get()))); }) },
        { "target", Call([](WindowRef window) { return GetWindowEventTarget(window) ? "one" : "none"; }) },
        { "frontmost", Call([](WindowRef window) { return FrontNonFloatingWindow() == window; }) },
        // A handler of commands: name, window, answer, and the command that it does
        { "handler", Call([this](std::string name, WindowRef window, OSStatus answer, std::string what) { AddHandler(name, window, answer, what); }) },
        { "remove", Call([this](std::string name) { m_handlers.erase(name); }) },
        // Controls
        { "data", Call([this](ControlRef control) { Data(control); }) },
        { "text", Call(SetText) },
        { "default", Call([](ControlRef control, std::string byte) { return SetControlData(control, 0, kControlPushButtonDefaultTag, 1, byte.data()); }) },
        { "size", Call([](ControlRef control, Size size) { return SetControlData(control, 0, 'text', size, ""); }) },
        { "style", Call([](ControlRef control, SInt16 flags, SInt16 font, SInt16 size, SInt16 face, SInt16 just) {
            const ControlFontStyleRec style { flags, font, size, face, 0, just, { 0, 0xBFFF, 0 }, { 0xBFFF, 0, 0 } };
            return SetControlData(control, 0, 'font', sizeof style, &style);
        }) },
        { "usepicture", Call([this](ControlRef control, SInt16 id) { return UsePicture(control, id); }) },
        { "embed", Call(EmbedControl) },
        { "hidecontrol", Call(HideControl) },
        { "showcontrol", Call(ShowControl) },
        { "simulate", Call([](ControlRef control) { return HIViewSimulateClick(control, 0, 0, nullptr); }) },
        { "find", Call([this](WindowRef window, SInt32 number) { const ControlID id { 'test', number }; ControlRef found; Good(GetControlByID(window, &id, &found)); Say(found ? "one" : "none"); }) },
        // Hosts
        { "set", Call([](std::string variable, std::string value) { qputenv(variable.c_str(), value.c_str()); }) },
        { "host", Call([this](std::string name, Qt::WindowModality modality) { MakeHost(name, modality); }) },
        { "destroy", Call([](QWidget* widget) { delete widget; }) },
        // The user: of windows, hosts and the alert
        { "key", Call([](QWindow* window, std::string name) { const auto key = QKeySequence(QString::fromStdString(name))[0]; QTest::keyClick(window, key.key(), key.keyboardModifiers()); }) },
        { "click", Call([](std::string name, QPoint at) { Drag(name, at, at); }) },
        { "drag", Call(Drag) },
        { "doubleclick", Call([](QWindow* window, QPoint at) { QTest::mouseDClick(window, Qt::LeftButton, {}, at); }) },
        { "press", Call([](QWidget* in, std::string name) { QTest::mouseClick(Button(in, name), Qt::LeftButton); }) },
        { "tap", Call([](QWidget* widget, QPoint at) { const QPoint pixels = widget->mapToGlobal(at) * widget->devicePixelRatio(); During("xdotool mousemove " + std::to_string(pixels.x()) + ' ' + std::to_string(pixels.y()) + " click 1"); }) },
        // The module's About box: parent, bundle, picture, text, version
        { "about", Call([this](WindowRef parent, std::string bundle, SInt32 picture, std::string text, std::string version) { About(parent, bundle, picture, text, version); }) },
        { "direction", Call([](Qt::LayoutDirection direction) { QGuiApplication::setLayoutDirection(direction); }) },
        { "read", Call([this](QWidget* widget) { auto* read = QAccessible::queryAccessibleInterface(widget); Read(read); Say(Shown(read->text(QAccessible::Description))); }) },
        { "close", Call([](QWindow* window) { window->close(); }) },
        { "activate", Call([](QWidget* widget) { widget->activateWindow(); EXPECT_TRUE(QTest::qWaitForWindowActive(widget)); }) },
        { "active", Call([](QWidget* widget) { EXPECT_TRUE(QTest::qWaitForWindowActive(widget)); }) },
        { "over", Call([](QWindow* window, QWindow* parent) { return window->transientParent() == parent; }) },
        { "see", Call([this](QWidget* widget) { See(widget); }) },
        { "names", Call([this](QWidget* in) { for (auto* widget : in->findChildren<QWidget*>()) if (!widget->accessibleName().isEmpty()) Say(widget->metaObject()->className(), ' ', Shown(widget->accessibleName())); }) },
        { "colour", Call([](QWidget* widget, QPoint at) { return widget->grab().toImage().pixelColor(at).name().toStdString(); }) },
        { "focus", Call([] { return Shown(QApplication::focusWidget()->accessibleName()); }) },
        { "clipboard", Call([] { return Shown(QGuiApplication::clipboard()->text()); }) },
        { "alert", [this] { Alert(); } },
        // A host without Qt, its clicks, and what the X server and the window manager say
        { "plain", Call([this](std::string name) { m_plain[name] = std::make_unique<PlainHost>(); sWindows[name] = CreateWindowRefWithX11Window(m_plain[name]->window); Say(sWindows[name] ? "one" : "none"); }) },
        { "x11", Call([](unsigned long window) { return CreateWindowRefWithX11Window(window) ? "one" : "none"; }) },
        { "clicks", Call([this](std::string name) { return std::to_string(m_plain.at(name)->Clicks()); }) },
        { "drop", Call([this](std::string name) { m_plain.erase(name); }) },
        { "pixel", Call([](QPoint at) { return QGuiApplication::primaryScreen()->grabWindow(0, at.x(), at.y(), 1, 1).toImage().pixelColor(0, 0).name().toStdString(); }) },
        { "onscreen", Call([](WindowRef window, std::string title) { return IsWhereXSays(window, title); }) },
        { "shell", Call([](std::string command) { return Shown(Shell(command)); }) },
        { "during", Call(During) },
        { "wait", Call([](int milliseconds) { QTest::qWait(milliseconds); }) },
        { "locale", Call([] { return std::string(std::setlocale(LC_ALL, nullptr)); }) },
        // Where the buttons of the alert stand, whether its text scrolls; whether a button has looked so before
        { "layout", [this] { SayLayout(); } },
        { "looks", Call([this](std::string name) { const QImage now = Button(Argument<QWidget*>::Of("alert"), name)->grab().toImage(); const auto before = m_looks.indexOf(now); m_looks.append(now); return before < 0 ? "new" : "known"; }) },
        { "cuttext", Call([this](QWidget* window) { SayCut(window->findChild<QTextEdit*>()); }) },
        { "later", [this] { m_pending.push_back(m_line.substr(sizeof "later")); Later(0.01 * double(m_pending.size()), [this] { DoNext(); }); } },
    };
    // clang-format on
    const std::map<UInt32, const char*> m_kinds
        = { { 22, "showing" }, { 23, "hiding" }, { 24, "shown" },     { 25, "hidden" },
            { 72, "close" },   { 73, "closed" }, { 1005, "disposed" } };
    std::string m_nib;
    std::vector<std::vector<std::string>> m_edits;
    ResourceWriter m_resources;
    QImage m_image;
    std::unique_ptr<NibBundle> m_bundle;
    std::map<std::string, std::unique_ptr<Handler>> m_handlers;
    std::deque<std::string> m_pending; // for timers, which may change places
    std::map<std::string, std::unique_ptr<PlainHost>> m_plain;
    QList<QImage> m_looks;
    bool m_isBusy = false;
    int m_level = -1; // of the loop in which a box is shown
};

TEST_P(Toolbox, GoesAsRecorded)
{
    Play(m_commands, PROJECT_FOLDER "/tests/platform/toolbox/" + std::string(GetParam()) + ".txt");
}

INSTANTIATE_TEST_SUITE_P(, Toolbox, testing::Values(CONVERSATIONS), [](const auto& name) {
    return std::string(name.param);
});

} // namespace
