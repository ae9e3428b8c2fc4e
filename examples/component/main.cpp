// SPDX-License-Identifier: MIT
// main.cpp - a component outside of the tree: the support code without the module.
#include <System/vlModule.h>
#include <System/vlModuleLog.h>
#include <System/vlProfileFile.h>

int main()
{
    using namespace Veltrano;
    StartModuleEnvironment();
    ModuleInit("Example", "Part");
    LogPrint("starting %s\n", GetModuleIdentifier().GetString());
    if (SetModuleIntPref("Started", 1, false) != 0)
        return 1;
    return GetModuleIntPref("Started", 0, false) == 1 ? 0 : 2;
}
