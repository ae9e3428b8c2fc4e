// SPDX-License-Identifier: MIT
// PictureBits_qt.cpp - pixel maps, packed rows, colour tables and regions.
#include "QuickDraw/PictureBits_qt.h"

#include <QtCore/QList>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr uint64_t kMaxRowBytes = 64u << 20;
constexpr qint64 kManyPixels = 4 << 20; // from here on three bytes a pixel, which are slower

/// A pixel map record from its row bytes on.
struct PixelMap
{
    bool bitmap;
    int rowBytes;
    QRect bounds;
    int packType;
    int pixelSize;
    int componentCount;
    QList<QRgb> colors; // by pixel value; empty for direct pixels
};

PixelMap ReadPixelMap(PictureData& data, bool mayBeBitmap)
{
    PixelMap map = {};
    const uint16_t rowWord = data.U16();
    map.bitmap = mayBeBitmap && (rowWord & 0x8000) == 0;
    map.rowBytes = rowWord & 0x3FFF;
    map.bounds = PictureBits_ReadRect(data);
    map.pixelSize = 1;
    map.componentCount = 1;
    if (!map.bitmap) {
        data.Skip(2); // version
        map.packType = data.U16();
        data.Skip(4 + 4 + 4 + 2); // packed size, two resolutions, pixel type
        map.pixelSize = data.U16();
        map.componentCount = data.U16();
        data.Skip(2 + 4 + 4 + 4); // component size, plane bytes, table, reserved
    }
    const int width = map.bounds.width();
    const int height = map.bounds.height();
    PictureBudget_RequireSize(width, height);
    PictureData_Require(width * map.pixelSize <= map.rowBytes * 8);
    PictureData_Require(uint64_t(height) * uint64_t(map.rowBytes) <= kMaxRowBytes);
    return map;
}

void ReadColorTable(PictureData& data, PixelMap& map)
{
    PictureData_Require(map.pixelSize <= 8);
    data.Skip(4); // seed
    const bool inOrder = (data.U16() & 0x8000) != 0;
    const int last = data.U16();
    PictureData_Require(last < 256);
    map.colors.fill(qRgb(0, 0, 0), 1 << map.pixelSize);
    for (int i = 0; i <= last; ++i) {
        const int value = data.U16();
        const int index = inOrder ? i : value;
        const QRgb color = PictureBits_ReadColor(data);
        if (index < map.colors.size())
            map.colors[index] = color;
    }
}

constexpr size_t kRunStep = 8; // bytes that a run is written by: it may pass its end by one less

/// PackBits in units of one or two bytes; exactly `size` bytes come out, before kRunStep of room.
void UnpackRow(PictureData packed, uint8_t* out, size_t size, size_t unit)
{
    uint8_t* const end = out + size;
    while (out != end) {
        const int flag = packed.S8();
        if (flag == -128)
            continue;
        const size_t count = unit * static_cast<size_t>(flag >= 0 ? flag + 1 : 1 - flag);
        PictureData_Require(count <= static_cast<size_t>(end - out));
        if (flag >= 0) {
            memcpy(out, packed.Bytes(count), count);
        } else {
            const uint8_t* value = packed.Bytes(unit);
            uint8_t step[kRunStep];
            for (size_t i = 0; i < kRunStep; i += 2) {
                step[i] = value[0];
                step[i + 1] = value[unit - 1];
            }
            for (size_t i = 0; i < count; i += kRunStep)
                memcpy(out + i, step, kRunStep);
        }
        out += count;
    }
}

QImage NewImage(QSize size, QImage::Format format, PictureBudget& budget)
{
    const int bits = QImage::toPixelFormat(format).bitsPerPixel();
    const uint64_t rowBytes = (uint64_t(size.width()) * uint64_t(bits) + 31) / 32 * 4;
    budget.SpendMemory(rowBytes * uint64_t(size.height()));
    QImage image(size, format);
    PictureData_Require(!image.isNull());
    return image;
}

/// Pixels of 1, 2, 4 or 8 bits, most significant first, into one byte each.
void ExpandIndexes(const uint8_t* row, int width, int bits, uint8_t* out)
{
    const int mask = (1 << bits) - 1;
    for (int x = 0; x < width; ++x) {
        const int bit = x * bits;
        out[x] = static_cast<uint8_t>(row[bit >> 3] >> (8 - bits - (bit & 7)) & mask);
    }
}

void StoreRgb555(const uint8_t* row, int width, uint8_t* out)
{
    auto* pixels = reinterpret_cast<uint16_t*>(out);
    for (int x = 0; x < width; ++x)
        pixels[x] = static_cast<uint16_t>((row[2 * x] << 8 | row[2 * x + 1]) & 0x7FFF);
}

QImage::Format DirectFormat(QSize size, int bits)
{
    return bits == 16                                        ? QImage::Format_RGB555
        : qint64(size.width()) * size.height() > kManyPixels ? QImage::Format_RGB888
                                                             : QImage::Format_RGB32;
}

