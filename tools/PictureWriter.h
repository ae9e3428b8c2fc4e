// SPDX-License-Identifier: MIT
// PictureWriter.h - encodes images as 'PICT' data. The library itself only reads it.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QRect>

class QImage;

/// A version 2 picture of one image, with 8 bits a pixel for up to 256 colours, else 32; without the 512 bytes
/// of a file.
///   frame    its place at 72 dpi; the image may have more pixels, for dense screens
///   returns  empty for an empty image or frame, or a side over 4096
///   example  EncodePicture(image, QRect(QPoint(0, 0), image.size() / 2)): two pixels a point
QByteArray EncodePicture(const QImage& image, const QRect& frame);
