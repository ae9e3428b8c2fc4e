// SPDX-License-Identifier: MIT
// Picture_test.cpp - pictures of every kind, written here and looked at where it matters.
#include "QuickDraw/PictureWriter_qt.h"
#include "QuickDraw/Picture_qt.h"

#include <QtCore/QBuffer>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QImageWriter>
#include <QtGui/QPainter>

#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
const double kSlow = 20; // seconds of the processor
#else
const double kSlow = 3; // of many tries
#endif
const QRgb kWhite = qRgb(255, 255, 255);
const QRgb kBlack = qRgb(0, 0, 0);
const QRgb kRed = qRgb(255, 0, 0);
const QRgb kBlue = qRgb(0, 0, 255);

/// Picture data, word by word.
class Bytes
{
public:
    Bytes& B(std::initializer_list<int> values)
    {
        for (const int value : values)
            m_bytes.append(static_cast<char>(value));
        return *this;
    }
    Bytes& W(std::initializer_list<int> values)
    {
        for (const int value : values)
            B({ value >> 8, value });
        return *this;
    }
    Bytes& L(int64_t value) { return W({ int(value >> 16), int(value) }); }
    Bytes& Add(const QByteArray& bytes)
    {
        m_bytes.append(bytes);
        return *this;
    }
    Bytes& Even() { return m_bytes.size() % 2 != 0 ? B({ 0 }) : *this; }
    const QByteArray& Get() const { return m_bytes; }

private:
    QByteArray m_bytes;
};

/// A version 2 picture with the frame (0, 0, 40, 40), or another one, around opcodes.
QByteArray Picture(const Bytes& opcodes, const QRect& frame = QRect(0, 0, 40, 40))
{
    Bytes out;
    out.W({ 0, frame.top(), frame.left(), frame.top() + frame.height(),
            frame.left() + frame.width() });
    out.W({ 0x0011, 0x02FF, 0x0C00 }).L(-1).Add(QByteArray(20, 0));
    return out.Add(opcodes.Get()).Even().W({ 0xFF }).Get();
}

QImage Render(const QByteArray& data, double scale = 1)
{
    const auto picture = DecodedPicture::Decode(data.constData(), static_cast<size_t>(data.size()));
    if (!picture)
        return QImage();
    QImage image((picture->FrameSize() * scale).toSize(), QImage::Format_RGB32);
    image.fill(qRgb(1, 2, 3));
    QPainter painter(&image);
    picture->Paint(painter, QRectF(image.rect()));
    return image;
}

QImage Noise(int width, int height, int colors)
{
    std::mt19937 random(static_cast<unsigned>(width * 31 + colors));
    std::vector<QRgb> table;
    for (int i = 0; i < colors; ++i)
        table.push_back(
            colors == 2 ? (i != 0 ? kWhite : kBlack)
                        : qRgb(int(random() & 0xF8), int(random() & 0xF8), int(random() & 0xF8)));
    QImage image(width, height, QImage::Format_RGB32);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) // runs and single pixels
            image.setPixel(x, y,
                           table[(random() % 3 != 0 ? unsigned(y) : random()) % table.size()]);
    return image;
}

int WorstDifference(const QImage& a, const QImage& b)
{
    int worst = a.size() == b.size() ? 0 : 999;
    for (int y = 0; worst < 999 && y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            worst = std::max({ worst, std::abs(qRed(p) - qRed(q)), std::abs(qGreen(p) - qGreen(q)),
                               std::abs(qBlue(p) - qBlue(q)) });
        }
    }
    return worst;
}

