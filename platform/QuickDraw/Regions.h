// SPDX-License-Identifier: MIT
// Regions.h - what stands behind RgnHandle. Every region here is a rectangle.
#pragma once

#include <Carbon/Quickdraw.h>

struct OpaqueRgnHandle
{
    Rect bounds; // screen coordinates
};
