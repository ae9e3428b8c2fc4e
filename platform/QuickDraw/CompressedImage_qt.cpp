// SPDX-License-Identifier: MIT
// CompressedImage_qt.cpp - images that were compressed by QuickTime.
#include "QuickDraw/CompressedImage_qt.h"

#include "QuickDraw/ImagePayload_qt.h"

namespace {

constexpr uint32_t kRawCodec = 0x72617720; // 'raw '

struct ImageDescription
{
    uint32_t codec;
    QSize size;
    uint32_t dataSize; // 0: the rest of the block
    int depth;
};

ImageDescription ReadImageDescription(PictureData& data)
{
    const uint32_t size = data.U32();
    PictureData_Require(size >= 86);
    PictureData description = data.Block(size - 4);
    ImageDescription image = {};
    image.codec = description.U32();
    description.Skip(24);
    const int width = description.U16();
    const int height = description.U16();
    PictureBudget_RequireSize(width, height);
    image.size = QSize(width, height);
    description.Skip(8); // two resolutions
    image.dataSize = description.U32();
    description.Skip(2 + 32); // frame count, name
    image.depth = description.U16();
    return image;
}

QImage DecodeImage(const ImageDescription& description, PictureData coded, PictureBudget& budget)
{
    if (description.codec == kRawCodec)
        return PictureBits_ReadRawPixels(coded, description.size, description.depth, budget);
    const size_t count = coded.Left();
    return ImagePayload_Read(coded.Bytes(count), count, description.size, budget);
}

} // namespace

PictureBits CompressedImage_Read(PictureData block, PictureBudget& budget)
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
        PictureData mask = block.Block(maskSize);
        bits.mask = PictureBits_ReadRegion(mask, budget);
        bits.masked = true;
    }
    block.Skip(matteSize); // with its description
    const ImageDescription description = ReadImageDescription(block);
    bits.image = DecodeImage(
        description, description.dataSize != 0 ? block.Block(description.dataSize) : block, budget);

    bits.bounds = QRect(QPoint(), description.size);
    bits.source = source.isEmpty() ? bits.bounds : source;
    const double scaleX = matrix[0] == 0 ? 1 : matrix[0];
    const double scaleY = matrix[4] == 0 ? 1 : matrix[4];
    bits.destination
        = QRectF(matrix[6], matrix[7], bits.source.width() * scaleX, bits.source.height() * scaleY);
    PictureData_Require(bits.destination.width() > 0 && bits.destination.height() > 0);
    return bits;
}

void CompressedImage_SkipUncompressedHead(PictureData& block)
{
    block.Skip(2 + 36); // version, matrix
    const uint32_t matteSize = block.U32();
    block.Skip(8); // matte rectangle
    block.Skip(matteSize); // with its description
}
