// SPDX-License-Identifier: MIT
// FailingNew.cpp - the allocation operators of a test program. In its own file: a compiler that sees both
// ends of an allocation warns about the pair.
#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <new>

using namespace FailingNew;

void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    if (IsDue())
        return nullptr;
    ++nBlocks;
    return std::calloc(1, n != 0 ? n : 1);
}

void* operator new(std::size_t n)
{
    if (void* block = operator new(n, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void* operator new[](std::size_t n, const std::nothrow_t&) noexcept
{
    void* block = operator new(n, std::nothrow);
    if (block != nullptr) {
        ++nArrays;
        ++nLiveArrays;
        nLastSize = n;
    }
    return block;
}

void* operator new[](std::size_t n)
{
    if (void* block = operator new[](n, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    nBlocks -= block != nullptr;
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

void operator delete[](void* block) noexcept
{
    nLiveArrays -= block != nullptr;
    operator delete(block);
}

void operator delete[](void* block, std::size_t) noexcept
{
    operator delete[](block);
}
