// SPDX-License-Identifier: MIT
// Picture_test.cpp - pictures of every kind, written here and looked at where it matters.
#include "QuickDraw/PictureBits_qt.h"
#include "QuickDraw/Picture_qt.h"
#include "tools/PictureWriter.h"

#include <QtCore/QBuffer>
#include <QtGui/QGuiApplication>
#include <QtGui/QImage>
#include <QtGui/QImageWriter>
#include <QtGui/QPainter>

#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <sstream>
#include <vector>

namespace {

const QRgb kWhite = qRgb(255, 255, 255);
const QRgb kBlack = qRgb(0, 0, 0);
const QRgb kRed = qRgb(255, 0, 0);

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

/// PackBits of a row in units of one or two bytes, as pairs and what is between them; a short row as it is.
QByteArray PackedRow(const QByteArray& row, int unit)
{
    const auto isPair = [&](qsizetype at) { return row.mid(at, unit) == row.mid(at + unit, unit); };
    Bytes packed;
    for (qsizetype at = 0, end = 0; at < row.size(); at = end) {
        const bool run = isPair(at);
        end = at + (run ? 2 * unit : unit);
        while (!run && end < row.size() && end - at < 128 * unit && !isPair(end))
            end += unit;
        packed.B({ run ? 0xFF : static_cast<int>((end - at) / unit - 1) });
        packed.Add(row.mid(at, run ? unit : end - at));
    }
    const int size = static_cast<int>(packed.Get().size());
    const Bytes count = row.size() > 250 ? Bytes().W({ size }) : Bytes().B({ size });
    return row.size() < 8 ? row : count.Get() + packed.Get();
}

/// Bits of 1 or 16 bits a pixel, for which no tool writes pictures.
Bytes Bits(const QImage& image, const QRect& frame, int depth)
{
    const int w = image.width();
    const int h = image.height();
    const int rowBytes = depth == 1 ? (w + 15) / 16 * 2 : w * 2;
    Bytes out;
    if (depth == 1)
        out.W({ rowBytes, 0, 0, h, w });
    else
        out.W({ 0, 0xFF, 0x8000 | rowBytes, 0, 0, h, w, 0, 3, 0, 0, 72, 0, 72, 0, 16, 16, 3, 5 })
            .L(0)
            .L(0)
            .L(0);
    out.W({ 0, 0, h, w, frame.top(), frame.left(), frame.top() + h, frame.left() + w, 0 });
    for (int y = 0; y < h; ++y) {
        QByteArray row(rowBytes, 0);
        for (int x = 0; x < w; ++x) {
            const QRgb p = image.pixel(x, y);
            const int bits = (qRed(p) >> 3) << 10 | (qGreen(p) >> 3) << 5 | qBlue(p) >> 3;
            if (depth == 16)
                row.replace(x * 2, 2, Bytes().W({ bits }).Get());
            else if (bits == 0)
                row[x / 8] = static_cast<char>(row[x / 8] | 0x80 >> x % 8);
        }
        out.Add(PackedRow(row, depth == 1 ? 1 : 2));
    }
    return out;
}

TEST(PictureTest, BitsSurviveARoundTrip)
{
    for (const int w :
         { 1, 2, 3, 7, 8, 15, 63, 64, 65, 66, 125, 126, 200, 203, 210, 250, 251, 601 }) {
        const QRect frame(-5, 30, w, 9); // off the origin
        for (const int colors : { 200, 1000 }) { // with a table and without
            const QImage image = Noise(w, 9, colors);
            EXPECT_EQ(WorstDifference(image, Render(EncodePicture(image, frame))), 0)
                << colors << " colours, width " << w;
        }
        const QImage black = Noise(w, 9, 2);
        const QByteArray bits = Bytes().W({ 0x98 }).Add(Bits(black, frame, 1).Get()).Get();
        EXPECT_EQ(WorstDifference(black, Render(Picture(Bytes().Add(bits), frame))), 0) << w;
        Bytes version1;
        version1.W({ 0, 30, -5, 39, w - 5, 0x1101 }).Add(bits.mid(1)).B({ 0xFF });
        EXPECT_EQ(WorstDifference(black, Render(version1.Get())), 0) << w;
        const QImage image = Noise(w, 9, 1000); // five bits a channel come back as eight
        const Bytes direct = Bytes().W({ 0x9A }).Add(Bits(image, frame, 16).Get());
        EXPECT_LE(WorstDifference(image, Render(Picture(direct, frame))), 8) << w;
    }
    const QImage dense = Noise(80, 80, 1000); // two pixels a point
    EXPECT_EQ(WorstDifference(dense, Render(EncodePicture(dense, QRect(0, 0, 40, 40)), 2)), 0);
}

TEST(PictureTest, DrawsTheShapes)
{
    std::ifstream rows(TEST_FOLDER "/shapes.txt");
    std::string name;
    QImage image; // null until the row's opcodes are read
    int nPoints = 0;
    for (std::string line; std::getline(rows, line);) {
        std::istringstream words(line);
        if (line[0] == '#') {
            continue;
        } else if (line[0] != ' ') {
            name = line;
            image = QImage();
        } else if (image.isNull()) {
            Bytes opcodes;
            for (int word; words >> std::hex >> word;)
                opcodes.W({ word });
            image = Render(Picture(opcodes));
            ASSERT_FALSE(image.isNull()) << name;
        } else {
            int h, v;
            QRgb color;
            words >> h >> v >> std::hex >> color;
            EXPECT_EQ(image.pixel(h, v) & RGB_MASK, color) << name << " at " << h << ", " << v;
            ++nPoints;
        }
    }
    EXPECT_EQ(nPoints, 101);
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
    EXPECT_LT(text(Bytes().W({ 0x04 }).B({ 32, 0 }).Add(at(30, 10).Get())).width(),
              first.width()); // condensed
    EXPECT_NE(text(Bytes()
                       .W({ 0x2C, 9, 77 }) // which also selects the font
                       .B({ 6, 'M', 'o', 'n', 'a', 'c', 'o' })
                       .Even()
                       .Add(at(30, 10).Get()))
                  .width(),
              first.width());
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

TEST(PictureTest, StripsMeetWithoutASeam)
{
    Bytes strips;
    for (int top = 0; top < 40; top += 8)
        strips.Add(SmallBits(0, QRect(0, top, 40, 8)).Get().chopped(16))
            .Add(QByteArray("\0\xFF\0\0", 4).repeated(4));
    for (const double scale : { 1.1, 1.25, 1.5, 1.75 }) {
        const QImage image = Render(Picture(strips), scale);
        for (int y = 0; y < image.height(); ++y)
            EXPECT_EQ(image.pixel(2, y), kRed) << scale << " row " << y;
    }
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

QByteArray Encode(const QImage& image, const char* format, bool progressive = false)
{
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, format);
    writer.setProgressiveScanWrite(progressive);
    writer.write(image);
    return bytes;
}

Bytes QuickTime(const QByteArray& payload, uint32_t codec, int depth, int side = 16)
{
    Bytes block;
    block.W({ 0 }).L(0x10000).L(0).L(0).L(0).L(0x10000).L(0).L(10 << 16).L(20 << 16).L(0x40000000);
    block.L(0).W({ 0, 0, 0, 0, 0, 0, 0, side, side }).L(0).L(0);
    block.L(86).L(codec).Add(QByteArray(24, 0)).W({ side, side }).L(72 << 16).L(72 << 16);
    block.L(payload.size()).W({ 1 }).Add(QByteArray(32, 0)).W({ depth, -1 }).Add(payload);
    return Bytes().W({ 0x8200 }).L(block.Get().size()).Add(block.Get()).Even();
}

Bytes Uncompressed(const Bytes& bits, int matteSize = 0)
{
    Bytes block;
    block.W({ 0 })
        .Add(QByteArray(36, 0))
        .L(matteSize)
        .Add(QByteArray(8 + matteSize, 0))
        .Add(bits.Get());
    return Bytes().W({ 0x8201 }).L(block.Get().size()).Add(block.Get()).Even();
}

TEST(PictureTest, ShowsQuickTimeImagesAndSkipsTheirStandIns)
{
    QImage image(16, 16, QImage::Format_RGB32);
    image.fill(kRed);
    const QByteArray png = Encode(image, "png");
    const QByteArray jpeg = Encode(image, "jpeg");
    const QByteArray raw = QByteArray("\x00\xFF\x00\x00", 4).repeated(256);
    const Bytes textStandIn = Bytes().W({ 0x07, 0xAE, 10, 0x31, 0, 0, 40, 40 });
    const Bytes redBits = SmallBits(0, QRect(10, 20, 40, 40)); // red around (18, 28)
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
        { "uncompressed, bits inside", Uncompressed(redBits) },
        { "uncompressed, bits after a matte", Uncompressed(Bytes(), 90).Add(redBits.Get()) },
    };
    for (const auto& row : rows) {
        const QImage drawn = Render(Picture(row.opcodes));
        ASSERT_FALSE(drawn.isNull()) << row.name;
        EXPECT_LE(std::abs(qRed(drawn.pixel(18, 28)) - 255) + qBlue(drawn.pixel(18, 28)), 6)
            << row.name;
        EXPECT_EQ(drawn.pixel(5, 5), kWhite) << row.name;
    }
    EXPECT_TRUE(Render(Picture(QuickTime("no image at all", 'rle ', 8))).isNull());
    QByteArray mirrored = QuickTime(png, 'png ', 32).Get();
    mirrored.replace(8, 4, QByteArray("\xFF\xFF\0\0", 4)); // a matrix that mirrors it
    EXPECT_TRUE(Render(Picture(Bytes().Add(mirrored))).isNull());
    EXPECT_TRUE(Render(Picture(Uncompressed(Bytes().W({ 0x31, 0, 0, 9, 9 })))).isNull());
}

TEST(PictureTest, ColorIconsHaveAMask)
{
    const auto icon = [](int maskHeight, int depth) {
        Bytes bytes;
        bytes.L(0).W({ 0x8002, 0, 0, 2, 2, 0, 0 }).Add(QByteArray(14, 0)).W({ depth, 1 });
        bytes.Add(QByteArray(14, 0)).L(0).W({ 2, 0, 0, maskHeight, 2 });
        bytes.L(0).W({ 2, 0, 0, 1, 2 }).L(0).W({ 0xC000, 0x4000 }).W({ 0xFFFF }); // mask, black
        bytes.L(0).W({ 0, 1, 0, 0xFFFF, 0, 0, 1, 0, 0, 0xFFFF }); // 0 red, 1 blue
        return bytes.W({ 0x8000, 0x4000 }).Get();
    };
    const auto read = [](const QByteArray& data) {
        return PictureBits_ReadColorIcon(
            PictureData(reinterpret_cast<const uint8_t*>(data.data()), size_t(data.size())));
    };
    const QImage image = read(icon(2, 1));
    ASSERT_EQ(image.size(), QSize(2, 2));
    EXPECT_EQ(image.pixel(0, 0), qRgb(0, 0, 255));
    EXPECT_EQ(image.pixel(1, 0), kRed);
    EXPECT_EQ(qAlpha(image.pixel(0, 1)), 0);
    EXPECT_EQ(image.pixel(1, 1), qRgb(0, 0, 255));
    EXPECT_THROW(read(icon(1, 1)), BadPicture) << "the mask is smaller";
    EXPECT_THROW(read(icon(2, 16)), BadPicture);
    EXPECT_THROW(read(icon(2, 1).chopped(1)), BadPicture);
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

// Each drawing is shown a few times, and refused as often as would stall its host.
TEST(PictureTest, WorkIsLimited)
{
    const QRect frame(0, 0, 4096, 4096);
    const auto pattern = Bytes().W({ 0x09, 0xAA55, 0x1234, 0xAA55, 0x4321 });
    const auto comb = [](int opcode) { // 50 columns, which one toggle splits into 50 rows
        Bytes region;
        region.W({ opcode, 12 + 204 * 2 + 48 * 8, 0, 0, 50, 1000 });
        for (int y = 0; y <= 50; y += 50) {
            region.W({ y });
            for (int x = 0; x < 100; ++x)
                region.W({ x * 10 });
            region.W({ 0x7FFF });
            for (int row = 1; y == 0 && row < 49; ++row)
                region.W({ row, 1, 2, 0x7FFF });
        }
        return region.W({ 0x7FFF });
    };
    const auto polygon = [](int opcode) {
        return Bytes().W({ opcode, 810, 0, 0, 9, 9 }).Add(QByteArray(800, 1));
    };
    const struct
    {
        const char* name;
        Bytes setup;
        Bytes drawing;
    } rows[] = {
        { "nothing", Bytes(), Bytes().W({ 0 }) },
        { "patterned ovals", pattern, Bytes().W({ 0x51, 0, 0, 4096, 4096 }) },
        { "framed arcs", Bytes(), Bytes().W({ 0x60, 0, 0, 4096, 4096, 10, 200 }) },
        { "tall thin lines", Bytes(), Bytes().W({ 0x20, 0, 0, 4095, 0 }) },
        { "thick lines", Bytes().W({ 7, 50, 50 }), Bytes().W({ 0x20, 0, 0, 4095, 4095 }) },
        { "framed regions", comb(0x85), Bytes().W({ 0x88 }) },
        { "clips", Bytes(), Bytes().W({ 0x01, 10, 0, 0, 9, 9, 0x31, 0, 0, 9, 9 }) },
        { "a clip that moves", comb(0x01), Bytes().W({ 0x0C, 0, 1, 0x0C, 0, -1 }) },
        { "polygons with a reserved verb", Bytes(), polygon(0x75) },
        { "polygons with an empty pen", Bytes().W({ 7, 0, 0 }), polygon(0x70) },
        { "the same polygon", polygon(0x70), Bytes().W({ 0x7D }) },
        { "letters", Bytes().W({ 13, 2000 }),
          Bytes().W({ 0x28, 2000, 0 }).B({ 3, '&', '@', 'g' }) },
        { "scaled bits", Bytes(), SmallBits(2, QRect(0, 0, 2048, 2048)) },
    };
    for (const auto& row : rows) {
        const auto isShown = [&](int count) {
            const Bytes all = Bytes().Add(row.setup.Get()).Add(row.drawing.Get().repeated(count));
            const QByteArray data = Picture(all, frame);
            return DecodedPicture::Decode(data.constData(), size_t(data.size())) != nullptr;
        };
        EXPECT_TRUE(isShown(2)) << row.name;
        EXPECT_FALSE(isShown(1 << 18)) << row.name;
    }
    Bytes fonts; // a name that no system knows, for each text
    for (int i = 0; i < 40; ++i)
        fonts.W({ 0x2C, 5, i }).B({ 2, 'A' + i / 10, '0' + i % 10, 0 });
    EXPECT_TRUE(Render(Picture(fonts)).isNull());
    const Bytes chart
        = Bytes().Add(pattern.Get()).Add(Bytes().W({ 0x31, 0, 0, 95, 95 }).Get().repeated(600));
    EXPECT_FALSE(Render(Picture(chart, QRect(0, 0, 800, 600))).isNull()); // much, but no attack
    const Bytes layers = Bytes().Add(SmallBits(2).Get().repeated(4000));
    EXPECT_FALSE(
        Render(Picture(layers), 40).isNull()); // too much only where it is blown up: coarse instead
}

// Only the image of a payload is decoded, and only if it is what the picture says.
TEST(PictureTest, PayloadsAreProvenBeforeTheyAreDecoded)
{
    QImage image(64, 64, QImage::Format_RGB32);
    image.fill(kRed);
    const auto isShown = [](const QByteArray& payload, int side = 64) {
        return !Render(Picture(QuickTime(payload, 'file', 24, side), QRect(0, 0, 100, 100)))
                    .isNull();
    };
    const QByteArray png = Encode(image, "png");
    EXPECT_TRUE(isShown(png));
    EXPECT_TRUE(isShown(Encode(image, "bmp")));
    EXPECT_FALSE(isShown(png, 63)) << "another size";
    EXPECT_FALSE(isShown(png.left(png.size() - 30)));
    EXPECT_FALSE(isShown(Encode(image, "ppm"))) << "a format that is not on the list";
    EXPECT_FALSE(isShown("GIF89a"));
    QByteArray noted
        = png; // a text chunk that claims to inflate, and is wrong: it is not looked at
    noted.insert(33, QByteArray("\0\0\0\x08zTXtA\0\0junk!xxxx", 20));
    EXPECT_TRUE(isShown(noted));

    const QByteArray jpeg = Encode(image, "jpeg", true);
    EXPECT_TRUE(isShown(jpeg));
    QByteArray profiled = jpeg;
    profiled.insert(2, QByteArray("\xFF\xE2\0\x06junk\xFF\xFE\0\x03!", 13));
    EXPECT_TRUE(isShown(profiled));
    const QByteArray scan = jpeg.mid(jpeg.lastIndexOf("\xFF\xDA")).chopped(2);
    EXPECT_FALSE(isShown(jpeg.chopped(2) + scan.repeated(300) + jpeg.right(2)));
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
