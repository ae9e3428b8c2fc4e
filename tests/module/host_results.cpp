// SPDX-License-Identifier: MIT
// host_results.cpp - a host that cannot show a window; exits with whether the library answers so.
//   host_results BUNDLE none|gui|early   with no application object, with a QGuiApplication, or before it may:
//                                        on another thread, and with few descriptors left
#include <Carbon/Carbon.h>
#include <veltrano/Host.h>
#include <veltrano/HostWindow.h>

#include <QtGui/QGuiApplication>

#include <memory>
#include <string>
#include <sys/resource.h>
#include <thread>

int main(int argc, char** argv)
{
    const std::string kind = argv[2];
    const auto application
        = kind == "gui" ? std::make_unique<QGuiApplication>(argc, argv) : nullptr;
    const VeltranoModuleRef module = VeltranoOpenModule(argv[1]);
    const int expected = application ? kVeltranoOtherApplication : kVeltranoNoDisplay;
    bool isGood = module != nullptr;
    const auto show = [&] {
        SInt16 item = 77;
        isGood &= VeltranoShowAboutBox(module, nullptr, nullptr, 128, "x", nullptr, 0) == expected
            && StandardAlert(kAlertNoteAlert, nullptr, nullptr, nullptr, &item) != noErr
            && item == 77 && CreateWindowRefWithX11Window(1) == nullptr;
    };
    if (kind == "early") {
        std::thread(show).join();
        rlimit limit;
        getrlimit(RLIMIT_NOFILE, &limit);
        const rlimit few = { 10, limit.rlim_max };
        setrlimit(RLIMIT_NOFILE, &few);
        show();
        setrlimit(RLIMIT_NOFILE, &limit);
        const auto ignore = [](EventLoopTimerRef, void*) {};
        isGood
            &= InstallEventLoopTimer(GetMainEventLoop(), 1, 0, ignore, nullptr, nullptr) == noErr;
    } else {
        show();
    }
    VeltranoCloseModule(module);
    return isGood ? 0 : 1;
}
