// SPDX-License-Identifier: MIT
// Pictures.cpp - pictures in resource files.
#include <Carbon/Quickdraw.h>
#include <CoreServices/Resources.h>

PicHandle GetPicture(SInt16 id)
{
    return reinterpret_cast<PicHandle>(GetResource('PICT', id));
}
