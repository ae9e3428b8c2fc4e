// SPDX-License-Identifier: MIT
// LoadedModule.h - the module as a Qt host loads it, and its box while it is up.
#pragma once

#include "tests/support/Foundation.h"

#include <Carbon/Carbon.h>
#include <veltrano/Host.h>

#include <QtCore/QThread>
#include <QtCore/QTimer>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QPushButton>

#include <functional>

inline void PressButton(WindowRef box)
{
    const ControlID id = { 'butn', 0 };
    ControlRef button = nullptr;
    EXPECT_EQ(GetControlByID(box, &id, &button), noErr);
    EXPECT_EQ(HIViewSimulateClick(button, kControlButtonPart, 0, nullptr), noErr);
}

/// Does `work` once, when a modal loop runs: timers fire already while a window is on its way to the
/// screen.
class InModalLoop
{
public:
    explicit InModalLoop(std::function<void()> work)
    {
        const auto level = QThread::currentThread()->loopLevel();
        QObject::connect(&m_timer, &QTimer::timeout, [this, work, level] {
            if (QThread::currentThread()->loopLevel() > level) {
                m_timer.stop();
                work();
            }
        });
        m_timer.start(1);
    }

private:
    QTimer m_timer;
};

class LoadedModule : public testing::Test
{
protected:
    void SetUp() override
    {
        m_module = CFBundleCreate(nullptr, FolderURL(VELTRANO_BUNDLE).get());
        const auto get = reinterpret_cast<GetEntryTableProc>(
            CFBundleGetFunctionPointerForName(m_module, CFSTR("GetEntryTable")));
        ASSERT_NE(get, nullptr);
        m_show = reinterpret_cast<ShowAboutBoxEntry>(get()[kEntryShowAboutBox]);
        m_showSimple = reinterpret_cast<ShowAboutBoxSimpleEntry>(get()[kEntryShowAboutBoxSimple]);
        m_host->setWindowTitle(QStringLiteral("Host"));
        m_host->setGeometry(100, 80, 600, 400);
        m_parent = CreateWindowRefWithQWidget(m_host.get());
        ShowWindow(m_parent); // returns when its frame is known
    }

    void TearDown() override
    {
        EXPECT_EQ(CurResFile(), kSystemResFile); // restored, whatever happened
        EXPECT_EQ(FrontNonFloatingWindow(), nullptr);
        DisposeWindow(m_parent);
        CFRelease(m_hostBundle);
        CFBundleUnloadExecutable(m_module);
        CFRelease(m_module);
    }

    /// The box on the screen; null when there is none.
    QWidget* BoxWidget() const
    {
        for (QWidget* widget : QApplication::topLevelWidgets())
            if (widget->isVisible() && widget != m_host.get())
                return widget;
        return nullptr;
    }

    /// Shows a box and does `work` from inside its modal loop, which has to see to its end.
    void Run(const std::function<void(WindowRef)>& work)
    {
        const InModalLoop then([&] { work(FrontNonFloatingWindow()); });
        EXPECT_EQ(1, m_show(m_parent, m_hostBundle, 128, &m_product, "Licensed to Ada", 0));
    }

    CFBundleRef m_module = nullptr;
    CFBundleRef m_hostBundle = CFBundleCreate(nullptr, FolderURL(HOST_BUNDLE).get());
    ShowAboutBoxEntry m_show = nullptr;
    ShowAboutBoxSimpleEntry m_showSimple = nullptr;
    std::unique_ptr<QWidget> m_host = std::make_unique<QWidget>();
    WindowRef m_parent = nullptr;
    ProductRecord m_product = { { 0, 0 }, "Product 3.2 (build 88)" };
};
