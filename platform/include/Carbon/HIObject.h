// SPDX-License-Identifier: MIT
// HIObject.h - the opaque references of windows, controls, menus and events.
#pragma once

typedef struct OpaqueWindowPtr* WindowRef;
typedef struct OpaqueControlRef* ControlRef;
typedef ControlRef HIViewRef;
typedef struct OpaqueMenuRef* MenuRef;
typedef struct OpaqueEventRef* EventRef;
typedef struct OpaqueEventTargetRef* EventTargetRef;
typedef struct OpaqueEventHandlerRef* EventHandlerRef;
typedef struct OpaqueEventHandlerCallRef* EventHandlerCallRef;
typedef struct OpaqueEventLoopRef* EventLoopRef;
typedef struct OpaqueEventLoopTimerRef* EventLoopTimerRef;
typedef struct OpaqueIBNibRef* IBNibRef;
