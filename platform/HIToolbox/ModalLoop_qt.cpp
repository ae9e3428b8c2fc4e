// SPDX-License-Identifier: MIT
// ModalLoop_qt.cpp - modal loops: a nested event loop a window, which may nest on different
// windows.
#include "HIToolbox/ModalLoop_qt.h"

#include "HIToolbox/Windows_qt.h"

#include <CoreServices/MacErrors.h>

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QEventLoop>
#include <QtGui/QWindow>
#include <QtWidgets/QApplication>

#include <algorithm>

namespace {

class ModalLoop;

unsigned sRuns = 0;

// Innermost last. Only the innermost window takes input.
std::vector<ModalLoop*>& Running()
{
    static auto* running = new std::vector<ModalLoop*>;
    return *running;
}

bool IsInput(QEvent::Type type)
{
    switch (type) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::Wheel:
    case QEvent::NativeGesture:
    case QEvent::TouchBegin:
    case QEvent::TouchUpdate:
    case QEvent::TouchEnd:
    case QEvent::TabletPress:
    case QEvent::TabletMove:
    case QEvent::TabletRelease:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
    case QEvent::Close:
        return true;
    default:
        return false;
    }
}

/// One run. While it is the innermost it keeps input from the process's other Qt windows; Qt itself
/// knows modality only as what a window was shown with.
class ModalLoop : public QObject
{
public:
    explicit ModalLoop(WindowPtr window)
        : m_window(std::move(window))
    {
        for (QWindow* open : QGuiApplication::topLevelWindows()) {
            if (open->modality() != Qt::NonModal && open->isVisible())
                m_modalBefore.append(open);
        }
        qApp->installEventFilter(this);
        QObject::connect(qApp, &QGuiApplication::focusWindowChanged, this, [this](QWindow* focus) {
            if (focus && Blocks(focus)) { // a click on a blocked window may still have activated it
                QMetaObject::invokeMethod(
                    this, [this] { m_window->Activate(); }, Qt::QueuedConnection);
            }
        });
        Running().push_back(this);
        m_window->loop = &m_loop; // from here on nothing throws
        Windows_UpdateBlocked();
    }
    ~ModalLoop() override
    {
        m_window->loop = nullptr;
        Running().erase(std::find(Running().begin(), Running().end(), this));
        Windows_UpdateBlocked();
    }

    void Run()
    {
        // Input that came while the window was being shown has been held back and waits for a
        // wake-up.
        QAbstractEventDispatcher::instance()->wakeUp();
        m_loop.exec();
    }

protected:
    bool eventFilter(QObject* object, QEvent* event) override
    {
        if (!object->isWindowType() || !IsInput(event->type())
            || !Blocks(static_cast<const QWindow*>(object))) {
            return false;
        }
        event->ignore(); // who asks a window to close is told that it stays
        return true;
    }

private:
    // The host may open a modal window of its own above ours, from a timer say: Qt then sees to the
    // rest. A loop that was told to end blocks nothing: an application's quit closes the next window.
    bool Blocks(const QWindow* window) const
    {
        const bool modalSince = window->modality() != Qt::NonModal
            && std::find(m_modalBefore.begin(), m_modalBefore.end(), window) == m_modalBefore.end();
        return Running().back() == this && !m_window->quit && window->type() != Qt::Popup
            && !modalSince && !m_window->Owns(window);
    }

    WindowPtr m_window;
    QEventLoop m_loop;
    QList<QPointer<QWindow>> m_modalBefore;
};

} // namespace

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
        ModalLoop(window).Run();
        window->quit = false;
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
