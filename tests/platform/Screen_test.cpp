// SPDX-License-Identifier: MIT
// Screen_test.cpp - windows as the X server and the window manager see them, worked by a real pointer and
// keyboard. Runs under with_xvfb.sh.
#include "tests/support/Desktop.h"
#include "tests/support/NibBundle.h"

#include <veltrano/HostWindow.h>

#include <QtGui/QScreen>
#include <QtTest/QTest>
#include <xcb/xcb.h>

#include <clocale>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>

namespace {

/// Where X says that the window with this title has its content.
QPoint ContentOf(const char* title)
{
    int x = -1;
    int y = -1;
    const std::string command
        = std::string("xwininfo -name '") + title + "' | awk '/Absolute/ { print $NF }'";
    std::sscanf(Shell(command).c_str(), "%d %d", &x, &y);
    return { x, y };
}

/// A plain window of another X client, as a host that is no Qt program has it.
class PlainHost
{
public:
    PlainHost()
    {
        m_x = xcb_connect(nullptr, nullptr);
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(m_x)).data;
        window = xcb_generate_id(m_x);
        const std::uint32_t mask = XCB_EVENT_MASK_BUTTON_PRESS;
        xcb_create_window(m_x, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 400, 300, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_EVENT_MASK,
                          &mask);
        xcb_change_property(m_x, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_NAME, XCB_ATOM_STRING,
                            8, 5, "Plain");
        xcb_map_window(m_x, window);
        xcb_flush(m_x);
        Shell(
            "timeout 5 sh -c 'until xwininfo -name Plain | grep -q IsViewable; do sleep 0.02; done'"
            " 2>&1; wmctrl -a Plain; xdotool windowmove "
            + std::to_string(window) + " 300 200; sleep 0.2");
    }
    ~PlainHost()
    {
        xcb_destroy_window(m_x, window);
        xcb_disconnect(m_x);
    }
    PlainHost(const PlainHost&) = delete;
    PlainHost& operator=(const PlainHost&) = delete;

    void Destroy()
    {
        xcb_destroy_window(m_x, window);
        xcb_flush(m_x);
    }
    void Paint(std::uint32_t color)
    {
        const xcb_gcontext_t context = xcb_generate_id(m_x);
        xcb_create_gc(m_x, context, window, XCB_GC_FOREGROUND, &color);
        const xcb_rectangle_t all { 0, 0, 400, 300 };
        xcb_poly_fill_rectangle(m_x, window, context, 1, &all);
        xcb_free_gc(m_x, context);
        xcb_flush(m_x);
    }
    /// What the screen shows at a point.
    static QRgb PixelAt(int x, int y)
    {
        const QPixmap shown = QGuiApplication::primaryScreen()->grabWindow(0, x, y, 1, 1);
        return shown.toImage().pixel(0, 0) & 0xFFFFFF;
    }
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
    xcb_window_t window;

private:
    xcb_connection_t* m_x;
};

/// A box with a button that ends it, as the About box does: modal to a parent, centred, run.
class Box
{
public:
    explicit Box(WindowRef parent)
        : m_window("window title=Box isResizable=FALSE hasCloseBox=FALSE\n"
                   "+ Button 1 40,50,60,150 command=clos buttonType=1")
        , m_handler(GetWindowEventTarget(m_window),
                    { { kEventClassCommand, kEventCommandProcess } },
                    [this](EventRef) {
                        QuitAppModalLoopForWindow(m_window);
                        HideWindow(m_window);
                        return noErr;
                    })
    {
        SetWindowModality(m_window, kWindowModalityWindowModal, parent);
        BringToFront(m_window);
        ShowWindow(m_window);
        MoveWindow(m_window, 431, 287, true);
    }
    void Run(const std::string& command)
    {
        During("sleep 0.15; " + command);
        const auto over = std::make_shared<bool>(false);
        Later(5, [this, over] { // no answer came
            if (!*over) {
                ADD_FAILURE() << "still open";
                QuitAppModalLoopForWindow(m_window);
            }
        });
        EXPECT_EQ(noErr, RunAppModalLoopForWindow(m_window));
        *over = true;
    }

private:
    TestWindow m_window;
    Handler m_handler;
};

} // namespace

