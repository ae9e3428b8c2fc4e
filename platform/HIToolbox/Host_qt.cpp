// SPDX-License-Identifier: MIT
// Host_qt.cpp - the C functions through which a host in any language opens the module and shows its box.
#include "HIToolbox/Application_qt.h"
#include "HIToolbox/Windows_qt.h"
#include "support/BundleAt.h"

#include <Carbon/IBCarbonRuntime.h>
#include <veltrano/Host.h>

#include <QtWidgets/QApplication>

#include <algorithm>
#include <dlfcn.h>
#include <list>
#include <new>
#include <string>

struct OpaqueVeltranoModule
{
    Ref<CFBundleRef> bundle;
    const EntryPoint* table;
    int users
        = 1; // calls of VeltranoOpenModule, and boxes that are up; the last one unloads the module
};

namespace {

// The loaded ones, each once. Never freed: a host may leave modules to the end of the process.
std::list<OpaqueVeltranoModule>& Modules()
{
    static auto* modules = new std::list<OpaqueVeltranoModule>;
    return *modules;
}

// The module that was built or installed with this library.
Ref<CFBundleRef> CreateInstalledBundle()
{
    static const char* const kPlaces[] = VELTRANO_MODULE_PLACES; // from this library's folder
    Dl_info library = {};
    if (dladdr(reinterpret_cast<void*>(&VeltranoOpenModule), &library) == 0)
        return nullptr;
    const std::string file = library.dli_fname;
    const std::string folder = file.substr(0, file.rfind('/') + 1);
    for (const char* place : kPlaces) {
        if (auto bundle = BundleAt(folder + place))
            return bundle;
    }
    return nullptr;
}

void Release(OpaqueVeltranoModule* module)
{
    if (--module->users == 0) {
        CFBundleUnloadExecutable(module->bundle.get());
        Modules().remove_if(
            [module](const OpaqueVeltranoModule& known) { return &known == module; });
    }
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
    auto bundle = path ? BundleAt(path) : CreateInstalledBundle();
    const auto known = std::ranges::find(Modules(), bundle, &OpaqueVeltranoModule::bundle);
    if (known != Modules().end()) {
        ++known->users;
        return &*known;
    }
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(bundle.get(), CFSTR("GetEntryTable")));
    return get ? &Modules().emplace_back(OpaqueVeltranoModule { std::move(bundle), get() })
               : nullptr;
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
    if (const int obstacle = FindObstacle(module->bundle.get(), window))
        return obstacle;
    ProductRecord product = { { 0, 0 }, versionText };
    const auto show = reinterpret_cast<ShowAboutBoxEntry>(module->table[kEntryShowAboutBox]);
    const unsigned loopsBefore = Windows_CountModalLoops(); // the entry's result is 1 in any case
    ++module->users;
    try {
        const auto host = hostBundlePath ? BundleAt(hostBundlePath) : nullptr;
        const CFBundleRef bundle = hostBundlePath ? host.get() : CFBundleGetMainBundle();
        show(window, bundle, pictureId, &product, text, lightStyle);
    } catch (const std::bad_alloc&) { // before the box was up; no exception may reach a host in C
    }
    Release(module);
    return Windows_CountModalLoops() != loopsBefore ? kVeltranoShown : kVeltranoNoWindow;
}

const char* VeltranoResultText(int result)
{
    static const char* const kTexts[] = {
        "The About box was shown.",
        "The module is not loaded.",
        "There is no display on which a window can be shown.",
        "The process has an application object other than a QApplication of this thread.",
        "The host's window is invalid, or the box's window could not be created.",
        "The module's bundle has no readable interface file.",
    };
    return result >= 0 && result < std::ssize(kTexts) ? kTexts[result] : "Unknown result.";
}
