// SPDX-License-Identifier: MIT
// OwnWindow_qt.cpp - windows of this API's own making.
#include "HIToolbox/OwnWindow_qt.h"

#include <Carbon/Controls.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QCoreApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QWindow>
#include <QtWidgets/QAbstractButton>

#include <algorithm>

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
    if (window) {
        HICommandExtended command {};
        command.attributes = kHICommandFromWindow;
        command.commandID = kHICommandClose;
        command.source.window = window;
        window->SendCommand(command);
    }
    // Accept only if a handler has already hidden or disposed the window; then QApplication::quit() continues.
    event->setAccepted(!window || !window->IsVisible());
}

OwnWindow::OwnWindow()
    : WidgetWindow(new WindowWidget)
{
    Widget()->window = this;
}

OwnWindow::OwnWindow(const QString& title, const QRect& content, WindowFrame frame)
    : OwnWindow() // which ends again if anything below throws
{
    widget->setWindowTitle(title);
    widget->setGeometry(content);
    Qt::WindowFlags flags = Qt::Dialog;
    flags |= frame.titled ? Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint
            | Qt::WindowCloseButtonHint
                          : Qt::FramelessWindowHint;
    flags.setFlag(Qt::WindowMinimizeButtonHint, frame.collapsible);
    flags.setFlag(Qt::WindowMaximizeButtonHint, frame.resizable && frame.zoomable);
    widget->setWindowFlags(flags);
    if (!frame.resizable)
        widget->setFixedSize(content.size());
}

OwnWindow::~OwnWindow()
{
    WindowWidget* own = Widget();
    if (!own)
        return;
    own->window = nullptr;
    if (!disposed) { // never finished: Qt does not survive the end of a widget with children half made
        QCoreApplication::removePostedEvents(own);
        return;
    }
    if (own->InDelivery()) {
        try {
            own->hide();
            own->deleteLater();
        } catch (...) { // it stays, without a window, until the process ends
        }
    } else {
        delete own;
    }
}

void OwnWindow::Show()
{
    if (m_visible)
        return;
    quit = false;
    Notify(kEventWindowShowing);
    if (disposed || m_visible || !widget)
        return;
    const WindowPtr parent = unavailable.lock();
    widget->setWindowModality(modality == kWindowModalityNone              ? Qt::NonModal
                                  : modality == kWindowModalityWindowModal ? Qt::WindowModal
                                                                           : Qt::ApplicationModal);
    if (QWindow* above = parent ? parent->Handle() : nullptr) {
        widget->winId(); // makes the handle
        widget->windowHandle()->setTransientParent(above);
    }
    if (QAbstractButton* button = Widget()->defaultButton)
        button->setFocus();
    m_visible = true;
    Windows_UpdateBlocked();
    try {
        WidgetWindow::Show();
    } catch (...) { // nobody could end a modal loop of a window that is not there
        Vanish();
        throw;
    }
    if (!disposed && m_visible)
        Notify(kEventWindowShown);
}

void OwnWindow::Hide()
{
    if (m_visible) {
        Notify(kEventWindowHiding);
        Vanish();
    }
}

void OwnWindow::Vanish()
{
    if (!m_visible)
        return;
    m_visible = false;
    WidgetWindow::Hide();
    Windows_UpdateBlocked();
    Notify(kEventWindowHidden);
}

void OwnWindow::SetBackground(ThemeBrush brush)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, brush == kThemeBrushWhite ? Qt::white : Qt::black);
    palette.setColor(QPalette::WindowText, Qt::black); // whatever the desktop's colours are
    widget->setPalette(palette);
}

std::shared_ptr<OwnWindow> OwnWindow_Find(WindowRef window)
{
    return std::dynamic_pointer_cast<OwnWindow>(Windows_Find(window));
}

// The API's calls that concern our own windows alone

OSStatus SetThemeWindowBackground(WindowRef ref, ThemeBrush brush, Boolean update)
try {
    const auto window = OwnWindow_Find(ref);
    if (!window) {
        return Windows_Find(ref) ? windowWrongStateErr // the host paints its own
                                 : errInvalidWindowRef;
    }
    if (brush != kThemeBrushWhite && brush != kThemeBrushBlack)
        return themeInvalidBrushErr;
    window->SetBackground(brush);
    if (update)
        window->widget->update();
    return noErr;
} catch (...) {
    return memFullErr;
}

void DrawControls(WindowRef ref)
try {
    if (const auto window = OwnWindow_Find(ref)) {
        window->widget->repaint(); // nothing in a hidden window
    }
} catch (...) {
}

WindowRef FrontNonFloatingWindow()
{
    const auto& windows = Windows_All();
    const auto found = std::find_if(windows.rbegin(), windows.rend(), [](const WindowPtr& window) {
        return window->IsVisible() && window->windowClass != kFloatingWindowClass
            && dynamic_cast<OwnWindow*>(window.get());
    });
    return found == windows.rend() ? nullptr : found->get();
}
