// SPDX-License-Identifier: MIT
// Interpreter_qt.cpp - the opcodes of a picture.
#include "QuickDraw/Interpreter_qt.h"

#include "QuickDraw/ImagePayload_qt.h"
#include "QuickDraw/Shapes_qt.h"

#include <QtGui/QPolygonF>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <optional>

namespace {

bool IsBits(int opcode)
{
    return opcode == kBitsRect || opcode == kBitsRgn
        || (opcode >= kPackBitsRect && opcode <= kDirectBitsRgn);
}

class Interpreter
{
public:
    Interpreter(const uint8_t* data, size_t size)
        : m_data(data, size)
    {
    }

    InterpretedPicture Run();

private:
    using Act = void (*)(Interpreter&);
    using StateTable = std::array<Act, kFirstShape>;
    static const StateTable& StateActs();

    QRect ReadSpace(const QRect& frame, bool& oneByteOpcodes);
    void Execute(int opcode);
    void ExecuteShape(int opcode);
    void ExecuteBlock(int opcode);

    QPoint ReadPoint() { return PictureBits_ReadPoint(m_data); }
    QPoint ReadWay(); // two signed bytes, horizontal first
    QRgb ReadColor() { return PictureBits_ReadColor(m_data); }
    QRgb ReadOldColor();
    void ReadPattern(DrawingPattern& pattern);
    void ReadPixelPattern(DrawingPattern& pattern);
    void ReadPenSize();
    void ReadFontName();
    void SelectFont(int number);
    void DrawPolygon(int verb, bool isNew);
    void DrawArc(int verb, const QRectF& rect);
    void LineTo(QPoint to);
    void DrawTextAt(QPoint at);
    void DrawBits(ByteReader& data, int opcode);
    void DrawCompressedImage();
    void DrawUncompressedImage();
    QRectF InsetByPen(const QRectF& rect) const;

