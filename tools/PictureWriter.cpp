// SPDX-License-Identifier: MIT
// PictureWriter.cpp - version 2: header, clip, one bits opcode, end.
#include "tools/PictureWriter.h"

#include <QtCore/QBuffer>
#include <QtCore/QDataStream>
#include <QtGui/QImage>
#include <QtGui/QPainter>

namespace {

// Integers are written big-endian, in the width of their type.

void PutRect(QDataStream& out, const QRect& rect)
{
    for (const int side : { rect.top(), rect.left(), rect.bottom() + 1, rect.right() + 1 })
        out << qint16(side);
}

/// A row as it is if it is short, else its PackBits with their count in front.
///   rowBytes  of the unpacked row as the pixel map gives it
void PutRow(QDataStream& out, const QByteArray& row, int rowBytes)
{
    if (rowBytes < 8) {
        out.writeRawData(row.data(), static_cast<int>(row.size()));
        return;
    }
    QByteArray packed;
    const auto isRun = [&](qsizetype at) { return at + 1 < row.size() && row[at] == row[at + 1]; };
    for (qsizetype at = 0, end = 0; at < row.size(); at = end) {
        const bool run = isRun(at);
        end = at + 1;
        while (end < row.size() && end - at < 128 && (run ? isRun(end - 1) : !isRun(end)))
            ++end;
        packed.append(static_cast<char>(run ? 1 - (end - at) : end - at - 1));
        packed.append(row.mid(at, run ? 1 : end - at));
    }
    const auto size = static_cast<quint16>(packed.size());
    rowBytes > 250 ? out << size : out << static_cast<quint8>(size);
    out.writeRawData(packed.data(), size);
}

void PutPixelMap(QDataStream& out, int rowBytes, const QRect& bounds, int depth)
{
    const bool isDirect = depth > 8;
    out << quint16(0x8000 | rowBytes);
    PutRect(out, bounds);
    out << quint16(0); // version
    out << quint16(!isDirect ? 0 : rowBytes < 8 ? 1 : 4); // pack type
    out << quint32(0); // packed size
    out << quint32(72 << 16) << quint32(72 << 16); // pixels an inch
    out << quint16(isDirect ? 16 : 0) << quint16(depth); // pixel type and size
    out << quint16(isDirect ? 3 : 1) << quint16(8); // components and their size
    out << quint32(0) << quint32(0) << quint32(0);
}

void PutTransfer(QDataStream& out, const QRect& bounds, const QRect& frame)
{
    PutRect(out, bounds);
    PutRect(out, frame);
    out << quint16(0); // copy
}

/// 8 bits a pixel and a table. False for more than 256 colours: nothing is written.
bool PutIndexed(QDataStream& out, const QImage& image, const QRect& frame)
{
    const QImage indexed = image.convertToFormat(QImage::Format_Indexed8);
    if (indexed.convertToFormat(QImage::Format_RGB32) != image)
        return false;
    const int rowBytes = (image.width() + 1) / 2 * 2;
    out << quint16(0x98);
    PutPixelMap(out, rowBytes, image.rect(), 8);
    out << quint32(0); // seed
    out << quint16(0); // flags: values follow
    out << quint16(indexed.colorCount() - 1);
    for (int i = 0; i < indexed.colorCount(); ++i) {
        const QRgb color = indexed.color(i);
        for (const int value : { i, qRed(color) * 257, qGreen(color) * 257, qBlue(color) * 257 })
            out << quint16(value);
    }
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        const auto* row = reinterpret_cast<const char*>(indexed.constScanLine(y));
        PutRow(out, QByteArray(row, image.width()).leftJustified(rowBytes, 0), rowBytes);
    }
    return true;
}

/// 32 bits a pixel, in planes.
void PutDirect(QDataStream& out, const QImage& image, const QRect& frame)
{
    const int rowBytes = image.width() * 4;
    out << quint16(0x9A);
    out << quint32(0xFF); // stand-in address
    PutPixelMap(out, rowBytes, image.rect(), 32);
    PutTransfer(out, image.rect(), frame);
    for (int y = 0; y < image.height(); ++y) {
        QByteArray planes;
        for (const int shift : { 16, 8, 0 }) {
            for (int x = 0; x < image.width(); ++x)
                planes.append(static_cast<char>(image.pixel(x, y) >> shift & 0xFF));
        }
        if (rowBytes < 8)
            out << quint8(0); // the only pixel of the row has four bytes
        PutRow(out, planes, rowBytes);
    }
}

} // namespace

QByteArray EncodePicture(const QImage& source, const QRect& frame)
{
    constexpr int kMaxSide = 4096;
    for (const int side : { source.width(), source.height(), frame.width(), frame.height() }) {
        if (side < 1 || side > kMaxSide)
            return QByteArray();
    }
    QImage image(source.size(), QImage::Format_RGB32);
    image.fill(Qt::white); // see-through pixels stand on white
    QPainter(&image).drawImage(0, 0, source);

    QByteArray picture;
    QDataStream out(&picture, QIODevice::WriteOnly);
    out << quint16(0); // the size, set at the end
    PutRect(out, frame);
    out << quint32(0x001102FF); // version 2
    out << quint16(0x0C00) << qint32(-1); // header
    for (const int side : { frame.left(), frame.top(), frame.right() + 1, frame.bottom() + 1 })
        out << qint32(side * 0x10000);
    out << quint32(0);
    out << quint16(0x0001) << quint16(10); // clip
    PutRect(out, frame);
    if (!PutIndexed(out, image, frame))
        PutDirect(out, image, frame);
    if (picture.size() % 2 != 0)
        out << quint8(0);
    out << quint16(0x00FF); // end
    out.device()->seek(0);
    out << static_cast<quint16>(picture.size());
    return picture;
}
