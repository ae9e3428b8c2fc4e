// SPDX-License-Identifier: MIT
// ImagePayload_qt.cpp - proves the format of an image file, takes out what is not the image, decodes the rest.
#include "QuickDraw/ImagePayload_qt.h"

#include <QtCore/QBuffer>
#include <QtGui/QImageReader>

#include <algorithm>
#include <cstring>
#include <iterator>

namespace {

struct ImageFormat
{
    const char* name;
    const char* start;
    size_t length;
};

const ImageFormat kFormats[] = {
    { "jpeg", "\xFF\xD8\xFF", 3 },
    { "png", "\x89PNG\r\n\x1A\n", 8 },
    { "tiff", "II*\0", 4 },
    { "tiff", "MM\0*", 4 },
    { "bmp", "BM", 2 },
};

// The chunks that hold the image. All others are text, profiles and other metadata, which may inflate.
QByteArray StripPng(const uint8_t* bytes, size_t count)
{
    QByteArray stripped(reinterpret_cast<const char*>(bytes), 8);
    PictureData data(bytes + 8, count - 8);
    while (data.Left() >= 12) {
        const size_t length = data.U32();
        const uint8_t* type = data.Bytes(4);
        data.Skip(length + 4); // and the checksum
        const QByteArrayView name(type, 4);
        if (name == "IHDR" || name == "PLTE" || name == "tRNS" || name == "IDAT"
            || name == "IEND") {
            stripped.append(reinterpret_cast<const char*>(type - 4),
                            static_cast<qsizetype>(8 + length + 4));
        }
    }
    return stripped;
}

struct StrippedJpeg
{
    QByteArray file;
    int scans = 0;
    bool progressive = false;
};

// The segments that hold the image; of the application segments only JFIF and Adobe's, which say what the
// channels mean.
StrippedJpeg StripJpeg(const uint8_t* bytes, size_t count)
{
    StrippedJpeg stripped;
    stripped.file.append(reinterpret_cast<const char*>(bytes), 2);
    size_t at = 2;
    while (at + 4 <= count) {
        PictureData_Require(bytes[at] == 0xFF);
        const int marker = bytes[at + 1];
        size_t end = at + 2;
        if (marker != 0xFF && marker != 0x01 && (marker < 0xD0 || marker > 0xD9)) {
            end += static_cast<size_t>(bytes[at + 2] << 8 | bytes[at + 3]);
            PictureData_Require(end <= count);
        }
        if (marker == 0xDA) { // a scan: coded data up to the next marker
            ++stripped.scans;
            while (end + 1 < count
                   && (bytes[end] != 0xFF || bytes[end + 1] == 0
                       || (bytes[end + 1] >= 0xD0 && bytes[end + 1] <= 0xD7))) {
                ++end;
            }
        }
        stripped.progressive = stripped.progressive || marker == 0xC2;
        const bool metadata = marker == 0xFE || (marker > 0xE0 && marker < 0xF0 && marker != 0xEE)
            || marker == 0xFF;
        if (!metadata) {
            stripped.file.append(reinterpret_cast<const char*>(bytes + at),
                                 static_cast<qsizetype>(end - at));
        }
        at = marker == 0xFF ? at + 1 : end;
    }
    stripped.file.append(reinterpret_cast<const char*>(bytes + at),
                         static_cast<qsizetype>(count - std::min(at, count)));
    return stripped;
}

} // namespace

QImage ImagePayload_Read(const uint8_t* bytes, size_t count, QSize expected, PictureBudget& budget)
{
    const auto* format
        = std::find_if(std::begin(kFormats), std::end(kFormats), [&](const ImageFormat& known) {
              return count >= known.length && std::memcmp(bytes, known.start, known.length) == 0;
          });
    PictureData_Require(format != std::end(kFormats));
    QByteArray file = QByteArray::fromRawData(reinterpret_cast<const char*>(bytes),
                                              static_cast<qsizetype>(count));
    uint64_t coefficients = 0; // bytes a pixel that a progressive JPEG is held in
    if (std::strcmp(format->name, "png") == 0) {
        budget.SpendMemory(count);
        file = StripPng(bytes, count);
    } else if (std::strcmp(format->name, "jpeg") == 0) {
        budget.SpendMemory(count);
        StrippedJpeg stripped = StripJpeg(bytes, count);
        constexpr int kMaxScans = 32; // each passes over the whole image
        PictureData_Require(stripped.scans <= kMaxScans);
        coefficients = stripped.progressive || stripped.scans > 1 ? 6 : 0;
        file = std::move(stripped.file);
    }

    QBuffer buffer(&file);
    QImageReader reader(&buffer, format->name);
    reader.setAutoDetectImageFormat(false);
    const QSize size = reader.size();
    PictureBudget_RequireSize(size.width(), size.height());
    PictureData_Require(expected.isEmpty() || size == expected);
    const int depth = QImage::toPixelFormat(reader.imageFormat()).bitsPerPixel();
    budget.SpendMemory(uint64_t(size.width()) * uint64_t(size.height())
                       * (uint64_t(std::max(4, depth / 8)) + coefficients));
    const QImage image = reader.read();
    PictureData_Require(!image.isNull() && image.size() == size);
    return image;
}
