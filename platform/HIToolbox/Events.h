// SPDX-License-Identifier: MIT
// Events.h - the objects behind EventRef, EventTargetRef and EventHandlerRef.
#pragma once

#include <Carbon/CarbonEvents.h>

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

/// An event with its direct object, the only parameter that events have here. Sending one allocates nothing.
struct OpaqueEventRef
{
    UInt32 eventClass;
    UInt32 eventKind;
    EventParamType type; // of the direct object
    std::span<const std::byte> directObject; // borrowed
};

struct OpaqueEventHandlerRef
{
    EventHandlerUPP routine = nullptr;
    void* userData = nullptr;
    std::vector<EventTypeSpec> types;
    bool live = true; // false once it is removed or its target has ended: never called again
    std::shared_ptr<OpaqueEventHandlerRef> older; // the next one in its target's list
};

/// A window's list of handlers, a part of the window.
struct OpaqueEventTargetRef
{
    std::shared_ptr<OpaqueEventHandlerRef> newest;
    // For the first handler, which needs no memory then.
    std::shared_ptr<OpaqueEventHandlerRef> spare = std::make_shared<OpaqueEventHandlerRef>();

    OpaqueEventTargetRef() { spare->types.reserve(8); }
    OpaqueEventTargetRef(const OpaqueEventTargetRef&) = delete;
    OpaqueEventTargetRef& operator=(const OpaqueEventTargetRef&) = delete;

    void RemoveAll(); // no handler is called again
    /// Offers an event to the handlers. Returns the last result; eventNotHandledErr if no handler took it.
    OSStatus Send(OpaqueEventRef event) const;
};
