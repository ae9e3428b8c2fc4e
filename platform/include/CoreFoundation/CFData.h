// SPDX-License-Identifier: MIT
// CFData.h - byte blocks.
#pragma once

#include <CoreFoundation/CFBase.h>

__BEGIN_DECLS

CFTypeID CFDataGetTypeID(void) VL_SYMBOL(CFDataGetTypeID);

/// A block that copies `length` bytes.
CFDataRef CFDataCreate(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length)
    VL_SYMBOL(CFDataCreate);

/// A block over the caller's bytes. With kCFAllocatorNull they are never freed and must outlive it;
/// with the default allocator they come from malloc and the block frees them.
CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                      CFAllocatorRef deallocator)
    VL_SYMBOL(CFDataCreateWithBytesNoCopy);

CFIndex CFDataGetLength(CFDataRef data) VL_SYMBOL(CFDataGetLength);
const UInt8* CFDataGetBytePtr(CFDataRef data) VL_SYMBOL(CFDataGetBytePtr);

__END_DECLS
