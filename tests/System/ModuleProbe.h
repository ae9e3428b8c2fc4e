// SPDX-License-Identifier: MIT
// ModuleProbe.h - the module environment inside a loaded image: vlModule.h as a table of functions.
#pragma once

#include "System/vlModule.h"

struct ModuleProbe
{
    decltype(&Veltrano::StartModuleEnvironment) StartModuleEnvironment;
    decltype(&Veltrano::ReleaseModuleBundle) ReleaseModuleBundle;
    decltype(&Veltrano::ReleaseModuleStrings) ReleaseModuleStrings;
    decltype(&Veltrano::ModuleInit) ModuleInit;
    decltype(&Veltrano::ModuleInitWithPath) ModuleInitWithPath;
    decltype(&Veltrano::LocateModuleImage) LocateModuleImage;
    decltype(&Veltrano::GetModuleBundle) GetModuleBundle;
    decltype(&Veltrano::GetModuleParentFolder) GetModuleParentFolder;
    decltype(&Veltrano::GetModuleBundleName) GetModuleBundleName;
    decltype(&Veltrano::GetMakerFolderPath) GetMakerFolderPath;
    decltype(&Veltrano::GetProductFolderPath) GetProductFolderPath;
    decltype(&Veltrano::GetFolderPath) GetFolderPath;
    decltype(&Veltrano::GetFolderPathWith) GetFolderPathWith;
    decltype(&Veltrano::GetSupportFolderPath) GetSupportFolderPath;
    decltype(&Veltrano::GetModuleIntPref) GetModuleIntPref;
    decltype(&Veltrano::SetModuleIntPref) SetModuleIntPref;
    decltype(&Veltrano::GetModuleStringPref) GetModuleStringPref;
    decltype(&Veltrano::SetModuleStringPref) SetModuleStringPref;
    decltype(&Veltrano::GetModulePath) GetModulePath;
    decltype(&Veltrano::GetModuleProductName) GetModuleProductName;
    decltype(&Veltrano::GetModuleComponentName) GetModuleComponentName;
    decltype(&Veltrano::GetModuleIdentifier) GetModuleIdentifier;
    decltype(&Veltrano::GetModuleFolder) GetModuleFolder;
};
