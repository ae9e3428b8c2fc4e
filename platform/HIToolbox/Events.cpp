// SPDX-License-Identifier: MIT
// Events.cpp - events, targets, handlers and dispatch.
// Dispatch holds the list of handlers and rechecks that each is still installed, because a handler may remove others
// or dispose the window.
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

// True for an event that tells what has happened; a close request asks instead.
bool IsNews(const OpaqueEventRef& event)
{
    return event.eventClass == kEventClassWindow && event.eventKind != kEventWindowClose;
}

bool Wants(const OpaqueEventHandlerRef& handler, const OpaqueEventRef& event)
{
    return std::any_of(handler.types.begin(), handler.types.end(), [&](const EventTypeSpec& type) {
        return type.eventClass == event.eventClass && type.eventKind == event.eventKind;
    });
}

} // namespace

OpaqueEventTargetRef::OpaqueEventTargetRef()
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
    if (!handlers)
        return;
    for (const auto& handler : *handlers)
        handler->live = false;
}

OSStatus OpaqueEventTargetRef::Send(OpaqueEventRef event) const
{
    const bool toAll = IsNews(event);
    const auto held = handlers; // `this` may be gone after the first call
    OSStatus result = eventNotHandledErr;
    if (!held)
        return result;
    for (auto handler = held->rbegin(); handler != held->rend(); ++handler) {
        if (!(*handler)->live || !Wants(**handler, event))
            continue;
        const OSStatus answer = (*handler)->routine(nullptr, &event, (*handler)->userData);
        if (answer == eventPassToNextTargetErr)
            break;
        if (answer != eventNotHandledErr) {
            result = answer;
            if (!toAll)
                break;
        }
    }
    return result;
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
    if (!event)
        return paramErr;
    if (name != kEventParamDirectObject || type != event->type)
        return eventParameterNotFoundErr;
    if (actualType)
        *actualType = type;
    if (actualSize)
        *actualSize = static_cast<UInt32>(event->directObject.size());
    if (data) {
        std::memcpy(data, event->directObject.data(),
                    std::min<std::size_t>(size, event->directObject.size()));
    }
    return noErr;
}

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine)
{
    return routine;
}

OSStatus InstallEventHandler(EventTargetRef target,
                             EventHandlerUPP routine,
                             UInt32 count,
                             const EventTypeSpec* types,
                             void* userData,
                             EventHandlerRef* handler)
try {
    if (!IsTarget(target) || !routine || (!types && count))
        return paramErr;
    auto handlers = std::make_shared<OpaqueEventTargetRef::Handlers>();
    if (target->handlers)
        for (const auto& other : *target->handlers) {
            if (other->live && other->routine == routine && other->userData == userData)
                return eventHandlerAlreadyInstalledErr;
            if (other->live)
                handlers->push_back(other);
        }
    handlers->push_back(std::make_shared<OpaqueEventHandlerRef>(
        OpaqueEventHandlerRef { routine, userData, { types, types + count } }));
    if (handler)
        *handler = handlers->back().get();
    target->handlers = std::move(handlers);
    return noErr;
} catch (...) {
    return memFullErr;
}

OSStatus RemoveEventHandler(EventHandlerRef handler)
{
    for (const OpaqueEventTargetRef* target : Targets()) {
        if (!target->handlers)
            continue;
        for (const auto& other : *target->handlers) {
            if (other.get() == handler && other->live) {
                other->live = false;
                return noErr;
            }
        }
    }
    return paramErr;
}
