// SPDX-License-Identifier: MIT
// EventLoops_qt.cpp - modal loops (a nested event loop for each window) and timers.
// Loops of different windows may nest.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Windows_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QEventLoop>
#include <QtCore/QScopeGuard>
#include <QtCore/QTimer>
#include <QtWidgets/QApplication>

#include <algorithm>
#include <limits>

static unsigned sRuns = 0;

unsigned Windows_CountModalLoops() { return sRuns; }

OSStatus RunAppModalLoopForWindow(WindowRef ref)
try {
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    if (!window->IsVisible())
        return windowWrongStateErr;
    if (window->loop)
        return windowAppModalStateAlreadyExistsErr;
    if (!std::exchange(window->quit, false)) { // a plain quit before the loop would be lost
        QEventLoop loop;
        const auto end = qScopeGuard([&window] {
            window->loop = nullptr;
            window->quit = false;
        });
        window->loop = &loop;
        // Input that came while the window was being shown has been held back and waits for a wake-up.
        QAbstractEventDispatcher::instance()->wakeUp();
        loop.exec();
    }
    ++sRuns;
    return noErr;
} catch (...) {
    return memFullErr;
}

OSStatus QuitAppModalLoopForWindow(WindowRef ref)
{
    const WindowPtr window = Windows_Find(ref);
    if (!window)
        return errInvalidWindowRef;
    window->quit = true;
    if (!window->loop)
        return windowNoAppModalStateErr;
    window->loop->quit();
    return noErr;
}

EventLoopRef GetMainEventLoop()
{
    static char loop; // there is one, Qt's
    return reinterpret_cast<EventLoopRef>(&loop);
}

EventLoopTimerUPP NewEventLoopTimerUPP(EventLoopTimerProcPtr routine) { return routine; }

OSStatus InstallEventLoopTimer(EventLoopRef loop,
                               EventTimerInterval delay,
                               EventTimerInterval interval,
                               EventLoopTimerUPP routine,
                               void* userData,
                               EventLoopTimerRef* timer)
try {
    if (loop != GetMainEventLoop() || interval != 0 || !routine || timer)
        return paramErr;
    if (!Application_IsReady())
        return windowWrongStateErr;
    constexpr double kMost = std::numeric_limits<int>::max();
    QTimer::singleShot(static_cast<int>(std::clamp(delay * 1000, 0.0, kMost)), qApp,
                       [routine, userData] { routine(nullptr, userData); });
    return noErr;
} catch (...) {
    return memFullErr;
}
