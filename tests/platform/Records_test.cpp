// SPDX-License-Identifier: MIT
// Records_test.cpp - the layouts that hosts and files see, checked by the compiler: packed to two bytes,
// and wider with 8-byte pointers.
#include <Carbon/Carbon.h>
#include <CoreServices/CoreServices.h>

#include <cstddef>

constexpr size_t kPointer = sizeof(void*);

static_assert(sizeof(Rect) == 8 && offsetof(Rect, right) == 6);
static_assert(sizeof(RGBColor) == 6);
static_assert(sizeof(FSRef) == 80);
static_assert(sizeof(FSSpec) == 70 && offsetof(FSSpec, parID) == 2 && offsetof(FSSpec, name) == 6);
static_assert(sizeof(HFSUniStr255) == 512);
static_assert(sizeof(ControlID) == 8 && sizeof(EventTypeSpec) == 8);
static_assert(sizeof(ControlFontStyleRec) == 24 && offsetof(ControlFontStyleRec, foreColor) == 12
              && offsetof(ControlFontStyleRec, backColor) == 18);
static_assert(sizeof(HICommand) == 10 + kPointer && offsetof(HICommand, menu.menuRef) == 8
              && offsetof(HICommand, menu.menuItemIndex) == 8 + kPointer);
static_assert(sizeof(HICommandExtended) == sizeof(HICommand)
              && offsetof(HICommandExtended, source) == 8);
static_assert(sizeof(AlertStdAlertParamRec) == 8 + 4 * kPointer
              && offsetof(AlertStdAlertParamRec, filterProc) == 2
              && offsetof(AlertStdAlertParamRec, defaultButton) == 2 + 4 * kPointer);
static_assert(kPointer == 8 || sizeof(HICommand) == 14);