TEST(PictureTest, BitsSurviveARoundTrip)
{
    const struct
    {
        PictureForm form;
        int colors;
        int tolerance; // five bits a channel come back as eight
    } forms[] = { { PictureForm::Bitmap1, 2, 0 },     { PictureForm::Bitmap, 2, 0 },
                  { PictureForm::Indexed, 200, 0 },   { PictureForm::Direct16, 1000, 8 },
                  { PictureForm::Direct32, 1000, 0 }, { PictureForm::Best, 1000, 0 } };
    for (const auto& form : forms) {
        for (const int width :
             { 1, 2, 3, 7, 8, 15, 63, 64, 65, 66, 125, 126, 200, 203, 210, 250, 251, 601 }) {
            const QImage image = Noise(width, 9, form.colors);
            const QRect frame(-5, 30, width, 9); // off the origin
            const QImage back = Render(EncodePicture(image, frame, form.form));
            EXPECT_LE(WorstDifference(image, back), form.tolerance)
                << "form " << int(form.form) << " width " << width;
        }
    }
    EXPECT_TRUE(
        EncodePicture(Noise(64, 64, 1000), QRect(0, 0, 64, 64), PictureForm::Indexed).isEmpty());
    const QImage dense = Noise(80, 80, 1000); // two pixels a point
    EXPECT_EQ(WorstDifference(dense, Render(EncodePicture(dense, QRect(0, 0, 40, 40)), 2)), 0);
}

/// What each drawing leaves at some points of a 40 x 40 picture.
struct DrawingRow
{
    const char* name;
    Bytes opcodes;
    std::vector<std::tuple<int, int, QRgb>> points; // h, v, colour
};

const auto kRedPen = [] { return Bytes().W({ 0x1A, 0xFFFF, 0, 0 }); };
const auto kBluePattern = [](int opcode) {
    return Bytes()
        .W({ opcode, 1, 0, 0, 0, 0, 0x8008, 0, 0, 8, 8, 0, 1 })
        .Add(QByteArray(14, 0))
        .W({ 8, 1, 8 })
        .Add(QByteArray(16, 0))
        .W({ 0x8000, 0, 0, 0, 0, 0xFFFF })
        .Add(QByteArray(64, 0));
};
const auto kBlueBack = [] { return Bytes().W({ 0x1B, 0, 0, 0xFFFF }); };

