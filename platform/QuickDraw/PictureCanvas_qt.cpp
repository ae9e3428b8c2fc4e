// SPDX-License-Identifier: MIT
// PictureCanvas_qt.cpp - the transfer modes, for patterns, bits and text.
#include "QuickDraw/PictureCanvas_qt.h"

#include <algorithm>
#include <iterator>

namespace {

QColor Weighted(QRgb color, QRgb weight)
{
    QColor weighted(color);
    weighted.setAlpha((qRed(weight) + qGreen(weight) + qBlue(weight)) / 3);
    return weighted;
}

// Where a colour comes from.
using Ink = QColor (*)(const DrawingColors& colors);

constexpr Ink kNone = [](const DrawingColors&) { return QColor(Qt::transparent); };
constexpr Ink kForeground = [](const DrawingColors& colors) { return QColor(colors.foreground); };
constexpr Ink kBackground = [](const DrawingColors& colors) { return QColor(colors.background); };
constexpr Ink kWhite = [](const DrawingColors&) { return QColor(Qt::white); };
constexpr Ink kHiliteInk = [](const DrawingColors& colors) { return QColor(colors.hilite); };
constexpr Ink kMixedForeground
    = [](const DrawingColors& colors) { return Weighted(colors.foreground, colors.op); };
constexpr Ink kMixedBackground
    = [](const DrawingColors& colors) { return Weighted(colors.background, colors.op); };
constexpr Ink kFaintForeground
    = [](const DrawingColors& colors) { return Weighted(colors.foreground, 0x808080); };

// What a transfer mode does with a source.
struct TransferRule
{
    int mode;
    Ink one; // what the black pixels of a one-bit source become
    Ink zero; // and the white ones
    QPainter::CompositionMode twoColors; // how those are laid over the picture
    QPainter::CompositionMode pixels; // how others are, whose black is all ones
};

constexpr auto kOver = QPainter::CompositionMode_SourceOver;
constexpr auto kPlus = QPainter::CompositionMode_Plus;
constexpr auto kDifference = QPainter::CompositionMode_Difference; // white inverts
constexpr auto kLighten = QPainter::CompositionMode_Lighten;
constexpr auto kDarken = QPainter::CompositionMode_Darken;

// The first rule is that of all modes that are not listed.
const TransferRule kRules[] = {
    { kSrcCopy, kForeground, kBackground, kOver, kOver },
    { kSrcOr, kForeground, kNone, kOver, QPainter::RasterOp_SourceAndDestination },
    { kSrcXor, kWhite, kNone, kDifference, QPainter::RasterOp_NotSourceXorDestination },
    { kSrcBic, kBackground, kNone, kOver, QPainter::RasterOp_NotSourceOrDestination },
    { kNotSrcCopy, kBackground, kForeground, kOver, QPainter::RasterOp_NotSource },
    { kNotSrcOr, kNone, kForeground, kOver, QPainter::RasterOp_NotSourceAndDestination },
    { kNotSrcXor, kNone, kWhite, kDifference, QPainter::RasterOp_SourceXorDestination },
    { kNotSrcBic, kNone, kBackground, kOver, QPainter::RasterOp_SourceOrDestination },
    { kBlend, kMixedForeground, kMixedBackground, kOver, kOver },
    { kAddPin, kForeground, kBackground, kPlus, kPlus },
    { kAddOver, kForeground, kBackground, kPlus, kPlus },
    { kSubPin, kForeground, kBackground, kDifference, kDifference },
    { kTransparent, kForeground, kNone, kOver, kOver },
    { kAddMax, kForeground, kBackground, kLighten, kLighten },
    { kSubOver, kForeground, kBackground, kDifference, kDifference },
    { kAddMin, kForeground, kBackground, kDarken, kDarken },
    { kGrayishTextOr, kFaintForeground, kNone, kOver, kOver },
    { kHilite, kHiliteInk, kNone, kDarken, kOver },
};

const TransferRule& RuleOf(int mode)
{
    const auto* found = std::ranges::find(kRules, mode, &TransferRule::mode);
    return found != std::end(kRules) ? *found : kRules[0];
}

QBrush PatternBrush(const DrawingPattern& pattern, QColor one, QColor zero)
{
    const bool isEmpty = pattern.bits == DrawingPattern::Solid(false).bits;
    if (isEmpty || pattern.bits == DrawingPattern::Solid(true).bits)
        return QBrush(isEmpty ? zero : one);
    QImage tile(pattern.bits.data(), 8, 8, 1, QImage::Format_Mono);
    tile.setColorTable({ zero.rgba(), one.rgba() });
    return QBrush(tile.convertToFormat(QImage::Format_ARGB32_Premultiplied));
}

} // namespace

