// SPDX-License-Identifier: MIT
// Picture_qt.cpp - the interpreter of picture opcodes. Decoding walks the data once, checks all of
// it and leaves a list of drawing steps with everything resolved; painting replays the list at any
// size.
#include "QuickDraw/Picture_qt.h"

#include "QuickDraw/PictureBits_qt.h"
#include "QuickDraw/PictureCanvas_qt.h"
#include "QuickDraw/PictureData.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QBuffer>
#include <QtCore/QByteArrayView>
#include <QtGui/QImageReader>
#include <QtGui/QPolygonF>

#include <algorithm>
#include <array>
#include <cmath>
#include <deque>
#include <functional>
#include <map>
#include <optional>

namespace {

constexpr int kMaxFrameSide = 4096;
constexpr qint64 kMaxFrameArea = 16 << 20;
constexpr uint64_t kMostKept = 4 << 20; // bytes of a picture that are held for its next use

/// One act of drawing.
struct Step
{
    QRectF bounds; // what it can touch
    std::function<void(QPainter&)> draw;
};

enum Verb { kFrame, kPaint, kErase, kInvert, kFill };

/// MacRoman bytes as text.
QString DecodeText(const uint8_t* bytes, size_t count)
{
    CFStringRef string = CFStringCreateWithBytes(
        kCFAllocatorDefault, bytes, static_cast<CFIndex>(count), kCFStringEncodingMacRoman, false);
    if (string == nullptr)
        return QString();
    const char* utf8 = CFStringGetCStringPtr(string, kCFStringEncodingUTF8);
    const QString text = QString::fromUtf8(utf8 != nullptr ? utf8 : "");
    CFRelease(string);
    return text;
}

/// The eight colours of the oldest pictures, which are numbers of the printer's planes.
QRgb OldColor(uint32_t number)
{
    switch (number) {
    case 30:
        return qRgb(255, 255, 255);
    case 69:
        return qRgb(252, 243, 5);
    case 137:
        return qRgb(242, 8, 132);
    case 205:
        return qRgb(221, 8, 6);
    case 273:
        return qRgb(2, 171, 234);
    case 341:
        return qRgb(31, 183, 20);
    case 409:
        return qRgb(0, 0, 212);
    default:
        return qRgb(0, 0, 0);
    }
}

QPainterPath RectPath(const QRectF& rect)
{
    QPainterPath path;
    if (rect.width() > 0 && rect.height() > 0)
        path.addRect(rect);
    return path;
}

QPainterPath RoundRectPath(const QRectF& rect, QSizeF oval)
{
    QPainterPath path;
    if (rect.width() > 0 && rect.height() > 0)
        path.addRoundedRect(rect, std::clamp(oval.width(), 0.0, rect.width()) / 2,
                            std::clamp(oval.height(), 0.0, rect.height()) / 2);
    return path;
}

QPainterPath OvalPath(const QRectF& rect)
{
    QPainterPath path;
    if (rect.width() > 0 && rect.height() > 0)
        path.addEllipse(rect);
    return path;
}

/// A wedge: angles clockwise from the top, in the circle that the rectangle squeezes.
QPainterPath WedgePath(const QRectF& rect, int start, int sweep)
{
    QPainterPath path;
    if (rect.width() > 0 && rect.height() > 0) {
        path.moveTo(rect.center());
        path.arcTo(rect, 90 - start, -sweep);
        path.closeSubpath();
    }
    return path;
}

/// The rim that a wedge has of its circle.
QPainterPath ArcPath(const QRectF& rect, const QRectF& inner, int start, int sweep)
{
    if (inner.width() <= 0 || inner.height() <= 0 || rect.isEmpty())
        return WedgePath(rect, start, sweep);
    QPainterPath path;
    path.arcMoveTo(rect, 90 - start);
    path.arcTo(rect, 90 - start, -sweep);
    path.arcTo(inner, 90 - start - sweep, sweep);
    path.closeSubpath();
    return path;
}

/// What the pen, which hangs down and right of its point, covers on its way.
QPainterPath LinePath(QPointF from, QPointF to, QSizeF pen)
{
    if (to.x() < from.x() || (to.x() == from.x() && to.y() < from.y()))
        std::swap(from, to);
    const double w = pen.width();
    const double h = pen.height();
    QPolygonF hull;
    if (to.y() >= from.y())
        hull << from << from + QPointF(w, 0) << to + QPointF(w, 0) << to + QPointF(w, h)
             << to + QPointF(0, h) << from + QPointF(0, h);
    else
        hull << from << to << to + QPointF(w, 0) << to + QPointF(w, h) << from + QPointF(w, h)
             << from + QPointF(0, h);
    QPainterPath path;
    path.addPolygon(hull);
    path.closeSubpath();
    path.setFillRule(Qt::WindingFill);
    return path;
}

/// What lies in the outer but not in the inner shape, which it holds.
QPainterPath Ring(QPainterPath outer, const QPainterPath& inner)
{
    outer.addPath(inner);
    outer.setFillRule(Qt::OddEvenFill);
    return outer;
}

QPainterPath RegionPath(const QRegion& region)
{
    QPainterPath path;
    path.addRegion(region);
    return path;
}

/// What an outline takes. The raster engine walks a long straight edge anew for each band of rows.
PaintCost OutlineCost(const QPainterPath& path)
{
    PaintCost cost = { 2e3 + 1.5e3 * path.elementCount() };
    for (int i = 1; i < path.elementCount(); ++i) {
        const QPointF way = QPointF(path.elementAt(i)) - QPointF(path.elementAt(i - 1));
        cost.outline += 250 * (qAbs(way.x()) + qAbs(way.y()));
        if (path.elementAt(i).isLineTo())
            cost.area += (way.x() == 0 ? 0.15 : 1.2) * way.y() * way.y();
    }
    return cost;
}

/// How many stretches of pixel rows a region has; none where it is a plain rectangle.
double StretchesOf(const QRegion& region)
{
    double stretches = 0;
    if (region.rectCount() > 1)
        for (const QRect& rect : region)
            stretches += rect.height();
    return stretches;
}

/// Walks one picture's data. Members are the drawing state that the opcodes set.
class Interpreter
{
public:
    Interpreter(const uint8_t* data, size_t size)
        : m_data(data, size)
    {
    }

