// SPDX-License-Identifier: MIT
// Icons_qt.h - icons in resource files, and images in files of their own.
#pragma once

#include <Carbon/Quickdraw.h>

#include <QtGui/QImage>

/// An icon of the current resource files, by what a control says of its content.
///   contentType  1 an icon suite ('icns' with a PNG inside, else 'ICN#'), 2 'cicn', 3 'PICT', 4 'ICON'
///   returns      null if there is none, or it cannot be decoded
QImage Icons_Load(int contentType, SInt16 id);
/// Reads a JPEG, PNG, TIFF or BMP file. Null if it cannot be decoded or exceeds the limits of a picture.
QImage Icons_Read(const QString& path);
