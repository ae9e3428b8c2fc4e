// SPDX-License-Identifier: MIT
// ModuleProbe.h - the module environment inside a loaded image: vlModule.h as a table of functions.
#pragma once

#include "System/vlModule.h"

// clang-format off
#define FOR_EACH_MODULE_ROUTINE(DO)                                                        \
    DO(StartModuleEnvironment) DO(ModuleInit) DO(ModuleInitWithPath) DO(LocateModuleImage) \
    DO(ReleaseModuleBundle) DO(ReleaseModuleStrings) DO(GetModuleBundle)                   \
    DO(GetModuleParentFolder) DO(GetModuleBundleName) DO(GetModuleFolder)                  \
    DO(GetMakerFolderPath) DO(GetProductFolderPath) DO(GetSupportFolderPath)               \
    DO(GetFolderPath) DO(GetFolderPathWith) DO(GetModuleIdentifier) DO(GetModulePath)      \
    DO(GetModuleIntPref) DO(SetModuleIntPref) DO(GetModuleStringPref)                      \
    DO(SetModuleStringPref) DO(GetModuleProductName) DO(GetModuleComponentName)
// clang-format on

struct ModuleProbe
{
#define DECLARE(routine) decltype(&Veltrano::routine) routine = Veltrano::routine;
    FOR_EACH_MODULE_ROUTINE(DECLARE)
#undef DECLARE
};
