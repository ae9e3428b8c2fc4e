// SPDX-License-Identifier: MIT
// StandardAlert_qt.cpp - the standard alert: a window and a modal loop until one of its buttons is chosen.
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
constexpr SInt16 kBold = 1; // a face
constexpr int kGap = 12;
constexpr int kSignSize = 40;
constexpr int kNarrowestText = 260;
constexpr int kWidestText = 420;
constexpr int kNarrowestButton = 80;
constexpr int kButtonHeight = 26;
constexpr int kTitleRoom = 40; // for the frame that the window manager adds
constexpr int kFrameRoom = 8;

// The length byte may have cut a longer text within a character: the decoder keeps such an incomplete tail
// back. All other invalid bytes become replacement characters.
QString FromPascal(ConstStringPtr text)
{
    QStringDecoder decode(QStringDecoder::Utf8);
    return text ? decode(QByteArrayView(text + 1, text[0])) : QString();
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
                                               QRect(0, 0, 1, 1), true);
        m_window->windowClass = kMovableAlertWindowClass;
        m_window->widget->setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint
                                         | Qt::WindowTitleHint);
        m_window->widget->setAccessibleName(message);
        if (message.isRightToLeft())
            m_window->widget->setLayoutDirection(Qt::RightToLeft);
        AddButtons(param);
        const QSize size = LayOut(type, message, explanation, room);
        QRect content(QPoint(), size);
        content.moveTo(room.left() + (room.width() - size.width()) / 2,
                       room.top() + (room.height() - size.height()) / 3);
        m_window->widget->setFixedSize(size);
        m_window->widget->setGeometry(content);
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

    // In the order of the keyboard focus.
    void AddButtons(const AlertStdAlertParamRec& param)
    {
        if (param.helpButton)
            AddButton(param, kAlertStdAlertHelpButton, kAlertDefaultOKText, "Help");
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
        const auto button = Controls_Create<PushButton>(*m_window, nullptr, QRect());
        button->command = static_cast<UInt32>(item);
        button->SetFontStyle({});
        button->SetTitle((title == kAlertDefaultOKText
                              ? QCoreApplication::translate("QPlatformTheme", standard)
                              : FromPascal(title))
                             .toStdString());
        button->SetDefault(item == param.defaultButton);
        button->SetCancel(item == param.cancelButton);
        m_buttons.push_back(button);
    }

    /// Adds a text to the pane that scrolls. It has its font but no place yet.
    StaticText& AddText(QWidget* pane, const QString& text, SInt16 font, SInt16 face)
    {
        const auto control = Controls_Create<StaticText>(*m_window, nullptr, QRect());
        ControlFontStyleRec style {};
        style.flags = kControlUseFontMask | kControlUseFaceMask;
        style.font = font;
        style.style = face;
        control->SetFontStyle(style);
        control->SetTitle(text.toStdString());
        control->widget->setParent(pane);
        control->SetHidden(text.isEmpty());
        return *control;
    }

    // Texts wrap, and scroll where the screen is too low for them; the buttons always stay on the screen.
    QSize
    LayOut(AlertType type, const QString& message, const QString& explanation, const QRect& room)
    {
        const QString sign = NameOfSign(type);
        const int signRoom = sign.isEmpty() ? 0 : kSignSize + kMargin;
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
        const int textWidth = width
            + (scrolls ? QApplication::style()->pixelMetric(QStyle::PM_ScrollBarExtent) : 0);
        const int bodyHeight = std::max(textHeight, signRoom ? kSignSize : 0);
        const QSize size(2 * kMargin + signRoom + textWidth,
                         3 * kMargin + bodyHeight + kButtonHeight);
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setWidget(pane);
        scroll->setFocusPolicy(scrolls ? Qt::StrongFocus : Qt::NoFocus);
        scroll->setGeometry(
            Mirrored({ kMargin + signRoom, kMargin, textWidth, textHeight }, size.width()));
        if (signRoom) {
            auto* label = new QLabel(m_window->widget);
            label->setPixmap(DrawSign(type, m_window->widget->devicePixelRatio()));
            label->setAccessibleName(sign);
            label->setGeometry(Mirrored({ kMargin, kMargin, kSignSize, kSignSize }, size.width()));
        }

        PlaceButtons(size);
        return size;
    }

    // From the right, but "Other" and "Help" from the left; the other way round in right-to-left layouts.
    void PlaceButtons(QSize size)
    {
        const int top = size.height() - kMargin - kButtonHeight;
        int right = size.width() - kMargin;
        int left = kMargin;
        for (auto at = m_buttons.rbegin(); at != m_buttons.rend(); ++at) {
            PushButton& button = **at;
            const int its = button.bounds.width();
            const bool farLeft = button.command > kAlertStdAlertCancelButton;
            button.SetBounds(
                Mirrored({ farLeft ? left : right - its, top, its, kButtonHeight }, size.width()));
            (farLeft ? left : right) += (farLeft ? 1 : -1) * (its + kGap);
        }
    }

    QRect Mirrored(QRect place, int windowWidth) const
    {
        if (m_window->widget->isRightToLeft())
            place.moveRight(windowWidth - 1 - place.left());
        return place;
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
            button->bounds.setWidth(std::clamp(natural, std::min(kNarrowestButton, share), share));
            rowWidth += button->bounds.width();
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
