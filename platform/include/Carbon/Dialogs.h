// SPDX-License-Identifier: MIT
// Dialogs.h - the standard alert. Main thread only.
#pragma once

#include <CoreServices/CoreServices.h>
#include <Carbon/CarbonEvents.h>

typedef SInt16 AlertType;

enum { kAlertStopAlert = 0, kAlertNoteAlert = 1, kAlertCautionAlert = 2, kAlertPlainAlert = 3 };

enum {
    kAlertStdAlertOKButton = 1,     // rightmost
    kAlertStdAlertCancelButton = 2, // to its left
    kAlertStdAlertOtherButton = 3,  // far left
    kAlertStdAlertHelpButton = 4
};

enum { kWindowDefaultPosition = 0 };

#define kAlertDefaultOKText ((ConstStringPtr)-1L)

typedef Boolean (*ModalFilterUPP)(WindowRef dialog, void* event, SInt16* itemHit);

#pragma pack(push, 2)

typedef struct AlertStdAlertParamRec
{
    Boolean movable;
    Boolean helpButton;
    ModalFilterUPP filterProc;  // null: the standard one; no other is called
    ConstStringPtr defaultText; // Pascal strings; null: no such button, -1: the standard text
    ConstStringPtr cancelText;
    ConstStringPtr otherText;
    SInt16 defaultButton; // the item that Return and Enter press; 0 none
    SInt16 cancelButton;  // the item that Escape presses; 0 none
    UInt16 position;
} AlertStdAlertParamRec;

#pragma pack(pop)

__BEGIN_DECLS

/// Shows an alert with a bold message above a smaller explanation (Pascal strings) and runs until a
/// button is chosen.
///   param    null: one button with the standard text, bound to Return
///   itemHit  [out]  the item chosen
///   returns  noErr; an error when nothing could be shown, *itemHit untouched then
OSErr StandardAlert(AlertType type, ConstStr255Param message, ConstStr255Param explanation,
                    const AlertStdAlertParamRec* param, SInt16* itemHit) VL_SYMBOL(StandardAlert);

__END_DECLS
