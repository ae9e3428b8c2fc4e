// SPDX-License-Identifier: MIT
// Host_qt.cpp - the C functions through which a host in any language opens the module and shows its box.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/ModalLoop_qt.h"
#include "HIToolbox/Windows_qt.h"

#include <Carbon/IBCarbonRuntime.h>
#include <veltrano/Host.h>

#include <QtWidgets/QApplication>

#include <cstring>
#include <dlfcn.h>
#include <new>
#include <string>

struct OpaqueVeltranoModule
{
    CFBundleRef bundle; // one reference
    const EntryPoint* table;
    int users; // calls of VeltranoOpenModule, and boxes that are up; the last one unloads the module
    OpaqueVeltranoModule* next;
};

namespace {

OpaqueVeltranoModule* sModules = nullptr; // the loaded ones, each once

CFBundleRef CreateBundle(const char* path)
{
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path),
        static_cast<CFIndex>(std::strlen(path)), true);
    if (url == nullptr)
        return nullptr;
    const CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    return bundle;
}

// The module that was built or installed with this library.
CFBundleRef CreateInstalledBundle()
{
    static const char* const kPlaces[] = VELTRANO_MODULE_PLACES; // from this library's folder
    Dl_info library = {};
    if (dladdr(reinterpret_cast<void*>(&VeltranoOpenModule), &library) == 0)
        return nullptr;
    const std::string file = library.dli_fname;
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    for (const char* place : kPlaces) {
        if (const CFBundleRef bundle = CreateBundle((folder + place).c_str()))
            return bundle;
    }
    return nullptr;
}

void Release(OpaqueVeltranoModule* module)
{
    if (--module->users != 0)
        return;
    OpaqueVeltranoModule** link = &sModules;
    while (*link != module)
        link = &(*link)->next;
    *link = module->next;
    CFBundleUnloadExecutable(module->bundle);
    CFRelease(module->bundle);
    delete module;
}

// What keeps a box of this module from being shown; kVeltranoShown if nothing does.
int FindObstacle(CFBundleRef bundle, WindowRef window)
{
    if (!Application_IsReady())
        return QCoreApplication::instance() ? kVeltranoOtherApplication : kVeltranoNoDisplay;
    if (window && !Windows_Find(window))
        return kVeltranoNoWindow;
    IBNibRef nib = nullptr;
    if (CreateNibReferenceWithCFBundle(bundle, CFSTR("about"), &nib) != noErr)
        return kVeltranoNoInterfaceFile;
    DisposeNibReference(nib);
    return kVeltranoShown;
}

} // namespace

VeltranoModuleRef VeltranoOpenModule(const char* path)
try {
    const CFBundleRef bundle = path ? CreateBundle(path) : CreateInstalledBundle();
    if (!bundle)
        return nullptr;
    for (OpaqueVeltranoModule* module = sModules; module; module = module->next) {
        if (module->bundle == bundle) {
            CFRelease(bundle);
            ++module->users;
            return module;
        }
    }
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(bundle, CFSTR("GetEntryTable")));
    auto* module
        = get ? new (std::nothrow) OpaqueVeltranoModule { bundle, get(), 1, sModules } : nullptr;
    if (!module) {
        CFRelease(bundle);
        return nullptr;
    }
    sModules = module;
    return module;
} catch (...) {
    return nullptr;
}

void VeltranoCloseModule(VeltranoModuleRef module)
{
    if (module)
        Release(module);
}

int VeltranoShowAboutBox(VeltranoModuleRef module,
                         WindowRef window,
                         const char* hostBundlePath,
                         int pictureId,
                         const char* versionText,
                         const char* text,
                         int lightStyle)
{
    if (!module)
        return kVeltranoNoModule;
    if (const int obstacle = FindObstacle(module->bundle, window); obstacle != kVeltranoShown)
        return obstacle;
    const CFBundleRef host
        = hostBundlePath ? CreateBundle(hostBundlePath) : CFBundleGetMainBundle();
    ProductRecord product = { { 0, 0 }, versionText };
    const auto show = reinterpret_cast<ShowAboutBoxEntry>(module->table[kEntryShowAboutBox]);
    const unsigned loopsBefore = ModalLoop_CountRuns(); // the entry's result is 1 in any case
    ++module->users;
    try {
        show(window, host, pictureId, &product, text, lightStyle);
    } catch (const std::bad_alloc&) { // before the box was up; no exception may reach a host in C
    }
    Release(module);
    if (hostBundlePath && host)
        CFRelease(host);
    return ModalLoop_CountRuns() != loopsBefore ? kVeltranoShown : kVeltranoNoWindow;
}

const char* VeltranoResultText(int result)
{
    switch (result) {
    case kVeltranoShown:
        return "The About box was shown.";
    case kVeltranoNoModule:
        return "The module is not loaded.";
    case kVeltranoNoDisplay:
        return "There is no display on which a window can be shown.";
    case kVeltranoOtherApplication:
        return "The process has an application object other than a QApplication of this thread.";
    case kVeltranoNoWindow:
        return "The host's window is invalid, or the box's window could not be created.";
    case kVeltranoNoInterfaceFile:
        return "The module's bundle has no readable interface file.";
    default:
        return "Unknown result.";
    }
}
