// SPDX-License-Identifier: MIT
// Events.h - what stands behind EventRef, EventTargetRef and EventHandlerRef.
#pragma once

#include <Carbon/CarbonEvents.h>

#include <cstddef>
#include <memory>
#include <vector>

struct OpaqueEventRef
{
    struct Parameter
    {
        EventParamName name;
        EventParamType type;
        std::vector<std::byte> bytes;
    };

    UInt32 eventClass;
    UInt32 eventKind;
    std::vector<Parameter> parameters;

    void Set(EventParamName name, EventParamType type, const void* data, std::size_t size);
};

struct OpaqueEventHandlerRef
{
    EventHandlerUPP routine;
    void* userData;
    std::vector<EventTypeSpec> types;
    bool live = true; // false once it is removed or its target has ended: never called again
};

/// A place that handlers are installed on. The window, the control or the application owns it.
struct OpaqueEventTargetRef
{
    std::vector<std::shared_ptr<OpaqueEventHandlerRef>> handlers; // oldest first
    OpaqueEventTargetRef* next = nullptr; // where a command goes that nobody took here

    explicit OpaqueEventTargetRef(OpaqueEventTargetRef* behind);
    ~OpaqueEventTargetRef();
    void RemoveAll(); // no handler is called again
    OpaqueEventTargetRef(const OpaqueEventTargetRef&) = delete;
    OpaqueEventTargetRef& operator=(const OpaqueEventTargetRef&) = delete;
};
