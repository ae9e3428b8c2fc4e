// SPDX-License-Identifier: MIT
// FailingNew.cpp - the allocation functions of a test program. A file of its own, since a compiler that
// sees both ends of an allocation complains of the pair.
#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <cstring>
#include <new>

static int sUntilFailure = 0; // 0: none fails
static bool sIsForever = false;
static bool sIsFailed = false;
static int sBlocks = 0;

void FailingNew::Fail(int n, bool isForever)
{
    sIsFailed = false;
    sIsForever = isForever;
    sUntilFailure = n;
}

bool FailingNew::Stop()
{
    sUntilFailure = 0;
    return sIsFailed;
}

int FailingNew::CountBlocks()
{
    return __atomic_load_n(&sBlocks, __ATOMIC_RELAXED);
}

static bool IsDue()
{
    const bool isDue = sUntilFailure > 0 && --sUntilFailure == 0;
    sIsFailed = sIsFailed || isDue;
    sUntilFailure = isDue && sIsForever ? 1 : sUntilFailure;
    return isDue;
}

void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    if (IsDue()) {
        return nullptr;
    }
    __atomic_add_fetch(&sBlocks, 1, __ATOMIC_RELAXED);
    return std::calloc(1, n != 0 ? n : 1);
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
    __atomic_sub_fetch(&sBlocks, block != nullptr, __ATOMIC_RELAXED);
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

// The array forms, which a checker's library would otherwise have.

void* operator new[](std::size_t n, const std::nothrow_t&) noexcept
{
    return operator new(n, std::nothrow);
}

void* operator new[](std::size_t n)
{
    return operator new(n);
}

void operator delete[](void* block) noexcept
{
    operator delete(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    operator delete(block);
}

#ifdef FAILING_MALLOC

extern "C" void* __wrap_malloc(std::size_t n)
{
    return IsDue() ? nullptr : std::calloc(1, n);
}

extern "C" char* __wrap_strdup(const char* text)
{
    const std::size_t n = std::strlen(text) + 1;
    void* copy = __wrap_malloc(n);
    return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, n)) : nullptr;
}

#endif
