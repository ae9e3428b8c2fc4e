// SPDX-License-Identifier: MIT
// ImagePayload_qt.cpp - proves the format of an image file, takes out what is not the image, decodes the rest.
#include "QuickDraw/ImagePayload_qt.h"

#include <QtCore/QBuffer>
#include <QtGui/QImageReader>

#include <algorithm>
#include <iterator>

namespace {

struct ImageFormat
{
    const char* name;
    QByteArrayView start;
};

constexpr ImageFormat kFormats[] = {
    { "jpeg", "\xFF\xD8\xFF" },
    { "png", "\x89PNG\r\n\x1A\n" },
    { "tiff", QByteArrayView("II*\0", 4) },
    { "tiff", QByteArrayView("MM\0*", 4) },
    { "bmp", "BM" },
};

ByteReader ReaderOf(QByteArrayView file)
{
    return { reinterpret_cast<const uint8_t*>(file.data()), static_cast<size_t>(file.size()) };
}

// The chunks that hold the image. All others are text, profiles and other metadata, which may inflate.
QByteArray StripPng(QByteArrayView file)
{
    QByteArray stripped = file.first(8).toByteArray();
    ByteReader data = ReaderOf(file).From(8);
    while (data.Left() >= 12) {
        const auto start = static_cast<qsizetype>(data.Offset());
        const size_t length = data.U32();
        const QByteArrayView type(data.Bytes(4), 4);
        data.Skip(length + 4); // and the checksum
        if (type == "IHDR" || type == "PLTE" || type == "tRNS" || type == "IDAT" || type == "IEND")
            stripped.append(file.sliced(start, static_cast<qsizetype>(data.Offset()) - start));
    }
    return stripped;
}

// The segments that hold the image, with those of JFIF and Adobe, which say what the channels mean.
QByteArray StripJpeg(QByteArrayView file, bool& isProgressive)
{
    constexpr int kMaxScans = 32; // each passes over the whole image
    int scans = 0;
    QByteArray stripped = file.first(2).toByteArray();
    const auto byte = [file](qsizetype at) { return static_cast<uint8_t>(file[at]); };
    const auto isRestart = [](int marker) { return marker >= 0xD0 && marker <= 0xD7; };
    qsizetype at = 2;
    while (at + 4 <= file.size()) {
        ByteReader_Require(byte(at) == 0xFF);
        const int marker = byte(at + 1);
        if (marker == 0xFF) { // a fill byte
            ++at;
            continue;
        }
        qsizetype end = at + 2;
        if (marker != 0x01 && !isRestart(marker) && marker != 0xD8 && marker != 0xD9)
            end += byte(at + 2) << 8 | byte(at + 3);
        ByteReader_Require(end <= file.size());
        if (marker == 0xDA) { // a scan: coded data up to the next marker
            ByteReader_Require(++scans <= kMaxScans);
            while (end + 1 < file.size()
                   && (byte(end) != 0xFF || byte(end + 1) == 0 || isRestart(byte(end + 1))))
                ++end;
        }
        isProgressive = isProgressive || marker == 0xC2 || scans > 1;
        if (marker != 0xFE && (marker <= 0xE0 || marker >= 0xF0 || marker == 0xEE))
            stripped.append(file.sliced(at, end - at));
        at = end;
    }
    stripped.append(file.sliced(at));
    return stripped;
}

} // namespace

QImage ImagePayload_Read(QByteArrayView bytes, QSize expected, PictureBudget& budget)
{
    const auto* format = std::ranges::find_if(
        kFormats, [&](const ImageFormat& known) { return bytes.startsWith(known.start); });
    ByteReader_Require(format != std::end(kFormats));
    QByteArray file = QByteArray::fromRawData(bytes.data(), bytes.size());
    const QByteArrayView name(format->name);
    bool isProgressive = false; // a JPEG that is held in coefficients of 6 bytes a pixel
    if (name == "png" || name == "jpeg")
        budget.SpendMemory(static_cast<uint64_t>(bytes.size()));
    if (name == "png")
        file = StripPng(bytes);
    else if (name == "jpeg")
        file = StripJpeg(bytes, isProgressive);

    QBuffer buffer(&file);
    QImageReader reader(&buffer, format->name);
    reader.setAutoDetectImageFormat(false);
    const QSize size = reader.size();
    PictureBudget_RequireSize(size.width(), size.height());
    ByteReader_Require(expected.isEmpty() || size == expected);
    const int depth = QImage::toPixelFormat(reader.imageFormat()).bitsPerPixel();
    budget.SpendMemory(uint64_t(size.width()) * uint64_t(size.height())
                       * uint64_t(std::max(4, depth / 8) + (isProgressive ? 6 : 0)));
    const QImage image = reader.read();
    ByteReader_Require(!image.isNull() && image.size() == size);
    return image;
}

namespace {

constexpr uint32_t kRawCodec = 0x72617720; // 'raw '

// Reads an image description and the coded image after it.
QImage ReadDescribedImage(ByteReader& block, PictureBudget& budget)
{
    const uint32_t size = block.U32();
    ByteReader_Require(size >= 86);
    ByteReader description = block.Block(size - 4);
    const uint32_t codec = description.U32();
    description.Skip(24);
    const int width = description.U16();
    const int height = description.U16();
    PictureBudget_RequireSize(width, height);
    description.Skip(8); // two resolutions
    const uint32_t dataSize = description.U32(); // 0: the rest of the block
    description.Skip(2 + 32); // frame count, name
    const int depth = description.U16();
    ByteReader coded = block.Block(dataSize != 0 ? dataSize : block.Left());
    if (codec == kRawCodec)
        return PictureBits_ReadRawPixels(coded, { width, height }, depth, budget);
    return ImagePayload_Read(PictureBits_Rest(coded), { width, height }, budget);
}

} // namespace

PictureBits ImagePayload_ReadCompressed(ByteReader block, PictureBudget& budget)
{
    block.Skip(2); // version
    double matrix[9];
    for (double& entry : matrix)
        entry = block.S32() / 65536.0;
    const uint32_t matteSize = block.U32();
    block.Skip(8); // matte rectangle
    PictureBits bits = {};
    bits.mode = block.U16();
    const QRect source = PictureBits_ReadRect(block);
    block.Skip(4); // accuracy
    if (const uint32_t maskSize = block.U32(); maskSize != 0) {
        ByteReader mask = block.Block(maskSize);
        bits.mask = PictureBits_ReadRegion(mask, budget);
        bits.masked = true;
    }
    block.Skip(matteSize); // with its description
    bits.image = ReadDescribedImage(block, budget);

    bits.bounds = bits.image.rect();
    bits.source = source.isEmpty() ? bits.bounds : source;
    const double scaleX = matrix[0] == 0 ? 1 : matrix[0];
    const double scaleY = matrix[4] == 0 ? 1 : matrix[4];
    bits.destination
        = QRectF(matrix[6], matrix[7], bits.source.width() * scaleX, bits.source.height() * scaleY);
    ByteReader_Require(bits.destination.width() > 0 && bits.destination.height() > 0);
    return bits;
}
