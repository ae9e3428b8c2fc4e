// SPDX-License-Identifier: MIT
// Bench.h - what the benchmark programs share. Included by exactly one file of a program, which it gives
// its main. The allocator is the process's own, as in a product; allocations are counted by the tests.
#pragma once

#include <benchmark/benchmark.h>
#include <string>

/// Registers "workload/contender".
template <typename Work> void Add(const std::string& workload, const char* contender, Work work)
{
    benchmark::RegisterBenchmark((workload + "/" + contender).c_str(),
                                 [work](benchmark::State& state) {
                                     for (auto _ : state)
                                         work();
                                 });
}

void AddBenchmarks();

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    AddBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
