// SPDX-License-Identifier: MIT
// KeptLeaks.h - what the leak checker leaves out: references that are kept on purpose.
// Include it in exactly one source of a test program.
#pragma once

extern "C" const char* __lsan_default_suppressions();
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:AddInnerDictionary\n"; // the creation reference of each nested dictionary
}
