// SPDX-License-Identifier: MIT
// PictureCanvas_qt.h - QuickDraw's transfer modes over QPainter: patterns and bits.
#pragma once

#include <QtGui/QImage>
#include <QtGui/QPainter>
#include <QtGui/QPainterPath>

#include <array>
#include <cstdint>

/// Transfer modes, as pictures number them. Patterns use the same order from 8 on.
enum TransferMode {
    kSrcCopy = 0,
    kSrcOr = 1,
    kSrcXor = 2,
    kSrcBic = 3,
    kNotSrcCopy = 4,
    kNotSrcOr = 5,
    kNotSrcXor = 6,
    kNotSrcBic = 7,
    kPatCopy = 8,
    kBlend = 32,
    kAddPin = 33,
    kAddOver = 34,
    kSubPin = 35,
    kTransparent = 36,
    kAddMax = 37,
    kSubOver = 38,
    kAddMin = 39,
    kGrayishTextOr = 49,
    kHilite = 50,
    kDitherCopy = 64
};

/// The colours that a mode draws with.
struct DrawingColors
{
    QRgb foreground = qRgb(0, 0, 0);
    QRgb background = qRgb(255, 255, 255);
    QRgb op = qRgb(0, 0, 0); // weights of kBlend
    QRgb hilite = qRgb(0, 0, 128);
};

/// 8 rows of 8 bits, or the pixels of a colour pattern.
struct DrawingPattern
{
    std::array<uint8_t, 8> bits = {};
    QImage pixels; // null: the bits count

    static DrawingPattern Solid(bool foreground);
};

/// Fills a path through a pattern. The painter draws on opaque pixels (Format_RGB32).
void PictureCanvas_FillPath(QPainter& painter,
                            const QPainterPath& path,
                            const DrawingPattern& pattern,
                            int mode,
                            const DrawingColors& colors);

/// The image with the pixels of one colour transparent, for kTransparent.
QImage PictureCanvas_KeyedOut(const QImage& image, QRgb key);

/// Paints bits, with the destination's edges on pixels of the device.
///   bitmap  the image's black and white stand for foreground and background
void PictureCanvas_PaintBits(QPainter& painter,
                             const QImage& image,
                             bool bitmap,
                             const QRectF& source,
                             const QRectF& destination,
                             int mode,
                             const DrawingColors& colors);
