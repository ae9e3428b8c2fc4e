// SPDX-License-Identifier: MIT
// PictureCanvas_qt.cpp - the transfer modes, once for patterns, bits and text.
#include "QuickDraw/PictureCanvas_qt.h"

#include <QtGui/QFont>
#include <QtGui/QFontDatabase>
#include <QtGui/QFontMetricsF>

#include <algorithm>

namespace {

QColor Weighted(QRgb color, QRgb weight)
{
    QColor weighted(color);
    weighted.setAlpha((qRed(weight) + qGreen(weight) + qBlue(weight)) / 3);
    return weighted;
}

/// What the two kinds of pixel of a one-bit source become, and how they are laid over the picture.
struct TwoColorMode
{
    QColor one = Qt::transparent;
    QColor zero = Qt::transparent;
    QPainter::CompositionMode composition = QPainter::CompositionMode_SourceOver;
};

TwoColorMode ResolveTwoColorMode(int mode, const DrawingColors& colors)
{
    const QColor foreground(colors.foreground);
    const QColor background(colors.background);
    TwoColorMode resolved;
    switch (mode) {
    case kSrcOr:
    case kTransparent:
        resolved.one = foreground;
        break;
    case kSrcXor:
        resolved.one = Qt::white;
        resolved.composition = QPainter::CompositionMode_Difference; // white turns to the opposite
        break;
    case kSrcBic:
        resolved.one = background;
        break;
    case kNotSrcCopy:
        resolved.one = background;
        resolved.zero = foreground;
        break;
    case kNotSrcOr:
        resolved.zero = foreground;
        break;
    case kNotSrcXor:
        resolved.zero = Qt::white;
        resolved.composition = QPainter::CompositionMode_Difference;
        break;
    case kNotSrcBic:
        resolved.zero = background;
        break;
    case kBlend:
        resolved.one = Weighted(colors.foreground, colors.op);
        resolved.zero = Weighted(colors.background, colors.op);
        break;
    case kAddPin:
    case kAddOver:
        resolved.one = foreground;
        resolved.zero = background;
        resolved.composition = QPainter::CompositionMode_Plus;
        break;
    case kSubPin:
    case kSubOver:
        resolved.one = foreground;
        resolved.zero = background;
        resolved.composition = QPainter::CompositionMode_Difference;
        break;
    case kAddMax:
        resolved.one = foreground;
        resolved.zero = background;
        resolved.composition = QPainter::CompositionMode_Lighten;
        break;
    case kAddMin:
        resolved.one = foreground;
        resolved.zero = background;
        resolved.composition = QPainter::CompositionMode_Darken;
        break;
    case kGrayishTextOr:
        resolved.one = foreground;
        resolved.one.setAlpha(128);
        break;
    case kHilite:
        resolved.one = QColor(colors.hilite);
        resolved.composition = QPainter::CompositionMode_Darken;
        break;
    default: // copy, dithered copy
        resolved.one = foreground;
        resolved.zero = background;
        break;
    }
    return resolved;
}

/// The composition that a mode means for pixels with colours of their own.
QPainter::CompositionMode PixelComposition(int mode)
{
    switch (mode) { // in the original's terms a black pixel is all ones
    case kSrcOr:
        return QPainter::RasterOp_SourceAndDestination;
    case kSrcXor:
        return QPainter::RasterOp_NotSourceXorDestination;
    case kSrcBic:
        return QPainter::RasterOp_NotSourceOrDestination;
    case kNotSrcCopy:
        return QPainter::RasterOp_NotSource;
    case kNotSrcOr:
        return QPainter::RasterOp_NotSourceAndDestination;
    case kNotSrcXor:
        return QPainter::RasterOp_SourceXorDestination;
    case kNotSrcBic:
        return QPainter::RasterOp_SourceOrDestination;
    case kAddPin:
    case kAddOver:
        return QPainter::CompositionMode_Plus;
    case kSubPin:
    case kSubOver:
        return QPainter::CompositionMode_Difference;
    case kAddMax:
        return QPainter::CompositionMode_Lighten;
    case kAddMin:
        return QPainter::CompositionMode_Darken;
    default:
        return QPainter::CompositionMode_SourceOver;
    }
}

/// A pattern's mode as the source mode of the same effect.
int SourceModeOfPattern(int mode)
{
    return mode >= kPatCopy && mode < kPatCopy + 8 ? mode - kPatCopy : mode;
}

bool IsSolid(const DrawingPattern& pattern)
{
    const uint8_t first = pattern.bits[0];
    return pattern.pixels.isNull() && (first == 0 || first == 0xFF)
        && std::count(pattern.bits.begin(), pattern.bits.end(), first) == 8;
}

QBrush PatternBrush(const DrawingPattern& pattern, const TwoColorMode& mode)
{
    if (IsSolid(pattern))
        return QBrush(pattern.bits[0] != 0 ? mode.one : mode.zero);
    QImage tile(8, 8, QImage::Format_ARGB32_Premultiplied);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            tile.setPixelColor(x, y, pattern.bits[size_t(y)] & 0x80 >> x ? mode.one : mode.zero);
    return QBrush(tile);
}

/// What a well-known font of the home platform is called where it is not installed.
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
    { 23, "Symbol", QFont::AnyStyle },
    { 34, "New Century Schlbk", QFont::Serif },
    { -1, "Charcoal", QFont::SansSerif },
    { -1, "Bookman", QFont::Serif },
    { -1, "Garamond", QFont::Serif },
    { -1, "Times New Roman", QFont::Serif },
    { -1, "Courier New", QFont::Monospace },
};

