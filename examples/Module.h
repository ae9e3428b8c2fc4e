/* SPDX-License-Identifier: MIT */
/* Module.h - loading the module, showing its box and unloading it from a host in C. */
#pragma once

#include "module/EntryTable.h"

#include <veltrano/HostWindow.h>

#include <stdio.h>
#include <string.h>

/* The bundle at a path; null when there is none. One reference. */
static inline CFBundleRef OpenBundle(const char* path)
{
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, (const UInt8*)path,
                                                           (CFIndex)strlen(path), 1);
    CFBundleRef bundle = url != NULL ? CFBundleCreate(kCFAllocatorDefault, url) : NULL;
    if (url != NULL)
        CFRelease(url);
    return bundle;
}

/* The module's table; null with a line on standard error when it cannot be loaded. */
static inline const EntryPoint* LoadModule(CFBundleRef module)
{
    GetEntryTableProc get = NULL;
    void* symbol
        = module != NULL ? CFBundleGetFunctionPointerForName(module, CFSTR("GetEntryTable")) : NULL;
    memcpy(&get, &symbol, sizeof get); /* ISO C has no cast for it */
    if (get == NULL)
        fprintf(stderr, "cannot load the module\n");
    return get != NULL ? get() : NULL;
}

/* Unloads the module and gives its bundle back; null is fine. */
static inline void UnloadModule(CFBundleRef module)
{
    if (module == NULL)
        return;
    CFBundleUnloadExecutable(module);
    CFRelease(module);
}

static inline int IsModuleMapped(void)
{
    char line[4096];
    int found = 0;
    FILE* maps = fopen("/proc/self/maps", "r");
    while (maps != NULL && fgets(line, sizeof line, maps) != NULL)
        found |= strstr(line, "/Contents/MacOS/Veltrano\n") != NULL;
    if (maps != NULL)
        fclose(maps);
    return found;
}

/* Presses the button of the box that is up, as a click would; for a run without a user. */
static inline void PressButton(EventLoopTimerRef timer, void* isPressed)
{
    const ControlID buttonID = { 0x6275746E, 0 }; /* 'butn' */
    ControlRef button = NULL;
    (void)timer;
    if (GetControlByID(FrontNonFloatingWindow(), &buttonID, &button) == noErr)
        *(int*)isPressed = HIViewSimulateClick(button, kControlButtonPart, 0, NULL) == noErr;
}

/* Loads the module, shows the box over a native window, unloads; an exit code. `seconds` not 0: nobody is waited for. */
static inline int
ShowAbout(const char* path, unsigned long window, const char* text, double seconds)
{
    static ProductRecord product = { { 0, 0 }, "Example Host 3.2 (build 88)" };
    CFBundleRef module = OpenBundle(path);
    const EntryPoint* table = LoadModule(module);
    int isPressed = seconds <= 0;
    int result = 0;
    if (table != NULL) {
        ShowAboutBoxEntry show = (ShowAboutBoxEntry)table[kEntryShowAboutBox];
        WindowRef parent = CreateWindowRefWithX11Window(window);
        if (seconds > 0)
            InstallEventLoopTimer(GetMainEventLoop(), seconds, 0, NewEventLoopTimerUPP(PressButton),
                                  &isPressed, NULL);
        result = show(parent, CFBundleGetMainBundle(), 128, &product, text, 0);
        DisposeWindow(parent);
        printf("ShowAboutBox returned %d\n", result);
    }
    UnloadModule(module);
    if (IsModuleMapped())
        fprintf(stderr, "the module is still in the process\n");
    return result == 1 && isPressed && !IsModuleMapped() ? 0 : 1;
}
