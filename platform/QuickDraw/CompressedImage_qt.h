// SPDX-License-Identifier: MIT
// CompressedImage_qt.h - the image of a compressed-QuickTime opcode, and the matte in front of an uncompressed one.
#pragma once

#include "QuickDraw/PictureBits_qt.h"

/// Reads the block of opcode 8200: matrix, matte (not drawn), mask, description and coded image.
PictureBits CompressedImage_Read(PictureData block, PictureBudget& budget);
/// Passes over the head of opcode 8201's block. Ordinary bits follow inside the block or after it.
void CompressedImage_SkipUncompressedHead(PictureData& block);
