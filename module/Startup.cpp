// SPDX-License-Identifier: MIT
// Startup.cpp - what the module does by itself when it is loaded, top to bottom, and unloaded,
// bottom to top. The only dynamic initialisers of the product stand here, so this list is the
// order.
#include "System/vlModule.h"
#include "System/vlModuleLog.h"

#include <ios>

namespace {

struct ModuleEnvironment
{
    ModuleEnvironment() { Veltrano::StartModuleEnvironment(); }
    ~ModuleEnvironment() { Veltrano::ReleaseModuleStrings(); }
};

struct BundleCache
{
    BundleCache() { } // none until it is asked for
    ~BundleCache() { Veltrano::ReleaseModuleBundle(); }
};

struct LoadLog
{
    LoadLog() { } // closed
    ~LoadLog() { Veltrano::ModuleLog::close(); }
};

const std::ios_base::Init sStreamLibrary;
const ModuleEnvironment sModuleEnvironment;
const BundleCache sBundleCache;
const LoadLog sLoadLog;

} // namespace
