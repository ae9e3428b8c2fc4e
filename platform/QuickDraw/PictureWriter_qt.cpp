// SPDX-License-Identifier: MIT
// PictureWriter_qt.cpp - header, clip, one bits opcode, end.
#include "QuickDraw/PictureWriter_qt.h"

#include <QtCore/QHash>
#include <QtGui/QColor>
#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <algorithm>

namespace {

void Put8(QByteArray& out, int value)
{
    out.append(static_cast<char>(value));
}

void Put16(QByteArray& out, int value)
{
    Put8(out, value >> 8);
    Put8(out, value);
}

void Put32(QByteArray& out, int64_t value)
{
    Put16(out, static_cast<int>(value >> 16));
    Put16(out, static_cast<int>(value));
}

void PutRect(QByteArray& out, const QRect& rect)
{
    Put16(out, rect.top());
    Put16(out, rect.left());
    Put16(out, rect.top() + rect.height());
    Put16(out, rect.left() + rect.width());
}

/// PackBits of one row in units of one or two bytes, with its count in front.
void PutPackedRow(QByteArray& out, const QByteArray& row, int unit, int rowBytes)
{
    QByteArray packed;
    const qsizetype count = row.size() / unit;
    const auto same = [&](qsizetype a, qsizetype b) {
        return std::equal(row.begin() + a * unit, row.begin() + (a + 1) * unit,
                          row.begin() + b * unit);
    };
    qsizetype at = 0;
    while (at < count) {
        qsizetype end = at + 1;
        while (end < count && end - at < 128 && same(at, end))
            ++end;
        if (end - at >= 2) { // a run
            Put8(packed, static_cast<int>(1 - (end - at)));
            packed.append(row.mid(at * unit, unit));
        } else { // as it is, up to the next run
            while (end < count && end - at < 128 && !(end + 1 < count && same(end, end + 1)))
                ++end;
            Put8(packed, static_cast<int>(end - at - 1));
            packed.append(row.mid(at * unit, (end - at) * unit));
        }
        at = end;
    }
    if (rowBytes > 250)
        Put16(out, static_cast<int>(packed.size()));
    else
        Put8(out, static_cast<int>(packed.size()));
    out.append(packed);
}

void PutRow(QByteArray& out, const QByteArray& row, int unit, int rowBytes)
{
    if (rowBytes < 8)
        out.append(row);
    else
        PutPackedRow(out, row, unit, rowBytes);
}

void PutPixelMap(QByteArray& out, int rowBytes, const QRect& bounds, int depth, int packType)
{
    Put16(out, 0x8000 | rowBytes);
    PutRect(out, bounds);
    Put16(out, 0); // version
    Put16(out, packType);
    Put32(out, 0); // packed size
    Put32(out, 72 << 16);
    Put32(out, 72 << 16);
    const bool direct = depth > 8;
    Put16(out, direct ? 16 : 0); // pixel type
    Put16(out, depth);
    Put16(out, direct ? 3 : 1); // components
    Put16(out, depth == 16 ? 5 : 8);
    Put32(out, 0);
    Put32(out, 0);
    Put32(out, 0);
}

void PutTransfer(QByteArray& out, const QRect& bounds, const QRect& frame)
{
    PutRect(out, bounds);
    PutRect(out, frame);
    Put16(out, 0); // copy
}

void PutBitmap(QByteArray& out, const QImage& image, const QRect& frame)
{
    const int rowBytes = (image.width() + 15) / 16 * 2;
    Put16(out, rowBytes);
    PutRect(out, image.rect());
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row(rowBytes, 0);
        for (int x = 0; x < image.width(); ++x)
            if (qGray(image.pixel(x, y)) < 128)
                row[x / 8] = static_cast<char>(row[x / 8] | 0x80 >> x % 8);
        PutRow(out, row, 1, rowBytes);
    }
}

