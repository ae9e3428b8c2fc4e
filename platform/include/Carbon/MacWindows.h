// SPDX-License-Identifier: MIT
// MacWindows.h - windows. Main thread only. A null or invalid WindowRef returns errInvalidWindowRef; void
// functions ignore it.
#pragma once

#include <Carbon/Appearance.h>
#include <Carbon/CarbonEvents.h>
#include <Carbon/Quickdraw.h>

typedef UInt32 WindowClass;
typedef UInt32 WindowModality;
typedef UInt16 WindowRegionCode;

enum {
    kMovableAlertWindowClass = 2,
    kFloatingWindowClass = 5,
    kDocumentWindowClass = 6,
    kHelpWindowClass = 10,
    kPlainWindowClass = 13,
    kOverlayWindowClass = 14,
    kAltPlainWindowClass = 16,
    kSimpleWindowClass = 18
};

enum {
    kWindowModalityNone = 0,
    kWindowModalitySystemModal = 1, // acts as the next one
    kWindowModalityAppModal = 2,
    kWindowModalityWindowModal = 3
};

enum {
    kWindowStructureRgn = 32, // frame and content
    kWindowContentRgn = 33
};

__BEGIN_DECLS

OSStatus GetWindowClass(WindowRef window, WindowClass* windowClass) VL_SYMBOL(GetWindowClass);
/// Changes class and stacking; the frame keeps its look.
OSStatus SetWindowClass(WindowRef window, WindowClass windowClass) VL_SYMBOL(SetWindowClass);
/// With kWindowModalityWindowModal this window opens over the `unavailable` one. A window of this API's own making keeps the
/// user's input from all other windows of the process while it is visible, with any modality.
OSStatus SetWindowModality(WindowRef window, WindowModality modality, WindowRef unavailable)
    VL_SYMBOL(SetWindowModality);
/// What the content is erased with; `update` redraws it at once. themeInvalidBrushErr for others than the
/// known brushes.
OSStatus SetThemeWindowBackground(WindowRef window, ThemeBrush brush, Boolean update)
    VL_SYMBOL(SetThemeWindowBackground);
/// To the front of its stacking group and active, if it is visible; shows nothing.
void BringToFront(WindowRef window) VL_SYMBOL(BringToFront);
/// Returns when the window is on the screen (bounded wait). Nothing when visible already.
void ShowWindow(WindowRef window) VL_SYMBOL(ShowWindow);
/// Nothing, and no event, when hidden already.
void HideWindow(WindowRef window) VL_SYMBOL(HideWindow);
Boolean IsWindowVisible(WindowRef window) VL_SYMBOL(IsWindowVisible);
/// Puts the content's top-left corner at a point of the screen; `front` also brings it forward. A window whose default
/// button would not be whole on a screen is moved onto the screen of the window that it is modal to or, without one, to the
/// middle of the main screen.
void MoveWindow(WindowRef window, SInt16 h, SInt16 v, Boolean front) VL_SYMBOL(MoveWindow);
/// Replaces a region by the window's structure or content in screen coordinates.
///   returns  noErr; errInvalidWindowRef; errWindowRegionCodeInvalid
OSStatus GetWindowRegion(WindowRef window, WindowRegionCode code, RgnHandle region)
    VL_SYMBOL(GetWindowRegion);
/// The same as a rectangle.
OSStatus GetWindowBounds(WindowRef window, WindowRegionCode code, Rect* bounds)
    VL_SYMBOL(GetWindowBounds);
/// The title; one reference in *title.
OSStatus CopyWindowTitleAsCFString(WindowRef window, CFStringRef* title)
    VL_SYMBOL(CopyWindowTitleAsCFString);
/// The frontmost visible window that this API created; null without one.
WindowRef FrontNonFloatingWindow(void) VL_SYMBOL(FrontNonFloatingWindow);
/// Sends Hidden (if visible), Closed and Dispose to the window's handlers, then frees it with its controls
/// and handlers. A wrapped host window itself is left alone.
void DisposeWindow(WindowRef window) VL_SYMBOL(DisposeWindow);

__END_DECLS
