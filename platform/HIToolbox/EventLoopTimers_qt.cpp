// SPDX-License-Identifier: MIT
// EventLoopTimers_qt.cpp - timers of the main event loop.
#include "HIToolbox/Application_qt.h"

#include <Carbon/CarbonEvents.h>
#include <CoreServices/MacErrors.h>

#include <QtCore/QTimer>

#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

struct OpaqueEventLoopRef
{
    char unused; // there is one loop, Qt's
};

struct OpaqueEventLoopTimerRef
{
    QTimer* const timer = new QTimer;

    OpaqueEventLoopTimerRef() = default;
    OpaqueEventLoopTimerRef(const OpaqueEventLoopTimerRef&) = delete;
    OpaqueEventLoopTimerRef& operator=(const OpaqueEventLoopTimerRef&) = delete;
    ~OpaqueEventLoopTimerRef()
    {
        timer->stop();
        try {
            timer->deleteLater(); // it may be the one that is firing
        } catch (...) { // it stays, stopped
        }
    }
};

namespace {

std::vector<std::shared_ptr<OpaqueEventLoopTimerRef>>& Timers()
{
    static auto* timers = new std::vector<std::shared_ptr<OpaqueEventLoopTimerRef>>;
    return *timers;
}

int ToMilliseconds(EventTimerInterval seconds)
{
    constexpr double kMost = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(seconds * 1000, 0.0, kMost));
}

} // namespace

EventLoopRef GetMainEventLoop()
{
    static OpaqueEventLoopRef loop;
    return &loop;
}

EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerProcPtr routine)
{
    return routine;
}

OSStatus InstallEventLoopTimer(EventLoopRef loop,
                               EventTimerInterval delay,
                               EventTimerInterval interval,
                               EventLoopTimerUPP routine,
                               void* userData,
                               EventLoopTimerRef* timer)
try {
    if (loop != GetMainEventLoop() || !routine)
        return paramErr;
    if (!Application_IsReady())
        return windowWrongStateErr;
    auto added = std::make_shared<OpaqueEventLoopTimerRef>();
    const auto fire
        = [weak = std::weak_ptr(added), routine, userData, interval, kept = timer != nullptr] {
              const auto held = weak.lock(); // the routine may remove it
              if (!held)
                  return;
              if (interval > 0)
                  held->timer->start(ToMilliseconds(interval));
              else if (!kept)
                  RemoveEventLoopTimer(held.get());
              routine(held.get(), userData);
          };
    QObject::connect(added->timer, &QTimer::timeout, fire);
    added->timer->setSingleShot(true);
    added->timer->start(ToMilliseconds(delay));
    Timers().push_back(added);
    if (timer)
        *timer = added.get();
    return noErr;
} catch (...) {
    return memFullErr;
}

OSStatus RemoveEventLoopTimer(EventLoopTimerRef timer)
{
    auto& timers = Timers();
    const auto found = std::find_if(timers.begin(), timers.end(),
                                    [&](const auto& known) { return known.get() == timer; });
    if (found == timers.end())
        return paramErr;
    timers.erase(found);
    return noErr;
}