TEST(PictureTest, DrawsTheShapes)
{
    // clang-format off
    const DrawingRow rows[] = {
        { "nothing", Bytes(), { { 0, 0, kWhite }, { 39, 39, kWhite } } },
        { "line", kRedPen().W({ 0x07, 4, 4, 0x20, 10, 10, 10, 30 }), { { 10, 10, kRed }, { 33, 13, kRed }, { 34, 13,
          kWhite }, { 33, 14, kWhite } } },
        { "line from", Bytes().W({ 0x07, 2, 2, 0x20, 5, 5, 5, 20, 0x21, 20, 20 }), { { 20, 15, kBlack }, { 21, 21,
          kBlack }, { 22, 15, kWhite } } },
        { "short line", Bytes().W({ 0x22, 5, 5 }).B({ 10, 0 }).W({ 0x23 }).B({ 0, 10 }), { { 15, 5, kBlack }, { 15,
          15, kBlack }, { 5, 10, kWhite } } },
        { "short line back", Bytes().W({ 0x22, 20, 20 }).B({ -10, 0 }), { { 10, 20, kBlack }, { 20, 20, kBlack }, { 9,
          20, kWhite } } },
        { "diagonal", Bytes().W({ 0x07, 3, 3, 0x20, 0, 0, 37, 37 }), { { 21, 21, kBlack }, { 30, 10, kWhite } } },
        { "frame rect", Bytes().W({ 0x07, 2, 3, 0x30, 10, 10, 30, 30 }), { { 12, 20, kBlack }, { 13, 20, kWhite }, {
          20, 11, kBlack }, { 20, 12, kWhite }, { 29, 29, kBlack } } },
        { "paint, same erase", kRedPen().Add(kBlueBack().Get()).W({ 0x31, 10, 10, 30, 30, 0x3A }), { { 20, 20, kBlue
          }, { 5, 5, kWhite } } },
        { "invert", kRedPen().W({ 0x31, 10, 10, 30, 30, 0x33, 0, 0, 20, 20 }), { { 15, 15, qRgb(0, 255, 255) }, { 5,
          5, kBlack }, { 25, 25, kRed } } },
        { "fill with a pattern", Bytes().W({ 0x0A, 0xF0F0, 0xF0F0, 0xF0F0, 0xF0F0, 0x34, 0, 0, 40, 40 }), { { 1, 1,
          kBlack }, { 5, 1, kWhite }, { 9, 9, kBlack } } },
        { "round rect", Bytes().W({ 0x0B, 16, 16, 0x41, 0, 0, 40, 40, 0x0A, 0, 0, 0, 0, 0x4C }), { { 0, 0, kWhite }, {
          20, 20, kWhite } } },
        { "round rect corner", Bytes().W({ 0x0B, 20, 20, 0x41, 0, 0, 40, 40 }), { { 0, 0, kWhite }, { 20, 0, kBlack },
          { 39, 39, kWhite }, { 20, 39, kBlack } } },
        { "oval", Bytes().W({ 0x51, 0, 0, 40, 40 }), { { 20, 20, kBlack }, { 2, 2, kWhite }, { 20, 1, kBlack } } },
        { "framed oval", Bytes().W({ 0x07, 4, 4, 0x50, 0, 0, 40, 40 }), { { 20, 20, kWhite }, { 20, 2, kBlack }, { 2,
          20, kBlack } } },
        { "arc: the upper right quarter", Bytes().W({ 0x61, 0, 0, 40, 40, 0, 90 }), { { 28, 12, kBlack }, { 12, 12,
          kWhite }, { 28, 28, kWhite } } },
        { "same arc, lower left", Bytes().W({ 0x65, 0, 0, 40, 40, 0, 0, 0x69, 180, 90 }), { { 12, 28, kBlack }, { 28,
          12, kWhite } } },
        { "polygon", Bytes().W({ 0x71, 22, 0, 0, 40, 40, 0, 0, 0, 40, 40, 0 }), { { 10, 10, kBlack }, { 30, 30, kWhite
          } } },
        { "framed polygon stays open", Bytes().W({ 0x70, 22, 0, 0, 40, 40, 0, 0, 0, 30, 30, 30 }), { { 15, 0, kBlack
          }, { 30, 15, kBlack }, { 15, 15, kWhite } } },
        { "region", Bytes().W({ 0x81, 44, 0, 0, 30, 30, 0, 0, 30, 0x7FFF, 10, 10, 20, 0x7FFF, 20, 10, 20, 0x7FFF, 30,
          0, 30, 0x7FFF, 0x7FFF }), { { 5, 5, kBlack }, { 15, 15, kWhite }, { 25, 15, kBlack }, { 15, 25, kBlack }, {
          35, 5, kWhite } } },
        { "framed region", Bytes().W({ 0x07, 2, 2, 0x80, 10, 5, 5, 35, 35 }), { { 6, 20, kBlack }, { 8, 20, kWhite },
          { 20, 34, kBlack } } },
        { "clip", Bytes().W({ 0x01, 10, 0, 0, 20, 20, 0x31, 0, 0, 40, 40 }), { { 10, 10, kBlack }, { 30, 10, kWhite },
          { 10, 30, kWhite } } },
        { "clip region", Bytes().W({ 0x01, 44, 0, 0, 30, 30, 0, 0, 30, 0x7FFF, 10, 10, 20, 0x7FFF, 20, 10, 20, 0x7FFF,
          30, 0, 30, 0x7FFF, 0x7FFF, 0x31, 0, 0, 40, 40 }), { { 5, 5, kBlack }, { 15, 15, kWhite } } },
        { "origin", Bytes().W({ 0x0C, 10, 20, 0x31, 20, 10, 30, 20 }), { { 5, 5, kBlack }, { 15, 25, kWhite } } },
        { "old colours", Bytes().W({ 0x0E }).L(205).W({ 0x31, 0, 0, 40, 40 }), { { 5, 5, qRgb(221, 8, 6) } } },
        { "pattern modes", kRedPen().Add(kBlueBack().Get()).W({ 0x09, 0xAAAA, 0xAAAA, 0xAAAA, 0xAAAA, 0x31, 0, 0, 10,
          40, 0x08, 9, 0x31, 10, 0, 20, 40, 0x08, 11, 0x31, 20, 0, 30, 40, 0x08, 12, 0x31, 30, 0, 40, 40 }), { { 0, 5,
          kRed }, { 1, 5, kBlue }, { 0, 15, kRed }, { 1, 15, kWhite }, { 0, 25, kBlue }, { 1, 25, kWhite }, { 0, 35,
          kBlue }, { 1, 35, kRed } } },
        { "one-colour pattern", Bytes().W({ 0x14, 2, 0, 0, 0, 0, 0, 0xFFFF, 0, 0x34, 0, 0, 40, 40 }), { { 9, 9,
          qRgb(0, 255, 0) } } },
        { "comments and reserved", Bytes().W({ 0xA0, 1, 0xA1, 2, 3 }).B({ 1, 2, 3, 0 }).W({ 0x00B5, 0x0105, 7, 0x00D1,
          0, 2, 9, 0x24, 2, 9, 0x31, 0, 0, 9, 9 }), { { 5, 5, kBlack } } },
        { "back pattern", kRedPen().W({ 0x02, 0xF0F0, 0xF0F0, 0xF0F0, 0xF0F0, 0x32, 0, 0, 40, 40 }), { { 1, 1, kRed },
          { 5, 1, kWhite } } },
        { "same round rect and oval, erased", Bytes().W({ 0x0B, 4, 4, 0x41, 0, 0, 20, 20, 0x4A, 0x51, 20, 20, 40, 40,
          0x5A }), { { 10, 10, kWhite }, { 30, 30, kWhite } } },
        { "framed round rect", Bytes().W({ 0x07, 3, 3, 0x0B, 8, 8, 0x40, 0, 0, 40, 40 }), { { 1, 20, kBlack }, { 20,
          20, kWhite } } },
        { "framed arc: the rim alone", Bytes().W({ 0x07, 4, 4, 0x60, 0, 0, 40, 40, 0, 90, 0x68, 180, 90 }), { { 33, 7,
          kBlack }, { 24, 10, kWhite }, { 7, 33, kBlack }, { 7, 7, kWhite } } },
        { "arc thicker than itself", Bytes().W({ 0x07, 30, 30, 0x60, 0, 0, 40, 40, 0, 90 }), { { 24, 10, kBlack }, {
          10, 10, kWhite } } },
        { "same polygon and region", Bytes().W({ 0x75, 22, 0, 0, 40, 40, 0, 0, 0, 40, 40, 0, 0x79, 0x85, 10, 30, 30,
          40, 40, 0x89 }), { { 10, 10, kBlack }, { 35, 35, kBlack }, { 25, 25, kWhite } } },
        { "reserved verbs", Bytes().W({ 0x35, 0, 0, 9, 9, 0x46, 0, 0, 9, 9, 0x57, 0, 0, 9, 9, 0x39, 0x3F }), { { 5, 5,
          kBlack } } },
        { "state of text and pen", Bytes().W({ 0x03, 3, 0x04, 0, 0x05, 1, 0x06, 1, 0, 0x0D, 9, 0x10, 1, 1, 1, 1, 0x11,
          0, 0x15, 9, 0x16, 9, 0x17, 0x18, 0x19, 0x1C, 0x1E, 0x31, 0, 0, 9, 9 }), { { 5, 5, kBlack } } },
        { "hilite", Bytes().W({ 0x1D, 0xFFFF, 0, 0, 0x08, 50, 0x31, 0, 0, 40, 40 }), { { 5, 5, kRed } } },
        { "colour pattern", kBluePattern(0x13).W({ 0x31, 0, 0, 40, 40 }), { { 4, 4, kBlue } } },
        { "colour pattern behind", kBluePattern(0x12).W({ 0x32, 0, 0, 40, 40 }), { { 4, 4, kBlue } } },
        { "everything reserved", Bytes().W({ 0x2D, 2, 9, 0x2E, 2, 9, 0x2F, 2, 9, 0x92, 2, 9, 0x9C, 2, 9, 0xA2, 2, 9,
          0xB0, 0xCF, 0xD0, 0, 2, 9, 0x7F00 }).Add(QByteArray(254, 1)).W({ 0x8000, 0x80FF, 0x8100, 0, 2, 9, 0xFFFF, 0,
          2, 9, 0x31, 0, 0, 9, 9 }), { { 5, 5, kBlack } } },
    };
    // clang-format on
    for (const DrawingRow& row : rows) {
        const QImage image = Render(Picture(row.opcodes));
        ASSERT_FALSE(image.isNull()) << row.name;
        for (const auto& [h, v, color] : row.points)
            EXPECT_EQ(image.pixel(h, v), color) << row.name << " at " << h << ", " << v;
    }
    // From vectors at the screen's own density: half a point is a pixel.
    const QImage dense = Render(Picture(Bytes().W({ 0x20, 10, 10, 10, 30 })), 2);
    EXPECT_EQ(dense.pixel(20, 21), kBlack);
    EXPECT_EQ(dense.pixel(20, 22), kWhite);
}

