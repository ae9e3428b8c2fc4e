// SPDX-License-Identifier: MIT
// CountedNew.h - replaces the array form of new: counts blocks and sizes, and fails when told to.
// Include it in exactly one source of a test program.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace CountedNew {

inline std::atomic<int> nCount = 0; // array allocations so far
inline std::atomic<int> nLive = 0; // blocks not yet released
inline std::atomic<size_t> nLastSize = 0; // bytes of the latest one
inline std::atomic<int> nFailAfter
    = -1; // so many more succeed, then one fails; negative: none fails

inline void* Allocate(size_t nSize)
{
    if (nFailAfter >= 0 && nFailAfter-- == 0)
        return nullptr;
    ++nCount;
    ++nLive;
    nLastSize = nSize;
    return malloc(nSize != 0 ? nSize : 1);
}

inline void Release(void* p)
{
    if (p != nullptr) {
        --nLive;
        free(p);
    }
}

} // namespace CountedNew

void* operator new[](size_t nSize)
{
    if (void* p = CountedNew::Allocate(nSize))
        return p;
    throw std::bad_alloc();
}

void* operator new[](size_t nSize, const std::nothrow_t&) noexcept
{
    return CountedNew::Allocate(nSize);
}

void operator delete[](void* p) noexcept
{
    CountedNew::Release(p);
}

void operator delete[](void* p, size_t) noexcept
{
    CountedNew::Release(p);
}