    const PictureBudget& Budget() const { return m_budget; }

    void Run()
    {
        m_data.Skip(2); // the size's low half: useless
        m_frame = ReadRect(m_data);
        CheckFrame(m_frame);
        m_space = m_frame;
        m_clip = m_space;

        const bool version1 = ReadVersion();
        m_budget.SetScale(std::sqrt(double(m_frame.width()) * m_frame.height()
                                    / (double(m_space.width()) * m_space.height())));
        for (;;) {
            if (!version1 && m_data.Offset() % 2 != 0)
                m_data.Skip(1);
            const int opcode = version1 ? m_data.U8() : m_data.U16();
            if (opcode == 0xFF)
                return;
            Execute(opcode);
        }
    }

    QRect m_frame;
    QRect m_space; // what drawing coordinates the frame shows
    std::deque<Step> m_steps;

private:
    static void CheckFrame(const QRect& frame)
    {
        const int width = frame.width();
        const int height = frame.height();
        RequirePicture(width >= 1 && width <= kMaxFrameSide);
        RequirePicture(height >= 1 && height <= kMaxFrameSide);
        RequirePicture(qint64(width) * height <= kMaxFrameArea);
    }

    /// True for version 1 with its one-byte opcodes.
    bool ReadVersion()
    {
        const int word = m_data.U16();
        if (word == 0x1101)
            return true;
        RequirePicture(word == 0x0011 && m_data.U16() == 0x02FF && m_data.U16() == 0x0C00);
        PictureData header = m_data.Block(24);
        if (header.U16() == 0xFFFE) { // extended: coordinates are those of its source rectangle
            header.Skip(2 + 8);
            const QRect source = ReadRect(header);
            if (source.width() >= 1 && source.height() >= 1) {
                m_space = source;
                m_clip = source;
            }
        }
        return false;
    }

    // --- drawing
    // -----------------------------------------------------------------------------------

    /// How many pixels of the frame a shape inside `bounds` can touch.
    double SeenArea(const QRectF& bounds) const
    {
        const QRectF seen = bounds.intersected(QRectF(m_space));
        return seen.isEmpty() ? 0 : seen.width() * seen.height();
    }

    /// Adds a step under the clip of this moment. `draw` sees drawing coordinates.
    template <typename Draw>
    void AddStep(const QRectF& bounds, PaintCost cost, uint64_t bytes, Draw draw)
    {
        if (m_clipChanged) {
            const QRegion clip = m_clip.translated(-m_origin).intersected(m_space);
            m_clipChanged = false;
            m_clipStretches = StretchesOf(clip);
            KeepStep(m_space, { 1e3 + 100.0 * clip.rectCount(), 8 * m_clipStretches },
                     sizeof(QRect) * static_cast<uint64_t>(clip.rectCount()),
                     [clip](QPainter& painter) { painter.setClipRegion(clip); });
        }
        cost.outline += 5 * m_clipStretches;
        KeepStep(bounds, cost, bytes, std::move(draw));
    }

