// SPDX-License-Identifier: MIT
// FailingNew.cpp - the allocation functions of a test program. A file of its own, since a compiler that
// sees both ends of an allocation complains of the pair.
#include "tests/platform/FailingNew.h"

#include <cstdlib>
#include <new>

static int sUntilFailure = 0; // 0: none fails
static bool sIsFailed = false;

void FailingNew::Fail(int n)
{
    sIsFailed = false;
    sUntilFailure = n;
}

bool FailingNew::Stop()
{
    sUntilFailure = 0;
    return sIsFailed;
}

void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    if (sUntilFailure > 0 && --sUntilFailure == 0) {
        sIsFailed = true;
        return nullptr;
    }
    return std::malloc(n != 0 ? n : 1);
}

void* operator new(std::size_t n)
{
    if (void* block = operator new(n, std::nothrow)) {
        return block;
    }
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    std::free(block);
}
