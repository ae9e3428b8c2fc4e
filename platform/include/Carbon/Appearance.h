// SPDX-License-Identifier: MIT
// Appearance.h - theme brushes.
#pragma once

#include <CoreServices/CoreServices.h>

typedef SInt16 ThemeBrush;

enum {
    kThemeBrushWhite = -1, // paints white
    kThemeBrushBlack = -2  // paints black
};
