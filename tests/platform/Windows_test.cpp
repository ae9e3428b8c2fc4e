// SPDX-License-Identifier: MIT
// Windows_test.cpp - windows, their notices, modal loops and hosts, without a screen.
#include "tests/support/NibBundle.h"

#include <veltrano/HostWindow.h>

#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>

using testing::ElementsAre;

namespace {

const EventTypeSpec kCommand { kEventClassCommand, kEventCommandProcess };

/// Writes down the kinds of a window's events.
class Notices
{
public:
    explicit Notices(WindowRef window)
        : m_handler(GetWindowEventTarget(window), Kinds(), [this](EventRef event) {
            kinds.push_back(GetEventKind(event));
            return eventNotHandledErr;
        })
    {
    }
    std::vector<UInt32> Take() { return std::exchange(kinds, {}); }
    std::vector<UInt32> kinds;

private:
    static std::vector<EventTypeSpec> Kinds()
    {
        std::vector<EventTypeSpec> types;
        for (const UInt32 kind : { 22u, 23u, 24u, 25u, 72u, 73u, 1005u })
            types.push_back({ kEventClassWindow, kind });
        return types;
    }
    Handler m_handler;
};

QWindow* HandleOf(WindowRef window)
{
    CFStringRef title = nullptr;
    CopyWindowTitleAsCFString(window, &title);
    for (QWidget* widget : QApplication::topLevelWidgets()) {
        if (widget->windowTitle() == CFStringGetCStringPtr(title, kCFStringEncodingUTF8)) {
            CFRelease(title);
            return widget->windowHandle();
        }
    }
    CFRelease(title);
    return nullptr;
}

std::string
Titled(const char* title, const std::string& controls = {}, const std::string& more = {})
{
    return NibOf(controls, Text("title", title) + more);
}

void Click(QWindow* window, QPoint point)
{
    QTest::mouseClick(window, Qt::LeftButton, {}, point);
}

} // namespace

TEST(Windows, ShowingAndHidingTellOnceEach)
{
    const TestWindow window(NibOf(""));
    Notices notices(window);
    EXPECT_FALSE(IsWindowVisible(window));
    ShowWindow(window);
    ShowWindow(window);
    EXPECT_TRUE(IsWindowVisible(window));
    EXPECT_THAT(notices.Take(), ElementsAre(22, 24));
    HideWindow(window);
    HideWindow(window);
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_THAT(notices.Take(), ElementsAre(23, 25));
    ShowWindow(window);
    EXPECT_THAT(notices.Take(), ElementsAre(22, 24));
}

TEST(Windows, DisposalTellsInOrderAndThenNothing)
{
    for (const bool visible : { false, true }) {
        TestWindow window(NibOf(""));
        Notices notices(window);
        if (visible)
            ShowWindow(window);
        notices.kinds.clear();
        const Handler closed(GetWindowEventTarget(window),
                             { { kEventClassWindow, kEventWindowClosed } }, [&](EventRef event) {
                                 WindowRef direct = nullptr;
                                 GetEventParameter(event, kEventParamDirectObject, typeWindowRef,
                                                   nullptr, sizeof direct, nullptr, &direct);
                                 EXPECT_EQ(window.ref, direct);
                                 Rect bounds;
                                 EXPECT_EQ(noErr,
                                           GetWindowBounds(direct, kWindowContentRgn, &bounds));
                                 DisposeWindow(direct); // it is on its way already
                                 return noErr;
                             });
        DisposeWindow(window);
        if (visible)
            EXPECT_THAT(notices.kinds, ElementsAre(25, 73, 1005));
        else
            EXPECT_THAT(notices.kinds, ElementsAre(73, 1005));
        EXPECT_FALSE(IsWindowVisible(window));
        EXPECT_EQ(nullptr, GetWindowEventTarget(window));
    }
}

