// SPDX-License-Identifier: MIT
// Events.h - the objects behind EventRef, EventTargetRef and EventHandlerRef.
#pragma once

#include <Carbon/CarbonEvents.h>

#include <cstddef>
#include <memory>
#include <vector>

/// An event with its direct object, the only parameter that events have here.
struct OpaqueEventRef
{
    UInt32 eventClass;
    UInt32 eventKind;
    EventParamType type; // of the direct object
    std::vector<std::byte> directObject;

    template <class T>
    OpaqueEventRef(UInt32 ofClass, UInt32 kind, EventParamType objectType, const T& object)
        : eventClass(ofClass)
        , eventKind(kind)
        , type(objectType)
        , directObject(reinterpret_cast<const std::byte*>(&object),
                       reinterpret_cast<const std::byte*>(&object) + sizeof object)
    {
    }
};

struct OpaqueEventHandlerRef
{
    EventHandlerUPP routine;
    void* userData;
    std::vector<EventTypeSpec> types;
    bool live = true; // false once it is removed or its target has ended: never called again
};

/// A window's list of handlers, owned by the window.
struct OpaqueEventTargetRef
{
    std::vector<std::shared_ptr<OpaqueEventHandlerRef>> handlers; // oldest first

    OpaqueEventTargetRef();
    ~OpaqueEventTargetRef();
    OpaqueEventTargetRef(const OpaqueEventTargetRef&) = delete;
    OpaqueEventTargetRef& operator=(const OpaqueEventTargetRef&) = delete;

    void RemoveAll(); // no handler is called again
    /// Offers an event to the handlers, newest first, until one returns anything but eventNotHandledErr.
    /// News about a window reaches every handler. Returns the last result, eventNotHandledErr if nobody
    /// took it.
    OSStatus Send(OpaqueEventRef& event) const;
};