    template <typename Draw>
    void KeepStep(const QRectF& bounds, const PaintCost& cost, uint64_t bytes, Draw draw)
    {
        m_budget.Spend(cost);
        m_budget.SpendMemory(sizeof(Step) + sizeof(Draw) + 32 + bytes);
        m_steps.push_back({ bounds, std::move(draw) });
    }

    /// `area`: about how many pixels the shape has, where that is less than its bounds.
    void
    AddPath(const QPainterPath& shape, const DrawingPattern& pattern, int mode, double area = 1e9)
    {
        if (shape.isEmpty())
            return;
        const QPainterPath path = shape.translated(-m_origin);
        const QRectF bounds = path.boundingRect();
        const auto points = static_cast<uint64_t>(path.elementCount());
        PaintCost cost = OutlineCost(path);
        cost.area += std::min(area, SeenArea(bounds)) * FillCost(pattern, mode);
        AddStep(bounds, cost, 64 + sizeof(QPainterPath::Element) * points,
                [path, pattern, mode, colors = m_colors](QPainter& painter) {
                    FillPath(painter, path, pattern, mode, colors);
                });
    }

    /// One of the five verbs on a shape; `makeFrame` gives what the pen covers.
    template <typename MakeFrame>
    void Draw(int verb, const QPainterPath& shape, MakeFrame makeFrame)
    {
        switch (verb) {
        case kFrame:
            if (!m_pen.isEmpty())
                AddPath(makeFrame(), m_penPattern, m_penMode, FrameArea(shape.boundingRect()));
            break;
        case kPaint:
            AddPath(shape, m_penPattern, m_penMode);
            break;
        case kErase:
            AddPath(shape, m_backPattern, kPatCopy);
            break;
        case kInvert:
            AddPath(shape, DrawingPattern::Solid(true), kSrcXor);
            break;
        case kFill:
            AddPath(shape, m_fillPattern, kPatCopy);
            break;
        default: // reserved numbers of the family
            break;
        }
    }

    double FrameArea(const QRectF& bounds) const
    {
        return 2 * (bounds.width() * (m_pen.height() + 1) + bounds.height() * (m_pen.width() + 1));
    }

    QRectF InsetByPen(const QRectF& rect) const
    {
        return rect.adjusted(m_pen.width(), m_pen.height(), -m_pen.width(), -m_pen.height());
    }

    void DrawRect(int verb)
    {
        const QPainterPath shape = RectPath(m_rect);
        Draw(verb, shape, [&] { return Ring(shape, RectPath(InsetByPen(m_rect))); });
    }

    void DrawRoundRect(int verb)
    {
        const QPainterPath shape = RoundRectPath(m_roundRect, m_ovalSize);
        Draw(verb, shape, [&] {
            const QSizeF inner = m_ovalSize - 2 * m_pen;
            return Ring(shape, RoundRectPath(InsetByPen(m_roundRect), inner));
        });
    }

    void DrawOval(int verb)
    {
        const QPainterPath shape = OvalPath(m_oval);
        Draw(verb, shape, [&] { return Ring(shape, OvalPath(InsetByPen(m_oval))); });
    }

    void DrawArc(int verb)
    {
        const int start = m_data.S16();
        const int sweep = std::clamp<int>(m_data.S16(), -360, 360);
        const QPainterPath shape = WedgePath(m_arc, start, sweep);
        Draw(verb, shape, [&] { return ArcPath(m_arc, InsetByPen(m_arc), start, sweep); });
    }

    void DrawPolygon(int verb)
    {
        if (verb == kFrame) { // a path of lines, open where it was left open
            for (int i = 0; i + 1 < m_polygon.size(); ++i)
                AddLine(m_polygon[i], m_polygon[i + 1]);
            return;
        }
        QPainterPath path;
        path.addPolygon(m_polygon);
        path.closeSubpath();
        Draw(verb, path, [] { return QPainterPath(); });
    }

