// SPDX-License-Identifier: MIT
// Picture_qt.h - the decoder of QuickDraw pictures ('PICT' data without the 512 bytes of a file).
#pragma once

#include "QuickDraw/Interpreter_qt.h"

#include <Carbon/Quickdraw.h>

#include <memory>

/// A picture, decoded whole and independent of the data it came from.
class DecodedPicture
{
public:
    /// Decodes `size` bytes. Null if the picture cannot be shown whole, or exceeds the limits of PictureBudget.h.
    static std::shared_ptr<const DecodedPicture> Decode(const void* data, std::size_t size);
    /// Decodes a resource. Null also for a null or released handle.
    static std::shared_ptr<const DecodedPicture> OfHandle(PicHandle picture);

    explicit DecodedPicture(InterpretedPicture picture)
        : m_picture(std::move(picture))
    {
    }
    /// The frame's width and height in points (72 dpi), each at least 1.
    QSizeF FrameSize() const { return m_picture.frame; }
    /// Paints the picture scaled so that its frame fills `target`, at the painter's own density.
    void Paint(QPainter& painter, const QRectF& target) const;

private:
    QSize CanvasSize(const QRectF& onDevice) const;
    QImage Replay(QSize size, int top, int rows) const;

    InterpretedPicture m_picture;
    mutable QImage m_canvas; // as painted last
};
