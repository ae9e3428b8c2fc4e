// SPDX-License-Identifier: MIT
// Drawing_qt.cpp - turns shapes, text and bits into drawing steps.
#include "QuickDraw/Drawing_qt.h"

#include "QuickDraw/Shapes_qt.h"

#include <algorithm>

namespace {

// What filling an outline touches. Qt rescans a long edge for every band of rows: its height counts squared, too.
PaintedArea OutlineOf(const QPainterPath& path)
{
    PaintedArea painted;
    for (int i = 1; i < path.elementCount(); ++i) {
        const QPointF way = QPointF(path.elementAt(i)) - QPointF(path.elementAt(i - 1));
        painted.length += qAbs(way.x()) + qAbs(way.y());
        if (path.elementAt(i).isLineTo())
            painted.area += way.y() * way.y() / (way.x() == 0 ? 256 : 8);
    }
    return painted;
}

// Rows of pixels in the rectangles of a region; 0 for a plain rectangle.
double RowsOf(const QRegion& region)
{
    double rows = 0;
    if (region.rectCount() > 1) {
        for (const QRect& rect : region)
            rows += rect.height();
    }
    return rows;
}

// Every step under a region with many rows walks all of them.
constexpr double kLengthOfRow = 1.0 / 32;

} // namespace

void Drawing::SetFrame(QSize frame, const QRect& space)
{
    m_frame = frame;
    m_space = space;
    m_clip = space;
    m_clipChanged = true;
}

void Drawing::SetClip(const QRegion& clip)
{
    m_clip = clip;
    m_clipChanged = true;
}

void Drawing::MoveOrigin(QPoint by)
{
    const QPoint moved = m_origin + by;
    ByteReader_Require(qAbs(moved.x()) <= 0x7FFF && qAbs(moved.y()) <= 0x7FFF);
    m_budget.SpendSteps(static_cast<uint64_t>(m_clip.rectCount()));
    m_origin = moved;
    m_clip.translate(by); // the clip stays where it is on the picture
}

double Drawing::SeenArea(const QRectF& bounds) const
{
    const QRectF seen = bounds.intersected(QRectF(m_space));
    return seen.isEmpty() ? 0 : seen.width() * seen.height();
}

// `bytes`: memory that the function holds elsewhere.
template <class Draw> void Drawing::Keep(const QRectF& bounds, uint64_t bytes, Draw draw)
{
    m_budget.SpendMemory(sizeof(DrawingStep) + sizeof(Draw) + 32 + bytes);
    m_steps.push_back({ bounds, std::move(draw) });
}

// Adds a step under the clip of this moment. `draw` sees the picture's coordinates.
template <class Draw>
void Drawing::AddStep(const QRectF& bounds, PaintedArea painted, uint64_t bytes, Draw draw)
{
    if (m_clipChanged) {
        const auto count = static_cast<uint64_t>(m_clip.rectCount());
        m_budget.SpendSteps(count);
        const QRegion clip = m_clip.translated(-m_origin).intersected(m_space);
        m_clipChanged = false;
        m_clipRows = RowsOf(clip);
        Keep(m_space, sizeof(QRect) * count,
             [clip](QPainter& painter) { painter.setClipRegion(clip); });
    }
    painted.length += kLengthOfRow * m_clipRows;
    m_budget.SpendArea(painted);
    Keep(bounds, bytes, std::move(draw));
}

// `area`: about how many pixels the shape has, if that is less than its bounds.
void Drawing::AddPath(const QPainterPath& shape,
                      const DrawingPattern& pattern,
                      int mode,
                      double area)
{
    if (shape.isEmpty())
        return;
    const bool inverts = mode == kSrcXor || mode == kPatCopy + kSrcXor;
    const int shownMode = inverts && std::exchange(state.hiliteNext, false) ? kHilite : mode;
    const auto points = static_cast<uint64_t>(shape.elementCount());
    m_budget.SpendSteps(points);
    const QPainterPath path = shape.translated(-m_origin);
    const QRectF bounds = path.boundingRect();
    PaintedArea painted = OutlineOf(path);
    painted.area += std::min(area, SeenArea(bounds));
    AddStep(bounds, painted, 64 + sizeof(QPainterPath::Element) * points,
            [path, pattern, shownMode, colors = state.colors](QPainter& painter) {
                PictureCanvas_FillPath(painter, path, pattern, shownMode, colors);
            });
}