DrawingPattern DrawingPattern::Solid(bool foreground)
{
    DrawingPattern pattern;
    pattern.bits.fill(foreground ? 0xFF : 0);
    return pattern;
}

void PictureCanvas_FillPath(QPainter& painter,
                            const QPainterPath& shape,
                            const DrawingPattern& pattern,
                            int mode,
                            const DrawingColors& colors)
{
    // Pattern modes have the same order as source modes.
    const TransferRule& rule
        = RuleOf(mode >= kPatCopy && mode < kPatCopy + 8 ? mode - kPatCopy : mode);
    QPainterPath path; // a private copy: Qt keeps a second form of each path that it has filled
    path.addPath(shape);
    path.setFillRule(shape.fillRule());
    painter.save();
    if (!pattern.pixels.isNull()) {
        painter.setCompositionMode(rule.pixels);
        painter.fillPath(path, QBrush(pattern.pixels));
    } else {
        painter.setCompositionMode(rule.twoColors);
        painter.fillPath(path, PatternBrush(pattern, rule.one(colors), rule.zero(colors)));
    }
    painter.restore();
}

namespace {

// The same rectangle with its edges on pixels of the device: images that touch leave no seam.
QRectF SnapToDevice(const QPainter& painter, const QRectF& rect)
{
    const QTransform& device = painter.deviceTransform();
    const QRectF exact = device.mapRect(rect);
    const QPointF topLeft(qRound(exact.left()), qRound(exact.top()));
    const QPointF bottomRight(std::max(topLeft.x() + 1, double(qRound(exact.right()))),
                              std::max(topLeft.y() + 1, double(qRound(exact.bottom()))));
    return device.inverted().mapRect(QRectF(topLeft, bottomRight));
}

} // namespace

QImage PictureCanvas_KeyedOut(const QImage& image, QRgb key)
{
    QImage keyed = image.convertToFormat(QImage::Format_RGB32);
    keyed.setAlphaChannel(keyed.createMaskFromColor(key, Qt::MaskOutColor));
    return keyed;
}

void PictureCanvas_PaintBits(QPainter& painter,
                             const QImage& image,
                             bool bitmap,
                             const QRectF& source,
                             const QRectF& destination,
                             int mode,
                             const DrawingColors& colors)
{
    painter.save();
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    const TransferRule& rule = RuleOf(mode);
    QImage shown = image;
    if (bitmap) {
        shown.setColorTable({ rule.zero(colors).rgba(), rule.one(colors).rgba() });
        painter.setCompositionMode(rule.twoColors);
    } else {
        if (mode == kBlend)
            painter.setOpacity(Weighted(0, colors.op).alphaF());
        painter.setCompositionMode(rule.pixels);
    }
    constexpr qsizetype kFewPixels = 256 << 10; // of these a copy in 32 bits is worth its speed
    if (shown.depth() != 32 && qsizetype(shown.width()) * shown.height() <= kFewPixels) {
        shown.convertTo(shown.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied
                                                : QImage::Format_RGB32);
    }
    painter.drawImage(SnapToDevice(painter, destination), shown, source);
    painter.restore();
}
