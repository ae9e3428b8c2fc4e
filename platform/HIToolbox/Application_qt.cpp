// SPDX-License-Identifier: MIT
// Application_qt.cpp - the process's one QApplication: a Qt host's, or one that is made on first use and never deleted.
// Qt ends the process where it cannot start, so everything that it needs is tried out first.
#include "HIToolbox/Application_qt.h"

#include "HIToolbox/OwnWindow_qt.h"
#include "HIToolbox/PictureView_qt.h"

#include <QtCore/QFile>
#include <QtCore/QPluginLoader>
#include <QtCore/QScopeGuard>
#include <QtCore/QThread>
#include <QtGui/QAccessible>
#include <QtWidgets/QAccessibleWidget>
#include <QtWidgets/QApplication>
#include <xcb/xcb.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

// Calls a function and keeps the host's Xlib error handlers. Without Xlib in the process there are none.
template <class Function> void KeepXErrorHandlers(Function function)
{
    using Handler = int (*)();
    using Set = Handler (*)(Handler);
    void* const library = dlopen("libX11.so.6", RTLD_LAZY | RTLD_NOLOAD);
    Set set[2] = {};
    Handler kept[2] = {};
    for (int i = 0; library && i < 2; ++i) {
        const char* name = i == 0 ? "XSetErrorHandler" : "XSetIOErrorHandler";
        set[i] = reinterpret_cast<Set>(dlsym(library, name));
        kept[i] = set[i] ? set[i](nullptr) : nullptr;
    }
    const auto restore = qScopeGuard([&] {
        for (int i = 0; i < 2; ++i) {
            if (set[i])
                set[i](kept[i]);
        }
        if (library)
            dlclose(library);
    });
    function();
}

bool HasXDisplay()
{
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const bool ok = !xcb_connection_has_error(connection);
    xcb_disconnect(connection);
    return ok;
}

// Qt and GLib end a process that runs out of them while they start.
bool HasDescriptors()
{
    constexpr int kNeeded = 16; // a start on X11 takes six at least; the session's buses want more
    int files[kNeeded];
    int n = 0;
    while (n < kNeeded && (files[n] = open("/", O_PATH | O_CLOEXEC)) >= 0)
        ++n;
    const bool isEnough = n == kNeeded;
    while (n > 0)
        close(files[--n]);
    return isEnough;
}

struct Platform
{
    std::string name; // of the back end; empty if none would start
    std::string folder; // of its plug-in
};

// Windows are placed by screen coordinates and over X windows, so other sessions are entered through their X server.
Platform FindPlatform()
{
    const std::string wanted = qEnvironmentVariable("QT_QPA_PLATFORM").toStdString();
    std::string name = wanted.substr(0, wanted.find_first_of(":;"));
    if (name.empty() || name.rfind("wayland", 0) == 0)
        name = "xcb";
    if (name == "xcb" && !HasXDisplay())
        return {};
    QStringList folders = QCoreApplication::libraryPaths();
    for (QString& folder : folders)
        folder += QStringLiteral("/platforms");
    folders.prepend(qEnvironmentVariable("QT_QPA_PLATFORM_PLUGIN_PATH"));
    for (const QString& folder : folders) {
        const QString file
            = folder + QStringLiteral("/libq%1.so").arg(QString::fromStdString(name));
        if (QPluginLoader(file).load())
            return { name == wanted.substr(0, name.size()) ? wanted : name,
                     QFile::encodeName(folder).toStdString() };
    }
    return {};
}

// What a screen reader is told of widgets that are not Qt's own. Names are the accessible names and titles.
QAccessibleInterface* Describe(const QString&, QObject* object)
try {
    if (auto* picture = dynamic_cast<PictureView*>(object))
        return new QAccessibleWidget(picture, QAccessible::Graphic);
    if (auto* window = dynamic_cast<WindowWidget*>(object))
        return new QAccessibleWidget(window, QAccessible::Dialog);
    return nullptr;
} catch (...) { // Qt would lose what it holds
    return nullptr;
}

bool Start()
{
    // An application object on another thread would keep the main thread from showing boxes.
    if (gettid() != getpid() || !HasDescriptors())
        return false;
    static Platform platform; // Qt reads its arguments again later
    platform = FindPlatform();
    if (platform.name.empty())
        return false;
    // The look is fixed and the desktop's theme plug-in stays out: it may bring a second GTK into a GTK host.
    static char* arguments[]
        = { program_invocation_name,     const_cast<char*>("-platform"),
            platform.name.data(),        const_cast<char*>("-platformpluginpath"),
            platform.folder.data(),      const_cast<char*>("-platformtheme"),
            const_cast<char*>("none"),   const_cast<char*>("-style"),
            const_cast<char*>("fusion"), nullptr };
    static int count = static_cast<int>(std::size(arguments)) - 1;

    const char* current = std::setlocale(LC_ALL, nullptr);
    const std::string locale = current ? current : "C";
    const QStringList folders = QCoreApplication::libraryPaths();
    QGuiApplication::setDesktopSettingsAware(false);
    KeepXErrorHandlers([] { new QApplication(count, arguments); });
    // The application object reads the qt.conf beside the program, which may name another Qt's plug-ins.
    for (const QString& folder : folders)
        QCoreApplication::addLibraryPath(folder);
    std::setlocale(LC_ALL, locale.c_str());
    QGuiApplication::setQuitOnLastWindowClosed(false);
    return true;
}

} // namespace

bool Application_IsReady()
try {
    const QCoreApplication* application = QCoreApplication::instance();
    const bool isReady = application ? qobject_cast<const QApplication*>(application)
            && application->thread() == QThread::currentThread()
                                     : Start();
    if (isReady)
        QAccessible::installFactory(Describe); // Qt keeps one entry of each
    return isReady;
} catch (...) {
    return false;
}
