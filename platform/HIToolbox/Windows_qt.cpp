// SPDX-License-Identifier: MIT
// Windows_qt.cpp - windows: their life, place, order and modality.
#include "HIToolbox/Windows_qt.h"

#include "HIToolbox/Accessibility_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/ModalLoop_qt.h"
#include "QuickDraw/Regions.h"

#include <CoreFoundation/CFString.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtGui/QKeyEvent>
#include <QtGui/QWindow>
#include <QtWidgets/QAbstractButton>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <limits>

namespace {

constexpr int kExposureLimit = 1000; // milliseconds to wait for a window to reach the screen

// Front last. Never freed: a host may leave windows to the end of the process.
std::vector<WindowPtr>& Windows()
{
    static auto* windows = new std::vector<WindowPtr>;
    return *windows;
}

SInt16 ToShort(int value)
{
    using Limits = std::numeric_limits<SInt16>;
    return static_cast<SInt16>(std::clamp<int>(value, Limits::min(), Limits::max()));
}

Rect ToRect(const QRect& rect)
{
    return { ToShort(rect.top()), ToShort(rect.left()), ToShort(rect.top() + rect.height()),
             ToShort(rect.left() + rect.width()) };
}

void Notify(OpaqueWindowPtr& window, UInt32 kind)
{
    if (window.target.handlers.empty()) {
        return;
    }
    WindowRef direct = &window;
    OpaqueEventRef event { kEventClassWindow, kind, {} };
    event.Set(kEventParamDirectObject, typeWindowRef, &direct, sizeof direct);
    SendEventToEventTarget(&event, &window.target);
}

// Frame margins are known only once the window is on the screen. Clicks and keys wait for whoever
// runs events next.
void WaitForExposure(const QPointer<QWidget>& widget)
{
    QElapsedTimer time;
    time.start();
    QTimer tick; // wakes the wait up where the window system stays silent
    const auto waiting = [&] {
        return widget && widget->windowHandle() && widget->isVisible()
            && !widget->windowHandle()->isExposed() && time.elapsed() < kExposureLimit;
    };
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    while (waiting()) {
        tick.start(5);
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents
                                        | QEventLoop::WaitForMoreEvents);
    }
}

} // namespace

// --- A window over a widget

WidgetWindow::WidgetWindow(QWidget* topLevel)
    : widget(topLevel)
{
}

bool WidgetWindow::IsVisible() const
{
    return widget && widget->isVisible();
}

QRect WidgetWindow::Structure() const
{
    return widget ? widget->frameGeometry() : QRect();
}

QRect WidgetWindow::Content() const
{
    return widget ? widget->geometry() : QRect();
}

QString WidgetWindow::Title() const
{
    return widget ? widget->windowTitle() : QString();
}

void WidgetWindow::Show()
{
    if (widget) {
        widget->show();
        WaitForExposure(widget);
    }
}

void WidgetWindow::Hide()
{
    if (widget) {
        widget->hide();
    }
}

void WidgetWindow::Move(QPoint content)
{
    if (widget) {
        QRect geometry = widget->geometry();
        geometry.moveTo(content);
        widget->setGeometry(geometry); // QWidget::move would place the frame
    }
}

void WidgetWindow::Activate()
{
    if (widget && widget->isVisible()) {
        if (QGuiApplication::platformName() != u"offscreen") { // which warns that it has no order
            widget->raise();
        }
        widget->activateWindow();
    }
}

QWindow* WidgetWindow::Handle()
{
    return widget ? widget->windowHandle() : nullptr;
}

bool WidgetWindow::Owns(const QWindow* window)
{
    const QWindow* own = Handle();
    return own && (window == own || own->isAncestorOf(window, QWindow::IncludeTransients));
}

// --- A window of our own

WindowWidget::WindowWidget()
    : QWidget(nullptr, Qt::Dialog)
{
}

bool WindowWidget::event(QEvent* event)
{
    const Delivery delivery(this);
    return QWidget::event(event);
}

void WindowWidget::keyPressEvent(QKeyEvent* event)
{
    const auto modifiers = event->modifiers() & ~Qt::KeypadModifier;
    QAbstractButton* button = nullptr;
    if (modifiers == Qt::NoModifier
        && (event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter)) {
        button = defaultButton;
    } else if ((modifiers == Qt::NoModifier && event->key() == Qt::Key_Escape)
               || (modifiers == Qt::ControlModifier && event->key() == Qt::Key_Period)) {
        button = cancelButton;
    }
    if (!button) {
        QWidget::keyPressEvent(event);
    } else if (!event->isAutoRepeat()) { // the key that opened a window may still be held
        button->click();
    }
}

void WindowWidget::closeEvent(QCloseEvent* event)
{
    if (window && !window->disposed) {
        const WindowPtr held = window->shared_from_this();
        HICommandExtended command {};
        command.attributes = kHICommandFromWindow;
        command.commandID = kHICommandClose;
        command.source.window = held.get();
        Windows_SendCommand(held, &held->target, command);
    }
    // A window that closed itself may count as closed, so that an application's quit goes on; no
    // other.
    event->setAccepted(!window || !window->IsVisible());
}

