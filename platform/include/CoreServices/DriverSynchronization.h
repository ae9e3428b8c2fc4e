// SPDX-License-Identifier: MIT
// DriverSynchronization.h - atomic arithmetic. Any thread.
#pragma once

#include <CoreServices/MacTypes.h>
#include <sys/single_threaded.h>

/// Adds to a 4-byte aligned integer, atomically and in sequential order.
///   returns  the value before the addition
static inline SInt32 AddAtomic(SInt32 amount, SInt32* address)
{
    if (__libc_single_threaded) { // no other thread can see it: a plain add is atomic
        SInt32 before = *address;
        __atomic_store_n(address, (SInt32)((UInt32)before + (UInt32)amount), __ATOMIC_RELAXED);
        return before;
    }
    return __atomic_fetch_add(address, amount, __ATOMIC_SEQ_CST);
}
