// SPDX-License-Identifier: MIT
// StandardAlert_qt.cpp - the standard alert: a window, controls and handlers like any other's, and
// a modal loop until one of its buttons is chosen.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/HostWindows_qt.h"
#include "HIToolbox/OwnWindow_qt.h"
#include "HIToolbox/TextView_qt.h"

#include <Carbon/Dialogs.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QStringDecoder>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QLabel>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStyle>

#include <algorithm>

namespace {

constexpr int kMargin = 20; // pixels, as everything below
constexpr int kGap = 12;
constexpr int kSignSize = 40;
constexpr int kNarrowestText = 260;
constexpr int kWidestText = 420;
constexpr int kNarrowestButton = 80;
constexpr int kButtonHeight = 26;
constexpr int kTitleRoom = 40; // for the frame that the window manager adds
constexpr int kFrameRoom = 8;

struct Button
{
    SInt16 item;
    QString title;
    int width = 0;
};

// The length byte may have cut a longer text within a character: the decoder keeps such an incomplete tail
// back. All other invalid bytes become replacement characters.
QString FromPascal(ConstStringPtr text)
{
    QStringDecoder decode(QStringDecoder::Utf8);
    return text ? decode(QByteArrayView(text + 1, text[0])) : QString();
}

void AddButton(std::vector<Button>& buttons,
               SInt16 item,
               ConstStringPtr title,
               const char* standard)
{
    if (title == kAlertDefaultOKText)
        buttons.push_back({ item, QCoreApplication::translate("QPlatformTheme", standard) });
    else if (title)
        buttons.push_back({ item, FromPascal(title) });
}

std::vector<Button> ButtonsOf(const AlertStdAlertParamRec& param)
{
    std::vector<Button> buttons; // from the right to the left
    AddButton(buttons, kAlertStdAlertOKButton, param.defaultText, "OK");
    AddButton(buttons, kAlertStdAlertCancelButton, param.cancelText, "Cancel");
    AddButton(buttons, kAlertStdAlertOtherButton, param.otherText, "Don't Save");
    if (param.helpButton)
        AddButton(buttons, kAlertStdAlertHelpButton, kAlertDefaultOKText, "Help");
    if (buttons.empty()) { // nobody could leave the alert
        AddButton(buttons, kAlertStdAlertOKButton, kAlertDefaultOKText, "OK");
    }
    return buttons;
}

/// What an alert's kind is read out as; empty for a plain one, which has no sign.
QString NameOfSign(AlertType type)
{
    switch (type) {
    case kAlertStopAlert:
        return QStringLiteral("Stop");
    case kAlertNoteAlert:
        return QStringLiteral("Note");
    case kAlertCautionAlert:
        return QStringLiteral("Caution");
    default:
        return {};
    }
}

// An exclamation mark on red or in a yellow triangle, an "i" on blue. Qt's own have 32 pixels and blur on dense
// screens.
QPixmap DrawSign(AlertType type, double density)
{
    QPixmap pixmap(QSize(kSignSize, kSignSize) * density);
    pixmap.setDevicePixelRatio(density);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    const bool isCaution = type == kAlertCautionAlert;
    const QColor ground = isCaution ? 0xFFC107 : type == kAlertStopAlert ? 0xC62828 : 0x1565C0;
    painter.setBrush(ground);
    if (isCaution) {
        painter.setPen({ ground, 4, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin });
        const QPointF corners[] = { { 20, 4 }, { 37, 35 }, { 3, 35 } };
        painter.drawConvexPolygon(corners, 3);
    } else {
        painter.setPen(Qt::NoPen);
        painter.drawEllipse(1, 1, 38, 38);
    }
    if (type == kAlertNoteAlert) { // an "i" is the mark upside down
        painter.translate(kSignSize, kSignSize);
        painter.rotate(180);
    }
    const double top = isCaution ? 13 : 9;
    const QColor mark = isCaution ? Qt::black : Qt::white;
    painter.setPen({ mark, 4, Qt::SolidLine, Qt::RoundCap });
    painter.drawLine(QPointF(20, top), QPointF(20, top + 10));
    painter.drawPoint(QPointF(20, top + 18));
    return pixmap;
}

QFont FontOf(int pixels, bool bold)
{
    QFont font = QApplication::font();
    font.setPixelSize(pixels);
    font.setBold(bold);
    return font;
}

// Gives each button its width, all together at most `widest`; returns the width of their row.
int FitButtons(std::vector<Button>& buttons, int widest)
{
    int rowWidth = static_cast<int>(buttons.size() - 1) * kGap;
    const QFontMetrics metrics(FontOf(13, false));
    const int share = (widest - rowWidth) / static_cast<int>(buttons.size());
    for (Button& button : buttons) {
        button.width = std::clamp(metrics.horizontalAdvance(button.title) + 32,
                                  std::min(kNarrowestButton, share), share);
        rowWidth += button.width;
    }
    return rowWidth;
}

// The two texts in a column as narrow as they need, but for `least` and `most`.
QWidget*
MakeTexts(QWidget* parent, const QString& message, const QString& explanation, int least, int most)
{
    auto* texts = new QWidget(parent);
    auto* bold = new TextView(texts);
    bold->SetFont(FontOf(13, true));
    bold->SetText(message);
    auto* small = new TextView(texts);
    small->SetFont(FontOf(11, false));
    small->SetText(explanation);
    const int natural = std::max({ bold->NaturalWidth(), small->NaturalWidth(), least });
    const int width
        = std::min(std::clamp(natural, kNarrowestText, std::max(kWidestText, least)), most);
    const int boldHeight = message.isEmpty() ? 0 : bold->HeightForWidth(width);
    const int smallHeight = explanation.isEmpty() ? 0 : small->HeightForWidth(width);
    const int between = boldHeight && smallHeight ? 8 : 0;
    bold->setGeometry(0, 0, width, boldHeight);
    small->setGeometry(0, boldHeight + between, width, smallHeight);
    texts->resize(width, boldHeight + between + smallHeight);
    return texts;
}

/// One alert, from its layout to the choice.
class Alert
{
public:
    Alert(AlertType type,
          const QString& message,
          const QString& explanation,
          const AlertStdAlertParamRec& param)
        : m_host(HostWindows_Active())
        , m_cancelItem(param.cancelButton)
    {
        const QScreen* screen
            = m_host ? QGuiApplication::screenAt(m_host->Structure().center()) : nullptr;
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        const QRect room = (screen ? screen->availableGeometry() : QRect(0, 0, 640, 480))
                               .adjusted(kFrameRoom, kTitleRoom, -kFrameRoom, -kFrameRoom);

        m_window = std::make_shared<OwnWindow>(QApplication::applicationDisplayName(),
                                               QRect(0, 0, 1, 1), WindowFrame());
        m_window->windowClass = kMovableAlertWindowClass;
        m_window->widget->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint
                                         | Qt::WindowTitleHint);
        m_window->widget->setAccessibleName(message);
        const QSize size = LayOut(type, message, explanation, ButtonsOf(param), param, room);
        QRect content(QPoint(), size);
        content.moveTo(room.left() + (room.width() - size.width()) / 2,
                       room.top() + (room.height() - size.height()) / 3);
        m_window->widget->setGeometry(content);
        m_window->widget->setFixedSize(size);
        Windows_Add(m_window);
    }
    ~Alert()
    {
        DisposeWindow(m_window.get());
        BringToFront(m_host.get());
        DisposeWindow(m_host.get());
    }
    Alert(const Alert&) = delete;
    Alert& operator=(const Alert&) = delete;

