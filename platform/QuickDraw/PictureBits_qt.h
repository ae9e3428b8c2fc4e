// SPDX-License-Identifier: MIT
// PictureBits_qt.h - the pixel and region records of a picture.
#pragma once

#include "QuickDraw/PictureBudget.h"

#include <QtCore/QByteArrayView>
#include <QtCore/QRect>
#include <QtGui/QImage>
#include <QtGui/QRegion>

/// The bits of one opcode, decoded.
struct PictureBits
{
    bool bitmap; // one bit per pixel, no colour table: black (index 1) is the foreground
    QRect bounds; // what the image covers, in its own coordinates
    QImage image; // Indexed8, RGB555, RGB32 or RGB888
    QRectF source; // the part to paint, in the same coordinates
    QRectF destination; // in drawing coordinates
    int mode;
    bool masked;
    QRegion mask; // in drawing coordinates
};

/// The bytes that a reader has not read yet.
inline QByteArrayView PictureBits_Rest(ByteReader data)
{
    const size_t count = data.Left();
    return { data.Bytes(count), static_cast<qsizetype>(count) };
}
QRect PictureBits_ReadRect(ByteReader& data);
QPoint PictureBits_ReadPoint(ByteReader& data); // vertical first
/// 16-bit channels to 8.
QRgb PictureBits_ReadColor(ByteReader& data);
/// A region with its size word.
QRegion PictureBits_ReadRegion(ByteReader& data, PictureBudget& budget);
/// The data of opcodes 90, 91, 98, 99, 9A and 9B.
PictureBits PictureBits_Read(ByteReader& data, int opcode, PictureBudget& budget);
/// The pixel map of a pixel pattern: no stand-in address and no rectangles.
QImage PictureBits_ReadPatternPixels(ByteReader& data, PictureBudget& budget);
/// An image, transparent where the bits of a mask are 0.
QImage PictureBits_Masked(const QImage& image, const uint8_t* mask, int rowBytes);
/// A 'cicn': a pixel map with a mask.
QImage PictureBits_ReadColorIcon(ByteReader data);
/// Uncompressed rows, big-endian: depth 1, 2, 4, 8 (33 to 40: grey), 16, 24 or 32.
QImage PictureBits_ReadRawPixels(ByteReader& data, QSize size, int depth, PictureBudget& budget);