TEST(Windows, WhatIsNoWindowIsRefused)
{
    char other[64] = {};
    TestWindow gone(NibOf(""));
    DisposeWindow(gone);
    for (const WindowRef window :
         { WindowRef(nullptr), reinterpret_cast<WindowRef>(other), gone.ref }) {
        WindowClass windowClass = 77;
        Rect bounds;
        CFStringRef title = nullptr;
        EXPECT_EQ(errInvalidWindowRef, GetWindowClass(window, &windowClass));
        EXPECT_EQ(77u, windowClass);
        EXPECT_EQ(errInvalidWindowRef, SetWindowClass(window, kDocumentWindowClass));
        EXPECT_EQ(errInvalidWindowRef, SetWindowModality(window, kWindowModalityNone, nullptr));
        EXPECT_EQ(errInvalidWindowRef, SetThemeWindowBackground(window, kThemeBrushWhite, true));
        EXPECT_EQ(errInvalidWindowRef, GetWindowBounds(window, kWindowStructureRgn, &bounds));
        EXPECT_EQ(errInvalidWindowRef, CopyWindowTitleAsCFString(window, &title));
        EXPECT_EQ(errInvalidWindowRef, RunAppModalLoopForWindow(window));
        EXPECT_EQ(errInvalidWindowRef, QuitAppModalLoopForWindow(window));
        EXPECT_EQ(nullptr, GetWindowEventTarget(window));
        ShowWindow(window);
        HideWindow(window);
        MoveWindow(window, 1, 1, true);
        BringToFront(window);
        DrawControls(window);
        DisposeWindow(window);
    }
}

TEST(Windows, ClassModalityAndBrushAreChecked)
{
    const TestWindow window(Titled("Painted", {}, Number("carbonWindowClass", 4)));
    ShowWindow(window);
    const TestWindow parent(NibOf(""));
    WindowClass windowClass = 0;
    EXPECT_EQ(noErr, GetWindowClass(window, &windowClass));
    EXPECT_EQ(UInt32 { kMovableModalWindowClass }, windowClass);
    EXPECT_EQ(noErr, GetWindowClass(parent, &windowClass));
    EXPECT_EQ(UInt32 { kDocumentWindowClass }, windowClass);
    EXPECT_EQ(noErr, SetWindowClass(window, windowClass));
    EXPECT_EQ(noErr, SetWindowModality(window, kWindowModalityWindowModal, parent));
    EXPECT_EQ(errInvalidWindowRef, SetWindowModality(window, kWindowModalityWindowModal, nullptr));
    EXPECT_EQ(errInvalidWindowRef, SetWindowModality(window, kWindowModalityWindowModal, window));
    EXPECT_EQ(paramErr, SetWindowModality(window, 4, parent));
    for (const auto& [brush, color] :
         { std::pair(-1, qRgb(255, 255, 255)), { -2, qRgb(0, 0, 0) } }) {
        EXPECT_EQ(noErr, SetThemeWindowBackground(window, static_cast<ThemeBrush>(brush), true));
        QWidget* widget = QWidget::find(HandleOf(window)->winId());
        EXPECT_EQ(color, widget->grab().toImage().pixel(5, 5));
    }
    EXPECT_EQ(themeInvalidBrushErr, SetThemeWindowBackground(window, 0, true));
}

TEST(Windows, MovingPlacesTheContentInsideTheFrame)
{
    const TestWindow window(NibOf(""));
    Rect content {};
    Rect structure {};
    GetWindowBounds(window, kWindowContentRgn, &content);
    EXPECT_THAT((std::vector<SInt16> { content.top, content.left, content.bottom, content.right }),
                ElementsAre(50, 60, 150, 260));
    ShowWindow(window);
    MoveWindow(window, -30, 333, true);
    GetWindowBounds(window, kWindowContentRgn, &content);
    EXPECT_THAT((std::vector<SInt16> { content.top, content.left, content.bottom, content.right }),
                ElementsAre(333, -30, 433, 170));
    const RgnHandle region = NewRgn();
    EXPECT_EQ(noErr, GetWindowRegion(window, kWindowStructureRgn, region));
    EXPECT_EQ(&structure, GetRegionBounds(region, &structure));
    EXPECT_EQ(errWindowRegionCodeInvalid, GetWindowRegion(window, 77, region));
    EXPECT_EQ(paramErr, GetWindowRegion(window, kWindowStructureRgn, nullptr));
    DisposeRgn(region);
    EXPECT_LT(structure.top, content.top);
    EXPECT_LT(structure.left, content.left);
    EXPECT_GT(structure.bottom, content.bottom);
    EXPECT_GT(structure.right, content.right);
}