    void DrawRegion(int verb)
    {
        m_budget.Spend({ 1e3 * m_region.rectCount() });
        Draw(verb, RegionPath(m_region), [&] {
            const int w = static_cast<int>(m_pen.width());
            const int h = static_cast<int>(m_pen.height());
            const QRegion inner = m_region.translated(w, h) & m_region.translated(-w, h)
                & m_region.translated(w, -h) & m_region.translated(-w, -h);
            return RegionPath(m_region - inner);
        });
    }

    void AddLine(QPointF from, QPointF to)
    {
        if (m_pen.isEmpty())
            return;
        const QPointF way = to - from;
        const double thickness = m_pen.width() + m_pen.height() + 1;
        AddPath(LinePath(from, to, m_pen), m_penPattern, m_penMode,
                (qAbs(way.x()) + qAbs(way.y()) + thickness) * thickness);
    }

    void LineTo(QPoint to)
    {
        AddLine(m_penAt, to);
        m_penAt = to;
    }

    void DrawText(size_t count)
    {
        const QString text = DecodeText(m_data.Bytes(count), count);
        const QPointF at = m_textAt - m_origin;
        const double size = m_text.size == 0 ? 12 : m_text.size;
        const QSizeF em(m_text.ratio.width() * size, m_text.ratio.height() * size);
        const QRectF bounds(m_space.left(), at.y() - 2 * em.height(), m_space.width(),
                            3 * em.height()); // roomy, as fonts differ
        const bool rimmed = (m_text.face & (8 | 16)) != 0;
        AddStep(bounds,
                { 2e4 * double(count + 1),
                  (rimmed ? 10 : 1) * 250.0 * 4 * (em.width() + em.height()) * double(count),
                  SeenArea(bounds) },
                4 * count, [text, at, style = m_text, colors = m_colors](QPainter& painter) {
                    PaintText(painter, text, at, style, colors);
                });
    }

    void DrawBits(PictureData& data, int opcode)
    {
        const PictureBits bits = ReadBits(data, opcode, m_budget);
        if (m_quickTimeAt && bits.destination == *m_quickTimeAt)
            return; // stands in for the image before it, where that cannot be shown
        if (bits.destination.isEmpty() || bits.source.isEmpty())
            return;
        const QRectF source = QRectF(bits.source.translated(-bits.bounds.topLeft()));
        AddImage(bits.image, bits.bitmap, source, bits.destination, bits.mode, bits);
    }

    void AddImage(QImage image,
                  bool bitmap,
                  const QRectF& source,
                  const QRectF& destination,
                  int mode,
                  const std::optional<PictureBits>& masking = std::nullopt)
    {
        const QRectF to = destination.translated(-m_origin);
        const bool masked = masking && masking->masked;
        const QRegion mask = masked ? masking->mask.translated(-m_origin) : QRegion();
        if (mode == kTransparent && !bitmap) {
            if (image.depth() != 8 && image.depth() != 32)
                m_budget.SpendMemory(4 * static_cast<uint64_t>(image.width() * image.height()));
            image = KeyedOut(std::move(image), m_colors.background);
        }
        const bool scaled = m_space.size() != m_frame.size() || source.size() != to.size();
        const PaintCost cost = { 1e4 + 100.0 * mask.rectCount(), 8 * StretchesOf(mask),
                                 SeenArea(to) * BitsCost(image, scaled, mode) };
        AddStep(to, cost, 0, [=, colors = m_colors](QPainter& painter) {
            if (!masked) {
                PaintBits(painter, image, bitmap, source, to, mode, colors);
                return;
            }
            painter.save();
            painter.setClipRegion(mask, Qt::IntersectClip);
            PaintBits(painter, image, bitmap, source, to, mode, colors);
            painter.restore();
        });
    }

    // --- QuickTime
    // ---------------------------------------------------------------------------------

    struct ImageDescription
    {
        uint32_t codec;
        QSize size;
        uint32_t dataSize;
        int depth;
    };

    static ImageDescription ReadImageDescription(PictureData& data)
    {
        const uint32_t size = data.U32();
        RequirePicture(size >= 86);
        PictureData description = data.Block(size - 4);
        ImageDescription image = {};
        image.codec = description.U32();
        description.Skip(24);
        const int width = description.U16();
        const int height = description.U16();
        RequirePicture(width >= 1 && width <= kMaxFrameSide);
        RequirePicture(height >= 1 && height <= kMaxFrameSide);
        image.size = QSize(width, height);
        description.Skip(8);
        image.dataSize = description.U32();
        description.Skip(2 + 32);
        image.depth = description.U16();
        return image;
    }