// First, since it looks at what starting the toolbox in a host without Qt changes.
TEST(Screen, APlainHostKeepsItsProcessAndIsBlockedMeanwhile)
{
    const std::string locale = std::setlocale(LC_ALL, nullptr);
    PlainHost host;
    const WindowRef parent = CreateWindowRefWithX11Window(host.window);
    ASSERT_TRUE(parent);
    EXPECT_EQ(locale, std::setlocale(LC_ALL, nullptr));
    EXPECT_EQ(nullptr, CreateWindowRefWithX11Window(0));
    EXPECT_EQ(nullptr, CreateWindowRefWithX11Window(0x7FFFFFF));
    EXPECT_TRUE(IsWindowVisible(parent));

    Rect content {};
    Rect structure {};
    GetWindowBounds(parent, kWindowContentRgn, &content);
    GetWindowBounds(parent, kWindowStructureRgn, &structure);
    EXPECT_EQ(ContentOf("Plain"), QPoint(content.left, content.top));
    EXPECT_EQ(400, content.right - content.left);
    EXPECT_LT(structure.top, content.top - 10); // a title bar
    EXPECT_GE(structure.bottom, content.bottom);
    host.Paint(0x336699);
    {
        Box box(parent);
        EXPECT_NE(std::string::npos, Shell("xprop -name Box WM_TRANSIENT_FOR").find("window id"));
        EXPECT_EQ(QPoint(431, 287), ContentOf("Box"));
        // The host cannot repaint now. It has no background, so that the server would leave the box's print.
        EXPECT_NE(0x336699u, host.PixelAt(500, 350));
        Shell("xdotool search --name '^Box$' windowmove 800 600; sleep 0.3");
        QTest::qWait(100);
        EXPECT_EQ(0x336699u, host.PixelAt(500, 350));
        box.Run(At(content.left + 5, content.top + 5)
                + "xdotool click 1; sleep 0.1; xdotool key Return");
        EXPECT_EQ(0, host.Clicks());
    }
    BringToFront(parent);
    QTest::qWait(100);
    EXPECT_EQ("Plain\n", Shell("xdotool getactivewindow getwindowname"));
    Shell(At(content.left + 5, content.top + 5) + "xdotool click 1");
    EXPECT_EQ(1, host.Clicks());

    // The host may destroy its window while the box is open.
    {
        Box box(parent);
        host.Destroy();
        box.Run("xdotool key Return");
    }
    GetWindowBounds(parent, kWindowStructureRgn, &structure);
    EXPECT_EQ(structure.left, structure.right);
    BringToFront(parent);
    EXPECT_EQ(noErr, SetWindowModality(parent, kWindowModalityNone, nullptr));
    DisposeWindow(parent);
}

TEST(Screen, FramesAreKnownWhenShowReturns)
{
    const TestWindow window("window title=Framed");
    ShowWindow(window);
    Rect content {};
    Rect structure {};
    GetWindowBounds(window, kWindowContentRgn, &content);
    GetWindowBounds(window, kWindowStructureRgn, &structure);
    EXPECT_GT(content.top - structure.top, 10);
    int top = 0;
    std::sscanf(Shell("xprop -name Framed _NET_FRAME_EXTENTS").c_str(), "%*[^=]= %*d, %*d, %d",
                &top);
    EXPECT_EQ(top, content.top - structure.top);
}

TEST(Screen, AnAlertOverAPlainHost)
{
    PlainHost host;
    const TestWindow hidden("window"); // is not mistaken for a host
    const WindowRef parent = CreateWindowRefWithX11Window(host.window);
    Rect content {};
    GetWindowBounds(parent, kWindowContentRgn, &content);
    AlertStdAlertParamRec param {};
    param.defaultText = reinterpret_cast<ConstStringPtr>("\2No");
    param.cancelText = reinterpret_cast<ConstStringPtr>("\3Yes");
    param.defaultButton = kAlertStdAlertCancelButton;
    During("sleep 0.3; " + At(content.left + 5, content.bottom - 5)
           + "xdotool click 1; sleep 0.1; xdotool key Escape; sleep 0.1; xdotool key Return");
    SInt16 hit = 0;
    EXPECT_EQ(noErr,
              StandardAlert(kAlertCautionAlert, reinterpret_cast<ConstStringPtr>("\4Text"),
                            reinterpret_cast<ConstStringPtr>("\0"), &param, &hit));
    EXPECT_EQ(2, hit);
    EXPECT_EQ(0, host.Clicks());
    QTest::qWait(100);
    EXPECT_EQ("Plain\n", Shell("xdotool getactivewindow getwindowname"));
    DisposeWindow(parent);
}
