// SPDX-License-Identifier: MIT
// Toolbox_test.cpp - windows, controls, events and alerts without a screen, by recorded conversations: the texts in
// toolbox/ hold commands, most of them a routine of the API, and indented below each what it answered and what
// happened meanwhile.
#include "tests/support/NibBundle.h"
#include "tools/PictureWriter.h"
#include "tools/ResourceWriter.h"

#include <veltrano/HostWindow.h>

#include <QtGui/QClipboard>
#include <QtGui/QWindow>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QTextEdit>

#include <deque>
#include <gtest/gtest.h>
#include <map>
#include <memory>

static std::ostream& operator<<(std::ostream& out, const QString& text)
{
    return out << text.toStdString();
}

static std::ostream& operator<<(std::ostream& out, const QRect& r)
{
    return out << r.x() << ',' << r.y() << ' ' << r.width() << 'x' << r.height();
}

static std::ostream& operator<<(std::ostream& out, const Rect& r)
{
    return out << QRect(r.left, r.top, r.right - r.left, r.bottom - r.top);
}

static std::string Shown(const QString& text)
{
    return Shown(text.toStdString());
}

namespace {

std::string Code(UInt32 code)
{
    return { char(code >> 24), char(code >> 16), char(code >> 8), char(code) };
}

UInt32 CodeOf(const std::string& text)
{
    UInt32 code = 0;
    for (const char c : text)
        code = code << 8 | static_cast<unsigned char>(c);
    return code;
}

class Toolbox : public testing::TestWithParam<const char*>, protected Conversation
{
protected:
    Toolbox()
        : Conversation(GetParam())
    {
        std::ifstream names(TEST_FOLDER "/toolbox/errors.txt");
        for (auto [number, name] = std::pair(0, std::string()); names >> number >> name;)
            m_errors[number] = name;
        Later(0, [] {}); // starts the toolbox, so that a host's widgets can be made
    }
    ~Toolbox() override
    {
        m_handlers.clear();
        for (const auto& [name, window] : m_windows)
            DisposeWindow(window);
        for (const auto& [name, widget] : m_widgets)
            delete widget;
    }

    void Do(const std::string& line) override
    {
        if (line[0] == '+')
            m_nib += '\n' + line;
        else
            Conversation::Do(line);
    }
    /// Silent about success.
    bool Good(OSStatus error)
    {
        if (error != noErr)
            Say(m_errors.contains(error) ? m_errors[error] : std::to_string(error));
        return error == noErr;
    }

