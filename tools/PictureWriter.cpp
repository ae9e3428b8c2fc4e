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

// Writes a short row as it is, any other packed, with the count of bytes in front.
//   rowBytes  of the unpacked row as the pixel map gives it
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

void PutPixelMap(QDataStream& out, const QRect& bounds, int rowBytes, bool isDirect)
{
    out << quint16(0x8000 | rowBytes);
    PutRect(out, bounds);
    out << quint16(0); // version
    out << quint16(!isDirect ? 0 : rowBytes < 8 ? 1 : 4); // pack type
    out << quint32(0); // packed size
    out << quint32(72 << 16) << quint32(72 << 16); // pixels an inch
    out << quint16(isDirect ? 16 : 0) << quint16(isDirect ? 32 : 8); // pixel type and size
    out << quint16(isDirect ? 3 : 1) << quint16(8); // components and their size
    out << quint32(0) << quint32(0) << quint32(0);
}

void PutColors(QDataStream& out, const QList<QRgb>& colors)
{
    out << quint32(0); // seed
    out << quint16(0); // flags: values follow
    out << quint16(colors.size() - 1);
    for (quint16 i = 0; i < colors.size(); ++i) {
        out << i;
        for (const int part : { qRed(colors[i]), qGreen(colors[i]), qBlue(colors[i]) })
            out << quint16(part * 257);
    }
}

// 8 bits a pixel and a table for up to 256 colours, else 32 bits in planes.
void PutImage(QDataStream& out, const QImage& image, const QRect& frame)
{
    const QImage indexed = image.convertToFormat(QImage::Format_Indexed8);
    const bool isDirect = indexed.convertToFormat(QImage::Format_RGB32) != image;
    const int rowBytes = isDirect ? image.width() * 4 : (image.width() + 1) / 2 * 2;
    out << quint16(isDirect ? 0x9A : 0x98);
    if (isDirect)
        out << quint32(0xFF); // stand-in address
    PutPixelMap(out, image.rect(), rowBytes, isDirect);
    if (!isDirect)
        PutColors(out, indexed.colorTable());
    PutRect(out, image.rect());
    PutRect(out, frame);
    out << quint16(0); // copy
    for (int y = 0; y < image.height(); ++y) {
        QByteArray row(isDirect && rowBytes < 8 ? 1 : 0, 0); // a lone pixel has four bytes
        for (int shift = isDirect ? 16 : 0; shift >= 0; shift -= 8) {
            for (int x = 0; x < image.width(); ++x) {
                const QRgb value = isDirect ? image.pixel(x, y) : QRgb(indexed.pixelIndex(x, y));
                row.append(static_cast<char>(value >> shift));
            }
        }
        PutRow(out, isDirect ? row : row.leftJustified(rowBytes, 0), rowBytes);
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
    PutImage(out, image, frame);
    if (picture.size() % 2 != 0)
        out << quint8(0);
    out << quint16(0x00FF); // end
    out.device()->seek(0);
    out << static_cast<quint16>(picture.size());
    return picture;
}