QRect InkOf(const QImage& image)
{
    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (qGray(image.pixel(x, y)) < 128)
                ink |= QRect(x, y, 1, 1);
    return ink;
}

TEST(PictureTest, PlacesText)
{
    const QRect frame(0, 0, 200, 60);
    const auto text = [&](const Bytes& opcodes) { return InkOf(Render(Picture(opcodes, frame))); };
    const auto at = [](int v, int h) {
        return Bytes().W({ 0x0D, 20, 0x28, v, h }).B({ 2, 'H', 'H' }).Even();
    };
    const QRect first = text(at(30, 10));
    EXPECT_NEAR(first.left(), 11, 2);
    EXPECT_NEAR(first.bottom(), 29, 1);
    EXPECT_NEAR(first.height(), 15, 2); // capitals of a 20 point font
    const QRect moved = text(at(30, 10)
                                 .W({ 0x31, 0, 0, 60, 100, 0x1A, 0xFFFF, 0xFFFF, 0xFFFF, 0x29 })
                                 .B({ 50, 1, 'H' })
                                 .Even());
    EXPECT_GT(moved.width(), 90); // the white letter stands inside the black box
    EXPECT_NEAR(text(at(30, 10).W({ 0x2A }).B({ 20, 2, 'H', 'H' }).Even()).bottom(), 49, 1);
    EXPECT_NEAR(text(at(30, 10).W({ 0x2B }).B({ 60, 20, 2, 'H', 'H' }).Even()).right(),
                first.right() + 60, 1);
    EXPECT_GT(text(Bytes().W({ 0x04 }).B({ 1, 0 }).Add(at(30, 10).Get())).width(),
              first.width()); // bold
    EXPECT_FALSE(text(Bytes()
                          .W({ 0x2C, 9, 77 })
                          .B({ 6, 'M', 'o', 'n', 'a', 'c', 'o' })
                          .Even()
                          .W({ 3, 77 })
                          .Add(at(30, 10).Get()))
                     .isEmpty());
}

