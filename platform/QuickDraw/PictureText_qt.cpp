// SPDX-License-Identifier: MIT
// PictureText_qt.cpp - fonts and text of pictures.
#include "QuickDraw/PictureText_qt.h"

#include "support/Bridges_qt.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtGui/QFont>
#include <QtGui/QFontMetricsF>

#include <algorithm>
#include <iterator>

namespace {

// A font of the home platform, and the kind of font that replaces it if it is not installed.
struct FontSubstitute
{
    int number;
    const char* name;
    QFont::StyleHint hint;
};

const FontSubstitute kFonts[] = {
    { 0, "Chicago", QFont::SansSerif },
    { 1, "Geneva", QFont::SansSerif },
    { 2, "New York", QFont::Serif },
    { 3, "Geneva", QFont::SansSerif },
    { 4, "Monaco", QFont::Monospace },
    { 16, "Palatino", QFont::Serif },
    { 20, "Times", QFont::Serif },
    { 21, "Helvetica", QFont::SansSerif },
    { 22, "Courier", QFont::Monospace },
    { 23, "Symbol", QFont::SansSerif },
    { 34, "New Century Schlbk", QFont::Serif },
    { -1, "Bookman", QFont::Serif },
    { -1, "Garamond", QFont::Serif },
    { -1, "Times New Roman", QFont::Serif },
    { -1, "Courier New", QFont::Monospace },
};

QFont FontOf(const TextStyle& style)
{
    const QString& name = style.family;
    const auto* known = std::ranges::find_if(kFonts, [&](const FontSubstitute& font) {
        return name.isEmpty() ? font.number == style.font
                              : name.compare(QLatin1String(font.name), Qt::CaseInsensitive) == 0;
    });
    const bool isKnown = known != std::end(kFonts);
    QFont font;
    font.setFamilies({ isKnown              ? QString::fromLatin1(known->name)
                           : name.isEmpty() ? QStringLiteral("sans-serif")
                                            : name });
    font.setStyleHint(isKnown ? known->hint : QFont::SansSerif, QFont::PreferOutline);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setPixelSize(qBound(1, style.size == 0 ? 12 : style.size, 2000)); // at 72 dpi
    font.setBold((style.face & kBoldFace) != 0);
    font.setItalic((style.face & kItalicFace) != 0);
    font.setUnderline((style.face & kUnderlineFace) != 0);
    if ((style.face & kCondensedFace) != 0)
        font.setStretch(QFont::SemiCondensed);
    else if ((style.face & kExtendedFace) != 0)
        font.setStretch(QFont::SemiExpanded);
    font.setLetterSpacing(QFont::AbsoluteSpacing, style.extraPerCharacter);
    font.setWordSpacing(style.extraPerSpace);
    return font;
}

} // namespace

QString PictureText_DecodeMacRoman(const uint8_t* bytes, size_t count, const TextStyle& style)
{
    const Ref<CFStringRef> string(CFStringCreateWithBytes(
        kCFAllocatorDefault, bytes, static_cast<CFIndex>(count), kCFStringEncodingMacRoman, false));
    QString text = string ? Bridges_FromCFString(string.get()) : QString();
    if (style.font == 0 && style.family.isEmpty())
        text.replace(QChar(0x11), QChar(0x2318));
    return text;
}

void PictureText_Paint(QPainter& painter,
                       const QString& text,
                       QPointF at,
                       const TextStyle& style,
                       const DrawingColors& colors)
{
    const QFont font = FontOf(style);
    QPainterPath glyphs;
    glyphs.addText(QPointF(), font, text);
    glyphs.setFillRule(Qt::WindingFill);

    painter.save();
    painter.translate(at);
    painter.scale(style.ratio.width(), style.ratio.height());
    if (style.mode == kSrcCopy || style.mode == kNotSrcCopy) {
        const QFontMetricsF metrics(font);
        const QRectF line(0, -metrics.ascent(), metrics.horizontalAdvance(text), metrics.height());
        painter.fillRect(line,
                         QColor(style.mode == kSrcCopy ? colors.background : colors.foreground));
    }
    if ((style.face & (kOutlineFace | kShadowFace)) == 0) {
        PictureCanvas_FillPath(painter, glyphs, DrawingPattern::Solid(true), style.mode, colors);
    } else { // hollow letters: their rim around a body in the background colour
        painter.setPen(QColor(colors.foreground));
        painter.setBrush(QColor(colors.foreground));
        if ((style.face & kShadowFace) != 0)
            painter.drawPath(glyphs.translated(1, 1));
        painter.setBrush(QColor(colors.background));
        painter.drawPath(glyphs);
    }
    painter.restore();
}
