// SPDX-License-Identifier: MIT
// ControlKinds_qt.cpp - each kind of control: its widget and its data.
#include "HIToolbox/Controls_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtGui/QKeyEvent>
#include <QtGui/QPainter>
#include <QtWidgets/QApplication>
#include <QtWidgets/QGroupBox>
#include <QtWidgets/QStyleOptionButton>

#include <algorithm>
#include <cstring>
#include <span>

static_assert(sizeof(ControlFontStyleRec) == 24, "the record's layout is part of the interface");

namespace {

// Return and Enter belong to the window, whichever button has the focus. Space presses the focused button,
// arrow keys go to the next one. The default button is filled with the highlight colour, the focused one has a
// ring inside.
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
            return event->ignore();
        case Qt::Key_Up:
        case Qt::Key_Down:
            return FocusNext(event->key() == Qt::Key_Down);
        case Qt::Key_Left:
        case Qt::Key_Right:
            return FocusNext((event->key() == Qt::Key_Right) != isRightToLeft());
        default:
            return QPushButton::keyPressEvent(event);
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

// Titles are literal: Qt would take "&" for a mnemonic.
QString Literal(QString text) { return text.replace(u'&', QStringLiteral("&&")); }

template <class T> std::string_view BytesOf(const T& value)
{
    return { reinterpret_cast<const char*>(&value), sizeof value };
}

// A value from as many bytes, which need not be aligned.
template <class T> T ValueOf(std::string_view bytes)
{
    T value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

QWidget* NewLine(QWidget* parent, const QRect& bounds)
{
    auto* line = new QFrame(parent);
    line->setFrameShape(bounds.width() >= bounds.height() ? QFrame::HLine : QFrame::VLine);
    line->setFrameShadow(QFrame::Plain); // a pixel is often all the room
    line->setForegroundRole(QPalette::Mid);
    return line;
}

QColor ColorOf(const RGBColor& rgb) { return QColor::fromRgba64(rgb.red, rgb.green, rgb.blue); }

// Fonts

struct SystemFont
{
    int pixels; // of the original's 72 dpi screen
    bool bold;
};

// By kControlFontBigSystemFont (-1) and the numbers below it.
constexpr SystemFont kMetaFonts[]
    = { { 13, false }, { 11, false }, { 11, true }, { 12, false }, { 9, false } };
// By theme font id.
constexpr SystemFont kThemeFonts[] = { { 13, false }, { 11, false }, { 11, true }, { 12, false },
                                       { 13, true },  { 13, false }, { 10, false } };

SystemFont SystemFontOf(const ControlFontStyleRec& style)
{
    const bool isTheme = (style.flags & kControlUseThemeFontIDMask) != 0;
    const bool isMeta = (style.flags & kControlUseFontMask) != 0;
    const auto fonts = isTheme ? std::span<const SystemFont>(kThemeFonts) : kMetaFonts;
    const auto index = static_cast<std::size_t>(isTheme ? style.font : -1 - style.font);
    return (isTheme || isMeta) && index < fonts.size() ? fonts[index] : kMetaFonts[0];
}

// The font of a style, over a widget's own.
QFont FontOf(const ControlFontStyleRec& style, QFont font)
{
    const auto [systemPixels, bold] = SystemFontOf(style);
    const int pixels = (style.flags & kControlAddFontSizeMask) != 0 ? systemPixels + style.size
        : (style.flags & kControlUseSizeMask) != 0                  ? style.size
                                                                    : systemPixels;
    font.setPixelSize(std::clamp(pixels, 6, 200));
    const int face = (style.flags & kControlUseFaceMask) != 0 ? style.style : int { bold };
    font.setBold((face & 1) != 0);
    font.setItalic((face & 2) != 0);
    font.setUnderline((face & 4) != 0);
    return font;
}

Qt::Alignment AlignmentOf(const ControlFontStyleRec& style)
{
    const int just = (style.flags & kControlUseJustMask) != 0 ? style.just : 0;
    return just == 1 ? Qt::AlignHCenter
        : just == -1 ? Qt::AlignRight | Qt::AlignAbsolute
        : just == -2 ? Qt::AlignLeft | Qt::AlignAbsolute
                     : Qt::AlignLeading;
}

} // namespace

Separator::Separator(OwnWindow& owner, const QRect& where)
    : OpaqueControlRef(owner, NewLine(owner.widget, where), where)
{
}

// Pictures

bool PictureControl::SetPicture(PicHandle picture)
{
    auto decoded = DecodedPicture::OfHandle(picture);
    if (!decoded)
        return false;
    m_picture = picture;
    View()->SetPicture(std::move(decoded));
    return true;
}

std::string_view PictureControl::Data(ResType tag) const
{
    return tag == kControlPictureHandleTag ? BytesOf(m_picture) : std::string_view();
}

OSErr PictureControl::SetData(ResType, std::string_view bytes)
{
    return SetPicture(ValueOf<PicHandle>(bytes)) ? noErr : paramErr;
}

// Controls with a text

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
    QFont font = FontOf(m_style, widget->font());
    const int full = font.pixelSize();
    font.setPixelSize(std::max(std::min(full, kSmallest), full - smallerBy));
    widget->setFont(font); // which a screen reader asks for
    return Fits();
}

