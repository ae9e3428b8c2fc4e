// SPDX-License-Identifier: MIT
// StandardAlert_qt.cpp - the standard alert: a window and a modal loop until one of its buttons is chosen.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Controls_qt.h"

#include <Carbon/Dialogs.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QStringDecoder>
#include <QtGui/QPainter>
#include <QtGui/QScreen>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>
#include <QtWidgets/QBoxLayout>
#include <QtWidgets/QLabel>
#include <QtWidgets/QScrollArea>
#include <QtWidgets/QStyle>

#include <algorithm>

namespace {

constexpr int kMargin = 20; // pixels, as everything below
constexpr SInt16 kBold = 1; // a face
constexpr int kGap = 12;
constexpr int kSignSize = 40;
constexpr int kNarrowestText = 260;
constexpr int kWidestText = 420;
constexpr int kNarrowestButton = 80;
constexpr int kButtonHeight = 26;
constexpr int kTitleRoom = 40; // for the frame that the window manager adds
constexpr int kFrameRoom = 8;

// The decoder leaves a last character out that the length byte cut. Other invalid bytes become replacement characters.
QString FromPascal(ConstStringPtr text)
{
    QStringDecoder decode(QStringDecoder::Utf8);
    return text ? decode(QByteArrayView(text + 1, text[0])) : QString();
}

// An exclamation mark on red or in a yellow triangle, an "i" on blue. Qt's own signs blur on dense screens.
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

// One alert, from its layout to the choice.
class Alert
{
public:
    Alert(AlertType type,
          const QString& message,
          const QString& explanation,
          const AlertStdAlertParamRec& param)
        : m_host(Windows_WrapActive())
        , m_cancelItem(param.cancelButton)
    {
        const QScreen* screen
            = m_host ? QGuiApplication::screenAt(m_host->Structure().center()) : nullptr;
        if (!screen)
            screen = QGuiApplication::primaryScreen();
        const QRect room = (screen ? screen->availableGeometry() : QRect(0, 0, 640, 480))
                               .adjusted(kFrameRoom, kTitleRoom, -kFrameRoom, -kFrameRoom);

        m_window = std::make_shared<OwnWindow>(QApplication::applicationDisplayName(),
                                               QRect(0, 0, 1, 1), true);
        m_window->windowClass = kMovableAlertWindowClass;
        m_window->widget->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint
                                         | Qt::WindowTitleHint);
        m_window->widget->setAccessibleName(message);
        if (message.isRightToLeft())
            m_window->widget->setLayoutDirection(Qt::RightToLeft);
        AddButtons(param);
        LayOut(type, message, explanation, room);
        const QSize spare = room.size() - m_window->widget->size();
        m_window->Move(room.topLeft() + QPoint(spare.width() / 2, spare.height() / 3));
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
    // A button's command is its item. The window manager's close request is the cancel button, if any.
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

    // In the order of the keyboard focus.
    void AddButtons(const AlertStdAlertParamRec& param)
    {
        const ConstStringPtr helpText = param.helpButton ? kAlertDefaultOKText : nullptr;
        AddButton(param, kAlertStdAlertHelpButton, helpText, "Help");
        AddButton(param, kAlertStdAlertOtherButton, param.otherText, "Don't Save");
        AddButton(param, kAlertStdAlertCancelButton, param.cancelText, "Cancel");
        AddButton(param, kAlertStdAlertOKButton, param.defaultText, "OK");
        if (m_buttons.empty()) // the alert could not be closed
            AddButton(param, kAlertStdAlertOKButton, kAlertDefaultOKText, "OK");
    }

    void AddButton(const AlertStdAlertParamRec& param,
                   SInt16 item,
                   ConstStringPtr title,
                   const char* standard)
    {
        if (!title)
            return;
        const auto button = Controls_Create<PushButton>(*m_window, QRect());
        button->command = static_cast<UInt32>(item);
        button->SetFontStyle({});
        button->SetTitle((title == kAlertDefaultOKText
                              ? QCoreApplication::translate("QPlatformTheme", standard)
                              : FromPascal(title))
                             .toStdString());
        button->SetDefault(item == param.defaultButton);
        if (item == param.cancelButton)
            m_window->Widget()->cancelButton = button->Button();
        m_buttons.push_back(button);
    }

