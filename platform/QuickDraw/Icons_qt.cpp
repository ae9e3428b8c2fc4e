// SPDX-License-Identifier: MIT
// Icons_qt.cpp - icons: one-bit ones with their masks, colour icons, and suites.
#include "QuickDraw/Icons_qt.h"

#include "QuickDraw/ImagePayload_qt.h"
#include "QuickDraw/Picture_qt.h"

#include <CoreServices/MacMemory.h>
#include <CoreServices/Resources.h>

#include <QtCore/QFile>
#include <QtGui/QPainter>

namespace {

constexpr int kIconSide = 32;
constexpr int kIconBytes = kIconSide * kIconSide / 8;
constexpr qint64 kMaxFileSize = 16 << 20; // bytes

// Black bits, opaque where the mask says so.
QImage ReadOneBitIcon(ByteReader data)
{
    const uint8_t* bits = data.Bytes(kIconBytes);
    const uint8_t* mask = data.Left() >= kIconBytes ? data.Bytes(kIconBytes) : bits;
    QImage icon(bits, kIconSide, kIconSide, kIconSide / 8, QImage::Format_Mono);
    icon.setColorTable({ qRgb(255, 255, 255), qRgb(0, 0, 0) });
    return PictureBits_Masked(icon, mask, kIconSide / 8);
}

// The largest image of an 'icns' that is a PNG.
QImage ReadIconFamily(ByteReader data)
{
    QImage best;
    data.Skip(8); // type and size of the whole
    while (data.Left() >= 8) {
        data.Skip(4);
        const uint32_t size = data.U32();
        ByteReader_Require(size >= 8);
        const QByteArrayView element = PictureBits_Rest(data.Block(size - 8));
        if (element.startsWith("\x89PNG")) {
            PictureBudget budget;
            const QImage image = ImagePayload_Read(element, {}, budget);
            best = image.width() > best.width() ? image : best;
        }
    }
    return best;
}

// A resource read by a function; null when it is absent or damaged.
template <typename Read> QImage Load(ResType type, SInt16 id, Read read)
{
    const Handle handle = GetResource(type, id);
    const auto size = static_cast<size_t>(GetHandleSize(handle));
    try {
        return read(ByteReader(handle ? reinterpret_cast<const uint8_t*>(*handle) : nullptr, size));
    } catch (const BadData&) {
        return {};
    }
}

QImage LoadPicture(SInt16 id)
{
    const auto picture = DecodedPicture::OfHandle(GetPicture(id));
    QImage image(picture ? picture->FrameSize().toSize() : QSize(), QImage::Format_RGB32);
    if (!image.isNull()) {
        QPainter painter(&image);
        picture->Paint(painter, image.rect());
    }
    return image;
}

} // namespace

QImage Icons_Load(int contentType, SInt16 id)
{
    switch (contentType) {
    case 1: {
        const QImage icon = Load('icns', id, ReadIconFamily);
        return !icon.isNull() ? icon : Load('ICN#', id, ReadOneBitIcon);
    }
    case 2:
        return Load('cicn', id, PictureBits_ReadColorIcon);
    case 3:
        return LoadPicture(id);
    case 4:
        return Load('ICON', id, ReadOneBitIcon);
    default:
        return {};
    }
}

QImage Icons_Read(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || file.size() > kMaxFileSize)
        return {};
    const QByteArray bytes = file.readAll();
    try {
        PictureBudget budget;
        return ImagePayload_Read(bytes, {}, budget);
    } catch (const BadData&) {
        return {};
    }
}
