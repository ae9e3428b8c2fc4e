// SPDX-License-Identifier: MIT
// ControlKinds_qt.cpp - each kind of control: its widget and its data.
#include "HIToolbox/ControlFont_qt.h"
#include "HIToolbox/Controls_qt.h"
#include "HIToolbox/OwnWindow_qt.h"
#include "HIToolbox/PictureView_qt.h"
#include "HIToolbox/TextView_qt.h"

#include <CoreServices/MacErrors.h>
#include <CoreServices/MacMemory.h>

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QPushButton>
#include <QtWidgets/QStyleOptionButton>

#include <algorithm>
#include <cstring>

static_assert(sizeof(ControlFontStyleRec) == 24, "the record's layout is part of the interface");

// Return and Enter are the window's, whichever button has the focus; Space presses the button itself, and arrows go on to
// the next one. The default button is filled with the highlight colour, the focused one has a ring inside.
class PushButtonWidget : public QPushButton
{
public:
    using QPushButton::QPushButton;

protected:
    void keyPressEvent(QKeyEvent* event) override
    {
        switch (event->key()) {
        case Qt::Key_Return:
        case Qt::Key_Enter:
            event->ignore();
            break;
        case Qt::Key_Up:
        case Qt::Key_Down:
            FocusNext(event->key() == Qt::Key_Down);
            break;
        case Qt::Key_Left:
        case Qt::Key_Right:
            FocusNext((event->key() == Qt::Key_Right) != isRightToLeft());
            break;
        default:
            QPushButton::keyPressEvent(event);
        }
    }

    void paintEvent(QPaintEvent* event) override
    {
        QPushButton::paintEvent(event);
        if (hasFocus()) {
            QStyleOptionButton option;
            initStyleOption(&option);
            QPainter painter(this);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.setPen({ option.palette.color(QPalette::ButtonText), 1, Qt::DotLine });
            painter.drawRoundedRect(QRectF(rect()).adjusted(3.5, 3.5, -3.5, -3.5), 2, 2);
        }
    }

    void initStyleOption(QStyleOptionButton* option) const override
    {
        QPushButton::initStyleOption(option);
        const auto group = option->palette.currentColorGroup();
        const bool isFilled = option->features.testFlag(QStyleOptionButton::DefaultButton);
        option->palette = isFilled ? FilledPalette() : QApplication::palette(this);
        option->palette.setCurrentColorGroup(group);
        option->state.setFlag(QStyle::State_HasFocus, false);
    }

private:
    // The style caches drawn buttons by their palette, so neither a window's own palette nor a new one will do.
    static const QPalette& FilledPalette()
    {
        static auto* palette = new QPalette; // never freed: Qt may be gone by then
        static qint64 source = 0;
        const QPalette application = QApplication::palette();
        if (std::exchange(source, application.cacheKey()) != application.cacheKey()) {
            const QColor title = application.color(QPalette::HighlightedText);
            const QColor fill = application.color(QPalette::Highlight);
            *palette = application;
            palette->setColor(QPalette::ButtonText, title);
            palette->setColor(QPalette::Button, title.lightness() > 128 ? fill.darker(130) : fill);
        }
        return *palette;
    }

    void FocusNext(bool forward)
    {
        QWidget* next = this;
        do
            next = forward ? next->nextInFocusChain() : next->previousInFocusChain();
        while (!dynamic_cast<PushButtonWidget*>(next) || !next->isVisible() || !next->isEnabled());
        next->setFocus(Qt::TabFocusReason);
    }
};

namespace {

QString Decode(const std::string& bytes)
{
    return QString::fromUtf8(bytes.data(), static_cast<qsizetype>(bytes.size()));
}

// Titles are literal: Qt would take "&" for a mnemonic.
QString Literal(QString text)
{
    return text.replace(u'&', QStringLiteral("&&"));
}

// Copies data of a fixed size, which need not be aligned.
template <class T> OSErr Take(Size size, const void* data, T& value)
{
    if (size != static_cast<Size>(sizeof value))
        return errDataSizeMismatch;
    if (!data)
        return paramErr;
    std::memcpy(&value, data, sizeof value);
    return noErr;
}

template <class T> void Give(const T& value, void* data)
{
    std::memcpy(data, &value, sizeof value);
}

QWidget* NewLine(QWidget* parent, const QRect& bounds)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(bounds.width() >= bounds.height() ? QFrame::HLine : QFrame::VLine);
    line->setFrameShadow(QFrame::Plain); // a pixel is often all the room
    line->setForegroundRole(QPalette::Mid);
    return line;
}

