// SPDX-License-Identifier: MIT
// Quickdraw.h - colours, regions and pictures. Main thread only.
#pragma once

#include <CoreServices/CoreServices.h>

#pragma pack(push, 2)

typedef struct RGBColor
{
    UInt16 red; // 0 to 0xFFFF
    UInt16 green;
    UInt16 blue;
} RGBColor;

typedef struct Picture
{
    SInt16 picSize; // low 16 bits of the length: useless, ask the handle
    Rect picFrame;  // at 72 dpi, big-endian
} Picture;          // the opcodes follow

#pragma pack(pop)

typedef Picture* PicPtr;
typedef PicPtr* PicHandle;
typedef struct OpaqueRgnHandle* RgnHandle;

__BEGIN_DECLS

/// An empty region; given back with DisposeRgn. Null without memory.
RgnHandle NewRgn(void) VL_SYMBOL(NewRgn);
void DisposeRgn(RgnHandle region) VL_SYMBOL(DisposeRgn);
/// Fills `bounds` with the smallest rectangle around the region and returns it.
Rect* GetRegionBounds(RgnHandle region, Rect* bounds) VL_SYMBOL(GetRegionBounds);

/// The 'PICT' resource with that id, as GetResource finds it; null if absent. Given back with
/// ReleaseResource.
PicHandle GetPicture(SInt16 id) VL_SYMBOL(GetPicture);

__END_DECLS
