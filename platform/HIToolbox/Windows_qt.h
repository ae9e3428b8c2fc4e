// SPDX-License-Identifier: MIT
// Windows_qt.h - the objects behind WindowRef: windows of this API's own making, and wrapped windows of the host.
// Callers hold a WindowPtr while they call out, since a handler may dispose the window.
#pragma once

#include "HIToolbox/Events.h"

#include <Carbon/MacWindows.h>

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

#include <memory>
#include <vector>

class QEventLoop;

/// Base of all windows. Unsupported operations do nothing.
struct OpaqueWindowPtr : std::enable_shared_from_this<OpaqueWindowPtr>
{
    OpaqueEventTargetRef target;
    WindowClass windowClass = kDocumentWindowClass;
    std::weak_ptr<OpaqueWindowPtr> unavailable; // it is modal to this window and opens over it
    QEventLoop* loop = nullptr; // while it runs modally
    bool quit = false; // asked to end its loop, perhaps before that ran
    bool disposed = false; // being disposed: sends nothing more on its own

    OpaqueWindowPtr() = default;
    OpaqueWindowPtr(const OpaqueWindowPtr&) = delete;
    OpaqueWindowPtr& operator=(const OpaqueWindowPtr&) = delete;
    virtual ~OpaqueWindowPtr() = default;

    virtual bool IsVisible() const = 0;
    virtual QRect Structure() const = 0; // screen coordinates; empty when the window is gone
    virtual QRect Content() const = 0;
    virtual QString Title() const { return {}; }
    virtual void Show() { }
    virtual void Hide() { }
    virtual void Move(QPoint /*content*/) { }
    virtual void Activate() = 0; // to the front, with the focus
    virtual QWindow* Handle() = 0; // null before the first show, and when it is gone
    virtual bool BlocksOthers() const { return false; }
    virtual void SetBlocked(bool /*blocked*/) { } // beyond what Qt blocks by itself
    virtual void Vanish() { } // hides it and sends Hidden alone
    virtual void FreeControls() { }

    /// Sends a window event to the handlers.
    void Notify(UInt32 kind);
    /// Sends a command to the handlers. A close command that no handler takes becomes a close request, whose
    /// default answer is to stay.
    void SendCommand(const HICommandExtended& command);
};

using WindowPtr = std::shared_ptr<OpaqueWindowPtr>;

/// A window over a widget: the host's, or the base of our own.
struct WidgetWindow : OpaqueWindowPtr
{
    QPointer<QWidget> widget;

    explicit WidgetWindow(QWidget* topLevel)
        : widget(topLevel)
    {
    }
    bool IsVisible() const override { return widget && widget->isVisible(); }
    QRect Structure() const override { return widget ? widget->frameGeometry() : QRect(); }
    QRect Content() const override { return widget ? widget->geometry() : QRect(); }
    QString Title() const override { return widget ? widget->windowTitle() : QString(); }
    void Show() override;
    void Hide() override;
    void Move(QPoint content) override;
    void Activate() override;
    QWindow* Handle() override { return widget ? widget->windowHandle() : nullptr; }
};

/// Makes a window known; DisposeWindow ends it.
WindowRef Windows_Add(const WindowPtr& window);
/// Looks up a WindowRef; null if it is not a live window.
WindowPtr Windows_Find(WindowRef window);
/// All windows, front last.
const std::vector<WindowPtr>& Windows_All();
/// Blocks the host's windows while a window that blocks others is visible.
void Windows_UpdateBlocked();
/// Wraps this process's window that has the focus, without adding it to the list. Null if there is none.
WindowPtr Windows_WrapActive();
/// The number of modal loops that have ended in this process.
unsigned Windows_CountModalLoops();
