// SPDX-License-Identifier: MIT
// BoxOnScreen_test.cpp - the module's box under a window manager, worked by a real pointer and keyboard.
#include "tests/module/LoadedModule.h"
#include "tests/support/Desktop.h"

#include <QtTest/QTest>

namespace {

class BoxOnScreen : public LoadedModule
{
protected:
    void SetUp() override
    {
        LoadedModule::SetUp();
        QObject::connect(&m_hostButton, &QPushButton::clicked, [this] { ++m_clicks; });
        m_hostButton.setParent(m_host.get());
        m_hostButton.resize(m_host->size());
        m_hostButton.show();
        m_host->activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(m_host.get()));
    }
    void TearDown() override
    {
        m_hostButton.setParent(nullptr);
        LoadedModule::TearDown();
    }

    /// A click on a point of a widget, in the screen's pixels.
    static std::string Click(const QWidget* widget, QPoint at)
    {
        const QPoint pixels = widget->mapToGlobal(at) * widget->devicePixelRatio();
        return At(pixels.x(), pixels.y()) + "xdotool click 1; ";
    }

    QPushButton m_hostButton;
    int m_clicks = 0;
};

TEST_F(BoxOnScreen, ClickKeysAndTheCloseRequestEndIt)
{
    const std::string commands[] = {
        "", // a click on the button
        "xdotool key Return",
        "xdotool key KP_Enter",
        "xdotool key space",
        "xdotool key Escape",
        "xdotool key Tab Escape", // from a text
        "xdotool key Tab Return",
        "xdotool key ctrl+period",
        "wmctrl -c About",
    };
    for (const std::string& command : commands) {
        SCOPED_TRACE(command);
        Run([&](WindowRef box) {
            QWidget* widget = BoxWidget();
            EXPECT_TRUE(QTest::qWaitForWindowActive(widget));
            const auto* button = widget->findChild<QPushButton*>();
            During(command.empty() ? Click(button, button->rect().center()) : command);
            const bool ended = QTest::qWaitFor([&] { return !IsWindowVisible(box); }, 3000);
            EXPECT_TRUE(ended);
            if (!ended)
                PressButton(box);
        });
        EXPECT_TRUE(QTest::qWaitForWindowActive(m_host.get())); // it comes to the front
    }
}

TEST_F(BoxOnScreen, TheHostIsBlockedMeanwhile)
{
    const std::string click = Click(m_host.get(), QPoint(8, 8));
    Run([&](WindowRef box) {
        EXPECT_TRUE(QTest::qWaitForWindowActive(BoxWidget()));
        EXPECT_NE(std::string::npos, Shell("xprop -name About WM_TRANSIENT_FOR").find("window id"));
        EXPECT_NE(std::string::npos, Shell("xprop -name About _NET_WM_STATE").find("MODAL"));
        // A click activates the blocked host in some window managers; Return must still reach the box.
        During(click + "sleep 0.15; wmctrl -c Host; sleep 0.1; xdotool key Return");
        EXPECT_TRUE(QTest::qWaitFor([&] { return !IsWindowVisible(box); }, 3000));
        EXPECT_TRUE(m_host->isVisible());
    });
    EXPECT_EQ(0, m_clicks);
    QTest::qWait(100);
    During(click);
    EXPECT_TRUE(QTest::qWaitFor([&] { return m_clicks == 1; }));
}

} // namespace