    /// The item chosen; 0 when the alert could not be shown, or the application ended meanwhile.
    SInt16 Run()
    {
        const EventTypeSpec type { kEventClassCommand, kEventCommandProcess };
        if (InstallEventHandler(&m_window->target, OnCommand, 1, &type, this, nullptr) != noErr)
            return 0; // no button would end the alert
        WindowRef host = m_host ? Windows_Add(m_host) : nullptr;
        SetWindowModality(m_window.get(),
                          host ? kWindowModalityWindowModal : kWindowModalityAppModal, host);
        BringToFront(m_window.get());
        ShowWindow(m_window.get());
        RunAppModalLoopForWindow(m_window.get());
        return m_chosen;
    }

private:
    // A button's command is its item. The window manager's close request is the cancel button, if
    // any.
    static OSStatus OnCommand(EventHandlerCallRef, EventRef event, void* self)
    {
        auto* alert = static_cast<Alert*>(self);
        HICommand command {};
        GetEventParameter(event, kEventParamDirectObject, typeHICommand, nullptr, sizeof command,
                          nullptr, &command);
        const SInt16 item = command.commandID == kHICommandClose
            ? alert->m_cancelItem
            : static_cast<SInt16>(command.commandID);
        if (item != 0) {
            alert->m_chosen = item;
            QuitAppModalLoopForWindow(alert->m_window.get());
        }
        return noErr;
    }