void Drawing::DrawShape(int verb,
                        const QPainterPath& shape,
                        const std::function<QPainterPath()>& frameOf)
{
    const QSizeF size = shape.boundingRect().size();
    const QSizeF pen = state.pen;
    switch (verb) {
    case kFrame:
        if (!pen.isEmpty()) {
            AddPath(frameOf(), state.penPattern, state.penMode,
                    2 * (size.width() * (pen.height() + 1) + size.height() * (pen.width() + 1)));
        }
        return;
    case kPaint:
        return AddPath(shape, state.penPattern, state.penMode);
    case kErase:
        return AddPath(shape, state.backPattern, kPatCopy);
    case kInvert:
        return AddPath(shape, DrawingPattern::Solid(true), kSrcXor);
    case kFill:
        return AddPath(shape, state.fillPattern, kPatCopy);
    }
}

void Drawing::DrawLine(QPointF from, QPointF to)
{
    if (state.pen.isEmpty())
        return;
    const QPointF way = to - from;
    const double thickness = state.pen.width() + state.pen.height() + 1;
    AddPath(Shapes_Line(from, to, state.pen), state.penPattern, state.penMode,
            (qAbs(way.x()) + qAbs(way.y()) + thickness) * thickness);
}

void Drawing::DrawText(const uint8_t* bytes, size_t count, QPointF at)
{
    constexpr uint64_t kStepsOfCharacter = 16; // its outline's points, and finding them
    m_budget.SpendSteps(kStepsOfCharacter * (count + 1));
    const QString text = PictureText_DecodeMacRoman(bytes, count, state.text);
    const double size = state.text.size == 0 ? 12 : state.text.size;
    const QSizeF em(state.text.ratio.width() * size, state.text.ratio.height() * size);
    const QPointF start = at - m_origin;
    const QRectF bounds(m_space.left(), start.y() - 2 * em.height(), m_space.width(),
                        3 * em.height()); // roomy, as fonts differ
    const bool stroked = (state.text.face & (kOutlineFace | kShadowFace)) != 0;
    const double length = 4 * (em.width() + em.height()) * double(count) * (stroked ? 10 : 1);
    const double area = std::min(SeenArea(bounds), 2 * em.width() * em.height() * double(count));
    AddStep(bounds, { area, length }, 4 * count,
            [text, start, style = state.text, colors = state.colors](QPainter& painter) {
                PictureText_Paint(painter, text, start, style, colors);
            });
}

void Drawing::DrawBits(PictureBits bits)
{
    if (bits.destination.isEmpty() || bits.source.isEmpty())
        return;
    const QRectF to = bits.destination.translated(-m_origin);
    const QRectF source = bits.source.translated(-bits.bounds.topLeft());
    const bool masked = bits.masked;
    const auto rects = static_cast<uint64_t>(bits.mask.rectCount());
    m_budget.SpendSteps(rects);
    const QRegion mask = bits.mask.translated(-m_origin);
    if (bits.mode == kTransparent && !bits.bitmap) {
        if (bits.image.depth() != 32) {
            m_budget.SpendMemory(4ull * uint64_t(bits.image.width())
                                 * uint64_t(bits.image.height()));
        }
        bits.image = PictureCanvas_KeyedOut(bits.image, state.colors.background);
    }
    const bool scaled = m_space.size() != m_frame || source.size() != to.size();
    const double slowness = scaled ? 3 : 1;
    AddStep(to, { slowness * SeenArea(to), kLengthOfRow * RowsOf(mask) }, sizeof(QRect) * rects,
            [image = bits.image, bitmap = bits.bitmap, mode = bits.mode, source, to, masked, mask,
             colors = state.colors](QPainter& painter) {
                painter.save();
                if (masked)
                    painter.setClipRegion(mask, Qt::IntersectClip);
                PictureCanvas_PaintBits(painter, image, bitmap, source, to, mode, colors);
                painter.restore();
            });
}