    /// Adds a text to the pane that scrolls. It has its font but no place yet.
    StaticText& AddText(QWidget* pane, const QString& text, SInt16 font, SInt16 face)
    {
        const auto control = Controls_Create<StaticText>(*m_window, QRect());
        constexpr int kFlags = kControlUseFontMask | kControlUseFaceMask;
        control->SetFontStyle({ kFlags, font, 0, face, 0, 0, {}, {} });
        control->SetTitle(text.toStdString());
        control->widget->setParent(pane);
        control->SetHidden(text.isEmpty());
        return *control;
    }

    // Texts wrap, and scroll where the screen is too low for them; the buttons always stay on the screen.
    void
    LayOut(AlertType type, const QString& message, const QString& explanation, const QRect& room)
    {
        static const char* const kSigns[] = { "Stop", "Note", "Caution" }; // a plain alert has none
        const bool hasSign = type < std::ssize(kSigns);
        const int signRoom = hasSign ? kSignSize + kMargin : 0;
        const int most = room.width() - 2 * kMargin - signRoom;
        const int rowWidth = FitButtons(most + signRoom);

        auto* scroll = new QScrollArea(m_window->widget);
        auto* pane = new QWidget(m_window->widget); // which frees it if anything throws
        StaticText& bold = AddText(pane, message, kControlFontBigSystemFont, kBold);
        StaticText& small = AddText(pane, explanation, kControlFontSmallSystemFont, 0);
        const auto sizeOf = [](const StaticText& text, int width) {
            return text.hidden ? QSize(0, 0) : text.View()->SizeFor(width);
        };
        const int natural
            = std::max({ sizeOf(bold, QWIDGETSIZE_MAX).width(),
                         sizeOf(small, QWIDGETSIZE_MAX).width(), rowWidth - signRoom });
        const int width = std::min(
            std::clamp(natural, kNarrowestText, std::max(kWidestText, rowWidth - signRoom)), most);
        const int boldHeight = sizeOf(bold, width).height();
        const int smallHeight = sizeOf(small, width).height();
        const int between = boldHeight && smallHeight ? 8 : 0;
        bold.SetBounds({ 0, 0, width, boldHeight });
        small.SetBounds({ 0, boldHeight + between, width, smallHeight });
        pane->resize(width, boldHeight + between + smallHeight);

        const int textHeight
            = std::min(pane->height(), room.height() - 3 * kMargin - kButtonHeight);
        const bool scrolls = textHeight < pane->height();
        const int barWidth
            = scrolls ? QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent) : 0;
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setWidget(pane);
        scroll->setFocusPolicy(scrolls ? Qt::StrongFocus : Qt::NoFocus);
        scroll->setFixedSize(width + barWidth, textHeight);

        auto* all = new QVBoxLayout(m_window->widget);
        all->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
        all->setSpacing(kMargin);
        auto* body = new QHBoxLayout;
        all->addLayout(body);
        if (hasSign) {
            auto* label = new QLabel(m_window->widget);
            label->setPixmap(DrawSign(type, m_window->widget->devicePixelRatio()));
            label->setAccessibleName(QString::fromLatin1(kSigns[type]));
            body->addWidget(label, 0, Qt::AlignTop);
        }
        body->addWidget(scroll, 0, Qt::AlignTop);
        // "Other" and "Help" on the left, "Cancel" and "OK" on the right.
        auto* buttons = new QHBoxLayout;
        all->addLayout(buttons);
        buttons->setSpacing(kGap);
        buttons->addStretch();
        for (const auto& button : m_buttons) {
            const bool isLeft = button->command > kAlertStdAlertCancelButton;
            buttons->insertWidget(isLeft ? 0 : -1, button->widget);
        }
        all->setSizeConstraint(QLayout::SetFixedSize);
        all->activate();
    }

    // Gives each button its width, all together at most `widest`; returns the width of their row.
    int FitButtons(int widest)
    {
        const int count = static_cast<int>(m_buttons.size());
        int rowWidth = (count - 1) * kGap;
        const int share = (widest - rowWidth) / count;
        for (const auto& button : m_buttons) {
            const int natural
                = button->widget->fontMetrics().horizontalAdvance(button->Text()) + 32;
            const int width = std::clamp(natural, std::min(kNarrowestButton, share), share);
            button->widget->setFixedSize(width, kButtonHeight);
            rowWidth += width;
        }
        return rowWidth;
    }

    WindowPtr m_host; // what has the focus now and gets it back; null for none
    std::shared_ptr<OwnWindow> m_window;
    std::vector<std::shared_ptr<PushButton>> m_buttons;
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