    void DrawCompressedImage(PictureData data)
    {
        data.Skip(2); // version
        double matrix[9];
        for (double& entry : matrix)
            entry = data.S32() / 65536.0;
        const uint32_t matteSize = data.U32();
        data.Skip(8); // matte rectangle
        const int mode = data.U16();
        const QRect source = ReadRect(data);
        data.Skip(4); // accuracy
        const uint32_t maskSize = data.U32();
        PictureBits masking = {};
        if (maskSize != 0) {
            PictureData maskData = data.Block(maskSize);
            masking.mask = ReadRegion(maskData, m_budget);
            masking.masked = true;
        }
        if (matteSize != 0) {
            ReadImageDescription(data);
            data.Skip(matteSize);
        }
        const ImageDescription description = ReadImageDescription(data);
        PictureData coded = description.dataSize != 0 ? data.Block(description.dataSize) : data;
        const QImage image = DecodePayload(description, coded);

        const QRect shown = source.isEmpty() ? QRect(QPoint(), description.size) : source;
        const double scaleX = matrix[0] == 0 ? 1 : matrix[0];
        const double scaleY = matrix[4] == 0 ? 1 : matrix[4];
        const QRectF destination(matrix[6], matrix[7], shown.width() * scaleX,
                                 shown.height() * scaleY);
        RequirePicture(destination.width() > 0 && destination.height() > 0);
        AddImage(image, false, shown, destination, mode, masking);
        m_quickTimeAt = destination.toRect();
        m_afterQuickTime = true;
    }

    QImage DecodePayload(const ImageDescription& description, PictureData coded)
    {
        if (description.codec == 0x72617720) // 'raw '
            return ReadRawPixels(coded, description.size, description.depth, m_budget);
        const size_t count = coded.Left();
        const auto* bytes = reinterpret_cast<const char*>(coded.Bytes(count));
        QByteArray payload = QByteArray::fromRawData(bytes, static_cast<qsizetype>(count));
        QBuffer buffer(&payload);
        QImageReader reader(&buffer); // tells JPEG, PNG and TIFF by their first bytes
        const QSize size = reader.size();
        RequirePicture(size.width() >= 1 && size.width() <= kMaxFrameSide);
        RequirePicture(size.height() >= 1 && size.height() <= kMaxFrameSide);
        // A JPEG of several scans is held in coefficients, and each scan passes over all of it.
        const bool progressive = payload.contains("\xFF\xC2");
        const auto scans = payload.count("\xFF\xDA");
        const int depth = QImage::toPixelFormat(reader.imageFormat()).bitsPerPixel();
        const double pixels = double(size.width()) * size.height();
        m_budget.SpendMemory(
            static_cast<uint64_t>(pixels * (std::max(4, depth / 8) + (progressive ? 6 : 0))));
        m_budget.Spend({ pixels * (15 + 5 * double(scans)) });
        const QImage image = reader.read();
        RequirePicture(!image.isNull());
        return image;
    }

    /// 8201: a matrix and a matte around ordinary bits.
    void DrawUncompressedImage(PictureData data)
    {
        data.Skip(2 + 36); // version, matrix
        const uint32_t matteSize = data.U32();
        data.Skip(8);
        if (matteSize != 0) {
            ReadImageDescription(data);
            data.Skip(matteSize);
        }
        const int opcode = data.U16();
        RequirePicture((opcode >= 0x90 && opcode <= 0x91) || (opcode >= 0x98 && opcode <= 0x9B));
        DrawBits(data, opcode);
    }

    // --- state
    // -------------------------------------------------------------------------------------

    void ReadPattern(DrawingPattern& pattern)
    {
        pattern = DrawingPattern();
        std::copy_n(m_data.Bytes(8), 8, pattern.bits.begin());
    }

    void ReadPixelPattern(DrawingPattern& pattern)
    {
        const int type = m_data.U16();
        ReadPattern(pattern);
        if (type == 2) { // one colour
            pattern.pixels = QImage(1, 1, QImage::Format_RGB32);
            pattern.pixels.fill(ReadColor(m_data));
        } else if (type == 1) {
            pattern.pixels = ReadPatternPixels(m_data, m_budget);
        }
    }

    void ReadPolygon()
    {
        const size_t size = m_data.U16();
        RequirePicture(size >= 10 && size % 4 == 2);
        PictureData block = m_data.Block(size - 2);
        ReadRect(block);
        m_polygon.clear();
        while (block.Left() != 0)
            m_polygon.append(ReadPoint(block));
    }

