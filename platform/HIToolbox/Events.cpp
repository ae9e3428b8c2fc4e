// SPDX-License-Identifier: MIT
// Events.cpp - events, their targets and handlers, and the way an event takes.
// An event is offered over a copy of the handlers, and each is asked again whether it still lives,
// because a handler may remove others or end the very window whose event it is.
#include "HIToolbox/Events.h"

#include <CoreServices/MacErrors.h>

#include <algorithm>
#include <cstring>

namespace {

// Never freed: targets may end while the process does.
std::vector<OpaqueEventTargetRef*>& Targets()
{
    static auto* targets = new std::vector<OpaqueEventTargetRef*>;
    return *targets;
}

bool IsTarget(EventTargetRef target)
{
    return std::find(Targets().begin(), Targets().end(), target) != Targets().end();
}

// News about a window: every handler hears it, whatever the others answer.
bool IsNotification(const OpaqueEventRef& event)
{
    if (event.eventClass != kEventClassWindow) {
        return false;
    }
    switch (event.eventKind) {
    case kEventWindowShowing:
    case kEventWindowHiding:
    case kEventWindowShown:
    case kEventWindowHidden:
    case kEventWindowClosed:
    case kEventWindowDispose:
        return true;
    default:
        return false;
    }
}

bool Wants(const OpaqueEventHandlerRef& handler, const OpaqueEventRef& event)
{
    return std::any_of(handler.types.begin(), handler.types.end(), [&](const EventTypeSpec& type) {
        return type.eventClass == event.eventClass && type.eventKind == event.eventKind;
    });
}

} // namespace

void OpaqueEventRef::Set(EventParamName name,
                         EventParamType type,
                         const void* data,
                         std::size_t size)
{
    const auto* bytes = static_cast<const std::byte*>(data);
    for (Parameter& parameter : parameters) {
        if (parameter.name == name) {
            parameter.type = type;
            parameter.bytes.assign(bytes, bytes + size);
            return;
        }
    }
    parameters.push_back({ name, type, { bytes, bytes + size } });
}

OpaqueEventTargetRef::OpaqueEventTargetRef(OpaqueEventTargetRef* behind)
    : next(behind)
{
    Targets().push_back(this);
}

OpaqueEventTargetRef::~OpaqueEventTargetRef()
{
    RemoveAll();
    Targets().erase(std::find(Targets().begin(), Targets().end(), this));
}

void OpaqueEventTargetRef::RemoveAll()
{
    for (const auto& handler : handlers) {
        handler->live = false;
    }
    handlers.clear();
}

UInt32 GetEventClass(EventRef event)
{
    return event ? event->eventClass : 0;
}

UInt32 GetEventKind(EventRef event)
{
    return event ? event->eventKind : 0;
}

OSStatus GetEventParameter(EventRef event,
                           EventParamName name,
                           EventParamType type,
                           EventParamType* actualType,
                           UInt32 size,
                           UInt32* actualSize,
                           void* data)
{
    if (!event) {
        return paramErr;
    }
    for (const OpaqueEventRef::Parameter& parameter : event->parameters) {
        if (parameter.name != name || parameter.type != type) {
            continue;
        }
        if (actualType) {
            *actualType = parameter.type;
        }
        if (actualSize) {
            *actualSize = static_cast<UInt32>(parameter.bytes.size());
        }
        if (data) {
            std::memcpy(data, parameter.bytes.data(),
                        std::min<std::size_t>(size, parameter.bytes.size()));
        }
        return noErr;
    }
    return eventParameterNotFoundErr;
}

OSStatus CreateEvent(CFAllocatorRef,
                     UInt32 eventClass,
                     UInt32 eventKind,
                     EventTime,
                     EventAttributes,
                     EventRef* event)
{
    if (!event) {
        return paramErr;
    }
    *event = new OpaqueEventRef { eventClass, eventKind, {} };
    return noErr;
}

OSStatus SetEventParameter(
    EventRef event, EventParamName name, EventParamType type, UInt32 size, const void* data)
{
    if (!event || (!data && size)) {
        return paramErr;
    }
    event->Set(name, type, data, size);
    return noErr;
}

void ReleaseEvent(EventRef event)
{
    delete event;
}

EventTargetRef GetApplicationEventTarget()
{
    static auto* application = new OpaqueEventTargetRef(nullptr); // lives as long as the process
    return application;
}

OSStatus SendEventToEventTarget(EventRef event, EventTargetRef target)
{
    if (!event || !IsTarget(target)) {
        return paramErr;
    }
    struct Step
    {
        std::shared_ptr<OpaqueEventHandlerRef> handler;
        const OpaqueEventTargetRef* target; // compared, never looked into: it may have ended
    };
    std::vector<Step> steps;
    const bool climbs = event->eventClass == kEventClassCommand;
    for (OpaqueEventTargetRef* at = target; at; at = climbs ? at->next : nullptr) {
        for (auto handler = at->handlers.rbegin(); handler != at->handlers.rend(); ++handler) {
            if (Wants(**handler, *event)) {
                steps.push_back({ *handler, at });
            }
        }
    }

    const bool everyone = IsNotification(*event);
    const OpaqueEventTargetRef* skipped = nullptr;
    OSStatus result = eventNotHandledErr;
    for (const Step& step : steps) {
        if (!step.handler->live || step.target == skipped) {
            continue;
        }
        const OSStatus answer = step.handler->routine(nullptr, event, step.handler->userData);
        if (answer == eventPassToNextTargetErr) {
            skipped = step.target;
        } else if (answer != eventNotHandledErr) {
            result = answer;
            if (!everyone) {
                break;
            }
        }
    }
    return result;
}

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine)
{
    return routine;
}

void DisposeEventHandlerUPP(EventHandlerUPP)
{
    // A plain function pointer.
}

OSStatus InstallEventHandler(EventTargetRef target,
                             EventHandlerUPP routine,
                             UInt32 count,
                             const EventTypeSpec* types,
                             void* userData,
                             EventHandlerRef* handler)
{
    if (!IsTarget(target) || !routine || (!types && count)) {
        return paramErr;
    }
    for (const auto& other : target->handlers) {
        if (other->routine == routine && other->userData == userData) {
            return eventHandlerAlreadyInstalledErr;
        }
    }
    target->handlers.push_back(std::make_shared<OpaqueEventHandlerRef>(
        OpaqueEventHandlerRef { routine, userData, { types, types + count } }));
    if (handler) {
        *handler = target->handlers.back().get();
    }
    return noErr;
}

OSStatus RemoveEventHandler(EventHandlerRef handler)
{
    for (OpaqueEventTargetRef* target : Targets()) {
        auto& handlers = target->handlers;
        const auto found = std::find_if(handlers.begin(), handlers.end(),
                                        [&](const auto& other) { return other.get() == handler; });
        if (found != handlers.end()) {
            (*found)->live = false;
            handlers.erase(found);
            return noErr;
        }
    }
    return paramErr;
}