/// False for more than 256 colours.
bool PutIndexed(QByteArray& out, const QImage& image, const QRect& frame)
{
    QHash<QRgb, int> indexes;
    QList<QRgb> colors;
    const int rowBytes = (image.width() + 1) / 2 * 2;
    QByteArray rows;
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row(rowBytes, 0);
        for (int x = 0; x < image.width(); ++x) {
            const QRgb color = image.pixel(x, y) & RGB_MASK;
            auto found = indexes.constFind(color);
            if (found == indexes.constEnd()) {
                if (colors.size() == 256)
                    return false;
                found = indexes.insert(color, static_cast<int>(colors.size()));
                colors.append(color);
            }
            row[x] = static_cast<char>(*found);
        }
        PutRow(rows, row, 1, rowBytes);
    }
    PutPixelMap(out, rowBytes, image.rect(), 8, 0);
    Put32(out, 0); // seed
    Put16(out, 0); // flags: values follow
    Put16(out, static_cast<int>(colors.size()) - 1);
    for (int i = 0; i < colors.size(); ++i) {
        Put16(out, i);
        Put16(out, qRed(colors[i]) * 257);
        Put16(out, qGreen(colors[i]) * 257);
        Put16(out, qBlue(colors[i]) * 257);
    }
    PutTransfer(out, image.rect(), frame);
    out.append(rows);
    return true;
}

void PutDirect16(QByteArray& out, const QImage& image, const QRect& frame)
{
    const int rowBytes = image.width() * 2;
    Put32(out, 0xFF); // stand-in address
    PutPixelMap(out, rowBytes, image.rect(), 16, 3);
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row;
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = image.pixel(x, y);
            Put16(row, (qRed(p) >> 3) << 10 | (qGreen(p) >> 3) << 5 | qBlue(p) >> 3);
        }
        PutRow(out, row, 2, rowBytes);
    }
}

void PutDirect32(QByteArray& out, const QImage& image, const QRect& frame)
{
    const int rowBytes = image.width() * 4;
    const bool packed = rowBytes >= 8;
    Put32(out, 0xFF);
    PutPixelMap(out, rowBytes, image.rect(), 32, packed ? 4 : 1);
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray planes[3];
        QByteArray pixels;
        for (int x = 0; x < image.width(); ++x) {
            const QRgb p = image.pixel(x, y);
            const int channels[] = { qRed(p), qGreen(p), qBlue(p) };
            Put8(pixels, 0);
            for (int i = 0; i < 3; ++i) {
                Put8(planes[i], channels[i]);
                Put8(pixels, channels[i]);
            }
        }
        if (packed)
            PutPackedRow(out, planes[0] + planes[1] + planes[2], 1, rowBytes);
        else
            out.append(pixels);
    }
}

} // namespace

QByteArray EncodePicture(const QImage& source, const QRect& frame, PictureForm form)
{
    constexpr int kMaxSide = 4096;
    const auto fits = [](QSize size) {
        return size.width() >= 1 && size.width() <= kMaxSide && size.height() >= 1
            && size.height() <= kMaxSide;
    };
    if (!fits(source.size()) || !fits(frame.size()))
        return QByteArray();
    if (form == PictureForm::Best) {
        const QByteArray indexed = EncodePicture(source, frame, PictureForm::Indexed);
        return indexed.isEmpty() ? EncodePicture(source, frame, PictureForm::Direct32) : indexed;
    }
    QImage image(source.size(), QImage::Format_RGB32);
    image.fill(Qt::white); // see-through pixels stand on white
    QPainter(&image).drawImage(0, 0, source);

    const bool version1 = form == PictureForm::Bitmap1;
    QByteArray out;
    const auto putOpcode = [&](int opcode) {
        if (!version1 && out.size() % 2 != 0)
            Put8(out, 0);
        if (version1)
            Put8(out, opcode);
        else
            Put16(out, opcode);
    };
    Put16(out, 0); // the size, set at the end
    PutRect(out, frame);
    if (version1) {
        Put16(out, 0x1101);
    } else {
        Put16(out, 0x0011);
        Put16(out, 0x02FF);
        Put16(out, 0x0C00);
        Put32(out, -1);
        for (const int side : { frame.left(), frame.top(), frame.right() + 1, frame.bottom() + 1 })
            Put32(out, int64_t(side) << 16);
        Put32(out, 0);
    }
    putOpcode(0x01); // clip
    Put16(out, 10);
    PutRect(out, frame);
    const bool bitmap = version1 || form == PictureForm::Bitmap;
    const bool direct = form == PictureForm::Direct16 || form == PictureForm::Direct32;
    putOpcode(direct ? 0x9A : 0x98);
    if (bitmap)
        PutBitmap(out, image, frame);
    else if (form == PictureForm::Direct16)
        PutDirect16(out, image, frame);
    else if (form == PictureForm::Direct32)
        PutDirect32(out, image, frame);
    else if (!PutIndexed(out, image, frame))
        return QByteArray();
    putOpcode(0xFF);
    QByteArray size;
    Put16(size, static_cast<int>(out.size()));
    return out.replace(0, 2, size);
}
