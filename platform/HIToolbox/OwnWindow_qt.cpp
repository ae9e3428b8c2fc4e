// SPDX-License-Identifier: MIT
// OwnWindow_qt.cpp - windows of this API's own making.
#include "HIToolbox/OwnWindow_qt.h"

#include "HIToolbox/Controls_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtCore/QScopedValueRollback>
#include <QtGui/QGuiApplication>
#include <QtGui/QKeyEvent>
#include <QtGui/QScreen>
#include <QtGui/QWindow>

#include <algorithm>

bool WindowWidget::event(QEvent* event)
{
    const QScopedValueRollback delivery(deliveries, deliveries + 1);
    if (event->type() == QEvent::LayoutRequest && window)
        window->FitTexts();
    return QWidget::event(event);
}

void WindowWidget::keyPressEvent(QKeyEvent* event)
{
    const int pressed = event->keyCombination().toCombined() & ~int { Qt::KeypadModifier };
    QPushButton* button = nullptr;
    if (pressed == Qt::Key_Return || pressed == Qt::Key_Enter)
        button = defaultButton;
    else if (pressed == Qt::Key_Escape || pressed == (Qt::CTRL | Qt::Key_Period).toCombined())
        button = cancelButton;
    if (!button)
        QWidget::keyPressEvent(event);
    else if (!event->isAutoRepeat()) // the key that opened a window may still be held
        button->click();
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

OwnWindow::OwnWindow(const QString& title, const QRect& content, bool hasFrame)
    : OwnWindow() // which ends again if anything below throws
{
    widget->setWindowTitle(title);
    widget->setWindowModality(Qt::ApplicationModal);
    widget->setWindowFlags(Qt::Dialog
                           | (hasFrame ? Qt::CustomizeWindowHint | Qt::WindowTitleHint
                                      | Qt::WindowSystemMenuHint | Qt::WindowCloseButtonHint
                                       : Qt::FramelessWindowHint));
    widget->setGeometry(content);
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
    if (own->deliveries == 0) {
        delete own;
        return;
    }
    try {
        own->hide();
        own->deleteLater();
    } catch (...) { // it stays, without a window, until the process ends
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
    if (const WindowPtr parent = unavailable.lock()) {
        // Before its first show a window's frame is unknown: the parent's stands for it.
        const QRect over = parent->Structure();
        const QSize spare = parent->Content().size() - widget->size();
        if (!over.isEmpty())
            Move(over.topLeft() + QPoint(spare.width() / 2, spare.height() / 2));
        widget->winId(); // makes the handle
        widget->windowHandle()->setTransientParent(parent->Handle());
    }
    if (QPushButton* button = Widget()->defaultButton)
        button->setFocus();
    FitTexts();
    m_visible = true;
    Windows_UpdateBlocked();
    try {
        WidgetWindow::Show();
    } catch (...) { // a modal loop of a missing window could not be ended
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

// Moves a window whose default button is not on a screen onto its parent's screen, or the main one.
void OwnWindow::Move(QPoint content)
{
    const QPushButton* button = Widget() ? Widget()->defaultButton : nullptr;
    const auto screens = QGuiApplication::screens();
    const auto holdsButton = [&](const QScreen* screen) {
        const QPoint at = button->mapTo(widget, QPoint());
        return screen->geometry().contains(QRect(content + at, button->size()));
    };
    if (button && !screens.empty() && std::none_of(screens.begin(), screens.end(), holdsButton)) {
        const WindowPtr parent = unavailable.lock();
        const QRect over = parent ? parent->Structure() : QRect();
        const QScreen* screen = QGuiApplication::screenAt(over.center());
        const QRect room = (screen ? screen : screens[0])->availableGeometry();
        const QPoint spare(room.width() - widget->width(), room.height() - widget->height());
        const QPoint wanted = over.isEmpty() ? spare / 2 : content - room.topLeft();
        const auto within = [](int at, int most) { return std::max(0, std::min(at, most)); };
        content
            = room.topLeft() + QPoint(within(wanted.x(), spare.x()), within(wanted.y(), spare.y()));
    }
    WidgetWindow::Move(content);
}

void OwnWindow::SetBackground(ThemeBrush brush)
{
    QPalette palette = widget->palette();
    palette.setColor(QPalette::Window, brush == kThemeBrushWhite ? Qt::white : Qt::black);
    palette.setColor(QPalette::WindowText, Qt::black); // whatever the desktop's colours are
    widget->setPalette(palette);
}

void OwnWindow::UpdateTexts()
{
    m_textsChanged = true;
    if (m_visible)
        QCoreApplication::postEvent(widget, new QEvent(QEvent::LayoutRequest)); // one for all
}

// Boxes are drawn for the metrics of another system's fonts. All texts of a window are set smaller by as many pixels
// as let most of them fit: few enough for two sizes to stay two.
void OwnWindow::FitTexts()
{
    if (!std::exchange(m_textsChanged, false))
        return;
    const auto countCut = [this](int smallerBy) {
        return std::ranges::count(controls, false, [smallerBy](const ControlPtr& control) {
            return control->FitText(smallerBy);
        });
    };
    auto least = countCut(0);
    int best = 0;
    int tried = 0;
    while (least > 0 && tried < 3) {
        if (const auto cut = countCut(++tried); cut < least) {
            least = cut;
            best = tried;
        }
    }
    if (tried != best)
        countCut(best);

    QStringList texts;
    for (const ControlPtr& control : controls) {
        const auto* text = dynamic_cast<const StaticText*>(control.get());
        if (text && !text->hidden && !text->Text().isEmpty())
            texts.append(text->Text());
    }
    widget->setAccessibleDescription(texts.join(u'\n'));
    for (const ControlPtr& control : controls) {
        if (dynamic_cast<const PictureControl*>(control.get()))
            control->widget->setAccessibleName(texts.value(0, Title()));
    }
}

std::shared_ptr<OwnWindow> OwnWindow_Find(WindowRef window)
{
    return std::dynamic_pointer_cast<OwnWindow>(Windows_Find(window));
}

// The API's calls that concern our own windows alone

OSStatus SetThemeWindowBackground(WindowRef ref, ThemeBrush brush, Boolean update)
try {
    const auto window = OwnWindow_Find(ref);
    if (!window) // the host paints its own
        return Windows_Find(ref) ? windowWrongStateErr : errInvalidWindowRef;
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
    if (const auto window = OwnWindow_Find(ref))
        window->widget->repaint(); // nothing in a hidden window
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
