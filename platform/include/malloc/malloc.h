// SPDX-License-Identifier: MIT
// malloc.h - what the allocator gave.
#pragma once

#include <malloc.h>

/// The bytes that may be used of a block, at least as many as were asked for.
///   ptr      [in]  a block of malloc
///   differs  for an address that is no block of malloc there is no answer
static inline size_t malloc_size(const void* ptr)
{
    return malloc_usable_size((void*)ptr);
}