QFont FontOf(const TextStyle& style)
{
    const FontSubstitute* known = nullptr;
    for (const FontSubstitute& row : kFonts) {
        const bool match = style.family.isEmpty()
            ? row.number == style.font
            : style.family.compare(QLatin1String(row.name), Qt::CaseInsensitive) == 0;
        if (match && known == nullptr)
            known = &row;
    }
    const QString family = !style.family.isEmpty() ? style.family
        : known != nullptr                         ? QString::fromLatin1(known->name)
                                                   : QString();
    const QFont::StyleHint hint = known != nullptr ? known->hint : QFont::SansSerif;
    QStringList families;
    if (!family.isEmpty())
        families.append(family);
    families.append(QString::fromLatin1(hint == QFont::Serif           ? "serif"
                                            : hint == QFont::Monospace ? "monospace"
                                                                       : "sans-serif"));
    QFont font;
    font.setFamilies(families);
    font.setStyleHint(hint, QFont::PreferOutline);
    font.setHintingPreference(QFont::PreferNoHinting);
    font.setPixelSize(
        qBound(1, style.size == 0 ? 12 : style.size, 2000)); // 72 dpi: points are pixels
    font.setBold((style.face & 1) != 0);
    font.setItalic((style.face & 2) != 0);
    font.setUnderline((style.face & 4) != 0);
    if ((style.face & 0x20) != 0)
        font.setStretch(QFont::SemiCondensed);
    else if ((style.face & 0x40) != 0)
        font.setStretch(QFont::SemiExpanded);
    font.setLetterSpacing(QFont::AbsoluteSpacing, style.extraPerCharacter);
    font.setWordSpacing(style.extraPerSpace);
    return font;
}

} // namespace

DrawingPattern DrawingPattern::Solid(bool foreground)
{
    DrawingPattern pattern;
    pattern.bits.fill(foreground ? 0xFF : 0);
    return pattern;
}

double FillCost(const DrawingPattern& pattern, int mode)
{
    const bool over = ResolveTwoColorMode(SourceModeOfPattern(mode), {}).composition
        == QPainter::CompositionMode_SourceOver;
    return (IsSolid(pattern) ? 1 : 5) + (over ? 0 : 8);
}

void FillPath(QPainter& painter,
              const QPainterPath& shape,
              const DrawingPattern& pattern,
              int mode,
              const DrawingColors& colors)
{
    const int sourceMode = SourceModeOfPattern(mode);
    QPainterPath path; // of its own: Qt keeps a second form of each path that it has filled
    path.addPath(shape);
    path.setFillRule(shape.fillRule());
    painter.save();
    if (!pattern.pixels.isNull()) {
        painter.setCompositionMode(PixelComposition(sourceMode));
        painter.fillPath(path, QBrush(pattern.pixels));
    } else {
        const TwoColorMode resolved = ResolveTwoColorMode(sourceMode, colors);
        painter.setCompositionMode(resolved.composition);
        painter.fillPath(path, PatternBrush(pattern, resolved));
    }
    painter.restore();
}

