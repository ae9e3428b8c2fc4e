// SPDX-License-Identifier: MIT
// PictureWriter.cpp - version 2: header, clip, one bits opcode, end.
#include "tools/PictureWriter.h"

#include <QtGui/QImage>
#include <QtGui/QPainter>

#include <unordered_map>

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

/// A row as it is if it is short, else its PackBits with their count in front.
///   rowBytes  of the unpacked row as the pixel map gives it
void PutRow(QByteArray& out, const QByteArray& row, int rowBytes)
{
    if (rowBytes < 8) {
        out.append(row);
        return;
    }
    QByteArray packed;
    const auto isRun = [&](qsizetype at) { return at + 1 < row.size() && row[at] == row[at + 1]; };
    for (qsizetype at = 0, end = 0; at < row.size(); at = end) {
        const bool run = isRun(at);
        end = at + 1;
        while (end < row.size() && end - at < 128 && (run ? isRun(end - 1) : !isRun(end)))
            ++end;
        Put8(packed, static_cast<int>(run ? 1 - (end - at) : end - at - 1));
        packed.append(row.mid(at, run ? 1 : end - at));
    }
    if (rowBytes > 250)
        Put16(out, static_cast<int>(packed.size()));
    else
        Put8(out, static_cast<int>(packed.size()));
    out.append(packed);
}

void PutPixelMap(QByteArray& out, int rowBytes, const QRect& bounds, int depth)
{
    const bool isDirect = depth > 8;
    Put16(out, 0x8000 | rowBytes);
    PutRect(out, bounds);
    Put16(out, 0); // version
    Put16(out, !isDirect ? 0 : rowBytes < 8 ? 1 : 4); // pack type
    Put32(out, 0); // packed size
    Put32(out, 72 << 16);
    Put32(out, 72 << 16);
    Put16(out, isDirect ? 16 : 0); // pixel type
    Put16(out, depth);
    Put16(out, isDirect ? 3 : 1); // components
    Put16(out, 8);
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

/// 8 bits a pixel and a table. False for more than 256 colours: nothing is written.
bool PutIndexed(QByteArray& out, const QImage& image, const QRect& frame)
{
    std::unordered_map<QRgb, int> indexes;
    QByteArray table;
    QByteArray rows;
    const int rowBytes = (image.width() + 1) / 2 * 2;
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row(rowBytes, 0);
        for (int x = 0; x < image.width(); ++x) {
            const QRgb color = image.pixel(x, y);
            const int next = static_cast<int>(indexes.size());
            const auto [found, isNew] = indexes.try_emplace(color, next);
            if (isNew) {
                for (const int value :
                     { next, qRed(color) * 257, qGreen(color) * 257, qBlue(color) * 257 }) {
                    Put16(table, value);
                }
            }
            row[x] = static_cast<char>(found->second);
        }
        if (indexes.size() > 256)
            return false;
        PutRow(rows, row, rowBytes);
    }
    Put16(out, 0x98);
    PutPixelMap(out, rowBytes, image.rect(), 8);
    Put32(out, 0); // seed
    Put16(out, 0); // flags: values follow
    Put16(out, static_cast<int>(indexes.size()) - 1);
    out.append(table);
    PutTransfer(out, image.rect(), frame);
    out.append(rows);
    return true;
}

/// 32 bits a pixel, in planes.
void PutDirect(QByteArray& out, const QImage& image, const QRect& frame)
{
    const int rowBytes = image.width() * 4;
    Put16(out, 0x9A);
    Put32(out, 0xFF); // stand-in address
    PutPixelMap(out, rowBytes, image.rect(), 32);
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray planes[3];
        for (int x = 0; x < image.width(); ++x) {
            const QRgb pixel = image.pixel(x, y);
            Put8(planes[0], qRed(pixel));
            Put8(planes[1], qGreen(pixel));
            Put8(planes[2], qBlue(pixel));
        }
        if (rowBytes < 8) {
            Put8(out, 0); // the only pixel of the row has four bytes
        }
        PutRow(out, planes[0] + planes[1] + planes[2], rowBytes);
    }
}

} // namespace

QByteArray EncodePicture(const QImage& source, const QRect& frame)
{
    constexpr int kMaxSide = 4096;
    const auto fits = [](QSize size) {
        return size.width() >= 1 && size.width() <= kMaxSide && size.height() >= 1
            && size.height() <= kMaxSide;
    };
    if (!fits(source.size()) || !fits(frame.size()))
        return QByteArray();
    QImage image(source.size(), QImage::Format_RGB32);
    image.fill(Qt::white); // see-through pixels stand on white
    QPainter(&image).drawImage(0, 0, source);

    QByteArray out;
    Put16(out, 0); // the size, set at the end
    PutRect(out, frame);
    Put32(out, 0x001102FF); // version 2
    Put16(out, 0x0C00); // header
    Put32(out, -1);
    for (const int side : { frame.left(), frame.top(), frame.right() + 1, frame.bottom() + 1 })
        Put32(out, int64_t(side) << 16);
    Put32(out, 0);
    Put16(out, 0x0001); // clip
    Put16(out, 10);
    PutRect(out, frame);
    if (!PutIndexed(out, image, frame))
        PutDirect(out, image, frame);
    if (out.size() % 2 != 0)
        Put8(out, 0);
    Put16(out, 0x00FF); // end
    QByteArray size;
    Put16(size, static_cast<int>(out.size()));
    return out.replace(0, 2, size);
}
