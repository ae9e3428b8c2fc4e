// SPDX-License-Identifier: MIT
// ModuleProbe.cpp - an image that holds the support code and exports its module environment.

#include "tests/System/ModuleProbe.h"

extern "C" __attribute__((visibility("default"))) const ModuleProbe* GetModuleProbe();

extern "C" const ModuleProbe* GetModuleProbe()
{
    static const ModuleProbe probe;
    return &probe;
}
