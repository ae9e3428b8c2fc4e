// SPDX-License-Identifier: MIT
// Regions.cpp - regions.
#include "QuickDraw/Regions.h"

#include <new>

RgnHandle NewRgn()
{
    return new (std::nothrow) OpaqueRgnHandle {};
}

void DisposeRgn(RgnHandle region)
{
    delete region;
}

Rect* GetRegionBounds(RgnHandle region, Rect* bounds)
{
    if (bounds)
        *bounds = region ? region->bounds : Rect {};
    return bounds;
}
