// SPDX-License-Identifier: MIT
// PictureCanvas_qt.h - QuickDraw's drawing model over QPainter: patterns, modes, pens and text.
#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
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

/// How text looks.
struct TextStyle
{
    QString family; // empty: by number
    int font = 0;
    int size = 0; // points; 0 the system's 12
    int face = 0; // 1 bold, 2 italic, 4 underline, 8 outline, 16 shadow, 32 condensed, 64 extended
    int mode = kSrcOr;
    double extraPerSpace = 0; // points
    double extraPerCharacter = 0;
    QSizeF ratio = { 1, 1 };
};

/// About how many nanoseconds one pixel of an area takes.
double FillCost(const DrawingPattern& pattern, int mode);
double BitsCost(const QImage& image, bool scaled, int mode);

/// Fills a path through a pattern. The painter draws on opaque pixels (Format_RGB32).
void FillPath(QPainter& painter,
              const QPainterPath& path,
              const DrawingPattern& pattern,
              int mode,
              const DrawingColors& colors);

/// Turns the pixels inside a path to their opposite.
void InvertPath(QPainter& painter, const QPainterPath& path);

/// The image with the pixels of one colour transparent, for kTransparent.
QImage KeyedOut(QImage image, QRgb key);

/// Paints bits; `bitmap`: the image's black and white stand for foreground and background.
void PaintBits(QPainter& painter,
               const QImage& image,
               bool bitmap,
               const QRectF& source,
               const QRectF& destination,
               int mode,
               const DrawingColors& colors);

/// Draws MacRoman text with its base line from `at`.
void PaintText(QPainter& painter,
               const QString& text,
               QPointF at,
               const TextStyle& style,
               const DrawingColors& colors);
