// SPDX-License-Identifier: MIT
// Picture_qt.cpp - paints pictures at any size, and keeps the ones that were decoded last.
#include "QuickDraw/Picture_qt.h"

#include <CoreServices/MacMemory.h>
#include <CoreServices/Resources.h>

#include <QtCore/QByteArrayView>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

constexpr uint64_t kMaxKept = 4 << 20; // bytes of a picture that is kept for its next use
// The largest canvas; larger pictures are painted in bands.
constexpr int kMaxBandPixels = 1 << 20;

} // namespace

void DecodedPicture::Paint(QPainter& painter, const QRectF& target) const
{
    const QSize size = CanvasSize(painter.deviceTransform().mapRect(target));
    if (m_canvas.size() == size) {
        painter.drawImage(target, m_canvas);
        return;
    }
    m_canvas = QImage();
    const int most = std::max(1, kMaxBandPixels / size.width());
    const double step = target.height() / size.height();
    for (int top = 0; top < size.height(); top += most) {
        const int rows = std::min(most, size.height() - top);
        const QImage band = Replay(size, top, rows);
        painter.drawImage(
            QRectF(target.left(), target.top() + top * step, target.width(), rows * step), band);
        if (rows == size.height())
            m_canvas = band;
    }
}

// The density of the device, or less of it where the picture would touch too many pixels. The transfer
// modes need opaque pixels to work on, so the picture is painted on a canvas first.
QSize DecodedPicture::CanvasSize(const QRectF& onDevice) const
{
    QSize size(std::max(1, qRound(onDevice.width())), std::max(1, qRound(onDevice.height())));
    if (qint64(size.width()) * size.height() > kMaxPicturePixels)
        size.scale(kMaxPictureSide, kMaxPictureSide, Qt::KeepAspectRatio);
    const auto area = [](QSize of) { return double(of.width()) * of.height(); };
    const double points = area(m_picture.space.size());
    while (size.width() > 1 && size.height() > 1
           && m_picture.painted.At(std::sqrt(area(size) / points)) > kMaxPaintedArea)
        size /= 2;
    return size;
}

// Some rows of the picture at a size.
QImage DecodedPicture::Replay(QSize size, int top, int rows) const
{
    QImage canvas(size.width(), rows, QImage::Format_RGB32);
    if (canvas.isNull())
        return canvas;
    canvas.fill(Qt::white);
    QPainter replay(&canvas);
    replay.setRenderHint(QPainter::Antialiasing);
    replay.translate(0, -top);
    const QRect& space = m_picture.space;
    replay.scale(double(size.width()) / space.width(), double(size.height()) / space.height());
    replay.translate(-space.topLeft());
    const QRectF seen = replay.transform().inverted().mapRect(QRectF(canvas.rect()));
    for (const DrawingStep& step : m_picture.steps) {
        if (step.bounds.intersects(seen))
            step.draw(replay);
    }
    return canvas;
}

std::shared_ptr<const DecodedPicture> DecodedPicture::Decode(const void* data, std::size_t size)
{
    // Two pictures decoded lately, with their data: the same box is usually reopened.
    using Kept = std::pair<QByteArray, std::shared_ptr<const DecodedPicture>>;
    static auto& kept = *new std::array<Kept, 2>; // never freed: Qt may be gone by then
    const QByteArrayView bytes(static_cast<const char*>(data), static_cast<qsizetype>(size));
    for (const auto& [known, picture] : kept) {
        if (picture && bytes == known)
            return picture;
    }
    try {
        InterpretedPicture interpreted = Interpreter_Run(static_cast<const uint8_t*>(data), size);
        const uint64_t memory = interpreted.memory;
        auto picture = std::make_shared<DecodedPicture>(std::move(interpreted));
        if (memory + size <= kMaxKept) {
            std::swap(kept[0], kept[1]);
            kept[0] = { bytes.toByteArray(), picture };
        }
        return picture;
    } catch (...) { // BadData, bad_alloc
        return nullptr;
    }
}

std::shared_ptr<const DecodedPicture> DecodedPicture::OfHandle(PicHandle picture)
{
    const auto handle = reinterpret_cast<Handle>(picture);
    const Size size = GetHandleSize(handle);
    return size > 0 ? Decode(*handle, static_cast<std::size_t>(size)) : nullptr;
}

PicHandle GetPicture(SInt16 id) { return reinterpret_cast<PicHandle>(GetResource('PICT', id)); }