void WindowWidget::resizeEvent(QResizeEvent*)
{
    if (window) {
        window->ArrangeControls();
    }
}

OwnWindow::OwnWindow(const QString& title, const QRect& content, WindowFrame frame)
    : WidgetWindow(new WindowWidget)
    , firstSize(content.size())
{
    Widget()->window = this;
    widget->setWindowTitle(title);
    widget->setGeometry(content);
    Qt::WindowFlags flags = Qt::Dialog;
    flags |= frame.titled ? Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
            | Qt::WindowCloseButtonHint
                          : Qt::FramelessWindowHint;
    flags.setFlag(Qt::WindowMinimizeButtonHint, frame.collapsible);
    flags.setFlag(Qt::WindowMaximizeButtonHint, frame.resizable && frame.zoomable);
    widget->setWindowFlags(flags);
    if (!frame.resizable) {
        widget->setFixedSize(content.size());
    }
}

OwnWindow::~OwnWindow()
{
    WindowWidget* own = Widget();
    if (!own) {
        return;
    }
    own->window = nullptr;
    if (own->InDelivery()) {
        own->hide();
        own->deleteLater();
    } else {
        delete own;
    }
}

void OwnWindow::Show()
{
    if (m_visible) {
        return;
    }
    quit = false;
    Notify(*this, kEventWindowShowing);
    if (disposed || m_visible || !widget) {
        return;
    }
    const WindowPtr parent = unavailable.lock();
    widget->setWindowModality(modality == kWindowModalityNone              ? Qt::NonModal
                                  : modality == kWindowModalityWindowModal ? Qt::WindowModal
                                                                           : Qt::ApplicationModal);
    if (QWindow* above = parent ? parent->Handle() : nullptr) {
        widget->winId(); // makes the handle
        widget->windowHandle()->setTransientParent(above);
    }
    if (QAbstractButton* button = Widget()->defaultButton) {
        button->setFocus();
    }
    m_visible = true;
    Windows_UpdateBlocked();
    WidgetWindow::Show();
    if (!disposed && m_visible) {
        Notify(*this, kEventWindowShown);
    }
}

void OwnWindow::Hide()
{
    if (!m_visible) {
        return;
    }
    Notify(*this, kEventWindowHiding);
    if (Vanish()) {
        Notify(*this, kEventWindowHidden);
    }
}

bool OwnWindow::Vanish()
{
    if (!m_visible) {
        return false;
    }
    m_visible = false;
    WidgetWindow::Hide();
    Windows_UpdateBlocked();
    return true;
}

void OwnWindow::SetBackground(ThemeBrush brush)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, brush == kThemeBrushWhite ? Qt::white : Qt::black);
    palette.setColor(QPalette::WindowText, Qt::black); // whatever the desktop's colours are
    widget->setPalette(palette);
}

void OwnWindow::ArrangeControls()
{
    for (const ControlPtr& control : controls) {
        control->Arrange();
    }
}

// --- The list of windows

std::shared_ptr<OwnWindow>
Windows_Create(const QString& title, const QRect& content, WindowFrame frame)
{
    Accessibility_Install();
    auto window = std::make_shared<OwnWindow>(title, content, frame);
    Windows_Add(window);
    return window;
}

WindowRef Windows_Add(const WindowPtr& window)
{
    Windows().push_back(window);
    return window.get();
}

WindowPtr Windows_Find(WindowRef window)
{
    for (const WindowPtr& known : Windows()) {
        if (known.get() == window) {
            return known;
        }
    }
    return nullptr;
}

std::shared_ptr<OwnWindow> Windows_FindOwn(WindowRef window)
{
    return std::dynamic_pointer_cast<OwnWindow>(Windows_Find(window));
}

const std::vector<WindowPtr>& Windows_All()
{
    return Windows();
}

void Windows_UpdateBlocked()
{
    bool all = ModalLoop_IsRunning();
    std::vector<WindowPtr> blocked;
    for (const WindowPtr& window : Windows()) {
        if (window->modality == kWindowModalityNone || !window->IsVisible()) {
            continue;
        }
        if (window->modality == kWindowModalityWindowModal) {
            blocked.push_back(window->unavailable.lock());
        } else {
            all = true;
        }
    }
    for (const WindowPtr& window : Windows()) {
        window->SetBlocked(all
                           || std::find(blocked.begin(), blocked.end(), window) != blocked.end());
    }
}

void Windows_SendCommand(const WindowPtr& window,
                         EventTargetRef target,
                         const HICommandExtended& command)
{
    if (window->disposed) {
        return;
    }
    OpaqueEventRef event { kEventClassCommand, kEventCommandProcess, {} };
    event.Set(kEventParamDirectObject, typeHICommand, &command, sizeof command);
    const OSStatus result = SendEventToEventTarget(&event, target);
    if (result == eventNotHandledErr && command.commandID == kHICommandClose && !window->disposed) {
        Notify(*window, kEventWindowClose);
    }
}

