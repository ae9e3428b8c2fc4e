// SPDX-License-Identifier: MIT
// CarbonEvents.h - events, their targets and handlers, modal loops and timers. Main thread only.
#pragma once

#include <Carbon/HIObject.h>
#include <CoreServices/CoreServices.h>

typedef UInt32 EventParamName;
typedef UInt32 EventParamType;
typedef double EventTime;          // seconds since the system started
typedef EventTime EventTimerInterval; // seconds
typedef UInt32 EventAttributes;

typedef struct EventTypeSpec
{
    UInt32 eventClass;
    UInt32 eventKind;
} EventTypeSpec;

enum {
    kEventClassCommand = 0x636D6473, // 'cmds'
    kEventProcessCommand = 1,
    kEventCommandProcess = 1,
    kEventCommandUpdateStatus = 2
};

enum {
    kEventClassWindow = 0x77696E64, // 'wind'
    kEventWindowShowing = 22,
    kEventWindowHiding = 23,
    kEventWindowShown = 24,
    kEventWindowHidden = 25,
    kEventWindowClose = 72, // a request
    kEventWindowClosed = 73,
    kEventWindowDispose = 1005 // the last event of a window
};

enum {
    kEventParamDirectObject = 0x2D2D2D2D, // '----'
    typeHICommand = 0x68636D64,           // 'hcmd'
    typeWindowRef = 0x77696E64            // 'wind'
};

enum {
    kHICommandOK = 0x6F6B2020,     // 'ok  '
    kHICommandCancel = 0x6E6F7421, // 'not!'
    kHICommandQuit = 0x71756974,   // 'quit'
    kHICommandAbout = 0x61626F75,  // 'abou'
    kHICommandClose = 0x636C6F73   // 'clos'
};

enum { kHICommandFromMenu = 1, kHICommandFromControl = 2, kHICommandFromWindow = 4 };

#pragma pack(push, 2)

typedef struct HICommand
{
    UInt32 attributes; // kHICommandFromMenu and its like; 0 unknown
    UInt32 commandID;
    struct
    {
        MenuRef menuRef;
        UInt16 menuItemIndex;
    } menu;
} HICommand; // 14 bytes with 4-byte pointers, 18 with 8-byte ones

typedef struct HICommandExtended
{
    UInt32 attributes;
    UInt32 commandID;
    union
    {
        ControlRef control;
        WindowRef window;
        struct
        {
            MenuRef menuRef;
            UInt16 menuItemIndex;
        } menu;
    } source;
} HICommandExtended;

#pragma pack(pop)

typedef OSStatus (*EventHandlerProcPtr)(EventHandlerCallRef next, EventRef event, void* userData);
typedef EventHandlerProcPtr EventHandlerUPP;
typedef void (*EventLoopTimerProcPtr)(EventLoopTimerRef timer, void* userData);
typedef EventLoopTimerProcPtr EventLoopTimerUPP;

#ifdef __cplusplus
extern "C" {
#endif

UInt32 GetEventClass(EventRef event) VL_SYMBOL(GetEventClass);
UInt32 GetEventKind(EventRef event) VL_SYMBOL(GetEventKind);
/// Copies at most `size` bytes of a parameter. `actualType` and `actualSize` may be null.
///   returns  noErr; eventParameterNotFoundErr, also for another type, nothing being written then
OSStatus GetEventParameter(EventRef event, EventParamName name, EventParamType type,
                           EventParamType* actualType, UInt32 size, UInt32* actualSize, void* data)
    VL_SYMBOL(GetEventParameter);
/// An event of the caller's own, given back with ReleaseEvent; `flags` is 0.
OSStatus CreateEvent(CFAllocatorRef allocator, UInt32 eventClass, UInt32 eventKind, EventTime when,
                     EventAttributes flags, EventRef* event) VL_SYMBOL(CreateEvent);
OSStatus SetEventParameter(EventRef event, EventParamName name, EventParamType type, UInt32 size,
                           const void* data) VL_SYMBOL(SetEventParameter);
void ReleaseEvent(EventRef event) VL_SYMBOL(ReleaseEvent);

/// Borrowed; lives as long as its window or control. Null for what is none.
EventTargetRef GetWindowEventTarget(WindowRef window) VL_SYMBOL(GetWindowEventTarget);
EventTargetRef GetControlEventTarget(ControlRef control) VL_SYMBOL(GetControlEventTarget);
EventTargetRef GetApplicationEventTarget(void) VL_SYMBOL(GetApplicationEventTarget);
/// Offers an event to a target's handlers, newest first, until one returns anything but
/// eventNotHandledErr; then, for a command, to the targets behind it (containers, window, application).
///   returns  the last handler's result; eventNotHandledErr when nobody took it
OSStatus SendEventToEventTarget(EventRef event, EventTargetRef target)
    VL_SYMBOL(SendEventToEventTarget);

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine) VL_SYMBOL(NewEventHandlerUPP);
void DisposeEventHandlerUPP(EventHandlerUPP routine) VL_SYMBOL(DisposeEventHandlerUPP);
/// Adds a handler for `count` event types (copied). `handler` may be null: it then ends with its target.
///   returns  noErr; eventHandlerAlreadyInstalledErr for the same routine and user data; paramErr
OSStatus InstallEventHandler(EventTargetRef target, EventHandlerUPP routine, UInt32 count,
                             const EventTypeSpec* types, void* userData, EventHandlerRef* handler)
    VL_SYMBOL(InstallEventHandler);
/// Legal from inside the handler.
OSStatus RemoveEventHandler(EventHandlerRef handler) VL_SYMBOL(RemoveEventHandler);

/// Runs events with all other windows of the process blocked until QuitAppModalLoopForWindow for the
/// same window (also when that came before the loop).
///   returns  noErr; windowWrongStateErr at once for an invisible window;
///            windowAppModalStateAlreadyExistsErr; errInvalidWindowRef
OSStatus RunAppModalLoopForWindow(WindowRef window) VL_SYMBOL(RunAppModalLoopForWindow);
/// Marks the window's loop for ending and returns at once; neither hides nor disposes.
///   returns  noErr; windowNoAppModalStateErr when it runs none (the next one then ends at once);
///            errInvalidWindowRef
OSStatus QuitAppModalLoopForWindow(WindowRef window) VL_SYMBOL(QuitAppModalLoopForWindow);

EventLoopRef GetMainEventLoop(void) VL_SYMBOL(GetMainEventLoop);
EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerProcPtr routine) VL_SYMBOL(NewEventLoopTimerUPP);
/// Calls a routine after `delay` seconds and then every `interval` seconds (0: once) while events run.
/// `timer` may be null.
OSStatus InstallEventLoopTimer(EventLoopRef loop, EventTimerInterval delay, EventTimerInterval interval,
                               EventLoopTimerUPP routine, void* userData, EventLoopTimerRef* timer)
    VL_SYMBOL(InstallEventLoopTimer);
OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer) VL_SYMBOL(RemoveEventLoopTimer);

#ifdef __cplusplus
}
#endif
