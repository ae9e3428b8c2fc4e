// SPDX-License-Identifier: MIT
// Picture_test.cpp - pictures of every kind: those in pictures/ are written as words and looked at as letters, a letter
// a pixel: K black, R red, G green, B blue, C, M and Y what lies opposite, a dot white, + what is between, and _
// transparent. The bytes of a picture:
//   0 to FFFF     a word; more digits are bytes, and those behind a dot one
//   =TEXT         characters
//   $NAME         bytes that `let` named
//   N*BYTES       again and again;  BYTES:A:B only those from A to B, negative from the end
//   [ ... ]       with its length in front, a long;  ; fills up to a word
//   png16         a red image with sides of 16, encoded; also bmp, ppm, jpeg, steps (a JPEG in steps), scan (the last)
#include "QuickDraw/PictureBits_qt.h"
#include "QuickDraw/Picture_qt.h"
#include "tests/support/Conversation.h"
#include "tools/PictureWriter.h"

#include <QtCore/QBuffer>
#include <QtGui/QImage>
#include <QtGui/QImageWriter>
#include <QtGui/QPainter>

#include <gtest/gtest.h>
#include <random>

namespace {

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

QByteArray Number(long long value, int bytes)
{
    QByteArray out;
    for (int shift = 8 * bytes - 8; shift >= 0; shift -= 8)
        out.append(static_cast<char>(value >> shift));
    return out;
}

// A version 2 picture of opcodes.
QByteArray Whole(const QSize& frame, QByteArray opcodes)
{
    opcodes.append(opcodes.size() % 2, '\0');
    return Number(0, 6) + Number(frame.height(), 2) + Number(frame.width(), 2)
        + Number(0x001102FF0C00FFFF, 8) + Number(0xFFFF, 2) + QByteArray(20, 0) + opcodes
        + Number(0xFF, 2);
}

// Of a format and a side.
QByteArray Payload(const QByteArray& word)
{
    const qsizetype digits = word.indexOf(word.right(2));
    const QByteArray format = word.left(digits);
    QImage image(word.mid(digits).toInt(), word.mid(digits).toInt(), QImage::Format_RGB32);
    image.fill(Qt::red);
    QByteArray bytes;
    QBuffer buffer(&bytes);
    QImageWriter writer(&buffer, format == "steps" || format == "scan" ? "jpeg" : format);
    writer.setProgressiveScanWrite(format == "steps" || format == "scan");
    writer.write(image);
    return format == "scan" ? bytes.mid(bytes.lastIndexOf("\xFF\xDA")).chopped(2) : bytes;
}

class Pictures : public testing::TestWithParam<const char*>, protected Conversation
{
protected:
    Pictures()
        : Conversation(GetParam())
    {
    }

    QByteArray Bytes(const QByteArray& word) const
    {
        const auto slice = word.split(':');
        if (slice.size() == 3) {
            const QByteArray all = Bytes(slice[0]);
            const qsizetype end = slice[2].isEmpty() ? all.size() : slice[2].toInt();
            return all.left(end < 0 ? all.size() + end : end).mid(slice[1].toInt());
        }
        if (const qsizetype star = word.indexOf('*'); star > 0)
            return Bytes(word.mid(star + 1)).repeated(word.left(star).toInt());
        const bool isNumber
            = word.toStdString().find_first_not_of("0123456789ABCDEF") == std::string::npos;
        return word[0] == '.' ? QByteArray::fromHex(word.mid(1).rightJustified(2, '0'))
            : word[0] == '='  ? word.mid(1)
            : word[0] == '$'  ? m_named.at(word.mid(1))
            : !isNumber       ? Payload(word)
            : word.size() > 4 ? QByteArray::fromHex(word)
                              : Number(word.toLongLong(nullptr, 16), 2);
    }
    /// Of the words from there on, up to a word "]" or "|", which is passed.
    QByteArray Bytes(std::size_t& at) const
    {
        QByteArray all;
        for (; at < m_words.size() && Word(at) != "]" && Word(at) != "|"; ++at)
            if (Word(at) == "[") {
                const QByteArray block = Bytes(++at);
                all += Number(block.size(), 4) + block;
                --at;
            } else if (Word(at) == ";") {
                all.append(all.size() % 2, '\0');
            } else {
                all += Bytes(QByteArray::fromStdString(Word(at)));
            }
        ++at;
        return all;
    }
    /// Of all words; those of opcodes in a version 2 picture.
    QByteArray Data(std::size_t at = 1, bool isWhole = false) const
    {
        const QByteArray opcodes = Bytes(at);
        return isWhole ? opcodes : Whole(m_frame, opcodes);
    }
    void Show(const QImage& image)
    {
        m_image = image;
        if (image.isNull())
            return Say("refused");
        std::string last;
        for (int y = 0, rows = 0; y <= image.height(); ++y, ++rows) {
            std::string row;
            for (int x = 0; x < image.width() && y < image.height(); ++x) {
                const QRgb color = image.pixel(x, y);
                unsigned letter = 0; // a bit a channel; '+' for what is neither full nor empty
                for (const int channel : { qRed(color), qGreen(color), qBlue(color) })
                    letter = letter >= 8 || (channel > 32 && channel < 223)
                        ? 8
                        : letter * 2 + (channel > 128);
                row += qAlpha(color) == 0 ? '_' : "KBGCRMY.+"[letter];
            }
            if (row != last && y > 0)
                Say(std::exchange(rows, 0), " x ", last);
            last = row;
        }
    }

