// SPDX-License-Identifier: MIT
// PictureBits_qt.cpp - pixel maps, packed rows, colour tables and regions.
#include "QuickDraw/PictureBits_qt.h"

#include <QtCore/QList>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr uint64_t kMaxRowBytes = 64u << 20;
constexpr qint64 kManyPixels = 4 << 20; // from here on three bytes a pixel, which are slower

// A pixel map record from its row bytes on.
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

PixelMap ReadPixelMap(ByteReader& data, bool mayBeBitmap)
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
    ByteReader_Require(width * map.pixelSize <= map.rowBytes * 8);
    ByteReader_Require(uint64_t(height) * uint64_t(map.rowBytes) <= kMaxRowBytes);
    return map;
}

void ReadColorTable(ByteReader& data, PixelMap& map)
{
    if (map.bitmap) {
        map.colors = { qRgb(255, 255, 255), qRgb(0, 0, 0) };
        return;
    }
    ByteReader_Require(map.pixelSize <= 8);
    data.Skip(4); // seed
    const bool inOrder = (data.U16() & 0x8000) != 0;
    const int last = data.U16();
    ByteReader_Require(last < 256);
    map.colors.fill(qRgb(0, 0, 0), 1 << map.pixelSize);
    for (int i = 0; i <= last; ++i) {
        const int value = data.U16();
        const int index = inOrder ? i : value;
        const QRgb color = PictureBits_ReadColor(data);
        if (index < map.colors.size())
            map.colors[index] = color;
    }
}

// PackBits in units of one or two bytes; exactly `size` bytes come out.
void UnpackRow(ByteReader packed, uint8_t* out, size_t size, size_t unit)
{
    uint8_t* const end = out + size;
    while (out != end) {
        const int flag = packed.S8();
        if (flag == -128)
            continue;
        const size_t count = unit * static_cast<size_t>(flag >= 0 ? flag + 1 : 1 - flag);
        ByteReader_Require(count <= static_cast<size_t>(end - out));
        const uint8_t* bytes = packed.Bytes(flag >= 0 ? count : unit);
        if (flag >= 0)
            memcpy(out, bytes, count);
        else if (unit == 1)
            memset(out, bytes[0], count);
        else
            for (size_t i = 0; i < count; i += unit)
                memcpy(out + i, bytes, unit);
        out += count;
    }
}

QImage NewImage(QSize size, int bits, PictureBudget& budget)
{
    const bool isLarge = qint64(size.width()) * size.height() > kManyPixels;
    const auto format = bits <= 8 ? QImage::Format_Indexed8
        : bits == 16              ? QImage::Format_RGB555
        : isLarge                 ? QImage::Format_RGB888
                                  : QImage::Format_RGB32;
    const int depth = QImage::toPixelFormat(format).bitsPerPixel();
    const uint64_t rowBytes = (uint64_t(size.width()) * uint64_t(depth) + 31) / 32 * 4;
    budget.SpendMemory(rowBytes * uint64_t(size.height()));
    QImage image(size, format);
    ByteReader_Require(!image.isNull());
    return image;
}

// Pixels of 1, 2, 4 or 8 bits, most significant first, into one byte each.
void ExpandIndexes(const uint8_t* row, int width, int bits, uint8_t* out)
{
    const int mask = (1 << bits) - 1;
    for (int x = 0; x < width; ++x) {
        const int bit = x * bits;
        out[x] = static_cast<uint8_t>(row[bit >> 3] >> (8 - bits - (bit & 7)) & mask);
    }
}

// Where the colour bytes of a pixel stand in a row.
struct Channels
{
    int red; // the first pixel's
    int step; // from pixel to pixel
    int plane; // from channel to channel
};

// Stores a row of pixels; `channels` count for those of 24 and 32 bits.
void StoreRow(const uint8_t* row, int bits, Channels channels, QImage& image, int y)
{
    uint8_t* out = image.scanLine(y);
    const int width = image.width();
    if (bits <= 8) {
        ExpandIndexes(row, width, bits, out);
        return;
    }
    if (bits == 16) {
        qFromBigEndian<quint16>(row, width, out);
        return;
    }
    const auto [red, step, plane] = channels;
    const uint8_t* at = row + red;
    if (image.format() == QImage::Format_RGB888) {
        for (int x = 0; x < width; ++x, at += step, out += 3) {
            out[0] = at[0];
            out[1] = at[plane];
            out[2] = at[2 * plane];
        }
        return;
    }
    auto* pixels = reinterpret_cast<QRgb*>(out);
    for (int x = 0; x < width; ++x, at += step)
        pixels[x] = qRgb(at[0], at[plane], at[2 * plane]);
}

QImage ReadRows(ByteReader& data, const PixelMap& map, bool mayBePacked, PictureBudget& budget)
{
    const QSize size = map.bounds.size();
    const bool threeBytes = mayBePacked && map.pixelSize == 32 && map.packType == 2;
    const bool packed = mayBePacked && map.rowBytes >= 8 && map.packType != 1 && !threeBytes;
    const bool planar = packed && map.pixelSize == 32;
    const bool alpha = map.componentCount == 4;
    const int plane = map.rowBytes / 4;
    const Channels channels = planar ? Channels { alpha ? plane : 0, 1, plane }
        : threeBytes                 ? Channels { 0, 3, 1 }
                                     : Channels { 1, 4, 1 };
    const auto rowSize
        = static_cast<size_t>(threeBytes || (planar && !alpha) ? 3 * plane : map.rowBytes);

    QImage image = NewImage(size, map.pixelSize, budget);
    image.setColorTable(map.colors);
    std::vector<uint8_t> unpacked(packed ? rowSize : 0);
    for (int y = 0; y < size.height(); ++y) {
        const uint8_t* row = unpacked.data();
        if (packed) {
            const size_t count = map.rowBytes > 250 ? data.U16() : data.U8();
            UnpackRow(data.Block(count), unpacked.data(), rowSize, map.pixelSize == 16 ? 2 : 1);
        } else {
            row = data.Bytes(rowSize);
        }
        StoreRow(row, map.pixelSize, channels, image, y);
    }
    return image;
}