    // The arguments of the command
    SInt16 Short(std::size_t at) const { return static_cast<SInt16>(Int(at)); }
    QPoint Point(std::size_t at) const
    {
        const QStringList parts = QString::fromStdString(Word(at)).split(u',');
        return { parts.value(0).toInt(), parts.value(1).toInt() };
    }
    WindowRef Window(std::size_t at)
    {
        return Word(at) == "junk" ? reinterpret_cast<WindowRef>(m_junk) : m_windows[Word(at)];
    }
    /// By its window and number, or "junk", or none.
    ControlRef Control(std::size_t window, std::size_t number)
    {
        if (Word(number) == "junk")
            return reinterpret_cast<ControlRef>(m_junk);
        const ControlID id = m_nib.empty() // the example's: by signature and number
            ? ControlID { CodeOf(Word(number).substr(0, 4)), std::atoi(Word(number).c_str() + 4) }
            : ControlID { 'test', std::atoi(Word(number).c_str()) };
        ControlRef control = nullptr;
        GetControlByID(Window(window), &id, &control);
        return control;
    }
    /// Of a window, a host, or the alert on the screen.
    QWidget* Widget(std::size_t at)
    {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (Word(at) == "alert" && widget->isVisible() && widget->findChild<QScrollArea*>())
                return widget;
        EXPECT_TRUE(m_widgets[Word(at)]) << Word(at);
        return m_widgets[Word(at)];
    }
    QWindow* HandleAt(std::size_t at) { return Widget(at)->windowHandle(); }
    OSStatus Log(const std::string& window, EventRef event)
    {
        if (GetEventClass(event) == kEventClassWindow) {
            WindowRef direct = nullptr;
            GetEventParameter(event, kEventParamDirectObject, typeWindowRef, nullptr, sizeof direct,
                              nullptr, &direct);
            EXPECT_EQ(m_windows[window], direct);
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

    void Open(const std::string& name)
    {
        std::string xib
            = m_nib.empty() ? ReadFile(TEST_DATA "/example.nib/objects.xib") : NibOf(m_nib);
        for (const auto& [from, to] : std::exchange(m_edits, {})) {
            EXPECT_NE(xib.npos, xib.find(from)) << from;
            xib.replace(xib.find(from), from.size(), Expanded(to));
        }
        if (std::exchange(m_isWide, false)) // UTF-16
            for (std::string narrow = std::exchange(xib, "\xFF\xFE"); const char c : narrow)
                xib += { c, '\0' };
        m_bundle = std::make_unique<NibBundle>(xib);
        const auto bytes = m_resources.Serialize().value();
        WriteFile(m_bundle->Resource("Test.rsrc"), { bytes.begin(), bytes.end() });
        m_image.save(QString::fromStdString(m_bundle->Resource("image.png")));
        m_handlers.erase(name);
        DisposeWindow(m_windows[name]);
        const QWidgetList before = QApplication::topLevelWidgets();
        WindowRef window = nullptr;
        const SInt16 file = CurResFile();
        if (!Good(m_bundle->Open(Word(2).empty() ? "Test" : Word(2), &window))) {
            EXPECT_FALSE(window);
            return;
        }
        EXPECT_EQ(file, CurResFile());
        for (auto& [gone, its] : m_windows) // whose place this one may have taken
            its = its == window ? nullptr : its;
        m_windows[name] = window;
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (!before.contains(widget))
                m_widgets[name] = widget;
        std::vector<EventTypeSpec> types { { kEventClassCommand, kEventCommandProcess } };
        for (const auto& [kind, what] : m_kinds)
            types.push_back({ kEventClassWindow, kind });
        m_handlers[name]
            = std::make_unique<Handler>(GetWindowEventTarget(window), types,
                                        [=, this](EventRef event) { return Log(name, event); });
    }

    /// What a user sees of a widget and of those in it.
    void See(const QWidget* widget, const QString& indent = {})
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
                 << widget->palette().color(QPalette::WindowText).name();
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
        line << (widget->toolTip().isEmpty() ? "" : ", tag ") << widget->toolTip();
        Say(line.str());
        if (!qobject_cast<const QAbstractScrollArea*>(widget))
            for (const QWidget* child : widget->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
                See(child, indent + QStringLiteral("  "));
    }

    /// The data of a control by each tag.
    void Data()
    {
        for (const char* name : { "text", "font", "dflt", "pich", "cncl" }) {
            const ControlRef control = Control(1, 2);
            const ResType tag = CodeOf(name);
            Size size = -7;
            const OSErr error = GetControlDataSize(control, 0, tag, &size);
            std::string data(size > 0 ? static_cast<std::size_t>(size) : 0, '?');
            EXPECT_EQ(error,
                      GetControlData(control, 6, tag, static_cast<Size>(data.size()), data.data(),
                                     &size));
            if (error == errDataNotSupported) {
                EXPECT_EQ(-7, size);
                EXPECT_EQ(error, SetControlData(control, 0, tag, 1, name));
                continue;
            }
            if (!Good(error))
                return;
            EXPECT_EQ(paramErr,
                      SetControlData(control, 0, tag, size, nullptr) + (size == 0 ? paramErr : 0));
            for (const Size wrong : { size - 1, size + 1 })
                EXPECT_TRUE(tag == 'text'
                            || SetControlData(control, 0, tag, wrong, data.data())
                                == errDataSizeMismatch);
            EXPECT_TRUE(tag == 'text'
                        || GetControlData(control, 0, tag, size - 1, data.data(), nullptr)
                            == errDataSizeMismatch);
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
        Good(GetControlCommandID(Control(1, 2), &command));
        Say("at ", *GetControlBounds(Control(1, 2), &bounds),
            command ? " sends " + Shown(Code(command)) : "",
            IsControlVisible(Control(1, 2)) ? "" : ", not visible");
    }

    bool Set(ResType tag, const std::string& bytes)
    {
        return Good(
            SetControlData(Control(1, 2), 0, tag, static_cast<Size>(bytes.size()), bytes.data()));
    }

    /// Text comes out byte for byte as it went in.
    void SetText(const std::string& text)
    {
        if (!Set(kControlStaticTextTextTag, text))
            return;
        std::string its(text.size(), '?');
        Size size = 0;
        GetControlData(Control(1, 2), 0, kControlStaticTextTextTag, static_cast<Size>(its.size()),
                       its.data(), &size);
        EXPECT_TRUE(text == its && size == static_cast<Size>(text.size()));
    }

    /// A window of the host that is all button.
    void MakeHost(const std::string& name, bool isDialog = false)
    {
        auto* host = new QWidget;
        auto* button = new QPushButton(host);
        host->setGeometry(100, 100, 300, 200);
        button->resize(300, 200);
        QObject::connect(button, &QPushButton::clicked, [this, name] { Say(name, " is clicked"); });
        host->setWindowModality(isDialog ? Qt::ApplicationModal : Qt::NonModal);
        host->show();
        m_widgets[name] = host;
        m_windows[name] = CreateWindowRefWithQWidget(button); // its top-level window counts
    }

    void Alert()
    {
        const auto pascal = [](const std::string& text) { return char(text.size()) + text; };
        std::map<std::string, std::string> values;
        for (std::size_t at = 4; at < m_words.size(); ++at) {
            const std::size_t equals = m_words[at].find('=');
            values[m_words[at].substr(0, equals)] = m_words[at].substr(equals + 1);
        }
        std::map<std::string, std::string> texts;
        const auto button = [&](const char* name) -> ConstStringPtr {
            texts[name] = pascal(values[name]);
            return texts[name].size() == 1   ? nullptr
                : values[name] == "standard" ? kAlertDefaultOKText
                                             : reinterpret_cast<ConstStringPtr>(texts[name].data());
        };
        AlertStdAlertParamRec param {};
        param.defaultText = button("ok");
        param.cancelText = button("cancel");
        param.otherText = button("other");
        param.helpButton = !values["help"].empty();
        param.defaultButton = static_cast<SInt16>(std::atoi(values["default"].c_str()));
        param.cancelButton = static_cast<SInt16>(std::atoi(values["escape"].c_str()));
        SInt16 item = 77;
        const std::string message = pascal(Word(2));
        const std::string explanation = pascal(Word(3));
        Good(StandardAlert(Short(1), reinterpret_cast<ConstStringPtr>(message.data()),
                           reinterpret_cast<ConstStringPtr>(explanation.data()),
                           m_words.size() == 4 ? nullptr : &param, &item));
        Say("item ", item);
    }

    /// Does a command from the event loop, after those before it.
    void DoLater()
    {
        m_pending.push_back(m_line.substr(sizeof "later"));
        Later(0.01 * static_cast<double>(m_pending.size()), [this] { DoNext(); });
    }

    void DoNext()
    {
        if (m_isBusy) // the one before it looks at events itself
            return Later(0.01, [this] { DoNext(); });
        const std::string command = m_pending.front();
        m_pending.pop_front();
        Say('(', command, ')');
        m_isBusy = !command.starts_with("run ");
        Do(command);
        m_isBusy = false;
    }

    void Picture(QImage image)
    {
        image.fill(QColor(QString::fromStdString(Word(2))));
        const QByteArray data = EncodePicture(image, image.rect());
        m_resources.Set({ 'PICT', Short(1), 0, {}, { data.begin(), data.end() } });
        m_image = image;
    }

    void UsePicture()
    {
        const CFBundleRefNum map = CFBundleOpenBundleResourceMap(m_bundle->Bundle());
        PicHandle picture = GetPicture(Short(3));
        PicHandle kept = nullptr;
        if (Good(SetControlData(Control(1, 2), kControlPicturePart, 'pich', sizeof picture,
                                &picture))) {
            GetControlData(Control(1, 2), 0, 'pich', sizeof kept, &kept, nullptr);
            EXPECT_EQ(picture, kept);
        }
        ReleaseResource(reinterpret_cast<Handle>(picture));
        CFBundleCloseBundleResourceMap(m_bundle->Bundle(), map);
    }

    void Key()
    {
        const QKeyCombination key = QKeySequence(QString::fromStdString(Word(2)))[0];
        QTest::keyClick(HandleAt(1), key.key(), key.keyboardModifiers());
    }

    void Mouse(QPoint from, QPoint to)
    {
        QTest::mousePress(HandleAt(1), Qt::LeftButton, {}, from);
        if (from != to)
            QTest::mouseMove(HandleAt(1), to);
        if (m_widgets[Word(1)]) // still
            QTest::mouseRelease(HandleAt(1), Qt::LeftButton, {}, to);
    }

    void Begin()
    {
        m_nib.clear();
        for (const auto& word : m_words)
            m_nib += "'" + word + "' ";
    }

    void AddResource()
    {
        const std::vector<uint8_t> bytes(std::size_t(Int(4)), uint8_t(Int(3)));
        m_resources.Set({ CodeOf(Word(1)), Short(2), 0, {}, bytes });
    }

    void Bounds(int code)
    {
        const RgnHandle region = NewRgn();
        const OSStatus error = GetWindowRegion(Window(1), WindowRegionCode(code), region);
        Rect bounds = {};
        EXPECT_EQ(error, GetWindowBounds(Window(1), WindowRegionCode(code), &bounds));
        if (Good(error))
            Say(*GetRegionBounds(region, &bounds));
        DisposeRgn(region);
    }

    /// Of commands: name, window, answer, and what it does.
    void AddHandler()
    {
        const EventTypeSpec type { kEventClassCommand, kEventCommandProcess };
        const auto answer = [this, name = Word(1), result = Int(3), what = Word(4)](EventRef) {
            Say(name, " is called");
            const OSStatus kept = result; // it may remove itself
            if (!what.empty())
                Do(std::string(what));
            return kept;
        };
        m_handlers[Word(1)] = std::make_unique<Handler>(GetWindowEventTarget(Window(2)),
                                                        std::vector { type }, answer);
    }

    /// A text into a buffer that is too small.
    void Cut()
    {
        std::string text(std::size_t(Int(3)), '.');
        Size full = 0;
        Good(GetControlData(Control(1, 2), 0, 'text', Int(3) - 2, text.data(), &full));
        Say(Shown(text), " of ", full);
    }

    void Style()
    {
        ControlFontStyleRec style {};
        style.flags = Short(3);
        style.font = Short(4);
        style.size = Short(5);
        style.style = Short(6);
        style.just = Short(7);
        style.foreColor.green = style.backColor.red = 0xBFFF;
        Good(SetControlData(Control(1, 2), 0, 'font', sizeof style, &style));
    }

    void Press()
    {
        for (auto* button : Widget(1)->findChildren<QPushButton*>())
            if (button->accessibleName().toStdString() == Word(2))
                return QTest::mouseClick(button, Qt::LeftButton);
        ADD_FAILURE() << "no button " << Word(2);
    }

    /// What a screen reader says of the widgets in another.
    void Names()
    {
        for (const QWidget* widget : Widget(1)->findChildren<QWidget*>())
            if (!widget->accessibleName().isEmpty())
                Say(widget->metaObject()->className(), ' ', Shown(widget->accessibleName()));
    }

    // clang-format off
    const Commands m_commands = {
        // An interface file: the lines of NibOf, or the example's; changes to its text; what is beside it
        { "window", [this] { Begin(); } },
        { "example", [this] { m_nib.clear(); } },
        { "edit", [this] { m_edits.emplace_back(Word(1), Word(2)); } },
        { "wide", [this] { m_isWide = true; } },
        { "picture", [this] { Picture(QImage(4, 4, QImage::Format_RGB32)); } },
        { "resource", [this] { AddResource(); } },
        { "open", [this] { Open(Word(1)); } },
        // Windows
        { "show", [this] { ShowWindow(Window(1)); } },
        { "hide", [this] { HideWindow(Window(1)); } },
        { "front", [this] { BringToFront(Window(1)); } },
        { "move", [this] { MoveWindow(Window(1), Short(2), Short(3), true); } },
        { "draw", [this] { DrawControls(Window(1)); } },
        { "dispose", [this] { DisposeWindow(Window(1)); } },
        { "run", [this] { const std::string name = Word(1); if (Good(RunAppModalLoopForWindow(Window(1)))) Say(name, " has run"); } },
        { "quit", [this] { Good(QuitAppModalLoopForWindow(Window(1))); } },
        { "modality", [this] { Good(SetWindowModality(Window(1), WindowModality(Int(2)), Window(3))); } },
        { "brush", [this] { Good(SetThemeWindowBackground(Window(1), Short(2), true)); } },
        { "setclass", [this] { Good(SetWindowClass(Window(1), WindowClass(Int(2)))); } },
        { "class", [this] { WindowClass its = 77; if (Good(GetWindowClass(Window(1), &its))) Say(its); } },
        { "content", [this] { Bounds(kWindowContentRgn); } },
        { "structure", [this] { Bounds(kWindowStructureRgn); } },
        { "region", [this] { Bounds(Int(2)); } },
        { "visible", [this] { Say(IsWindowVisible(Window(1)) ? "yes" : "no"); } },
        { "title", [this] { CFStringRef title = nullptr; if (Good(CopyWindowTitleAsCFString(Window(1), &title))) Say(Shown(TextOf(Own(title).get()))); } },
        { "target", [this] { Say(GetWindowEventTarget(Window(1)) ? "one" : "none"); } },
        { "frontmost", [this] { Say(FrontNonFloatingWindow() == Window(1) ? "yes" : "no"); } },
        // A handler of commands: name, window, answer, and the command that it does
        { "handler", [this] { AddHandler(); } },
        { "remove", [this] { m_handlers.erase(Word(1)); } },
        // Controls: window, number
        { "data", [this] { Data(); } },
        { "text", [this] { SetText(Expanded(Word(3))); } },
        { "default", [this] { Set(kControlPushButtonDefaultTag, Word(3)); } },
        { "size", [this] { Good(SetControlData(Control(1, 2), 0, 'text', Int(3), "")); } },
        { "cut", [this] { Cut(); } },
        { "style", [this] { Style(); } },
        { "usepicture", [this] { UsePicture(); } },
        { "embed", [this] { Good(EmbedControl(Control(1, 2), Control(1, 3))); } },
        { "hidecontrol", [this] { HideControl(Control(1, 2)); } },
        { "showcontrol", [this] { ShowControl(Control(1, 2)); } },
        { "simulate", [this] { Good(HIViewSimulateClick(Control(1, 2), 0, 0, nullptr)); } },
        { "find", [this] { const ControlID id { 'test', Int(2) }; ControlRef found; Good(GetControlByID(Window(1), &id, &found)); Say(found ? "one" : "none"); } },
        // Hosts
        { "host", [this] { MakeHost(Word(1)); } },
        { "dialog", [this] { MakeHost(Word(1), true); } },
        { "destroy", [this] { delete Widget(1); } },
        { "minimise", [this] { Widget(1)->showMinimized(); } },
        // The user: of windows, hosts and the alert
        { "key", [this] { Key(); } },
        { "click", [this] { Mouse(Point(2), Point(2)); } },
        { "drag", [this] { Mouse(Point(2), Point(3)); } },
        { "doubleclick", [this] { QTest::mouseDClick(HandleAt(1), Qt::LeftButton, {}, Point(2)); } },
        { "press", [this] { Press(); } },
        { "close", [this] { HandleAt(1)->close(); } },
        { "activate", [this] { Widget(1)->activateWindow(); EXPECT_TRUE(QTest::qWaitForWindowActive(Widget(1))); } },
        { "active", [this] { EXPECT_TRUE(QTest::qWaitForWindowActive(Widget(1))); } },
        { "over", [this] { Say(HandleAt(1)->transientParent() == HandleAt(2) ? "yes" : "no"); } },
        { "see", [this] { See(Widget(1)); } },
        { "names", [this] { Names(); } },
        { "colour", [this] { Say(Widget(1)->grab().toImage().pixelColor(Point(2)).name()); } },
        { "focus", [this] { Say(Shown(QApplication::focusWidget()->accessibleName())); } },
        { "clipboard", [this] { Say(Shown(QGuiApplication::clipboard()->text())); } },
        { "alert", [this] { Alert(); } },
        { "later", [this] { DoLater(); } },
    };
    // clang-format on
    const std::map<UInt32, const char*> m_kinds
        = { { 22, "showing" }, { 23, "hiding" }, { 24, "shown" },     { 25, "hidden" },
            { 72, "close" },   { 73, "closed" }, { 1005, "disposed" } };
    std::map<int, std::string> m_errors;
    std::string m_nib;
    std::vector<std::pair<std::string, std::string>> m_edits;
    ResourceWriter m_resources;
    QImage m_image;
    std::unique_ptr<NibBundle> m_bundle;
    std::map<std::string, WindowRef> m_windows;
    std::map<std::string, QPointer<QWidget>> m_widgets;
    std::map<std::string, std::unique_ptr<Handler>> m_handlers;
    std::deque<std::string> m_pending; // for timers, which may change places
    bool m_isWide = false;
    bool m_isBusy = false;
    char m_junk[64] = {};
};

TEST_P(Toolbox, GoesAsRecorded)
{
    Play(m_commands, std::string(TEST_FOLDER "/toolbox/") + GetParam() + ".txt");
}

INSTANTIATE_TEST_SUITE_P(,
                         Toolbox,
                         testing::Values("alerts", "controls", "events", "hosts", "nib", "windows"),
                         [](const auto& name) { return std::string(name.param); });

} // namespace