    // clang-format off
    const Commands m_commands = {
        { "frame", Call([this](int width, int height) { m_frame = QSize(width, height); }) },
        { "scale", [this] { m_scale = std::stod(Word(1)); } },
        { "let", [this] { std::size_t at = 2; m_named[QByteArray::fromStdString(Word(1))] = Bytes(at); } },
        { "draw", [this] { Show(Render(Data(), m_scale)); } },
        { "file", [this] { Show(Render(Data(1, true), m_scale)); } },
        { "at", Call([this](int x, int y) { return QColor(m_image.pixel(x, y)).name().toStdString(); }) },
        // Whether it is shown at all
        { "shown", [this] { return Say(Render(Data(), m_scale).isNull() ? "no" : "yes"); } },
        { "cut", [this] { int shown = 0; for (QByteArray data = Data(); !data.isEmpty();) { data.chop(1); shown += !Render(data).isNull(); } Say(shown, " beginnings are shown"); } },
        // How often a drawing is shown after a setup; more would stall the host. To a power of two
        { "limit", [this] {
            std::size_t at = 1;
            const QByteArray setup = Bytes(at), drawing = Bytes(at);
            const auto isShown = [&](int times) {
                const QByteArray data = Whole(m_frame, setup + drawing.repeated(times));
                return DecodedPicture::Decode(data.constData(), size_t(data.size())) != nullptr;
            };
            int times = 1;
            while (times < 1 << 18 && isShown(2 * times))
                times *= 2;
            Say(times, isShown(1) ? " times" : " time, and not even that");
        } },
        { "icon", [this] {
            const QByteArray data = Data(1, true);
            try {
                Show(PictureBits_ReadColorIcon(ByteReader(reinterpret_cast<const uint8_t*>(data.data()), size_t(data.size()))));
            } catch (const BadData&) {
                Show(QImage());
            }
        } },
    };
    // clang-format on
    QSize m_frame { 40, 40 };
    double m_scale = 1;
    std::map<QByteArray, QByteArray> m_named;
    QImage m_image; // the last one
};

TEST_P(Pictures, LookAsRecorded)
{
    Play(m_commands, PROJECT_FOLDER "/tests/platform/pictures/" + std::string(GetParam()) + ".txt");
}

INSTANTIATE_TEST_SUITE_P(,
                         Pictures,
                         testing::Values("bits", "images", "limits", "shapes"),
                         [](const auto& name) { return std::string(name.param); });

TEST(PictureTest, BitsSurviveARoundTrip)
{
    std::mt19937 random(7);
    for (const int w : { 1, 2, 7, 8, 63, 64, 65, 66, 125, 126, 200, 203, 210, 250, 251, 601 }) {
        for (const unsigned colors : { 200u, 1000u }) { // with a table and without
            SCOPED_TRACE(std::to_string(colors) + " colours, width " + std::to_string(w));
            QImage image(w, 8, QImage::Format_RGB32);
            for (int at = 0; at < 8 * w; ++at) { // runs and single pixels
                const unsigned color = random() % 3 ? unsigned(at / w) : unsigned(random());
                image.setPixel(at % w, at / w, 0xFF000000 | color % colors * 0x3579F);
            }
            const QRect frame(-5, 30, w, 8); // off the origin
            EXPECT_EQ(image, Render(EncodePicture(image, frame)));
            const QRect dense(-5, 30, w / 2, 4); // two pixels a point
            EXPECT_TRUE(w % 2 != 0 || image == Render(EncodePicture(image, dense), 2));
        }
    }
}

TEST(PictureTest, PlacesText)
{
    // The bounds of what 20 points make of opcodes.
    const auto text = [&](const char* before, const char* after = "") {
        const QByteArray hex = before + QByteArray("000D0014 0028 001E 000A 02 48 48 00") + after;
        const QImage image = Render(Whole({ 200, 60 }, QByteArray::fromHex(hex)));
        QRect ink;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                if (qGray(image.pixel(x, y)) < 128)
                    ink |= QRect(x, y, 1, 1);
        return ink;
    };
    const QRect first = text("");
    EXPECT_NEAR(first.left(), 11, 2);
    EXPECT_NEAR(first.bottom(), 29, 1);
    EXPECT_NEAR(first.height(), 15, 2); // capitals of a 20 point font
    EXPECT_NEAR(text("", "002A 14 02 48 48").bottom(), 49, 1);
    EXPECT_NEAR(text("", "002B 3C 14 02 48 48 00").right(), first.right() + 60, 1);
    EXPECT_NEAR(text("", "0029 3C 02 48 48").right(), first.right() + 60, 1);
    EXPECT_GT(text("0004 01 00").width(), first.width()); // bold
    EXPECT_LT(text("0004 20 00").width(), first.width()); // condensed
    EXPECT_GT(text("0004 40 00").width(), first.width()); // extended
    EXPECT_NE(text("002C 0009 004D 06 4D6F6E61636F 00").width(),
              first.width()); // a font by its name
}

} // namespace
