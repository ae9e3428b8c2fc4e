// SPDX-License-Identifier: MIT
// Windows_qt.cpp - the list of windows, and the API's calls on any of them.
#include "HIToolbox/Windows_qt.h"

#include "support/Bridges_qt.h"

#include <CoreFoundation/CFString.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>

#include <algorithm>

namespace {

constexpr int kExposureLimit = 1000; // milliseconds to wait for a window to reach the screen

// Front last. Never freed: a host may leave windows to the end of the process.
std::vector<WindowPtr>& Windows()
{
    static auto* windows = new std::vector<WindowPtr>;
    return *windows;
}

// Frame margins are known only once the window is on the screen. Clicks and keys stay in the queue.
void WaitForExposure(const QPointer<QWidget>& widget)
{
    const QDeadlineTimer limit(kExposureLimit);
    QTimer tick;
    tick.start(5); // ends the wait if the window system stays silent
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
    while (widget && widget->windowHandle() && widget->isVisible()
           && !widget->windowHandle()->isExposed() && !limit.hasExpired()) {
        QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents
                                        | QEventLoop::WaitForMoreEvents);
    }
}

} // namespace

// Any window

void OpaqueWindowPtr::Notify(UInt32 kind)
{
    const WindowRef object = this;
    target.Send({ kEventClassWindow, kind, typeWindowRef, std::as_bytes(std::span(&object, 1)) });
}

void OpaqueWindowPtr::SendCommand(const HICommandExtended& command)
{
    if (disposed)
        return;
    const WindowPtr held = shared_from_this();
    const OSStatus result = target.Send({ kEventClassCommand, kEventCommandProcess, typeHICommand,
                                          std::as_bytes(std::span(&command, 1)) });
    if (result == eventNotHandledErr && command.commandID == kHICommandClose && !disposed)
        Notify(kEventWindowClose);
}

// A window over a widget

void WidgetWindow::Show()
{
    if (widget) {
        widget->show();
        WaitForExposure(widget);
    }
}

void WidgetWindow::Hide()
{
    if (widget)
        widget->hide();
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
        if (QGuiApplication::platformName() != u"offscreen") // which warns that it has no order
            widget->raise();
        widget->activateWindow();
    }
}

// The list of windows

WindowRef Windows_Add(const WindowPtr& window)
{
    Windows().push_back(window);
    return window.get();
}

WindowPtr Windows_Find(WindowRef window)
{
    const auto found = std::ranges::find(Windows(), window, &WindowPtr::get);
    return found == Windows().end() ? nullptr : *found;
}

const std::vector<WindowPtr>& Windows_All() { return Windows(); }

void Windows_UpdateBlocked()
{
    const bool isBlocked
        = std::ranges::any_of(Windows(), &OpaqueWindowPtr::BlocksOthers, &WindowPtr::operator*);
    for (const WindowPtr& window : Windows())
        window->SetBlocked(isBlocked);
}

// The API

OSStatus GetWindowClass(WindowRef ref, WindowClass* windowClass)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    if (!windowClass)
        return paramErr;
    *windowClass = window->windowClass;
    return noErr;
}

OSStatus SetWindowClass(WindowRef ref, WindowClass windowClass)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    window->windowClass = windowClass;
    return noErr;
}

OSStatus SetWindowModality(WindowRef ref, WindowModality modality, WindowRef unavailable)
{
    const WindowPtr window = Windows_Find(ref);
    const WindowPtr parent = Windows_Find(unavailable);
    if (!window)
        return errInvalidWindowRef;
    if (modality > kWindowModalityWindowModal)
        return paramErr;
    if (modality == kWindowModalityWindowModal && (!parent || parent == window))
        return errInvalidWindowRef;
    window->unavailable = modality == kWindowModalityWindowModal ? parent : nullptr;
    return noErr;
}

void BringToFront(WindowRef ref)
try {
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return;
    auto& windows = Windows();
    const auto found = std::find(windows.begin(), windows.end(), window);
    std::rotate(found, found + 1, windows.end());
    window->Activate();
} catch (...) {
}

void ShowWindow(WindowRef ref)
try {
    if (const WindowPtr window = Windows_Find(ref))
        window->Show();
} catch (...) {
}

void HideWindow(WindowRef ref)
try {
    if (const WindowPtr window = Windows_Find(ref))
        window->Hide();
} catch (...) {
}

Boolean IsWindowVisible(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    return window && window->IsVisible();
}

void MoveWindow(WindowRef ref, SInt16 h, SInt16 v, Boolean front)
try {
    if (const WindowPtr window = Windows_Find(ref))
        window->Move({ h, v });
    if (front)
        BringToFront(ref);
} catch (...) {
}

OSStatus GetWindowBounds(WindowRef ref, WindowRegionCode code, Rect* bounds)
try {
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    if (!bounds)
        return paramErr;
    if (code != kWindowStructureRgn && code != kWindowContentRgn)
        return errWindowRegionCodeInvalid;
    *bounds = Bridges_ToRect(code == kWindowContentRgn ? window->Content() : window->Structure());
    return noErr;
} catch (...) {
    return memFullErr;
}

// Every region is a rectangle.
struct OpaqueRgnHandle
{
    Rect bounds; // screen coordinates
};

RgnHandle NewRgn() { return new (std::nothrow) OpaqueRgnHandle {}; }

void DisposeRgn(RgnHandle region) { delete region; }

Rect* GetRegionBounds(RgnHandle region, Rect* bounds)
{
    if (bounds)
        *bounds = region ? region->bounds : Rect {};
    return bounds;
}

OSStatus GetWindowRegion(WindowRef ref, WindowRegionCode code, RgnHandle region)
{
    return GetWindowBounds(ref, code, region ? &region->bounds : nullptr);
}

OSStatus CopyWindowTitleAsCFString(WindowRef ref, CFStringRef* title)
try {
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    if (!title)
        return paramErr;
    *title = Bridges_CreateCFString(window->Title()).release();
    return noErr;
} catch (...) {
    return memFullErr;
}

EventTargetRef GetWindowEventTarget(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    return window ? &window->target : nullptr;
}

void DisposeWindow(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window || window->disposed)
        return;
    window->disposed = true; // from here on only the three notices below reach the handlers
    try {
        window->Vanish();
    } catch (...) { // it goes with its widget below
    }
    window->Notify(kEventWindowClosed);
    window->Notify(kEventWindowDispose);

    window->quit = true;
    if (window->loop)
        window->loop->quit();
    window->SetBlocked(false);
    window->target.RemoveAll(); // their user data may be gone since Closed
    window->FreeControls();
    auto& windows = Windows();
    std::erase(windows, window);
    Windows_UpdateBlocked();
}