bool IsKnownDepth(int depth)
{
    return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 32;
}

} // namespace

QRect PictureBits_ReadRect(ByteReader& data)
{
    const int top = data.S16();
    const int left = data.S16();
    const int bottom = data.S16();
    const int right = data.S16();
    return QRect(left, top, right - left, bottom - top);
}

QPoint PictureBits_ReadPoint(ByteReader& data)
{
    const int v = data.S16();
    const int h = data.S16();
    return QPoint(h, v);
}

QRgb PictureBits_ReadColor(ByteReader& data)
{
    const int red = data.U16() >> 8;
    const int green = data.U16() >> 8;
    const int blue = data.U16() >> 8;
    return qRgb(red, green, blue);
}

QRegion PictureBits_ReadRegion(ByteReader& data, PictureBudget& budget)
{
    const size_t size = data.U16();
    ByteReader_Require(size >= 10);
    ByteReader block = data.Block(size - 2);
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
        ByteReader_Require(y == kEnd || y >= top);
        ByteReader_Require(edges.size() % 2 == 0 && (y != kEnd || edges.empty()));
        if (y > top)
            for (size_t i = 0; i + 1 < edges.size(); i += 2)
                rects.emplace_back(edges[i], top, edges[i + 1] - edges[i], y - top);
        if (y == kEnd)
            break;
        top = y;
        std::vector<int> row;
        for (int x = block.S16(); x != kEnd; x = block.S16()) {
            ByteReader_Require(row.empty() || x > row.back());
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

PictureBits PictureBits_Read(ByteReader& data, int opcode, PictureBudget& budget)
{
    const bool directBits = opcode == 0x9A || opcode == 0x9B;
    const bool unpacked = opcode == 0x90 || opcode == 0x91;
    if (directBits)
        data.Skip(4); // stand-in address
    PixelMap map = ReadPixelMap(data, !directBits);
    ByteReader_Require(IsKnownDepth(map.pixelSize) && (map.pixelSize > 8) == directBits);
    if (!directBits)
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

QImage PictureBits_ReadPatternPixels(ByteReader& data, PictureBudget& budget)
{
    PixelMap map = ReadPixelMap(data, true);
    ByteReader_Require(IsKnownDepth(map.pixelSize));
    ReadColorTable(data, map);
    return ReadRows(data, map, true, budget);
}

QImage PictureBits_ReadRawPixels(ByteReader& data, QSize size, int depth, PictureBudget& budget)
{
    const bool grey = depth > 32;
    const int bits = grey ? depth - 32 : depth;
    ByteReader_Require(IsKnownDepth(bits) || bits == 24);
    ByteReader_Require(!grey || bits <= 8);
    ByteReader_Require(grey || bits == 1 || bits > 8); // other colours are not in the picture
    const size_t least = (static_cast<size_t>(size.width()) * static_cast<size_t>(bits) + 7) / 8;
    const size_t rowSize = data.Left() / static_cast<size_t>(size.height()); // rows may be padded
    ByteReader_Require(rowSize >= least);

    QImage image = NewImage(size, bits, budget);
    const int last = bits <= 8 ? (1 << bits) - 1 : -1;
    for (int i = 0; i <= last; ++i) { // white to black, as the platform's grey tables run
        const int level = 255 - i * 255 / last;
        image.setColor(i, qRgb(level, level, level));
    }
    const Channels channels = bits == 32 ? Channels { 1, 4, 1 } : Channels { 0, 3, 1 };
    for (int y = 0; y < size.height(); ++y)
        StoreRow(data.Bytes(rowSize), bits, channels, image, y);
    return image;
}

QImage PictureBits_Masked(const QImage& image, const uint8_t* mask, int rowBytes)
{
    QImage opaque(mask, image.width(), image.height(), rowBytes, QImage::Format_Mono);
    opaque.setColorTable({ qRgb(0, 0, 0), qRgb(255, 255, 255) });
    QImage masked = image.convertToFormat(QImage::Format_ARGB32);
    masked.setAlphaChannel(opaque);
    return masked;
}

QImage PictureBits_ReadColorIcon(ByteReader data)
{
    PictureBudget budget;
    data.Skip(4); // addresses stand in front of each record
    PixelMap pixels = ReadPixelMap(data, false);
    data.Skip(4);
    const PixelMap mask = ReadPixelMap(data, true);
    data.Skip(4);
    const int blackRowBytes = data.U16() & 0x3FFF; // of the form for one-bit screens
    const int blackRows = PictureBits_ReadRect(data).height();
    data.Skip(4);
    ByteReader_Require(mask.bitmap && IsKnownDepth(pixels.pixelSize) && pixels.pixelSize <= 8);
    ByteReader_Require(mask.bounds.size() == pixels.bounds.size() && blackRows >= 0);
    const uint8_t* maskRows = data.Bytes(static_cast<size_t>(mask.rowBytes * mask.bounds.height()));
    data.Skip(static_cast<size_t>(blackRowBytes * blackRows));
    ReadColorTable(data, pixels);
    return PictureBits_Masked(ReadRows(data, pixels, false, budget), maskRows, mask.rowBytes);
}