void InvertPath(QPainter& painter, const QPainterPath& path)
{
    FillPath(painter, path, DrawingPattern::Solid(true), kSrcXor, DrawingColors());
}

namespace {

constexpr qsizetype kFewPixels = 256 << 10; // of these a copy in 32 bits is worth its speed

bool IsSmall(const QImage& image)
{
    return qsizetype(image.width()) * image.height() <= kFewPixels;
}

} // namespace

double BitsCost(const QImage& image, bool scaled, int mode)
{
    const bool fast = image.depth() == 32 || IsSmall(image);
    return (!scaled    ? 5
                : fast ? 8
                       : 40)
        + (PixelComposition(mode) == QPainter::CompositionMode_SourceOver ? 0 : 8);
}

QImage KeyedOut(QImage image, QRgb key)
{
    const auto isKey = [key](QRgb pixel) { return (pixel & RGB_MASK) == (key & RGB_MASK); };
    if (image.format() == QImage::Format_Indexed8) {
        QList<QRgb> colors = image.colorTable();
        std::replace_if(colors.begin(), colors.end(), isKey, QRgb(0));
        image.setColorTable(colors);
        return image;
    }
    image.convertTo(QImage::Format_RGB32);
    image.reinterpretAsFormat(QImage::Format_ARGB32_Premultiplied); // all of it opaque
    for (int y = 0; y < image.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        std::replace_if(row, row + image.width(), isKey, QRgb(0));
    }
    return image;
}

void PaintBits(QPainter& painter,
               const QImage& image,
               bool bitmap,
               const QRectF& source,
               const QRectF& destination,
               int mode,
               const DrawingColors& colors)
{
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    QImage shown = image;
    if (bitmap) {
        const TwoColorMode resolved = ResolveTwoColorMode(mode, colors);
        shown.setColorTable({ resolved.zero.rgba(), resolved.one.rgba() });
        painter.setCompositionMode(resolved.composition);
    } else {
        if (mode == kBlend)
            painter.setOpacity(Weighted(0, colors.op).alphaF());
        painter.setCompositionMode(PixelComposition(mode));
    }
    if (shown.depth() != 32 && IsSmall(shown))
        shown.convertTo(shown.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                : QImage::Format_RGB32);
    painter.drawImage(destination, shown, source);
    painter.restore();
}

void PaintText(QPainter& painter,
               const QString& text,
               QPointF at,
               const TextStyle& style,
               const DrawingColors& colors)
{
    const QFont font = FontOf(style);
    QPainterPath glyphs;
    glyphs.addText(QPointF(), font, text);
    glyphs.setFillRule(Qt::WindingFill);
    const QFontMetricsF metrics(font);
    const QRectF line(0, -metrics.ascent(), metrics.horizontalAdvance(text), metrics.height());

    painter.save();
    painter.translate(at);
    painter.scale(style.ratio.width(), style.ratio.height());
    if (style.mode == kSrcCopy || style.mode == kNotSrcCopy) {
        const QRgb behind = style.mode == kSrcCopy ? colors.background : colors.foreground;
        painter.fillRect(line, QColor(behind));
    }
    if ((style.face & (8 | 16)) != 0) { // hollow letters: their rim in front of a light body
        painter.setPen(QPen(QColor(colors.foreground), 1));
        painter.setBrush(QColor(colors.background));
        if ((style.face & 16) != 0) {
            painter.setBrush(QColor(colors.foreground));
            painter.drawPath(glyphs.translated(1, 1));
            painter.setBrush(QColor(colors.background));
        }
        painter.drawPath(glyphs);
    } else {
        FillPath(painter, glyphs, DrawingPattern::Solid(true), style.mode, colors);
    }
    painter.restore();
}