    void ReadFontName(PictureData data)
    {
        const int number = data.U16();
        const size_t length = data.U8();
        m_fontNames[number] = DecodeText(data.Bytes(length), length);
        SelectFont(number);
    }

    void SelectFont(int number)
    {
        const auto found = m_fontNames.find(number);
        m_text.font = number;
        m_text.family = found != m_fontNames.end() ? found->second : QString();
    }

    void ReadTextRatio()
    {
        const QPoint to = ReadPoint(m_data);
        const QPoint from = ReadPoint(m_data);
        if (to.x() > 0 && to.y() > 0 && from.x() > 0 && from.y() > 0)
            m_text.ratio = QSizeF(double(to.x()) / from.x(), double(to.y()) / from.y());
    }

    void MoveOrigin()
    {
        const int dh = m_data.S16();
        const int dv = m_data.S16();
        const QPoint moved = m_origin + QPoint(dh, dv);
        RequirePicture(qAbs(moved.x()) <= 0x7FFF && qAbs(moved.y()) <= 0x7FFF);
        m_origin = moved;
        m_clip.translate(dh, dv); // the clip stays where it is on the picture
    }

    // --- opcodes
    // -----------------------------------------------------------------------------------

    void Execute(int opcode)
    {
        if (opcode < 0x30)
            ExecuteState(opcode);
        else if (opcode < 0x90)
            ExecuteShape(opcode);
        else
            ExecuteBlock(opcode);
    }

    void ExecuteState(int opcode)
    {
        switch (opcode) {
        case 0x00: // nothing
        case 0x17:
        case 0x18:
        case 0x19:
        case 0x1C: // hilite mode, for the next drawing only: no lasting state
        case 0x1E:
            break;
        case 0x01:
            m_clip = ReadRegion(m_data, m_budget);
            m_clipChanged = true;
            break;
        case 0x02:
            ReadPattern(m_backPattern);
            break;
        case 0x03:
            SelectFont(m_data.U16());
            break;
        case 0x04:
            m_text.face = m_data.U8();
            break;
        case 0x05:
            m_text.mode = m_data.U16();
            break;
        case 0x06:
            m_text.extraPerSpace = m_data.S32() / 65536.0;
            break;
        case 0x07:
            ReadPenSize();
            break;
        case 0x08:
            m_penMode = m_data.U16();
            break;
        case 0x09:
            ReadPattern(m_penPattern);
            break;
        case 0x0A:
            ReadPattern(m_fillPattern);
            break;
        case 0x0B: {
            const QPoint oval = ReadPoint(m_data);
            m_ovalSize = QSizeF(oval.x(), oval.y());
            break;
        }
        case 0x0C:
            MoveOrigin();
            break;
        case 0x0D:
            m_text.size = m_data.U16();
            break;
        case 0x0E:
            m_colors.foreground = OldColor(m_data.U32());
            break;
        case 0x0F:
            m_colors.background = OldColor(m_data.U32());
            break;
        case 0x10:
            ReadTextRatio();
            break;
        case 0x11:
            m_data.Skip(1);
            break;
        case 0x12:
            ReadPixelPattern(m_backPattern);
            break;
        case 0x13:
            ReadPixelPattern(m_penPattern);
            break;
        case 0x14:
            ReadPixelPattern(m_fillPattern);
            break;
        case 0x15: // fraction of the pen's place
            m_data.Skip(2);
            break;
        case 0x16:
            m_text.extraPerCharacter = m_data.S16() / 256.0;
            break;
        case 0x1A:
            m_colors.foreground = ReadColor(m_data);
            break;
        case 0x1B:
            m_colors.background = ReadColor(m_data);
            break;
        case 0x1D:
            m_colors.hilite = ReadColor(m_data);
            break;
        case 0x1F:
            m_colors.op = ReadColor(m_data);
            break;
        case 0x20:
            m_penAt = ReadPoint(m_data);
            LineTo(ReadPoint(m_data));
            break;
        case 0x21:
            LineTo(ReadPoint(m_data));
            break;
        case 0x22:
            m_penAt = ReadPoint(m_data);
            [[fallthrough]];
        case 0x23: {
            const int dh = m_data.S8();
            const int dv = m_data.S8();
            LineTo(m_penAt + QPoint(dh, dv));
            break;
        }
        case 0x28:
            m_textAt = ReadPoint(m_data);
            DrawText(m_data.U8());
            break;
        case 0x29:
            m_textAt += QPoint(m_data.U8(), 0);
            DrawText(m_data.U8());
            break;
        case 0x2A:
            m_textAt += QPoint(0, m_data.U8());
            DrawText(m_data.U8());
            break;
        case 0x2B: {
            const int dh = m_data.U8();
            const int dv = m_data.U8();
            m_textAt += QPoint(dh, dv);
            DrawText(m_data.U8());
            break;
        }
        case 0x2C:
            ReadFontName(m_data.Block(m_data.U16()));
            break;
        default: // 24-27, 2D-2F
            m_data.Skip(m_data.U16());
            break;
        }
        RequirePicture(qAbs(m_textAt.x()) <= 0xFFFF && qAbs(m_textAt.y()) <= 0xFFFF);
        RequirePicture(qAbs(m_penAt.x()) <= 0xFFFF && qAbs(m_penAt.y()) <= 0xFFFF);
    }

