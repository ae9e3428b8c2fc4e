// SPDX-License-Identifier: MIT
// CFData.cpp - byte blocks.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

void __CFData::End() noexcept
{
    if (owner == kMalloc)
        std::free(const_cast<UInt8*>(bytes));
    delete this;
}

bool __CFData::Equals(const CFObject& object, CFContainerPairs&) const
{
    const auto& other = static_cast<const __CFData&>(object);
    return std::equal(bytes, bytes + nBytes, other.bytes, other.bytes + other.nBytes);
}

__CFData::__CFData(const UInt8* block, CFIndex n, Owner blockOwner)
    : CFObject(kTypeData)
    , bytes(block)
    , nBytes(n)
    , owner(blockOwner)
{
}

CFTypeID CFDataGetTypeID(void) { return kTypeData; }

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length)
{
    if (length < 0 || (bytes == nullptr && length > 0))
        return nullptr;
    auto* copy
        = static_cast<UInt8*>(std::malloc(static_cast<size_t>(length) + 1)); // never of size 0
    if (copy == nullptr)
        return nullptr;
    std::copy_n(bytes, length, copy);
    CFDataRef data = CFObject_New<__CFData>(copy, length, __CFData::kMalloc);
    if (data == nullptr)
        std::free(copy);
    return data;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef,
                                      const UInt8* bytes,
                                      CFIndex length,
                                      CFAllocatorRef deallocator)
{
    bool isKnown = deallocator == kCFAllocatorNull || deallocator == kCFAllocatorDefault;
    if (length < 0 || (bytes == nullptr && length > 0) || !isKnown)
        return nullptr;
    return CFObject_New<__CFData>(
        bytes, length, deallocator == kCFAllocatorNull ? __CFData::kBorrowed : __CFData::kMalloc);
}

CFIndex CFDataGetLength(CFDataRef data) { return data->nBytes; }

const UInt8* CFDataGetBytePtr(CFDataRef data) { return data->bytes; }
