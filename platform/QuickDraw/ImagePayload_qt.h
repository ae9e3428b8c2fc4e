// SPDX-License-Identifier: MIT
// ImagePayload_qt.h - whole image files inside pictures, icons and bundles: JPEG, PNG, TIFF and BMP.
#pragma once

#include "QuickDraw/PictureBudget.h"

#include <QtGui/QImage>

/// Decodes the first frame of an image file. The format is the one that its first bytes prove; metadata is
/// passed over. Throws BadPicture for other formats, damaged files and what exceeds the budget.
///   expected  the size that the file has to have; empty: any
QImage ImagePayload_Read(const uint8_t* bytes, size_t count, QSize expected, PictureBudget& budget);