// 200 x 100 points, the button at (100, 50).
TEST(Windows, TheDefaultButtonStaysOnAScreen)
{
    StartToolbox();
    QWidget host;
    host.setGeometry(100, 100, 300, 200);
    host.show();
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    const QPoint middle((room.width() - 200) / 2, (room.height() - 100) / 2);
    const QPoint corner(room.width() - 200, room.height() - 100);
    const std::tuple<bool, QPoint, QPoint> rows[] = {
        { true, { -90, -40 }, { -90, -40 } }, // the button is whole
        { true, { -110, 20 }, { 0, 20 } },    { true, { 5000, 5000 }, corner },
        { false, { 30, 40 }, { 30, 40 } },    { false, { -110, -50 }, middle },
    };
    for (const auto& [hasParent, to, at] : rows) {
        const TestWindow window(
            NibOf(NibControl(1, "IBCarbonButton", "50 100 70 180 ", Number("buttonType", 1))));
        const WindowRef parent = CreateWindowRefWithQWidget(&host);
        SetWindowModality(window, kWindowModalityWindowModal, hasParent ? parent : nullptr);
        ShowWindow(window);
        Rect content {};
        GetWindowBounds(window, kWindowContentRgn, &content);
        EXPECT_TRUE(!hasParent || host.geometry().contains(content.left + 100, content.top + 50));
        MoveWindow(window, static_cast<SInt16>(to.x()), static_cast<SInt16>(to.y()), true);
        GetWindowBounds(window, kWindowContentRgn, &content);
        EXPECT_EQ(at, QPoint(content.left, content.top));
        DisposeWindow(parent);
    }
}

TEST(Windows, TheFrontWindowIsTheLastBroughtToTheFront)
{
    const TestWindow first(NibOf(""));
    const TestWindow second(NibOf(""));
    const TestWindow hidden(NibOf(""));
    EXPECT_EQ(nullptr, FrontNonFloatingWindow());
    ShowWindow(first);
    ShowWindow(second);
    EXPECT_EQ(second.ref, FrontNonFloatingWindow());
    BringToFront(first);
    BringToFront(hidden);
    EXPECT_FALSE(IsWindowVisible(hidden));
    EXPECT_EQ(first.ref, FrontNonFloatingWindow());
}

TEST(ModalLoop, RunsUntilItsOwnQuit)
{
    const TestWindow window(NibOf(""));
    EXPECT_EQ(windowWrongStateErr, RunAppModalLoopForWindow(window)); // invisible
    EXPECT_EQ(windowNoAppModalStateErr, QuitAppModalLoopForWindow(window));
    ShowWindow(window); // a new start: the quit before it is forgotten
    std::vector<int> steps;
    Later(0, [&] {
        EXPECT_EQ(windowAppModalStateAlreadyExistsErr, RunAppModalLoopForWindow(window));
        const TestWindow inner(NibOf(""));
        ShowWindow(inner);
        Later(0, [&] {
            EXPECT_EQ(noErr, QuitAppModalLoopForWindow(window)); // the outer one has to wait
            Later(0.01, [&] {
                steps.push_back(1);
                EXPECT_EQ(noErr, QuitAppModalLoopForWindow(inner));
            });
        });
        EXPECT_EQ(noErr, RunAppModalLoopForWindow(inner));
        steps.push_back(2);
    });
    EXPECT_EQ(noErr, RunAppModalLoopForWindow(window));
    EXPECT_THAT(steps, ElementsAre(1, 2));
    EXPECT_EQ(windowNoAppModalStateErr, QuitAppModalLoopForWindow(window));
    EXPECT_EQ(noErr, RunAppModalLoopForWindow(window)); // a quit before the run ends it at once
}

TEST(ModalLoop, DisposalInsideEndsIt)
{
    TestWindow window(NibOf(""));
    ShowWindow(window);
    Later(0, [&] { DisposeWindow(window); });
    EXPECT_EQ(noErr, RunAppModalLoopForWindow(window));
    EXPECT_FALSE(IsWindowVisible(window));
}