/// One pixel map of 2 x 2 direct pixels, red, black, white, blue, in an opcode with a mode.
Bytes SmallBits(int mode, const QRect& to = QRect(0, 0, 40, 40))
{
    Bytes out;
    out.W({ 0x9A }).L(0xFF).W({ 0x8008, 0, 0, 2, 2, 0, 1 }).L(0).L(72 << 16).L(72 << 16);
    out.W({ 16, 32, 3, 8 }).L(0).L(0).L(0);
    out.W(
        { 0, 0, 2, 2, to.top(), to.left(), to.top() + to.height(), to.left() + to.width(), mode });
    return out.B({ 0, 255, 0, 0, 0, 0, 0, 0, 0, 255, 255, 255, 0, 0, 0, 255 });
}

TEST(PictureTest, TransfersBitsInTheirModes)
{
    const QRgb ground = qRgb(0, 255, 0);
    const struct
    {
        const char* name;
        int mode;
        QRgb red, black, white;
    } rows[] = {
        { "copy", 0, kRed, kBlack, kWhite },
        { "dithered copy", 64, kRed, kBlack, kWhite },
        { "or", 1, kBlack, kBlack, ground },
        { "xor", 2, qRgb(0, 0, 255), qRgb(255, 0, 255), ground },
        { "bic", 3, qRgb(0, 255, 255), kWhite, ground },
        { "not copy", 4, qRgb(0, 255, 255), kWhite, kBlack },
        { "transparent", 36, kRed, kBlack, ground },
        { "maximum", 37, qRgb(255, 255, 0), ground, kWhite },
        { "minimum", 39, kBlack, kBlack, ground },
    };
    for (const auto& row : rows) {
        const Bytes opcodes = Bytes()
                                  .W({ 0x1A, 0, 0xFFFF, 0, 0x31, 0, 0, 40, 40, 0x1A, 0, 0, 0 })
                                  .Add(SmallBits(row.mode).Get());
        const QImage image = Render(Picture(opcodes));
        ASSERT_FALSE(image.isNull()) << row.name;
        EXPECT_EQ(image.pixel(5, 5), row.red) << row.name << std::hex << image.pixel(5, 5);
        EXPECT_EQ(image.pixel(35, 5), row.black) << row.name << std::hex << image.pixel(35, 5);
        EXPECT_EQ(image.pixel(5, 35), row.white) << row.name << std::hex << image.pixel(5, 35);
    }
    const QImage blend
        = Render(Picture(Bytes().W({ 0x1F, 0x8000, 0x8000, 0x8000 }).Add(SmallBits(32).Get())));
    EXPECT_NEAR(qRed(blend.pixel(35, 5)), 127, 2);
}