    void ReadPenSize()
    {
        const int v = m_data.U16();
        const int h = m_data.U16();
        if (m_afterQuickTime
            && v == 0xAE) { // how much of what follows stands in for the image before
            m_data.Skip(static_cast<size_t>(h));
            m_afterQuickTime = false;
            return;
        }
        m_pen = QSizeF(std::min(h, 0x7FFF), std::min(v, 0x7FFF));
    }

    /// Six families of sixteen: the first eight bring a shape, the others repeat the last one.
    void ExecuteShape(int opcode)
    {
        const int verb = opcode & 7;
        const bool same = (opcode & 8) != 0;
        switch (opcode & 0xF0) {
        case 0x30:
            if (!same)
                m_rect = ReadRect(m_data);
            DrawRect(verb);
            break;
        case 0x40:
            if (!same)
                m_roundRect = ReadRect(m_data);
            DrawRoundRect(verb);
            break;
        case 0x50:
            if (!same)
                m_oval = ReadRect(m_data);
            DrawOval(verb);
            break;
        case 0x60:
            if (!same)
                m_arc = ReadRect(m_data);
            DrawArc(verb);
            break;
        case 0x70:
            if (!same)
                ReadPolygon();
            DrawPolygon(verb);
            break;
        default:
            if (!same)
                m_region = ReadRegion(m_data, m_budget);
            DrawRegion(verb);
            break;
        }
    }

    void ExecuteBlock(int opcode)
    {
        switch (opcode) {
        case 0x90:
        case 0x91:
        case 0x98:
        case 0x99:
        case 0x9A:
        case 0x9B:
            DrawBits(m_data, opcode);
            break;
        case 0xA0:
            m_data.Skip(2);
            break;
        case 0xA1:
            m_data.Skip(2);
            m_data.Skip(m_data.U16());
            break;
        case 0x8200:
            DrawCompressedImage(m_data.Block(m_data.U32()));
            break;
        case 0x8201:
            DrawUncompressedImage(m_data.Block(m_data.U32()));
            break;
        default:
            SkipReserved(opcode);
            break;
        }
    }

    void SkipReserved(int opcode)
    {
        if (opcode < 0xB0)
            m_data.Skip(m_data.U16());
        else if (opcode < 0xD0 || (opcode >= 0x8000 && opcode <= 0x80FF))
            return;
        else if (opcode < 0xFF || opcode >= 0x8100)
            m_data.Skip(m_data.U32());
        else
            m_data.Skip(static_cast<size_t>(2 * (opcode >> 8)));
    }

    PictureData m_data;
    PictureBudget m_budget;
    QRegion m_clip; // in drawing coordinates, before the origin is taken off
    bool m_clipChanged = true;
    double m_clipStretches = 0;
    QPoint m_origin;
    DrawingColors m_colors;
    QSizeF m_pen = { 1, 1 };
    int m_penMode = kPatCopy;
    DrawingPattern m_penPattern = DrawingPattern::Solid(true);
    DrawingPattern m_fillPattern = DrawingPattern::Solid(true);
    DrawingPattern m_backPattern = DrawingPattern::Solid(false);
    QPoint m_penAt;
    QSizeF m_ovalSize;
    QRectF m_rect;
    QRectF m_roundRect;
    QRectF m_oval;
    QRectF m_arc;
    QPolygonF m_polygon;
    QRegion m_region;
    TextStyle m_text;
    QPoint m_textAt;
    std::map<int, QString> m_fontNames;
    std::optional<QRect> m_quickTimeAt;
    bool m_afterQuickTime = false;
};

class InterpretedPicture final : public DecodedPicture
{
public:
    explicit InterpretedPicture(Interpreter& interpreter)
        : m_size(interpreter.m_frame.size())
        , m_space(interpreter.m_space)
        , m_cost(interpreter.Budget().Cost())
        , m_steps(std::move(interpreter.m_steps))
    {
    }

