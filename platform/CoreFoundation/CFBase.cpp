// SPDX-License-Identifier: MIT
// CFBase.cpp - counting, classes and equality of all objects.
#include "CoreFoundation/CFObject.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <sys/random.h>

struct __CFAllocator
{
};
static const __CFAllocator sAllocatorNull;

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorNull = &sAllocatorNull;

CFHashCode CFObject_HashAddress(const CFObject* object) noexcept
{
    return std::hash<const void*>()(object);
}

// SipHash-1-3 under a key that each process draws anew: nobody can write a file of keys that collide.
CFHashCode CFObject_HashBytes(const void* bytes, size_t n) noexcept
{
    struct Key
    {
        UInt64 k[2] = {};
        Key() { [[maybe_unused]] ssize_t nDrawn = getrandom(k, sizeof(k), 0); }
    };
    static const Key sKey;
    UInt64 v[4] = { sKey.k[0] ^ 0x736f6d6570736575, sKey.k[1] ^ 0x646f72616e646f6d,
                    sKey.k[0] ^ 0x6c7967656e657261, sKey.k[1] ^ 0x7465646279746573 };
    const auto mix = [&v] {
        v[0] += v[1];
        v[2] += v[3];
        v[1] = std::rotl(v[1], 13) ^ v[0];
        v[3] = std::rotl(v[3], 16) ^ v[2];
        v[0] = std::rotl(v[0], 32) + v[3];
        v[2] += v[1];
        v[1] = std::rotl(v[1], 17) ^ v[2];
        v[3] = std::rotl(v[3], 21) ^ v[0];
        v[2] = std::rotl(v[2], 32);
    };
    for (size_t at = 0; at <= n; at += 8) {
        UInt64 block
            = n - at < 8 ? static_cast<UInt64>(n) << 56 : 0; // the last one ends in the size
        std::memcpy(&block, static_cast<const char*>(bytes) + at, std::min<size_t>(n - at, 8));
        v[3] ^= block;
        mix();
        v[0] ^= block;
    }
    v[2] ^= 0xff;
    mix();
    mix();
    mix();
    return static_cast<CFHashCode>(v[0] ^ v[1] ^ v[2] ^ v[3]);
}

// A container that loses its last reference while another one is being freed waits in a list. The list
// runs through the containers, so that freeing needs no memory.
void CFContainer::End() noexcept
{
    static thread_local CFContainer* tWaiting = nullptr;
    static thread_local bool tIsFreeing = false;
    nextToFree = std::exchange(tWaiting, this);
    if (tIsFreeing)
        return;
    tIsFreeing = true;
    while (tWaiting != nullptr)
        std::exchange(tWaiting, tWaiting->nextToFree)->Free();
    tIsFreeing = false;
}

bool CFObject_EqualSoFar(CFTypeRef a, CFTypeRef b, CFContainerPairs& later)
{
    const CFObject* first = CFObject_From(a);
    const CFObject* second = CFObject_From(b);
    if (first == second || first->type != second->type)
        return first == second;
    if (!CFObject_IsContainer(a))
        return first->Equals(*second, later);
    later.emplace_back(static_cast<const CFContainer*>(first),
                       static_cast<const CFContainer*>(second));
    return true;
}

bool CFObject_Equal(CFTypeRef a, CFTypeRef b)
{
    CFContainerPairs later;
    bool isEqual = CFObject_EqualSoFar(a, b, later);
    while (isEqual && !later.empty()) {
        auto [first, second] = later.back();
        later.pop_back();
        isEqual = first->Equals(*second, later);
    }
    return isEqual;
}

CFTypeRef CFRetain(CFTypeRef object)
{
    const CFObject* counted = CFObject_From(object);
    if (counted->nRefs.load(std::memory_order_relaxed) != kConstantRefs)
        counted->nRefs.fetch_add(1, std::memory_order_relaxed);
    return object;
}

void CFRelease(CFTypeRef object)
{
    const CFObject* counted = CFObject_From(object);
    if (counted->nRefs.load(std::memory_order_relaxed) == kConstantRefs)
        return;
    // Whoever takes the count to zero must see all that the other holders did to the object.
    if (counted->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        const_cast<CFObject*>(counted)->End();
}

CFIndex CFGetRetainCount(CFTypeRef object)
{
    return CFObject_From(object)->nRefs.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef object)
{
    return CFObject_From(object)->type;
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b)
{
    try {
        return CFObject_Equal(a, b);
    } catch (...) { // no memory to compare them with
        return false;
    }
}