Bytes QuickTime(const QByteArray& payload, uint32_t codec, int depth)
{
    Bytes block;
    block.W({ 0 }).L(0x10000).L(0).L(0).L(0).L(0x10000).L(0).L(10 << 16).L(20 << 16).L(0x40000000);
    block.L(0).W({ 0, 0, 0, 0, 0, 0, 0, 16, 16 }).L(0).L(0);
    block.L(86).L(codec).Add(QByteArray(24, 0)).W({ 16, 16 }).L(72 << 16).L(72 << 16);
    block.L(payload.size()).W({ 1 }).Add(QByteArray(32, 0)).W({ depth, -1 }).Add(payload);
    return Bytes().W({ 0x8200 }).L(block.Get().size()).Add(block.Get()).Even();
}

TEST(PictureTest, ShowsQuickTimeImagesAndSkipsTheirStandIns)
{
    QImage image(16, 16, QImage::Format_RGB32);
    image.fill(kRed);
    QByteArray png;
    QBuffer buffer(&png);
    image.save(&buffer, "PNG");
    QByteArray jpeg;
    QBuffer jpegBuffer(&jpeg);
    image.save(&jpegBuffer, "JPEG", 100);
    const QByteArray raw = QByteArray("\x00\xFF\x00\x00", 4).repeated(256);
    const Bytes textStandIn = Bytes().W({ 0x07, 0xAE, 10, 0x31, 0, 0, 40, 40 });
    const Bytes bitsStandIn = SmallBits(0, QRect(10, 20, 16, 16));
    const struct
    {
        const char* name;
        Bytes opcodes;
    } rows[] = {
        { "png", QuickTime(png, 'png ', 32) },
        { "jpeg", QuickTime(jpeg, 'jpeg', 24) },
        { "raw", QuickTime(raw, 'raw ', 32) },
        { "text stand-in", QuickTime(png, 'png ', 32).Add(textStandIn.Get()) },
        { "bits stand-in", QuickTime(png, 'png ', 32).Add(bitsStandIn.Get()) },
    };
    for (const auto& row : rows) {
        const QImage drawn = Render(Picture(row.opcodes));
        ASSERT_FALSE(drawn.isNull()) << row.name;
        EXPECT_LE(std::abs(qRed(drawn.pixel(18, 28)) - 255) + qBlue(drawn.pixel(18, 28)), 6)
            << row.name;
        EXPECT_EQ(drawn.pixel(5, 5), kWhite) << row.name;
    }
    EXPECT_TRUE(Render(Picture(QuickTime("no image at all", 'rle ', 8))).isNull());
}