/// Colour bytes `step` apart within each pixel, `plane` apart from channel to channel.
void StoreRgb(const uint8_t* red, int step, int plane, QImage& image, int y)
{
    uint8_t* out = image.scanLine(y);
    const int width = image.width();
    if (image.format() == QImage::Format_RGB888) {
        for (int x = 0; x < width; ++x, red += step, out += 3) {
            out[0] = red[0];
            out[1] = red[plane];
            out[2] = red[2 * plane];
        }
        return;
    }
    auto* pixels = reinterpret_cast<QRgb*>(out);
    for (int x = 0; x < width; ++x, red += step)
        pixels[x] = qRgb(red[0], red[plane], red[2 * plane]);
}

QImage ReadRows(PictureData& data, const PixelMap& map, bool mayBePacked, PictureBudget& budget)
{
    const QSize size = map.bounds.size();
    const int width = size.width();
    const bool direct = map.pixelSize > 8;
    const bool packed = mayBePacked && map.rowBytes >= 8 && map.packType != 1
        && !(map.pixelSize == 32 && map.packType == 2);
    const bool planar = packed && map.pixelSize == 32;
    const bool alpha = map.componentCount == 4;

    size_t rowSize = static_cast<size_t>(map.rowBytes);
    if (map.pixelSize == 32 && (planar ? !alpha : map.packType == 2 && mayBePacked))
        rowSize = rowSize / 4 * 3;

    QImage image = NewImage(
        size, direct ? DirectFormat(size, map.pixelSize) : QImage::Format_Indexed8, budget);
    if (!direct)
        image.setColorTable(map.colors);
    std::vector<uint8_t> unpacked(packed ? rowSize + kRunStep : 0);
    for (int y = 0; y < size.height(); ++y) {
        const uint8_t* row;
        if (packed) {
            const size_t count = map.rowBytes > 250 ? data.U16() : data.U8();
            UnpackRow(data.Block(count), unpacked.data(), rowSize, map.pixelSize == 16 ? 2 : 1);
            row = unpacked.data();
        } else {
            row = data.Bytes(rowSize);
        }
        if (!direct) {
            ExpandIndexes(row, width, map.pixelSize, image.scanLine(y));
        } else if (map.pixelSize == 16) {
            StoreRgb555(row, width, image.scanLine(y));
        } else if (planar) {
            const int plane = map.rowBytes / 4;
            StoreRgb(alpha ? row + plane : row, 1, plane, image, y);
        } else if (map.packType == 2 && mayBePacked) {
            StoreRgb(row, 3, 1, image, y);
        } else {
            StoreRgb(row + 1, 4, 1, image, y);
        }
    }
    return image;
}

bool IsKnownDepth(int depth)
{
    return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 32;
}

} // namespace

QRect PictureBits_ReadRect(PictureData& data)
{
    const int top = data.S16();
    const int left = data.S16();
    const int bottom = data.S16();
    const int right = data.S16();
    return QRect(left, top, right - left, bottom - top);
}

QPoint PictureBits_ReadPoint(PictureData& data)
{
    const int v = data.S16();
    const int h = data.S16();
    return QPoint(h, v);
}

QPoint PictureBits_ReadShortPoint(PictureData& data)
{
    const int dh = data.S8();
    const int dv = data.S8();
    return QPoint(dh, dv);
}

QRgb PictureBits_ReadColor(PictureData& data)
{
    const int red = data.U16() >> 8;
    const int green = data.U16() >> 8;
    const int blue = data.U16() >> 8;
    return qRgb(red, green, blue);
}

QRegion PictureBits_ReadRegion(PictureData& data, PictureBudget& budget)
{
    const size_t size = data.U16();
    PictureData_Require(size >= 10);
    PictureData block = data.Block(size - 2);
    const QRect box = PictureBits_ReadRect(block);
    if (block.Left() == 0)
        return box.isValid() ? QRegion(box) : QRegion();

    // Rows of x positions at which inside and outside change; a row lasts until the next one
    // toggles it.
    constexpr int kEnd = 0x7FFF;
    std::vector<int> edges;
    std::vector<QRect> rects;
    int top = box.top();
    for (;;) {
        const int y = block.S16();
        PictureData_Require(y == kEnd || y >= top);
        PictureData_Require(edges.size() % 2 == 0 && (y != kEnd || edges.empty()));
        if (y > top)
            for (size_t i = 0; i + 1 < edges.size(); i += 2)
                rects.emplace_back(edges[i], top, edges[i + 1] - edges[i], y - top);
        if (y == kEnd)
            break;
        top = y;
        std::vector<int> row;
        for (int x = block.S16(); x != kEnd; x = block.S16()) {
            PictureData_Require(row.empty() || x > row.back());
            row.push_back(x);
        }
        std::vector<int> toggled;
        std::set_symmetric_difference(edges.begin(), edges.end(), row.begin(), row.end(),
                                      std::back_inserter(toggled));
        edges.swap(toggled);
        budget.SpendSteps(1 + row.size() + edges.size());
        budget.SpendMemory(edges.size() * sizeof(QRect));
    }
    QRegion region;
    region.setRects(rects.data(), static_cast<int>(rects.size()));
    return region;
}