QColor ColorOf(const RGBColor& rgb)
{
    return QColor::fromRgba64(rgb.red, rgb.green, rgb.blue);
}

} // namespace

Pane::Pane(OwnWindow& owner, const QRect& where)
    : OpaqueControlRef(owner, new QWidget(owner.widget), where)
{
}

Separator::Separator(OwnWindow& owner, const QRect& where)
    : OpaqueControlRef(owner, NewLine(owner.widget, where), where)
{
}

// Pictures

PictureControl::PictureControl(OwnWindow& owner, const QRect& where)
    : OpaqueControlRef(owner, new PictureView(owner.widget), where)
{
}

PictureView* PictureControl::View() const
{
    return static_cast<PictureView*>(widget);
}

OSErr PictureControl::SetData(ResType tag, Size size, const void* data)
{
    if (tag != kControlPictureHandleTag)
        return errDataNotSupported;
    PicHandle picture = nullptr;
    if (const OSErr error = Take(size, data, picture))
        return error;
    const auto handle = reinterpret_cast<Handle>(picture);
    const Size length = GetHandleSize(handle);
    auto decoded
        = length > 0 ? DecodedPicture::Decode(*handle, static_cast<std::size_t>(length)) : nullptr;
    if (!decoded)
        return paramErr;
    m_picture = picture;
    View()->SetPicture(std::move(decoded));
    return noErr;
}

OSErr PictureControl::GetDataSize(ResType tag, Size& size) const
{
    size = sizeof m_picture;
    return tag == kControlPictureHandleTag ? noErr : errDataNotSupported;
}

void PictureControl::GetData(ResType, Size, void* data) const
{
    Give(m_picture, data);
}

// Controls with a text

QString TextControl::Text() const
{
    return Decode(m_text);
}

void TextControl::SetTitle(const std::string& utf8)
{
    m_text = utf8;
    OpaqueControlRef::SetTitle(utf8);
    Update();
    window->UpdateTexts();
}

void TextControl::SetFontStyle(const ControlFontStyleRec& style)
{
    m_style = style;
    FitText(0);
    Update();
    window->UpdateTexts();
}

bool TextControl::FitText(int smallerBy)
{
    constexpr int kSmallest = 9; // pixels
    QFont font = ControlFont_Of(m_style, widget->font());
    const int full = font.pixelSize();
    font.setPixelSize(std::max(std::min(full, kSmallest), full - smallerBy));
    widget->setFont(font); // which a screen reader asks for
    return Fits();
}

OSErr TextControl::SetData(ResType tag, Size size, const void* data)
{
    if (tag != kControlFontStyleTag)
        return errDataNotSupported;
    ControlFontStyleRec style;
    const OSErr error = Take(size, data, style);
    if (error == noErr)
        SetFontStyle(style);
    return error;
}

OSErr TextControl::GetDataSize(ResType tag, Size& size) const
{
    size = sizeof m_style;
    return tag == kControlFontStyleTag ? noErr : errDataNotSupported;
}

void TextControl::GetData(ResType, Size, void* data) const
{
    Give(m_style, data);
}

GroupBox::GroupBox(OwnWindow& owner, const QRect& where)
    : TextControl(owner, new QGroupBox(owner.widget), where)
{
}

void GroupBox::Update()
{
    static_cast<QGroupBox*>(widget)->setTitle(Literal(Text()));
}

// Static text

StaticText::StaticText(OwnWindow& owner, const QRect& where)
    : TextControl(owner, new TextView(owner.widget), where, TextView::kMargin)
{
}

TextView* StaticText::View() const
{
    return static_cast<TextView*>(widget);
}