TEST(PictureTest, ExtendedHeadersGiveCoordinatesAtAnotherDensity)
{
    Bytes out;
    out.W({ 0, 0, 0, 20, 20, 0x0011, 0x02FF, 0x0C00, 0xFFFE, 0 }).L(144 << 16).L(144 << 16);
    out.W({ 0, 0, 40, 40 }).L(0).W({ 0x31, 0, 0, 40, 20, 0xFF });
    const QImage image = Render(out.Get());
    EXPECT_EQ(image.size(), QSize(20, 20));
    EXPECT_EQ(image.pixel(9, 19), kBlack);
    EXPECT_EQ(image.pixel(10, 10), kWhite);
}

TEST(PictureTest, PicturesThatComeAgainAreStillThemselves)
{
    // More of them than stay decoded, alike in length, one after the other at two sizes.
    std::vector<QByteArray> pictures;
    for (int width = 10; width <= 40; width += 10)
        pictures.push_back(Picture(Bytes().W({ 0x31, 0, 0, 40, width })));
    for (const double scale : { 1.0, 1.0, 2.0, 1.0 }) {
        for (size_t i = 0; i < 2 * pictures.size(); ++i) {
            const size_t at = i / 2;
            const int width = 10 + 10 * int(at);
            QByteArray data = pictures[at]; // elsewhere in memory
            const QImage image = Render(data, scale);
            EXPECT_EQ(image.width(), int(40 * scale)) << at;
            EXPECT_EQ(image.pixel(int(width * scale) - 1, 5), kBlack) << at << " x" << scale;
            if (width < 40) {
                EXPECT_EQ(image.pixel(int(width * scale), 5), kWhite) << at << " x" << scale;
            }
        }
    }
}

TEST(PictureTest, ShowsNothingOfADamagedPicture)
{
    const QByteArray whole = Picture(SmallBits(0));
    for (qsizetype size = 0; size < whole.size(); ++size)
        EXPECT_TRUE(Render(whole.left(size)).isNull()) << size;
    const struct
    {
        const char* name;
        QByteArray data;
    } rows[] = {
        { "empty frame", Picture(Bytes(), QRect(0, 0, 0, 10)) },
        { "frame too large", Picture(Bytes(), QRect(0, 0, 4097, 10)) },
        { "row shorter than its pixels", Picture(Bytes().W({ 0x98, 0x0001, 0, 0, 1, 40 })) },
        { "256 colours at most",
          Picture(Bytes()
                      .W({ 0x98, 0x8008, 0, 0, 1, 8, 0, 0 })
                      .Add(QByteArray(12, 0))
                      .W({ 0, 8, 1, 8 })
                      .Add(QByteArray(12, 0))
                      .L(0)
                      .W({ 0, 0xFFFF })) },
        { "region with a row upside down",
          Picture(Bytes().W({ 0x01, 24, 0, 0, 30, 30, 20, 0, 30, 0x7FFF, 10, 0, 0x7FFF })) },
        { "not a picture", QByteArray(600, 'x') },
    };
    for (const auto& row : rows)
        EXPECT_TRUE(Render(row.data).isNull()) << row.name;
}