std::string_view TextControl::Data(ResType tag) const
{
    return tag == kControlFontStyleTag ? BytesOf(m_style) : std::string_view();
}

OSErr TextControl::SetData(ResType, std::string_view bytes)
{
    SetFontStyle(ValueOf<ControlFontStyleRec>(bytes));
    return noErr;
}

void GroupBox::Update() { static_cast<QGroupBox*>(widget)->setTitle(Literal(Text())); }

// Static text

void StaticText::Update()
{
    View()->SetText(Text(), AlignmentOf(m_style));
    const bool hasBackground = (m_style.flags & kControlUseBackColorMask) != 0;
    QPalette palette; // roles that are not set stay the window's
    if ((m_style.flags & kControlUseForeColorMask) != 0)
        palette.setColor(QPalette::WindowText, ColorOf(m_style.foreColor));
    if (hasBackground)
        palette.setColor(QPalette::Window, ColorOf(m_style.backColor));
    widget->setAutoFillBackground(hasBackground);
    widget->setPalette(palette);
}

std::string_view StaticText::Data(ResType tag) const
{
    return tag == kControlStaticTextTextTag ? m_text : TextControl::Data(tag);
}

OSErr StaticText::SetData(ResType tag, std::string_view bytes)
{
    if (tag != kControlStaticTextTextTag)
        return TextControl::SetData(tag, bytes);
    SetTitle(std::string(bytes));
    return noErr;
}

// Push buttons

PushButton::PushButton(OwnWindow& owner, const QRect& where)
    : TextControl(owner, new PushButtonWidget(owner.widget), where)
{
    Button()->setAutoDefault(false);
    QObject::connect(Button(), &QAbstractButton::clicked, &m_receiver, [this] { SendCommand(); });
}

void PushButton::Update() { Button()->setText(Literal(Text())); }

bool PushButton::Fits()
{
    constexpr int kEdges = 12;
    return widget->fontMetrics().horizontalAdvance(Text()) <= widget->width() - kEdges;
}

void PushButton::SetDefault(bool on)
{
    QPointer<QPushButton>& current = window->Widget()->defaultButton;
    if (current && (on || current == Button())) {
        current->setDefault(false);
        current = nullptr;
    }
    if (on) {
        Button()->setDefault(true);
        current = Button();
    }
}

std::string_view PushButton::Data(ResType tag) const
{
    static constexpr Boolean kValues[] = { false, true };
    return tag == kControlPushButtonDefaultTag ? BytesOf(kValues[Button()->isDefault()])
                                               : TextControl::Data(tag);
}

OSErr PushButton::SetData(ResType tag, std::string_view bytes)
{
    if (tag != kControlPushButtonDefaultTag)
        return TextControl::SetData(tag, bytes);
    SetDefault(ValueOf<Boolean>(bytes) != 0);
    return noErr;
}
