// SPDX-License-Identifier: MIT
// Icons_qt.cpp - icons: one-bit ones with their masks, colour icons, and suites.
#include "QuickDraw/Icons_qt.h"

#include "QuickDraw/ImagePayload_qt.h"
#include "QuickDraw/PictureBits_qt.h"
#include "QuickDraw/Picture_qt.h"

#include <CoreServices/MacMemory.h>
#include <CoreServices/Resources.h>

#include <QtCore/QFile>
#include <QtGui/QPainter>

#include <cstring>

namespace {

constexpr int kIconSide = 32;
constexpr int kIconBytes = kIconSide * kIconSide / 8;
constexpr qint64 kMaxFileSize = 16 << 20; // bytes

/// Black bits, opaque where the mask says so.
QImage ReadOneBitIcon(PictureData data)
{
    const uint8_t* bits = data.Bytes(kIconBytes);
    const uint8_t* mask = data.Left() >= kIconBytes ? data.Bytes(kIconBytes) : bits;
    const auto isSet = [](const uint8_t* plane, int x, int y) {
        return (plane[y * kIconSide / 8 + x / 8] & 0x80 >> x % 8) != 0;
    };
    QImage icon(kIconSide, kIconSide, QImage::Format_ARGB32);
    for (int y = 0; y < kIconSide; ++y) {
        for (int x = 0; x < kIconSide; ++x) {
            icon.setPixel(x, y,
                          !isSet(mask, x, y)      ? qRgba(0, 0, 0, 0)
                              : isSet(bits, x, y) ? qRgb(0, 0, 0)
                                                  : qRgb(255, 255, 255));
        }
    }
    return icon;
}

/// The largest image of an 'icns' that is a PNG.
QImage ReadIconFamily(PictureData data)
{
    QImage best;
    data.Skip(8); // type and size of the whole
    while (data.Left() >= 8) {
        data.Skip(4);
        const uint32_t size = data.U32();
        PictureData_Require(size >= 8);
        PictureData element = data.Block(size - 8);
        const size_t count = element.Left();
        const uint8_t* bytes = element.Bytes(count);
        if (count >= 4 && std::memcmp(bytes, "\x89PNG", 4) == 0) {
            PictureBudget budget;
            const QImage image = ImagePayload_Read(bytes, count, {}, budget);
            best = image.width() > best.width() ? image : best;
        }
    }
    return best;
}

/// A resource read by a function; null when it is absent or damaged.
template <typename Read> QImage Load(ResType type, SInt16 id, Read read)
{
    const Handle handle = GetResource(type, id);
    const Size size = handle ? GetHandleSize(handle) : 0;
    if (size <= 0)
        return {};
    try {
        return read(
            PictureData(reinterpret_cast<const uint8_t*>(*handle), static_cast<size_t>(size)));
    } catch (const BadPicture&) {
        return {};
    }
}

QImage LoadPicture(SInt16 id)
{
    const auto handle = reinterpret_cast<Handle>(GetPicture(id));
    const Size size = handle ? GetHandleSize(handle) : 0;
    const auto picture
        = size > 0 ? DecodedPicture::Decode(*handle, static_cast<size_t>(size)) : nullptr;
    QImage image;
    if (picture) {
        image = QImage(picture->FrameSize().toSize(), QImage::Format_RGB32);
        QPainter painter(&image);
        picture->Paint(painter, QRectF(image.rect()));
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
        return ImagePayload_Read(reinterpret_cast<const uint8_t*>(bytes.constData()),
                                 static_cast<size_t>(bytes.size()), {}, budget);
    } catch (const BadPicture&) {
        return {};
    }
}
