// SPDX-License-Identifier: MIT
// Bench.h - what the benchmark programs share: allocations are counted beside the time.
// Included by exactly one file of a program, which it gives its main.
#pragma once

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <string>

inline size_t gAllocations = 0;

void* operator new(size_t size)
{
    ++gAllocations;
    if (void* block = malloc(size))
        return block;
    throw std::bad_alloc();
}
void* operator new[](size_t size)
{
    return operator new(size);
}
void operator delete(void* block) noexcept
{
    free(block);
}
void operator delete[](void* block) noexcept
{
    free(block);
}
void operator delete(void* block, size_t) noexcept
{
    free(block);
}
void operator delete[](void* block, size_t) noexcept
{
    free(block);
}

/// Runs `work` until the time is known and notes the allocations of one turn.
template <typename Work> void Measure(benchmark::State& state, Work work)
{
    const size_t before = gAllocations;
    for (auto _ : state)
        work();
    state.counters["allocs"] = benchmark::Counter(static_cast<double>(gAllocations - before),
                                                  benchmark::Counter::kAvgIterations);
}

/// Registers "workload/contender".
template <typename Work> void Add(const char* workload, const char* contender, Work work)
{
    benchmark::RegisterBenchmark((std::string(workload) + "/" + contender).c_str(),
                                 [work](benchmark::State& state) { Measure(state, work); });
}

void AddBenchmarks();

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    AddBenchmarks();
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
