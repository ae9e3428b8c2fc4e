// SPDX-License-Identifier: MIT
// PictureWriter_qt.h - images as 'PICT' data. For tools and tests; the library itself only reads.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QRect>

class QImage;

enum class PictureForm {
    Best, // 8 bits for up to 256 colours, else 32
    Bitmap1, // version 1, one bit a pixel
    Bitmap, // one bit a pixel
    Indexed, // 8 bits and a table; at most 256 colours
    Direct16,
    Direct32
};

/// A version 2 picture (but for Bitmap1) of one image, without the 512 bytes of a file.
///   frame    where it stands, at 72 dpi; the image may have more pixels, for dense screens
///   returns  empty for an empty image or frame, a side over 4096, or more colours than the form
///   holds example  EncodePicture(image, QRect(QPoint(0, 0), image.size() / 2)): two pixels a point
QByteArray
EncodePicture(const QImage& image, const QRect& frame, PictureForm form = PictureForm::Best);
