// SPDX-License-Identifier: MIT
// Picture_qt.h - the decoder of QuickDraw pictures ('PICT' data without the 512 bytes of a file).
#pragma once

#include <QtCore/QSizeF>

#include <cstddef>
#include <memory>

class QImage;
class QPainter;
class QRectF;

/// A picture, decoded whole and independent of the data it came from.
class DecodedPicture
{
public:
    /// Decodes `size` bytes. Null if the picture cannot be shown whole, or exceeds the limits of PictureBudget.h.
    static std::shared_ptr<const DecodedPicture> Decode(const void* data, std::size_t size);

    /// Wraps an image, one pixel per point. Null for a null image.
    static std::shared_ptr<const DecodedPicture> OfImage(const QImage& image);

    virtual ~DecodedPicture() = default;
    /// The frame's width and height in points (72 dpi), each at least 1.
    virtual QSizeF FrameSize() const = 0;
    /// Paints the picture scaled so that its frame fills `target`, at the painter's own density.
    virtual void Paint(QPainter& painter, const QRectF& target) const = 0;
};
