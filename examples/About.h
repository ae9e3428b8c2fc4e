/* SPDX-License-Identifier: MIT */
/* About.h - what the example hosts in C share: the About box over an X11 window. */
#pragma once

#include <Carbon/Carbon.h>
#include <veltrano/Host.h>

#include <stdio.h>
#include <stdlib.h>

/* Presses the button of the box that is up, as a click would. */
static inline void PressButton(EventLoopTimerRef timer, void* isPressed)
{
    const ControlID buttonID = { 0x6275746E, 0 }; /* 'butn' */
    ControlRef button = NULL;
    (void)timer;
    if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
        *(int*)isPressed = HIViewSimulateClick(button, kControlButtonPart, 0, NULL) == noErr;
}

/* Loads the module, shows the box over a native window, unloads.
 *   seconds  0: the user closes the box; else its button is pressed after that time
 *   returns  an exit code */
static inline int ShowAbout(const char* bundle, unsigned long window, double seconds)
{
    VeltranoModuleRef module = VeltranoOpenModule(bundle);
    WindowRef parent = CreateWindowRefWithX11Window(window);
    int isPressed = seconds <= 0;
    if (seconds > 0) {
        InstallEventLoopTimer(GetMainEventLoop(), seconds, 0, NewEventLoopTimerUPP(PressButton),
                              &isPressed, NULL);
    }
    const int result = VeltranoShowAboutBox(
        module, parent, NULL, 128, "Example Host 3.2 (build 88)", "Licensed to Ada Example", 0);
    puts(VeltranoResultText(result));
    DisposeWindow(parent);
    VeltranoCloseModule(module);
    return result == kVeltranoShown && isPressed ? 0 : 1;
}
