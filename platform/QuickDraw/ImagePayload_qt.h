// SPDX-License-Identifier: MIT
// ImagePayload_qt.h - whole image files inside pictures, icons and bundles: JPEG, PNG, TIFF and BMP.
#pragma once

#include "QuickDraw/PictureBits_qt.h"

/// Decodes the first frame of an image file, without metadata. Throws BadData for other formats by its first bytes,
/// damaged files and what exceeds the budget.
///   expected  the size that the file has to have; empty: any
QImage ImagePayload_Read(QByteArrayView file, QSize expected, PictureBudget& budget);
/// Reads the block of opcode 8200: matrix, matte (not drawn), mask, description and coded image.
PictureBits ImagePayload_ReadCompressed(ByteReader block, PictureBudget& budget);
