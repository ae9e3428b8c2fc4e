// SPDX-License-Identifier: MIT
// CarbonEvents.h - events, their targets and handlers, modal loops and timers. Main thread only.
#pragma once

#include <Carbon/HIObject.h>
#include <CoreServices/CoreServices.h>

typedef UInt32 EventParamName;
typedef UInt32 EventParamType;
typedef double EventTimerInterval; // seconds

typedef struct EventTypeSpec
{
    UInt32 eventClass;
    UInt32 eventKind;
} EventTypeSpec;

enum {
    kEventClassCommand = 0x636D6473, // 'cmds'
    kEventCommandProcess = 1
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

enum { kHICommandClose = 0x636C6F73 }; // 'clos'

enum { kHICommandFromControl = 2, kHICommandFromWindow = 4 };

#pragma pack(push, 2)

typedef struct HICommand
{
    UInt32 attributes; // kHICommandFromControl and its like; 0 unknown
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

__BEGIN_DECLS

UInt32 GetEventClass(EventRef event) VL_SYMBOL(GetEventClass);
UInt32 GetEventKind(EventRef event) VL_SYMBOL(GetEventKind);
/// Copies at most `size` bytes of a parameter. `actualType` and `actualSize` may be null.
///   returns  noErr; eventParameterNotFoundErr, also for another type, nothing being written then
OSStatus GetEventParameter(EventRef event, EventParamName name, EventParamType type,
                           EventParamType* actualType, UInt32 size, UInt32* actualSize, void* data)
    VL_SYMBOL(GetEventParameter);
/// Owned by its window. Null for an invalid reference.
EventTargetRef GetWindowEventTarget(WindowRef window) VL_SYMBOL(GetWindowEventTarget);

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine) VL_SYMBOL(NewEventHandlerUPP);
/// Adds a handler for `count` event types (copied). `handler` may be null: it then ends with its target. Events
/// are offered to the newest handler first, until one returns anything but eventNotHandledErr; news about a window
/// reaches every handler.
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
/// Calls a routine once, `delay` seconds later, while events run. Repeating and removable timers are not supported.
///   returns  noErr; paramErr also if `interval` is not 0 or `timer` not null; windowWrongStateErr when this process can show no windows
OSStatus InstallEventLoopTimer(EventLoopRef loop, EventTimerInterval delay, EventTimerInterval interval,
                               EventLoopTimerUPP routine, void* userData, EventLoopTimerRef* timer)
    VL_SYMBOL(InstallEventLoopTimer);

__END_DECLS
