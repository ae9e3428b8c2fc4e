// SPDX-License-Identifier: MIT
// Windows_qt.h - what stands behind WindowRef: a window of this API's own making, or a wrapped
// window of the host. Routines hold a window by a WindowPtr while they call out, since a handler
// may dispose it.
#pragma once

#include "HIToolbox/Events.h"

#include <Carbon/MacWindows.h>

#include <QtCore/QPointer>
#include <QtWidgets/QWidget>

#include <memory>
#include <vector>

class QAbstractButton;
class QEventLoop;

/// Any window. What a kind of window cannot do, it leaves.
struct OpaqueWindowPtr : std::enable_shared_from_this<OpaqueWindowPtr>
{
    OpaqueEventTargetRef target { GetApplicationEventTarget() };
    WindowClass windowClass = kDocumentWindowClass;
    WindowModality modality = kWindowModalityNone;
    std::weak_ptr<OpaqueWindowPtr> unavailable; // with kWindowModalityWindowModal
    QEventLoop* loop = nullptr; // while it runs modally
    bool quit = false; // asked to end before it ran
    bool disposed = false; // being disposed: sends nothing more on its own

    OpaqueWindowPtr() = default;
    OpaqueWindowPtr(const OpaqueWindowPtr&) = delete;
    OpaqueWindowPtr& operator=(const OpaqueWindowPtr&) = delete;
    virtual ~OpaqueWindowPtr() = default;

    virtual bool IsVisible() const = 0;
    virtual QRect Structure() const = 0; // screen coordinates; empty when the window is gone
    virtual QRect Content() const = 0;
    virtual QString Title() const = 0;
    virtual void Show() = 0;
    virtual void Hide() = 0;
    virtual void Move(QPoint content) = 0;
    virtual void Activate() = 0; // to the front, with the focus
    virtual QWindow* Handle() = 0; // null before the first show, and when it is gone
    virtual void SetBlocked(bool /*blocked*/) { } // beyond what Qt blocks by itself
    virtual bool Owns(const QWindow* window) = 0; // that window or one on top of it
};

using WindowPtr = std::shared_ptr<OpaqueWindowPtr>;

/// A window over a widget: the host's as it is, or the base of our own.
struct WidgetWindow : OpaqueWindowPtr
{
    QPointer<QWidget> widget;

    explicit WidgetWindow(QWidget* topLevel);
    bool IsVisible() const override;
    QRect Structure() const override;
    QRect Content() const override;
    QString Title() const override;
    void Show() override;
    void Hide() override;
    void Move(QPoint content) override;
    void Activate() override;
    QWindow* Handle() override;
    bool Owns(const QWindow* window) override;
};

struct OwnWindow;

/// The widget of a window of our own. It outlives its window when that is disposed inside a
/// delivery.
class WindowWidget : public QWidget
{
public:
    WindowWidget();

    OwnWindow* window = nullptr; // null once disposed
    QPointer<QAbstractButton> defaultButton; // pressed by Return and Enter
    QPointer<QAbstractButton> cancelButton; // pressed by Escape and Control-period

    /// Held while an event of this window is delivered: the widget may not be deleted then.
    class Delivery
    {
    public:
        explicit Delivery(WindowWidget* widget)
            : m_widget(widget)
        {
            ++m_widget->m_deliveries;
        }
        ~Delivery() { --m_widget->m_deliveries; }
        Delivery(const Delivery&) = delete;
        Delivery& operator=(const Delivery&) = delete;

    private:
        WindowWidget* m_widget; // alive: deletion waits for the count
    };
    bool InDelivery() const { return m_deliveries != 0; }

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    int m_deliveries = 0;
};

struct OpaqueControlRef;

/// What a window's frame offers. Whatever it is, the close request stays: a user must get rid of any window.
struct WindowFrame
{
    bool titled = true;
    bool resizable = true;
    bool collapsible = false;
    bool zoomable = false;
};

/// A window of this API's own making.
struct OwnWindow final : WidgetWindow
{
    std::vector<std::shared_ptr<OpaqueControlRef>> controls; // containers before their content

    const QSize firstSize; // that the controls were made for

    OwnWindow(const QString& title, const QRect& content, WindowFrame frame);
    ~OwnWindow() override;
    WindowWidget* Widget() const { return static_cast<WindowWidget*>(widget.data()); }
    bool IsVisible() const override { return m_visible; }
    void Show() override;
    void Hide() override;
    bool Vanish(); // hides it without a word; true when it was visible
    void SetBackground(ThemeBrush brush);
    void ArrangeControls();

private:
    bool m_visible = false; // by this API's calls, whatever the window system shows
};

/// A new window, hidden; the caller has checked Application_IsReady().
std::shared_ptr<OwnWindow>
Windows_Create(const QString& title, const QRect& content, WindowFrame frame);
/// Makes a window known; it ends with DisposeWindow.
WindowRef Windows_Add(const WindowPtr& window);
/// The window behind a reference; null for what is none.
WindowPtr Windows_Find(WindowRef window);
std::shared_ptr<OwnWindow> Windows_FindOwn(WindowRef window);
/// All windows, front last.
const std::vector<WindowPtr>& Windows_All();
/// Blocks what the visible windows' modality and the running modal loops say must take no input.
void Windows_UpdateBlocked();
/// Sends a command to a target and those behind it. A close command that nobody takes becomes a
/// close request to the window, whose default answer is to stay.
void Windows_SendCommand(const WindowPtr& window,
                         EventTargetRef target,
                         const HICommandExtended& command);
/// A new wrapper, not known yet, of this process's window that has the focus; null for none.
WindowPtr Windows_ActiveHost();
