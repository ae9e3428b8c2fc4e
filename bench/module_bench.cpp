// SPDX-License-Identifier: MIT
// module_bench.cpp - load, take the table, unload; beside the least module that can be loaded.
#include "bench/Bench.h"

#include <veltrano/EntryTable.h>

#include <dlfcn.h>

using benchmark::DoNotOptimize;

void AddBenchmarks()
{
    // The platform libraries are there already, as in a host: this program links them.
    DoNotOptimize(FrontNonFloatingWindow());
    Add("load, table, unload", "ours", [] {
        void* image = dlopen(VELTRANO_MODULE, RTLD_NOW | RTLD_LOCAL);
        const auto get = reinterpret_cast<GetEntryTableProc>(dlsym(image, "GetEntryTable"));
        DoNotOptimize(get()[kEntryShowAboutBox]);
        dlclose(image);
    });
    Add("load, table, unload", "floor", [] {
        void* image = dlopen(EMPTY_MODULE, RTLD_NOW | RTLD_LOCAL);
        const auto answer = reinterpret_cast<int (*)()>(dlsym(image, "Answer"));
        DoNotOptimize(answer());
        dlclose(image);
    });
}
