// SPDX-License-Identifier: MIT
// CFData.cpp - byte blocks.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFData.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

static const CFClass kDataClass = {
    kTypeData,
    [](CFObject* object) noexcept {
        auto* data = static_cast<__CFData*>(object);
        if (data->owner == __CFData::kMalloc) {
            std::free(const_cast<UInt8*>(data->bytes));
        }
        delete data;
    },
    [](const CFObject* a, const CFObject* b) noexcept {
        const auto* first = static_cast<const __CFData*>(a);
        const auto* second = static_cast<const __CFData*>(b);
        return std::equal(first->bytes, first->bytes + first->nBytes, second->bytes,
                          second->bytes + second->nBytes);
    },
    [](const CFObject* object) noexcept {
        const auto* data = static_cast<const __CFData*>(object);
        return CFObject_HashBytes(data->bytes, static_cast<size_t>(data->nBytes));
    },
};

__CFData::__CFData(const UInt8* block, CFIndex n, Owner blockOwner)
    : CFObject(kDataClass)
    , bytes(block)
    , nBytes(n)
    , owner(blockOwner)
{
}

CFTypeID CFDataGetTypeID(void)
{
    return kTypeData;
}

CFDataRef CFDataCreate(CFAllocatorRef, const UInt8* bytes, CFIndex length)
{
    if (length < 0 || (bytes == nullptr && length > 0)) {
        return nullptr;
    }
    auto* copy
        = static_cast<UInt8*>(std::malloc(static_cast<size_t>(length) + 1)); // never of size 0
    if (copy == nullptr) {
        return nullptr;
    }
    std::copy_n(bytes, length, copy);
    CFDataRef data = CFObject_New<__CFData>(copy, length, __CFData::kMalloc);
    if (data == nullptr) {
        std::free(copy);
    }
    return data;
}

CFDataRef CFDataCreateWithBytesNoCopy(CFAllocatorRef,
                                      const UInt8* bytes,
                                      CFIndex length,
                                      CFAllocatorRef deallocator)
{
    bool isKnown = deallocator == kCFAllocatorNull || deallocator == kCFAllocatorDefault;
    if (length < 0 || (bytes == nullptr && length > 0) || !isKnown) {
        return nullptr;
    }
    return CFObject_New<__CFData>(
        bytes, length, deallocator == kCFAllocatorNull ? __CFData::kBorrowed : __CFData::kMalloc);
}

CFIndex CFDataGetLength(CFDataRef data)
{
    return data->nBytes;
}

const UInt8* CFDataGetBytePtr(CFDataRef data)
{
    return data->bytes;
}

void CFDataGetBytes(CFDataRef data, CFRange range, UInt8* buffer)
{
    if (range.location < 0 || range.location > data->nBytes) {
        return;
    }
    CFIndex n = std::min(range.length, data->nBytes - range.location);
    if (n > 0) {
        std::memcpy(buffer, data->bytes + range.location, static_cast<size_t>(n));
    }
}