PictureBits PictureBits_Read(PictureData& data, int opcode, PictureBudget& budget)
{
    const bool directBits = opcode == 0x9A || opcode == 0x9B;
    const bool unpacked = opcode == 0x90 || opcode == 0x91;
    if (directBits)
        data.Skip(4); // stand-in address
    PixelMap map = ReadPixelMap(data, !directBits);
    PictureData_Require(IsKnownDepth(map.pixelSize) && (map.pixelSize > 8) == directBits);
    if (map.bitmap)
        map.colors = { qRgb(255, 255, 255), qRgb(0, 0, 0) };
    else if (!directBits)
        ReadColorTable(data, map);

    PictureBits bits;
    bits.bitmap = map.bitmap;
    bits.bounds = map.bounds;
    bits.source = PictureBits_ReadRect(data);
    bits.destination = PictureBits_ReadRect(data);
    bits.mode = data.U16();
    bits.masked = (opcode & 1) != 0;
    if (bits.masked)
        bits.mask = PictureBits_ReadRegion(data, budget);
    bits.image = ReadRows(data, map, !unpacked, budget);
    return bits;
}

QImage PictureBits_ReadPatternPixels(PictureData& data, PictureBudget& budget)
{
    PixelMap map = ReadPixelMap(data, true);
    PictureData_Require(IsKnownDepth(map.pixelSize));
    if (map.bitmap)
        map.colors = { qRgb(255, 255, 255), qRgb(0, 0, 0) };
    else
        ReadColorTable(data, map);
    return ReadRows(data, map, true, budget);
}

QImage PictureBits_ReadRawPixels(PictureData& data, QSize size, int depth, PictureBudget& budget)
{
    const bool grey = depth > 32;
    const int bits = grey ? depth - 32 : depth;
    PictureData_Require(IsKnownDepth(bits) || bits == 24);
    PictureData_Require(!grey || bits <= 8);
    const int width = size.width();
    const int height = size.height();
    const size_t least = (static_cast<size_t>(width) * static_cast<size_t>(bits) + 7) / 8;
    const size_t rowSize = data.Left() / static_cast<size_t>(height); // rows may be padded
    PictureData_Require(rowSize >= least);

    QImage image
        = NewImage(size, bits <= 8 ? QImage::Format_Indexed8 : DirectFormat(size, bits), budget);
    if (bits <= 8) { // white to black, as the platform's grey tables run
        QList<QRgb> colors;
        const int last = (1 << bits) - 1;
        for (int i = 0; i <= last; ++i) {
            const int level = 255 - i * 255 / last;
            colors.append(qRgb(level, level, level));
        }
        PictureData_Require(grey
                            || bits == 1); // the colours of other depths are not in the picture
        image.setColorTable(colors);
    }
    for (int y = 0; y < height; ++y) {
        const uint8_t* row = data.Bytes(rowSize);
        if (bits <= 8)
            ExpandIndexes(row, width, bits, image.scanLine(y));
        else if (bits == 16)
            StoreRgb555(row, width, image.scanLine(y));
        else
            StoreRgb(bits == 32 ? row + 1 : row, bits / 8, 1, image, y);
    }
    return image;
}

QImage PictureBits_ReadColorIcon(PictureData data)
{
    PictureBudget budget;
    const auto skipBits = [](PictureData& from, const PixelMap& plane) {
        return from.Bytes(static_cast<size_t>(plane.rowBytes * plane.bounds.height()));
    };
    data.Skip(4); // addresses stand in front of each record
    PixelMap pixels = ReadPixelMap(data, false);
    data.Skip(4);
    const PixelMap mask = ReadPixelMap(data, true);
    data.Skip(4);
    PixelMap black = {}; // the form for one-bit screens, which may be empty
    black.rowBytes = data.U16() & 0x3FFF;
    black.bounds = PictureBits_ReadRect(data);
    data.Skip(4);
    PictureData_Require(mask.bitmap && IsKnownDepth(pixels.pixelSize) && pixels.pixelSize <= 8);
    PictureData_Require(mask.bounds.size() == pixels.bounds.size() && black.bounds.height() >= 0);
    const uint8_t* maskRows = skipBits(data, mask);
    skipBits(data, black);
    ReadColorTable(data, pixels);
    QImage icon = ReadRows(data, pixels, false, budget).convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < icon.height(); ++y) {
        auto* row = reinterpret_cast<QRgb*>(icon.scanLine(y));
        const uint8_t* bits = maskRows + y * mask.rowBytes;
        for (int x = 0; x < icon.width(); ++x)
            if ((bits[x / 8] & 0x80 >> x % 8) == 0)
                row[x] = 0;
    }
    return icon;
}