// --- The API

OSStatus GetWindowClass(WindowRef ref, WindowClass* windowClass)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return errInvalidWindowRef;
    }
    if (!windowClass) {
        return paramErr;
    }
    *windowClass = window->windowClass;
    return noErr;
}

OSStatus SetWindowClass(WindowRef ref, WindowClass windowClass)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return errInvalidWindowRef;
    }
    window->windowClass = windowClass;
    return noErr;
}

OSStatus SetWindowModality(WindowRef ref, WindowModality modality, WindowRef unavailable)
{
    const WindowPtr window = Windows_Find(ref);
    const WindowPtr parent = Windows_Find(unavailable);
    if (!window) {
        return errInvalidWindowRef;
    }
    if (modality > kWindowModalityWindowModal) {
        return paramErr;
    }
    if (modality == kWindowModalityWindowModal && (!parent || parent == window)) {
        return errInvalidWindowRef;
    }
    window->modality = modality;
    window->unavailable = modality == kWindowModalityWindowModal ? parent : nullptr;
    Windows_UpdateBlocked();
    return noErr;
}

OSStatus SetThemeWindowBackground(WindowRef ref, ThemeBrush brush, Boolean update)
{
    const auto window = Windows_FindOwn(ref);
    if (!window) {
        return Windows_Find(ref) ? windowWrongStateErr
                                 : errInvalidWindowRef; // the host paints its own
    }
    if (brush != kThemeBrushWhite && brush != kThemeBrushBlack) {
        return themeInvalidBrushErr;
    }
    window->SetBackground(brush);
    if (update) {
        window->widget->update();
    }
    return noErr;
}

void BringToFront(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return;
    }
    auto& windows = Windows();
    const auto found = std::find(windows.begin(), windows.end(), window);
    std::rotate(found, found + 1, windows.end());
    window->Activate();
}

void ShowWindow(WindowRef ref)
{
    if (const WindowPtr window = Windows_Find(ref)) {
        window->Show();
    }
}

void HideWindow(WindowRef ref)
{
    if (const WindowPtr window = Windows_Find(ref)) {
        window->Hide();
    }
}

Boolean IsWindowVisible(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    return window && window->IsVisible();
}

void MoveWindow(WindowRef ref, SInt16 h, SInt16 v, Boolean front)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return;
    }
    window->Move({ h, v });
    if (front) {
        BringToFront(ref);
    }
}

OSStatus GetWindowBounds(WindowRef ref, WindowRegionCode code, Rect* bounds)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return errInvalidWindowRef;
    }
    if (!bounds) {
        return paramErr;
    }
    switch (code) {
    case kWindowStructureRgn:
        *bounds = ToRect(window->Structure());
        return noErr;
    case kWindowContentRgn:
        *bounds = ToRect(window->Content());
        return noErr;
    default:
        return errWindowRegionCodeInvalid;
    }
}

OSStatus GetWindowRegion(WindowRef ref, WindowRegionCode code, RgnHandle region)
{
    return GetWindowBounds(ref, code, region ? &region->bounds : nullptr);
}

OSStatus CopyWindowTitleAsCFString(WindowRef ref, CFStringRef* title)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window) {
        return errInvalidWindowRef;
    }
    if (!title) {
        return paramErr;
    }
    const QByteArray text = window->Title().toUtf8();
    *title = CFStringCreateWithBytes(kCFAllocatorDefault,
                                     reinterpret_cast<const UInt8*>(text.constData()), text.size(),
                                     kCFStringEncodingUTF8, false);
    return *title ? noErr : memFullErr;
}

WindowRef FrontNonFloatingWindow()
{
    const auto& windows = Windows();
    const auto found = std::find_if(windows.rbegin(), windows.rend(), [](const WindowPtr& window) {
        return window->IsVisible() && window->windowClass != kFloatingWindowClass
            && dynamic_cast<OwnWindow*>(window.get());
    });
    return found == windows.rend() ? nullptr : found->get();
}

EventTargetRef GetWindowEventTarget(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    return window ? &window->target : nullptr;
}

void DisposeWindow(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window || window->disposed) {
        return;
    }
    window->disposed = true; // from here on only the three notices below reach the handlers
    auto* own = dynamic_cast<OwnWindow*>(window.get());
    if (own && own->Vanish()) {
        Notify(*window, kEventWindowHidden);
    }
    Notify(*window, kEventWindowClosed);
    Notify(*window, kEventWindowDispose);

    QuitAppModalLoopForWindow(ref);
    window->SetBlocked(false);
    window->target.RemoveAll(); // their user data may be gone since Closed
    if (own) {
        own->controls.clear();
    }
    auto& windows = Windows();
    windows.erase(std::find(windows.begin(), windows.end(), window));
    Windows_UpdateBlocked();
}
