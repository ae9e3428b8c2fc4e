// SPDX-License-Identifier: MIT
// Events.cpp - events, targets, handlers and dispatch.
// A handler may remove others, install new ones or dispose the window. Dispatch holds the handler that it calls, which
// holds the older ones, and skips those that were removed.
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
    : spare(std::make_shared<OpaqueEventHandlerRef>())
{
    constexpr size_t kUsualTypes = 8;
    spare->types.reserve(kUsualTypes);
    Targets().push_back(this);
}

OpaqueEventTargetRef::~OpaqueEventTargetRef()
{
    RemoveAll();
    Targets().erase(std::find(Targets().begin(), Targets().end(), this));
}

void OpaqueEventTargetRef::RemoveAll()
{
    for (auto* handler = newest.get(); handler; handler = handler->older.get())
        handler->live = false;
    newest = nullptr;
}

OSStatus OpaqueEventTargetRef::Send(OpaqueEventRef event) const
{
    const bool toAll = IsNews(event);
    OSStatus result = eventNotHandledErr;
    for (auto handler = newest; handler;
         handler = handler->older) { // `this` may be gone after the first call
        if (!handler->live || !Wants(*handler, event))
            continue;
        const OSStatus answer = handler->routine(nullptr, &event, handler->userData);
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
    for (const auto* other = target->newest.get(); other; other = other->older.get()) {
        if (other->routine == routine && other->userData == userData)
            return eventHandlerAlreadyInstalledErr;
    }
    auto added = target->spare ? target->spare : std::make_shared<OpaqueEventHandlerRef>();
    added->types.assign(types, types + count);
    target->spare = nullptr;
    added->routine = routine;
    added->userData = userData;
    added->older = std::move(target->newest);
    target->newest = added;
    if (handler)
        *handler = added.get();
    return noErr;
} catch (...) {
    return memFullErr;
}

OSStatus RemoveEventHandler(EventHandlerRef handler)
{
    for (OpaqueEventTargetRef* target : Targets()) {
        for (auto* link = &target->newest; *link; link = &(*link)->older) {
            if (link->get() == handler) {
                handler->live = false;
                *link
                    = std::shared_ptr(handler->older); // its own link stays: dispatch may be at it
                return noErr;
            }
        }
    }
    return paramErr;
}