TEST(ModalLoop, KeysAndTheCloseRequestBecomeCommands)
{
    struct Row
    {
        const char* name;
        const char* button; // its properties
        std::function<void(QWindow*)> act;
        std::optional<UInt32> source; // attributes of the command; nothing: none comes
    };
    const char* standard = "<int name=\"buttonType\">1</int>";
    const char* cancel = "<int name=\"buttonType\">2</int>";
    const auto key = [](Qt::Key code, Qt::KeyboardModifiers with = {}) {
        return [=](QWindow* window) { QTest::keyClick(window, code, with); };
    };
    // clang-format off
    const Row rows[] = {
        { "Return", standard, key(Qt::Key_Return), kHICommandFromControl },
        { "Enter", standard, key(Qt::Key_Enter, Qt::KeypadModifier), kHICommandFromControl },
        { "Escape, no cancel button", standard, key(Qt::Key_Escape), {} },
        { "Escape", cancel, key(Qt::Key_Escape), kHICommandFromControl },
        { "Control-period", cancel, key(Qt::Key_Period, Qt::ControlModifier), kHICommandFromControl },
        { "Return, no default button", cancel, key(Qt::Key_Return), {} },
        { "Space on the focused button", "", key(Qt::Key_Space), kHICommandFromControl },
        { "click", "", [](QWindow* window) { Click(window, { 100, 50 }); }, kHICommandFromControl },
        { "click beside", "", [](QWindow* window) { Click(window, { 10, 10 }); }, {} },
        { "close request", "", [](QWindow* window) { window->close(); }, kHICommandFromWindow },
    };
    // clang-format on
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const TestWindow window(
            NibOf(NibControl(1, "IBCarbonButton", "40 50 60 150 ",
                             std::string("<ostype name=\"command\">clos</ostype>") + row.button),
                  "<string name=\"title\">Keys</string>"));
        std::vector<UInt32> sources;
        const Handler handler(GetWindowEventTarget(window), { kCommand }, [&](EventRef event) {
            EXPECT_EQ(UInt32 { kHICommandClose }, CommandOf(event).commandID);
            sources.push_back(CommandOf(event).attributes);
            return noErr;
        });
        ShowWindow(window);
        Later(0, [&] {
            row.act(HandleOf(window));
            Later(0, [&] { QuitAppModalLoopForWindow(window); });
        });
        RunAppModalLoopForWindow(window);
        EXPECT_EQ(row.source ? std::vector { *row.source } : std::vector<UInt32> {}, sources);
        EXPECT_TRUE(IsWindowVisible(window));
    }
}

TEST(ModalLoop, AnUnhandledCloseBecomesARequestAndNoMore)
{
    const TestWindow window(Titled("Unhandled"));
    Notices notices(window);
    ShowWindow(window);
    notices.kinds.clear();
    HandleOf(window)->close();
    EXPECT_THAT(notices.kinds, ElementsAre(72));
    EXPECT_TRUE(IsWindowVisible(window));
}

// A box may free itself, window and all, inside the command that its own button sends.
TEST(ModalLoop, DisposalInsideADelivery)
{
    const std::function<void(QWindow*)> acts[] = {
        [](QWindow* window) {
            Click(window, { 100, 50 });
        },
        [](QWindow* window) { QTest::keyClick(window, Qt::Key_Return); },
        [](QWindow* window) { window->close(); },
    };
    for (const auto& act : acts) {
        TestWindow window(NibOf(NibControl(1, "IBCarbonButton", "40 50 60 150 ",
                                           "<ostype name=\"command\">clos</ostype>"
                                           "<int name=\"buttonType\">1</int>"),
                                "<string name=\"title\">Delivery</string>"));
        int commands = 0;
        const Handler handler(GetWindowEventTarget(window), { kCommand }, [&](EventRef) {
            ++commands;
            DisposeWindow(window);
            return noErr;
        });
        ShowWindow(window);
        Later(0, [&] { act(HandleOf(window)); });
        EXPECT_EQ(noErr, RunAppModalLoopForWindow(window));
        EXPECT_EQ(1, commands);
        EXPECT_EQ(errInvalidWindowRef, QuitAppModalLoopForWindow(window));
    }
}

/// A host's window with a button that counts its clicks.
class Host : public QWidget
{
public:
    Host()
    {
        resize(300, 200);
        auto* button = new QPushButton(this);
        button->setGeometry(rect());
        connect(button, &QPushButton::clicked, [this] { ++clicks; });
        show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(this));
        ref = CreateWindowRefWithQWidget(button); // its top-level window counts
    }
    ~Host() override { DisposeWindow(ref); }
    int ClicksOfOne()
    {
        clicks = 0;
        Click(windowHandle(), { 50, 50 });
        return clicks;
    }
    int clicks = 0;
    WindowRef ref;
};