/// Each drawing so often that it costs too much, and as often as it is still shown, which has to end soon.
TEST(PictureTest, HostilePicturesEndSoon)
{
    const QRect frame(0, 0, 4096, 4096);
    const auto pattern = Bytes().W({ 0x09, 0xAA55, 0x1234, 0xAA55, 0x4321 });
    Bytes comb; // 200 columns, begun anew in each of 100 rows
    comb.W({ 0x85, 12 + 804 * 2 + 99 * 16, 0, 0, 101, 4096 });
    for (int y = 0; y <= 100; y += 100) {
        comb.W({ y });
        for (int x = 0; x < 400; ++x)
            comb.W({ x * 10 });
        comb.W({ 0x7FFF });
        for (int row = 1; y == 0 && row < 100; ++row)
            comb.W({ row, 1 + row % 2, 3 + row % 2, 0x7FFF, row, 1, 2, 0x7FFF });
    }
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    QImageWriter writer(&buffer, "jpeg");
    writer.setProgressiveScanWrite(true);
    QImage grey(800, 800, QImage::Format_Grayscale8);
    grey.fill(Qt::gray);
    writer.write(grey);
    const QByteArray scan = jpeg.mid(jpeg.lastIndexOf("\xFF\xDA")).chopped(2);
    const struct
    {
        const char* name;
        Bytes setup;
        Bytes drawing;
    } rows[] = {
        { "patterned ovals", pattern, Bytes().W({ 0x51, 0, 0, 4096, 4096 }) },
        { "framed arcs", Bytes(), Bytes().W({ 0x60, 0, 0, 4096, 4096, 10, 200 }) },
        { "thick lines", Bytes().W({ 7, 50, 50 }), Bytes().W({ 0x20, 0, 0, 4095, 4095 }) },
        { "framed regions", comb, Bytes().W({ 0x88 }) },
        { "clips", Bytes(), Bytes().W({ 0x01, 10, 0, 0, 9, 9, 0x31, 0, 0, 9, 9 }) },
        { "letters", Bytes().W({ 13, 2000 }),
          Bytes().W({ 0x28, 2000, 0 }).B({ 3, '&', '@', 'g' }) },
        { "scaled bits", Bytes(), SmallBits(2, frame) },
        { "scans", QuickTime(jpeg.chopped(2) + scan.repeated(300) + jpeg.right(2), 'jpeg', 24),
          Bytes() },
    };
    for (const auto& row : rows) {
        std::shared_ptr<const DecodedPicture> shown;
        const auto start = std::clock();
        for (int count = 2; count < 1 << 18; count *= 4) {
            const Bytes all = Bytes().Add(row.setup.Get()).Add(row.drawing.Get().repeated(count));
            const QByteArray data = Picture(all, frame);
            const auto picture = DecodedPicture::Decode(data.constData(), size_t(data.size()));
            shown = picture ? picture : shown;
            ASSERT_TRUE(!picture || count < 1 << 16) << row.name;
        }
        QImage image(4096, 4096, QImage::Format_RGB32);
        QPainter painter(&image);
        if (shown)
            shown->Paint(painter, QRectF(image.rect()));
        EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, kSlow) << row.name;
    }
    const Bytes chart
        = Bytes().Add(pattern.Get()).Add(Bytes().W({ 0x31, 0, 0, 95, 95 }).Get().repeated(600));
    EXPECT_FALSE(Render(Picture(chart, QRect(0, 0, 800, 600))).isNull()); // much, but no attack
    const auto start = std::clock(); // too much only where it is blown up: coarse instead
    EXPECT_FALSE(Render(Picture(Bytes().Add(SmallBits(2).Get().repeated(4000))), 40).isNull());
    EXPECT_LT(double(std::clock() - start) / CLOCKS_PER_SEC, kSlow);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