void StaticText::Update()
{
    View()->SetText(Text(), ControlFont_Alignment(m_style));
    const bool hasBackground = (m_style.flags & kControlUseBackColorMask) != 0;
    QPalette palette; // roles that are not set stay the window's
    if ((m_style.flags & kControlUseForeColorMask) != 0)
        palette.setColor(QPalette::WindowText, ColorOf(m_style.foreColor));
    if (hasBackground)
        palette.setColor(QPalette::Window, ColorOf(m_style.backColor));
    widget->setAutoFillBackground(hasBackground);
    widget->setPalette(palette);
}

bool StaticText::Fits()
{
    return View()->Fit();
}

OSErr StaticText::SetData(ResType tag, Size size, const void* data)
{
    if (tag == kControlStaticTextTextTag) {
        if (size < 0)
            return errDataSizeMismatch;
        if (!data && size != 0)
            return paramErr;
        SetTitle({ static_cast<const char*>(data), static_cast<std::size_t>(size) });
        return noErr;
    }
    return TextControl::SetData(tag, size, data);
}

OSErr StaticText::GetDataSize(ResType tag, Size& size) const
{
    if (tag != kControlStaticTextTextTag)
        return TextControl::GetDataSize(tag, size);
    size = static_cast<Size>(m_text.size());
    return noErr;
}

void StaticText::GetData(ResType tag, Size size, void* data) const
{
    if (tag == kControlStaticTextTextTag)
        std::memcpy(data, m_text.data(), static_cast<std::size_t>(size));
    else
        TextControl::GetData(tag, size, data);
}

// Push buttons

PushButton::PushButton(OwnWindow& owner, const QRect& where)
    : TextControl(owner, new PushButtonWidget(owner.widget), where)
{
    Button()->setAutoDefault(false);
    m_clicked = QObject::connect(Button(), &QAbstractButton::clicked, [this] { SendCommand(); });
}

PushButton::~PushButton()
{
    QObject::disconnect(m_clicked);
}

PushButtonWidget* PushButton::Button() const
{
    return static_cast<PushButtonWidget*>(widget);
}

void PushButton::SetIcon(const QImage& icon)
{
    Button()->setIcon(QPixmap::fromImage(icon));
}

void PushButton::Update()
{
    Button()->setText(Literal(Text()));
}

bool PushButton::Fits()
{
    constexpr int kEdges = 12;
    return widget->fontMetrics().horizontalAdvance(Text()) <= bounds.width() - kEdges;
}

void PushButton::SetDefault(bool on)
{
    m_isDefault = on;
    QPointer<QAbstractButton>& current = window->Widget()->defaultButton;
    if (on) {
        for (const ControlPtr& other : window->controls) {
            auto* button = dynamic_cast<PushButton*>(other.get());
            if (button && button != this && button->m_isDefault)
                button->SetDefault(false);
        }
        current = Button();
    } else if (current == Button()) {
        current = nullptr;
    }
    Button()->setDefault(on);
}

void PushButton::SetCancel(bool on)
{
    QPointer<QAbstractButton>& current = window->Widget()->cancelButton;
    if (on)
        current = Button();
    else if (current == Button())
        current = nullptr;
}

bool PushButton::Click()
{
    Button()->click();
    return true;
}

OSErr PushButton::SetData(ResType tag, Size size, const void* data)
{
    if (tag != kControlPushButtonDefaultTag)
        return TextControl::SetData(tag, size, data);
    Boolean on = false;
    const OSErr error = Take(size, data, on);
    if (error == noErr)
        SetDefault(on != 0);
    return error;
}

OSErr PushButton::GetDataSize(ResType tag, Size& size) const
{
    if (tag != kControlPushButtonDefaultTag)
        return TextControl::GetDataSize(tag, size);
    size = sizeof m_isDefault;
    return noErr;
}

void PushButton::GetData(ResType tag, Size size, void* data) const
{
    if (tag == kControlPushButtonDefaultTag)
        Give(m_isDefault, data);
    else
        TextControl::GetData(tag, size, data);
}
