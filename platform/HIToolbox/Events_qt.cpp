// SPDX-License-Identifier: MIT
// Events_qt.cpp - events, targets, handlers and dispatch.
// A handler may remove others or dispose the window: dispatch holds the one that it calls, which holds the older ones.
#include "HIToolbox/Windows_qt.h"

#include <CoreServices/MacErrors.h>

#include <algorithm>
#include <cstring>

namespace {

bool Wants(const OpaqueEventHandlerRef& handler, const OpaqueEventRef& event)
{
    return std::ranges::any_of(handler.types, [&](const EventTypeSpec& type) {
        return type.eventClass == event.eventClass && type.eventKind == event.eventKind;
    });
}

} // namespace

void OpaqueEventTargetRef::RemoveAll()
{
    for (auto* handler = newest.get(); handler; handler = handler->older.get())
        handler->live = false;
    newest = nullptr;
}

OSStatus OpaqueEventTargetRef::Send(OpaqueEventRef event) const
{
    const bool isNews = event.eventClass == kEventClassWindow
        && event.eventKind != kEventWindowClose; // which asks instead of telling
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
            if (!isNews)
                break;
        }
    }
    return result;
}

UInt32 GetEventClass(EventRef event) { return event ? event->eventClass : 0; }

UInt32 GetEventKind(EventRef event) { return event ? event->eventKind : 0; }

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

EventHandlerUPP NewEventHandlerUPP(EventHandlerProcPtr routine) { return routine; }

OSStatus InstallEventHandler(EventTargetRef target,
                             EventHandlerUPP routine,
                             UInt32 count,
                             const EventTypeSpec* types,
                             void* userData,
                             EventHandlerRef* handler)
try {
    const bool isTarget = std::ranges::any_of(
        Windows_All(), [target](const WindowPtr& window) { return &window->target == target; });
    if (!isTarget || !routine || (!types && count))
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
    for (const WindowPtr& window : Windows_All()) {
        for (auto* link = &window->target.newest; *link; link = &(*link)->older) {
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
