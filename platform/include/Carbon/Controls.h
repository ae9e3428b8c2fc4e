// SPDX-License-Identifier: MIT
// Controls.h - controls and their data. Main thread only. Controls are owned and freed by their window. A null
// ControlRef returns paramErr, an invalid one controlHandleInvalidErr.
#pragma once

#include <Carbon/HIObject.h>
#include <Carbon/Quickdraw.h>

typedef SInt16 ControlPartCode;
typedef ControlPartCode HIViewPartCode;

#pragma pack(push, 2)

typedef struct ControlID
{
    OSType signature;
    SInt32 id;
} ControlID;

typedef struct ControlFontStyleRec
{
    SInt16 flags; // which fields count: kControlUseForeColorMask and its like
    SInt16 font;
    SInt16 size;
    SInt16 style;
    SInt16 mode;
    SInt16 just;
    RGBColor foreColor;
    RGBColor backColor;
} ControlFontStyleRec;

#pragma pack(pop)

enum {
    kControlUseFontMask = 0x0001,
    kControlUseFaceMask = 0x0002,
    kControlUseSizeMask = 0x0004,
    kControlUseForeColorMask = 0x0008,
    kControlUseBackColorMask = 0x0010,
    kControlUseJustMask = 0x0040,
    kControlUseThemeFontIDMask = 0x0080,
    kControlAddFontSizeMask = 0x0100
};

enum {
    kControlFontBigSystemFont = -1,
    kControlFontSmallSystemFont = -2,
    kControlFontMiniSystemFont = -5
};

enum { kControlEntireControl = 0, kControlPicturePart = 6, kControlButtonPart = 10 };

enum {
    kControlStaticTextTextTag = 0x74657874,         // 'text': bytes without a zero, any size
    kControlFontStyleTag = 0x666F6E74,              // 'font': a ControlFontStyleRec
    kControlPictureHandleTag = 0x70696368,          // 'pich': a PicHandle, decoded at once
    kControlPushButtonDefaultTag = 0x64666C74       // 'dflt': a Boolean; outline and Return
};

__BEGIN_DECLS

/// Finds a control anywhere in a window. *control is null and the result errUnknownControl when absent.
OSStatus GetControlByID(WindowRef window, const ControlID* id, ControlRef* control)
    VL_SYMBOL(GetControlByID);
/// Moves a control into a container; its place on the screen stays.
///   returns  noErr; errControlIsNotEmbedder, errCantEmbedIntoSelf, errCantEmbedRoot
OSErr EmbedControl(ControlRef control, ControlRef container) VL_SYMBOL(EmbedControl);
/// Sets data by tag; it is copied.
///   returns  noErr; errDataNotSupported, errDataSizeMismatch: the control is untouched then
OSErr SetControlData(ControlRef control, ControlPartCode part, ResType tag, Size size,
                     const void* data) VL_SYMBOL(SetControlData);
/// Copies data by tag; text is cut to `size`. `actualSize` (may be null) becomes the full size.
///   returns  noErr; errDataNotSupported; errDataSizeMismatch when a fixed-size tag does not fit
OSErr GetControlData(ControlRef control, ControlPartCode part, ResType tag, Size size, void* data,
                     Size* actualSize) VL_SYMBOL(GetControlData);
OSErr GetControlDataSize(ControlRef control, ControlPartCode part, ResType tag, Size* size)
    VL_SYMBOL(GetControlDataSize);
void HideControl(ControlRef control) VL_SYMBOL(HideControl);
void ShowControl(ControlRef control) VL_SYMBOL(ShowControl);
/// Visible itself and in all its containers (whether or not the window is).
Boolean IsControlVisible(ControlRef control) VL_SYMBOL(IsControlVisible);
/// Relative to the window's content, at any depth; returns `bounds`.
Rect* GetControlBounds(ControlRef control, Rect* bounds) VL_SYMBOL(GetControlBounds);
OSStatus GetControlCommandID(ControlRef control, UInt32* command) VL_SYMBOL(GetControlCommandID);
/// Draws every visible control now.
void DrawControls(WindowRef window) VL_SYMBOL(DrawControls);
/// Presses a control as a click would: a button sends its command. `part` (may be null) becomes what was
/// hit. `modifiers` is 0.
OSStatus HIViewSimulateClick(HIViewRef view, HIViewPartCode partToClick, UInt32 modifiers,
                             HIViewPartCode* part) VL_SYMBOL(HIViewSimulateClick);

__END_DECLS
