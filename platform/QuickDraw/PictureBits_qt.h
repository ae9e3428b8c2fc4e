// SPDX-License-Identifier: MIT
// PictureBits_qt.h - the pixel and region records of a picture.
#pragma once

#include "QuickDraw/PictureData.h"

#include <QtCore/QRect>
#include <QtGui/QImage>
#include <QtGui/QRegion>

/// The bits of one opcode, decoded.
struct PictureBits
{
    bool bitmap; // one bit a pixel without colours of its own: black (index 1) is the foreground
    QRect bounds; // what the image covers, in its own coordinates
    QImage image; // Indexed8, RGB555, RGB32 or RGB888
    QRect source; // the part to paint
    QRect destination; // where, in drawing coordinates
    int mode;
    bool masked;
    QRegion mask; // in drawing coordinates
};

QRect ReadRect(PictureData& data);
QPoint ReadPoint(PictureData& data); // vertical first
/// 16-bit channels to 8.
QRgb ReadColor(PictureData& data);
/// A region with its size word.
QRegion ReadRegion(PictureData& data, PictureBudget& budget);
/// The data of opcodes 90, 91, 98, 99, 9A and 9B.
PictureBits ReadBits(PictureData& data, int opcode, PictureBudget& budget);
/// The pixel map of a pixel pattern: no stand-in address and no rectangles.
QImage ReadPatternPixels(PictureData& data, PictureBudget& budget);
/// A 'cicn': a pixel map with a mask.
QImage ReadColorIcon(PictureData data);
/// Uncompressed rows, big-endian: depth 1, 2, 4, 8 (33 to 40: grey), 16, 24 or 32.
QImage ReadRawPixels(PictureData& data, QSize size, int depth, PictureBudget& budget);