    // Texts wrap, and scroll where the screen is too low for them; the buttons always stay on the screen.
    QSize LayOut(AlertType type,
                 const QString& message,
                 const QString& explanation,
                 std::vector<Button> buttons,
                 const AlertStdAlertParamRec& param,
                 const QRect& room)
    {
        const QString sign = NameOfSign(type);
        const int signRoom = sign.isEmpty() ? 0 : kSignSize + kMargin;
        const int widest = room.width() - 2 * kMargin;
        const int rowWidth = FitButtons(buttons, widest);
        QWidget* texts = MakeTexts(m_window->widget, message, explanation, rowWidth - signRoom,
                                   widest - signRoom);

        const int textHeight
            = std::min(texts->height(), room.height() - 3 * kMargin - kButtonHeight);
        const int barRoom = textHeight < texts->height()
            ? QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent)
            : 0;
        const int textWidth = texts->width() + barRoom;
        auto* scroll = new QScrollArea(m_window->widget);
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setWidget(texts);
        scroll->setFocusPolicy(barRoom ? Qt::StrongFocus : Qt::NoFocus);
        scroll->setGeometry(kMargin + signRoom, kMargin, textWidth, textHeight);
        if (signRoom) {
            auto* label = new QLabel(m_window->widget);
            label->setPixmap(DrawSign(type, m_window->widget->devicePixelRatio()));
            label->setAccessibleName(sign);
            label->setGeometry(kMargin, kMargin, kSignSize, kSignSize);
        }

        const int bodyHeight = std::max(textHeight, signRoom ? kSignSize : 0);
        const QSize size(2 * kMargin + signRoom + textWidth,
                         3 * kMargin + bodyHeight + kButtonHeight);
        PlaceButtons(buttons, param, size);
        return size;
    }

    void PlaceButtons(const std::vector<Button>& buttons,
                      const AlertStdAlertParamRec& param,
                      const QSize& size)
    {
        const int top = size.height() - kMargin - kButtonHeight;
        int right = size.width() - kMargin;
        int left = kMargin;
        for (const Button& button : buttons) {
            const bool farLeft = button.item > kAlertStdAlertCancelButton;
            const QRect bounds(farLeft ? left : right - button.width, top, button.width,
                               kButtonHeight);
            (farLeft ? left : right) += (farLeft ? 1 : -1) * (button.width + kGap);
            const auto control = Controls_Create<PushButton>(*m_window, nullptr, bounds);
            control->command = static_cast<UInt32>(button.item);
            control->SetTitle(button.title.toStdString());
            control->SetDefault(button.item == param.defaultButton);
            control->SetCancel(button.item == param.cancelButton);
        }
    }

    WindowPtr m_host; // what has the focus now and gets it back; null for none
    std::shared_ptr<OwnWindow> m_window;
    SInt16 m_cancelItem;
    SInt16 m_chosen = 0;
};

} // namespace

OSErr StandardAlert(AlertType type,
                    ConstStr255Param message,
                    ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param,
                    SInt16* itemHit)
try {
    AlertStdAlertParamRec standard {};
    standard.defaultText = kAlertDefaultOKText;
    standard.defaultButton = kAlertStdAlertOKButton;
    if (type < kAlertStopAlert || type > kAlertPlainAlert || !itemHit)
        return paramErr;
    if (!Application_IsReady())
        return windowWrongStateErr;
    const SInt16 item
        = Alert(type, FromPascal(message), FromPascal(explanation), param ? *param : standard)
              .Run();
    if (item == 0)
        return windowWrongStateErr;
    *itemHit = item;
    return noErr;
} catch (...) {
    return memFullErr;
}
