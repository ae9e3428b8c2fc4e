// SPDX-License-Identifier: MIT
// PictureText_qt.h - text of pictures: MacRoman characters in the fonts of the home platform.
#pragma once

#include "QuickDraw/PictureCanvas_qt.h"

#include <QtCore/QString>

/// Bits of TextStyle::face.
enum TextFace {
    kBoldFace = 1,
    kItalicFace = 2,
    kUnderlineFace = 4,
    kOutlineFace = 8,
    kShadowFace = 16,
    kCondensedFace = 32,
    kExtendedFace = 64
};

struct TextStyle
{
    QString family; // empty: by number
    int font = 0;
    int size = 0; // points; 0 the system's 12
    int face = 0; // TextFace
    int mode = kSrcOr;
    double extraPerSpace = 0; // points
    double extraPerCharacter = 0;
    QSizeF ratio = { 1, 1 };
};

/// MacRoman bytes as text. In the system font, character 0x11 is the Command sign.
QString PictureText_DecodeMacRoman(const uint8_t* bytes, size_t count, const TextStyle& style);

/// Draws text with its base line from `at`.
void PictureText_Paint(QPainter& painter,
                       const QString& text,
                       QPointF at,
                       const TextStyle& style,
                       const DrawingColors& colors);
