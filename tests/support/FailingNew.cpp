// SPDX-License-Identifier: MIT
// FailingNew.cpp - the allocation operators of a test program. A file of its own, since a compiler that
// sees both ends of an allocation complains of the pair.
#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <new>

void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    if (FailingNew::IsDue())
        return nullptr;
    __atomic_add_fetch(&FailingNew::nBlocks, 1, __ATOMIC_RELAXED);
    return std::calloc(1, n != 0 ? n : 1);
}

void* operator new(std::size_t n)
{
    if (void* block = operator new(n, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept
{
    __atomic_sub_fetch(&FailingNew::nBlocks, block != nullptr, __ATOMIC_RELAXED);
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
