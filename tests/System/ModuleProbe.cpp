// SPDX-License-Identifier: MIT
// ModuleProbe.cpp - an image that holds the support code and exports its module environment.

#include "tests/System/ModuleProbe.h"

using namespace Veltrano;

extern "C" __attribute__((visibility("default"))) const ModuleProbe* GetModuleProbe();

extern "C" const ModuleProbe* GetModuleProbe()
{
    static const ModuleProbe probe = {
        StartModuleEnvironment, ReleaseModuleBundle,  ReleaseModuleStrings, ModuleInit,
        ModuleInitWithPath,     LocateModuleImage,    GetModuleBundle,      GetModuleParentFolder,
        GetModuleBundleName,    GetMakerFolderPath,   GetProductFolderPath, GetFolderPath,
        GetFolderPathWith,      GetSupportFolderPath, GetModuleIntPref,     SetModuleIntPref,
        GetModuleStringPref,    SetModuleStringPref,  GetModulePath,        GetModuleProductName,
        GetModuleComponentName, GetModuleIdentifier,  GetModuleFolder
    };
    return &probe;
}