    ByteReader m_data;
    PictureBudget m_budget;
    Drawing m_drawing { m_budget };
    DrawingState& m_state = m_drawing.state;
    QPoint m_penAt;
    QPoint m_textAt;
    std::map<int, QString> m_fontNames;
    QSizeF m_ovalSize;
    std::map<int, QRectF> m_rects; // the last one of each family
    QPolygonF m_polygon;
    QRegion m_region;
    std::optional<QRect> m_compressedAt; // where the last compressed image was drawn
    bool m_afterCompressed = false; // its stand-in may follow
};

InterpretedPicture Interpreter::Run()
{
    m_data.Skip(2); // the size's low half
    const QRect frame = PictureBits_ReadRect(m_data);
    PictureBudget_RequireSize(frame.width(), frame.height());
    bool oneByteOpcodes = false;
    const QRect space = ReadSpace(frame, oneByteOpcodes);
    m_drawing.SetFrame(frame.size(), space);
    for (;;) {
        if (!oneByteOpcodes && m_data.Offset() % 2 != 0)
            m_data.Skip(1);
        const int opcode = oneByteOpcodes ? m_data.U8() : m_data.U16();
        if (opcode == kEndPic) {
            const double scale = std::sqrt(double(frame.width()) * frame.height()
                                           / (double(space.width()) * space.height()));
            ByteReader_Require(m_budget.Painted().At(scale) <= kMaxPaintedArea);
            return { frame.size(), space, m_drawing.TakeSteps(), m_budget.Painted(),
                     m_budget.Memory() };
        }
        m_budget.SpendSteps(1);
        Execute(opcode);
    }
}

// Reads the version and the header. An extended header's coordinates are those of its source rectangle.
QRect Interpreter::ReadSpace(const QRect& frame, bool& oneByteOpcodes)
{
    const int word = m_data.U16();
    oneByteOpcodes = word == 0x1101;
    if (oneByteOpcodes)
        return frame;
    ByteReader_Require(word == kVersion && m_data.U16() == 0x02FF && m_data.U16() == kHeaderOp);
    ByteReader header = m_data.Block(24);
    if (header.U16() != 0xFFFE)
        return frame;
    header.Skip(2 + 8); // reserved, two resolutions
    const QRect source = PictureBits_ReadRect(header);
    return source.width() >= 1 && source.height() >= 1 ? source : frame;
}

void Interpreter::Execute(int opcode)
{
    if (opcode < kFirstShape) {
        StateActs()[static_cast<size_t>(opcode)](*this);
        ByteReader_Require(qAbs(m_textAt.x()) <= 0xFFFF && qAbs(m_textAt.y()) <= 0xFFFF);
        ByteReader_Require(qAbs(m_penAt.x()) <= 0xFFFF && qAbs(m_penAt.y()) <= 0xFFFF);
    } else if (opcode < kBitsRect) {
        ExecuteShape(opcode);
    } else {
        ExecuteBlock(opcode);
    }
}

// What the opcodes below the shapes do: they set the state, draw lines or draw text.
const Interpreter::StateTable& Interpreter::StateActs()
{
    static constexpr StateTable kActs = [] {
        StateTable acts;
        acts.fill([](Interpreter& i) { i.m_data.Skip(i.m_data.U16()); }); // reserved: 24-27, 2D-2F
        for (const int nothing : { int { kNop }, 0x17, 0x18, 0x19 })
            acts[static_cast<size_t>(nothing)] = [](Interpreter&) {};
        acts[kClip] = [](Interpreter& i) {
            i.m_drawing.SetClip(PictureBits_ReadRegion(i.m_data, i.m_budget));
        };
        acts[kBkPat] = [](Interpreter& i) { i.ReadPattern(i.m_state.backPattern); };
        acts[kTxFont] = [](Interpreter& i) { i.SelectFont(i.m_data.U16()); };
        acts[kTxFace] = [](Interpreter& i) { i.m_state.text.face = i.m_data.U8(); };
        acts[kTxMode] = [](Interpreter& i) { i.m_state.text.mode = i.m_data.U16(); };
        acts[kSpExtra]
            = [](Interpreter& i) { i.m_state.text.extraPerSpace = i.m_data.S32() / 65536.0; };
        acts[kPnSize] = [](Interpreter& i) { i.ReadPenSize(); };
        acts[kPnMode] = [](Interpreter& i) { i.m_state.penMode = i.m_data.U16(); };
        acts[kPnPat] = [](Interpreter& i) { i.ReadPattern(i.m_state.penPattern); };
        acts[kFillPat] = [](Interpreter& i) { i.ReadPattern(i.m_state.fillPattern); };
        acts[kOvSize] = [](Interpreter& i) {
            const QPoint size = i.ReadPoint();
            i.m_ovalSize = QSizeF(size.x(), size.y());
        };
        acts[kOrigin] = [](Interpreter& i) {
            const int dh = i.m_data.S16();
            const int dv = i.m_data.S16();
            i.m_drawing.MoveOrigin({ dh, dv });
        };
        acts[kTxSize] = [](Interpreter& i) { i.m_state.text.size = i.m_data.U16(); };
        acts[kFgColor] = [](Interpreter& i) { i.m_state.colors.foreground = i.ReadOldColor(); };
        acts[kBkColor] = [](Interpreter& i) { i.m_state.colors.background = i.ReadOldColor(); };
        acts[kTxRatio] = [](Interpreter& i) {
            const QPoint to = i.ReadPoint();
            const QPoint from = i.ReadPoint();
            if (to.x() > 0 && to.y() > 0 && from.x() > 0 && from.y() > 0)
                i.m_state.text.ratio = { double(to.x()) / from.x(), double(to.y()) / from.y() };
        };
        acts[kVersion] = [](Interpreter& i) { i.m_data.Skip(1); };
        acts[kBkPixPat] = [](Interpreter& i) { i.ReadPixelPattern(i.m_state.backPattern); };
        acts[kPnPixPat] = [](Interpreter& i) { i.ReadPixelPattern(i.m_state.penPattern); };
        acts[kFillPixPat] = [](Interpreter& i) { i.ReadPixelPattern(i.m_state.fillPattern); };
        acts[kPnLocHFrac] = [](Interpreter& i) { i.m_data.Skip(2); };
        acts[kChExtra]
            = [](Interpreter& i) { i.m_state.text.extraPerCharacter = i.m_data.S16() / 256.0; };
        acts[kRGBFgCol] = [](Interpreter& i) { i.m_state.colors.foreground = i.ReadColor(); };
        acts[kRGBBkCol] = [](Interpreter& i) { i.m_state.colors.background = i.ReadColor(); };
        acts[kHiliteMode] = [](Interpreter& i) { i.m_state.hiliteNext = true; };
        acts[kHiliteColor] = [](Interpreter& i) { i.m_state.colors.hilite = i.ReadColor(); };
        acts[kDefHilite] = [](Interpreter& i) { i.m_state.colors.hilite = DrawingColors().hilite; };
        acts[kOpColor] = [](Interpreter& i) { i.m_state.colors.op = i.ReadColor(); };
        acts[kLine] = [](Interpreter& i) {
            i.m_penAt = i.ReadPoint();
            i.LineTo(i.ReadPoint());
        };
        acts[kLineFrom] = [](Interpreter& i) { i.LineTo(i.ReadPoint()); };
        acts[kShortLine] = [](Interpreter& i) {
            i.m_penAt = i.ReadPoint();
            i.LineTo(i.m_penAt + i.ReadWay());
        };
        acts[kShortLineFrom] = [](Interpreter& i) { i.LineTo(i.m_penAt + i.ReadWay()); };
        acts[kLongText] = [](Interpreter& i) { i.DrawTextAt(i.ReadPoint()); };
        acts[kDHText] = [](Interpreter& i) { i.DrawTextAt(i.m_textAt + QPoint(i.m_data.U8(), 0)); };
        acts[kDVText] = [](Interpreter& i) { i.DrawTextAt(i.m_textAt + QPoint(0, i.m_data.U8())); };
        acts[kDHDVText] = [](Interpreter& i) {
            const int dh = i.m_data.U8();
            const int dv = i.m_data.U8();
            i.DrawTextAt(i.m_textAt + QPoint(dh, dv));
        };
        acts[kFontName] = [](Interpreter& i) { i.ReadFontName(); };
        return acts;
    }();
    return kActs;
}

// The first eight opcodes of a family bring a shape, the others repeat the last one.
void Interpreter::ExecuteShape(int opcode)
{
    const int family = opcode & 0xF0;
    const int verb = opcode & 7;
    const bool isNew = (opcode & 8) == 0;
    if (family == kPolygonFamily) {
        DrawPolygon(verb, isNew);
    } else if (family == kRegionFamily) {
        if (isNew)
            m_region = PictureBits_ReadRegion(m_data, m_budget);
        m_budget.SpendSteps(8 * static_cast<uint64_t>(m_region.rectCount()));
        m_drawing.DrawShape(verb, Shapes_Region(m_region), [&] {
            return Shapes_Region(Shapes_RegionFrame(m_region, m_state.pen.toSize()));
        });
    } else {
        if (isNew)
            m_rects[family] = PictureBits_ReadRect(m_data);
        const QRectF& rect = m_rects[family];
        if (family == kArcFamily)
            return DrawArc(verb, rect);
        const QSizeF oval = family == kRectFamily ? QSizeF(0, 0)
            : family == kOvalFamily               ? rect.size()
                                                  : m_ovalSize;
        const QPainterPath shape = Shapes_RoundRect(rect, oval);
        m_drawing.DrawShape(verb, shape, [&] {
            const QRectF inner = InsetByPen(rect);
            return Shapes_Ring(shape, Shapes_RoundRect(inner, oval - 2 * m_state.pen));
        });
    }
}

// Skips blocks that are neither bits nor an image.
void Interpreter::ExecuteBlock(int opcode)
{
    if (IsBits(opcode)) {
        DrawBits(m_data, opcode);
    } else if (opcode == kCompressedQuickTime) {
        DrawCompressedImage();
    } else if (opcode == kUncompressedQuickTime) {
        DrawUncompressedImage();
    } else if (opcode < 0xB0) {
        const int size = opcode == kShortComment ? 2 : m_data.U16();
        m_data.Skip(opcode == kLongComment ? m_data.U16() : static_cast<size_t>(size));
    } else if (opcode >= 0x8100 || (opcode >= 0xD0 && opcode < 0xFF)) {
        m_data.Skip(m_data.U32());
    } else if (opcode > 0xFF && opcode < 0x8000) {
        m_data.Skip(static_cast<size_t>(2 * (opcode >> 8)));
    }
}

// Operands

QPoint Interpreter::ReadWay()
{
    const int dh = m_data.S8();
    const int dv = m_data.S8();
    return { dh, dv };
}

// One of the eight colours of the oldest pictures, which are numbers of the printer's planes.
QRgb Interpreter::ReadOldColor()
{
    switch (m_data.U32()) {
    case 30:
        return 0xFFFFFFFF;
    case 69:
        return 0xFFFCF305;
    case 137:
        return 0xFFF20884;
    case 205:
        return 0xFFDD0806;
    case 273:
        return 0xFF02ABEA;
    case 341:
        return 0xFF1FB714;
    case 409:
        return 0xFF0000D4;
    default:
        return 0xFF000000;
    }
}

void Interpreter::ReadPattern(DrawingPattern& pattern)
{
    pattern = DrawingPattern();
    std::copy_n(m_data.Bytes(8), 8, pattern.bits.begin());
}

void Interpreter::ReadPixelPattern(DrawingPattern& pattern)
{
    const int type = m_data.U16();
    ReadPattern(pattern);
    if (type == 2) { // one colour
        pattern.pixels = QImage(1, 1, QImage::Format_RGB32);
        pattern.pixels.fill(ReadColor());
    } else if (type == 1) {
        pattern.pixels = PictureBits_ReadPatternPixels(m_data, m_budget);
    }
}

void Interpreter::ReadPenSize()
{
    constexpr int kStandIn = 0xAE; // after a compressed image: h bytes stand in for it
    const int v = m_data.U16();
    const int h = m_data.U16();
    if (m_afterCompressed && v == kStandIn) {
        m_data.Skip(static_cast<size_t>(h));
        m_afterCompressed = false;
        return;
    }
    m_state.pen = QSizeF(std::min(h, 0x7FFF), std::min(v, 0x7FFF));
}

void Interpreter::ReadFontName()
{
    ByteReader name = m_data.Block(m_data.U16());
    const int number = name.U16();
    const size_t length = name.U8();
    m_fontNames[number] = PictureText_DecodeMacRoman(name.Bytes(length), length, TextStyle());
    ByteReader_Require(m_fontNames.size() <= kMaxPictureFonts);
    SelectFont(number);
}

void Interpreter::SelectFont(int number)
{
    const auto found = m_fontNames.find(number);
    m_state.text.font = number;
    m_state.text.family = found != m_fontNames.end() ? found->second : QString();
}

// Drawing

QRectF Interpreter::InsetByPen(const QRectF& rect) const
{
    const QSizeF pen = m_state.pen;
    return rect.adjusted(pen.width(), pen.height(), -pen.width(), -pen.height());
}

void Interpreter::DrawArc(int verb, const QRectF& rect)
{
    const int start = m_data.S16();
    const int sweep = std::clamp<int>(m_data.S16(), -360, 360);
    m_drawing.DrawShape(verb, Shapes_Wedge(rect, start, sweep),
                        [&] { return Shapes_Arc(rect, InsetByPen(rect), start, sweep); });
}

void Interpreter::DrawPolygon(int verb, bool isNew)
{
    if (isNew) {
        const size_t size = m_data.U16();
        ByteReader_Require(size >= 10 && size % 4 == 2);
        ByteReader block = m_data.Block(size - 2).From(8); // its bounds
        m_budget.SpendSteps(block.Left() / 4);
        m_polygon.clear();
        while (block.Left() != 0)
            m_polygon.append(PictureBits_ReadPoint(block));
    }
    m_budget.SpendSteps(static_cast<uint64_t>(m_polygon.size()));
    if (verb == kFrame) { // lines, open where the polygon was left open
        for (qsizetype i = 0; i + 1 < m_polygon.size(); ++i)
            m_drawing.DrawLine(m_polygon[i], m_polygon[i + 1]);
        return;
    }
    QPainterPath path;
    path.addPolygon(m_polygon);
    path.closeSubpath();
    m_drawing.DrawShape(verb, path, [] { return QPainterPath(); });
}

void Interpreter::LineTo(QPoint to)
{
    m_drawing.DrawLine(m_penAt, to);
    m_penAt = to;
}

void Interpreter::DrawTextAt(QPoint at)
{
    m_textAt = at;
    const size_t count = m_data.U8();
    m_drawing.DrawText(m_data.Bytes(count), count, at);
}

void Interpreter::DrawBits(ByteReader& data, int opcode)
{
    PictureBits bits = PictureBits_Read(data, opcode, m_budget);
    if (m_compressedAt && bits.destination == QRectF(*m_compressedAt))
        return; // stands in for the image before it
    m_drawing.DrawBits(std::move(bits));
}

void Interpreter::DrawCompressedImage()
{
    PictureBits bits = ImagePayload_ReadCompressed(m_data.Block(m_data.U32()), m_budget);
    m_compressedAt = bits.destination.toRect();
    m_afterCompressed = true;
    m_drawing.DrawBits(std::move(bits));
}

void Interpreter::DrawUncompressedImage()
{
    ByteReader block = m_data.Block(m_data.U32());
    block.Skip(2 + 36); // version, matrix
    const uint32_t matteSize = block.U32();
    block.Skip(8); // matte rectangle
    block.Skip(matteSize); // with its description
    if (block.Left() < 2)
        return; // the bits come as the next opcode
    const int opcode = block.U16();
    ByteReader_Require(IsBits(opcode));
    DrawBits(block, opcode);
}

} // namespace

InterpretedPicture Interpreter_Run(const uint8_t* data, size_t size)
{
    return Interpreter(data, size).Run();
}