TEST(HostWindows, AWrapperLeavesTheHostAlone)
{
    StartToolbox();
    auto host = std::make_unique<Host>();
    WindowClass windowClass = 0;
    EXPECT_EQ(noErr, GetWindowClass(host->ref, &windowClass));
    EXPECT_EQ(UInt32 { kDocumentWindowClass }, windowClass);
    Rect bounds {};
    GetWindowBounds(host->ref, kWindowContentRgn, &bounds);
    EXPECT_EQ(host->geometry(),
              QRect(QPoint(bounds.left, bounds.top),
                    QSize(bounds.right - bounds.left, bounds.bottom - bounds.top)));
    GetWindowBounds(host->ref, kWindowStructureRgn, &bounds);
    EXPECT_EQ(host->frameGeometry().topLeft(), QPoint(bounds.left, bounds.top));
    EXPECT_EQ(windowWrongStateErr, SetThemeWindowBackground(host->ref, kThemeBrushWhite, true));
    const WindowRef second = CreateWindowRefWithQWidget(host.get());
    DisposeWindow(second);
    EXPECT_TRUE(host->isVisible());
    EXPECT_EQ(nullptr, CreateWindowRefWithQWidget(nullptr));
    EXPECT_EQ(nullptr, CreateWindowRefWithX11Window(1)); // no X display here

    auto* widget = new QWidget;
    const WindowRef orphan = CreateWindowRefWithQWidget(widget);
    delete widget;
    EXPECT_EQ(noErr, GetWindowBounds(orphan, kWindowStructureRgn, &bounds));
    EXPECT_EQ(bounds.left, bounds.right);
    EXPECT_FALSE(IsWindowVisible(orphan));
    ShowWindow(orphan);
    BringToFront(orphan);
    DisposeWindow(orphan);
}

TEST(HostWindows, AVisibleWindowKeepsInputFromAllOthers)
{
    StartToolbox();
    Host parent;
    Host other;
    EXPECT_EQ(1, parent.ClicksOfOne());
    const TestWindow window(Titled("Modal"));
    SetWindowModality(window, kWindowModalityWindowModal, parent.ref);
    ShowWindow(window);
    Later(0, [&] {
        EXPECT_EQ(0, parent.ClicksOfOne());
        EXPECT_EQ(0, other.ClicksOfOne());
        other.close(); // the host's own code
        EXPECT_FALSE(other.isVisible());
        {
            Host dialog; // the host's own modal window, opened above ours
            dialog.hide();
            dialog.setWindowModality(Qt::ApplicationModal);
            dialog.show();
            EXPECT_TRUE(QTest::qWaitForWindowExposed(&dialog));
            EXPECT_EQ(1, dialog.ClicksOfOne());
        }
        QuitAppModalLoopForWindow(window);
    });
    RunAppModalLoopForWindow(window);
    HideWindow(window);
    EXPECT_EQ(1, parent.ClicksOfOne());
}

TEST(HostWindows, AHostThatGoesAwayMeanwhile)
{
    StartToolbox();
    const std::function<void(std::unique_ptr<Host>&)> acts[] = {
        [](std::unique_ptr<Host>& host) { host.reset(); },
        [](std::unique_ptr<Host>& host) { host->hide(); },
        [](std::unique_ptr<Host>& host) { host->showMinimized(); },
        [](std::unique_ptr<Host>&) { QApplication::quit(); },
    };
    for (const auto& act : acts) {
        auto host = std::make_unique<Host>();
        const TestWindow window(Titled("Box"));
        SetWindowModality(window, kWindowModalityWindowModal, host->ref);
        ShowWindow(window);
        const Handler handler(GetWindowEventTarget(window), { kCommand }, [&](EventRef) {
            QuitAppModalLoopForWindow(window);
            HideWindow(window);
            return noErr;
        });
        Later(0, [&] {
            act(host);
            Later(0.02, [&] {
                if (IsWindowVisible(window)) {
                    ASSERT_TRUE(HandleOf(window)->isVisible()); // the user can still close it
                    HandleOf(window)->close();
                }
            });
        });
        EXPECT_EQ(noErr, RunAppModalLoopForWindow(window));
        if (host)
            BringToFront(host->ref);
    }
}
