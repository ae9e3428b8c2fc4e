// SPDX-License-Identifier: MIT
// ToolboxDouble.h - a toolbox that shows nothing and writes down every call that the box and the
// alerts make, in order. Its routines stand in for the platform's in the test program.
#pragma once

#include <Carbon/Carbon.h>

#include <functional>
#include <string>
#include <vector>

struct ToolboxDouble
{
    std::vector<std::string> calls;

    // What the routines answer.
    OSStatus nibResult = noErr;
    bool hasWindow = true;
    bool hasPicture = true;
    Rect parentBounds = { 100, 200, 500, 800 };
    Rect boxBounds = { 0, 0, 280, 444 };
    Size fontDataSize = sizeof(ControlFontStyleRec);
    ControlFontStyleRec fontStyle = {};
    OSStatus alertResult = noErr;
    SInt16 alertItem = 0; // 0: left as the caller preset it

    // What the caller handed over.
    AlertStdAlertParamRec alertParam = {};
    EventHandlerUPP handler = nullptr;
    void* handlerData = nullptr;

    /// Runs in place of the user; by default the command 'clos' comes.
    std::function<void()> modalLoop;

    /// Sends an event to the installed handler and returns its answer.
    OSStatus Send(UInt32 eventClass, UInt32 eventKind, UInt32 command = 0);

    std::string Transcript() const;
};

/// The one that the routines use; a test makes a fresh one.
extern ToolboxDouble gToolbox;

/// The window that the box is to be shown over.
WindowRef ParentWindow();
