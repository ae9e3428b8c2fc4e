// SPDX-License-Identifier: MIT
// ModalLoop_qt.cpp - modal loops: a nested event loop for each window. Loops of different windows may nest.
#include "HIToolbox/ModalLoop_qt.h"

#include "HIToolbox/Windows_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QEventLoop>
#include <QtCore/QScopeGuard>

static unsigned sRuns = 0;

unsigned ModalLoop_CountRuns()
{
    return sRuns;
}

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