    QSizeF FrameSize() const override { return m_size; }

    void Paint(QPainter& painter, const QRectF& target) const override
    {
        // The modes need opaque pixels to work on, at the density of the device.
        const QTransform& device = painter.deviceTransform();
        const QRectF onDevice = device.mapRect(target);
        QSize size(std::max(1, qRound(onDevice.width())), std::max(1, qRound(onDevice.height())));
        if (qint64(size.width()) * size.height() > kMaxFrameArea)
            size.scale(kMaxFrameSide, kMaxFrameSide, Qt::KeepAspectRatio);
        while (size.width() > 1 && size.height() > 1
               && m_cost.At(ScaleOf(size)) > PictureBudget::kMostTime)
            size /= 2; // hostile: coarse, but soon
        if (m_canvas.size() == size) {
            painter.drawImage(target, m_canvas);
            return;
        }
        m_canvas = QImage();
        const int most = std::max(1, static_cast<int>(kMostKept / 4) / size.width());
        const double step = target.height() / size.height();
        for (int top = 0; top < size.height(); top += most) {
            const int rows = std::min(most, size.height() - top);
            const QImage band = Replay(size, top, rows);
            painter.drawImage(
                QRectF(target.left(), target.top() + top * step, target.width(), rows * step),
                band);
            if (rows == size.height())
                m_canvas = band;
        }
    }

private:
    double ScaleOf(QSize size) const
    {
        return std::sqrt(double(size.width()) * size.height()
                         / (double(m_space.width()) * m_space.height()));
    }

    /// Some rows of the picture at a size.
    QImage Replay(QSize size, int top, int rows) const
    {
        QImage canvas(size.width(), rows, QImage::Format_RGB32);
        if (canvas.isNull())
            return canvas;
        canvas.fill(Qt::white);
        QPainter replay(&canvas);
        replay.setRenderHint(QPainter::Antialiasing);
        replay.translate(0, -top);
        replay.scale(double(size.width()) / m_space.width(),
                     double(size.height()) / m_space.height());
        replay.translate(-m_space.topLeft());
        const QRectF seen = replay.transform().inverted().mapRect(QRectF(canvas.rect()));
        for (const Step& step : m_steps)
            if (step.bounds.intersects(seen))
                step.draw(replay);
        return canvas;
    }

    QSizeF m_size;
    QRect m_space;
    PaintCost m_cost;
    std::deque<Step> m_steps;
    mutable QImage m_canvas; // as painted last
};

class ImagePicture final : public DecodedPicture
{
public:
    explicit ImagePicture(const QImage& image)
        : m_image(image)
    {
    }

    QSizeF FrameSize() const override { return m_image.size(); }

    void Paint(QPainter& painter, const QRectF& target) const override
    {
        painter.save();
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, m_image);
        painter.restore();
    }

private:
    QImage m_image;
};

/// The pictures decoded last, with their data: a box is mostly opened again with the ones that it had.
struct KeptPicture
{
    QByteArray data;
    std::shared_ptr<const DecodedPicture> picture;
};

std::array<KeptPicture, 2>& KeptPictures()
{
    static auto* kept = new std::array<KeptPicture, 2>; // never freed: Qt may be gone by then
    return *kept;
}

} // namespace

std::shared_ptr<const DecodedPicture> DecodedPicture::Decode(const void* data, std::size_t size)
{
    auto& kept = KeptPictures();
    const QByteArrayView bytes(static_cast<const char*>(data), static_cast<qsizetype>(size));
    for (const KeptPicture& known : kept)
        if (known.picture && bytes == known.data)
            return known.picture;
    try {
        Interpreter interpreter(static_cast<const uint8_t*>(data), size);
        interpreter.Run();
        auto picture = std::make_shared<InterpretedPicture>(interpreter);
        if (interpreter.Budget().MemorySpent() + size <= kMostKept) {
            std::swap(kept[0], kept[1]);
            kept[0] = { bytes.toByteArray(), picture };
        }
        return picture;
    } catch (const BadPicture&) {
        return nullptr;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

std::shared_ptr<const DecodedPicture> DecodedPicture::OfImage(const QImage& image)
{
    return image.isNull() ? nullptr : std::make_shared<ImagePicture>(image);
}
