// SPDX-License-Identifier: MIT
// CFBase.cpp - counting, classes and equality of all objects.
#include "CoreFoundation/CFObject.h"

#include <functional>

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

CFHashCode CFObject_HashBytes(const void* bytes, size_t n) noexcept
{
    return std::hash<std::string_view>()({ static_cast<const char*>(bytes), n });
}

// Ends an object. What it holds ends after it, not inside it, so that a value nested a million deep
// needs no deep stack.
static void End(CFObject* object) noexcept
{
    static thread_local std::vector<CFObject*>* tWaiting = nullptr;
    if (tWaiting != nullptr) {
        try {
            tWaiting->push_back(object);
        } catch (...) { // no memory for the list
            object->isa->end(object);
        }
        return;
    }
    std::vector<CFObject*> waiting;
    tWaiting = &waiting;
    object->isa->end(object);
    while (!waiting.empty()) {
        CFObject* next = waiting.back();
        waiting.pop_back();
        next->isa->end(next);
    }
    tWaiting = nullptr;
}

CFTypeRef CFRetain(CFTypeRef object)
{
    const CFObject* counted = CFObject_From(object);
    if (counted->nRefs.load(std::memory_order_relaxed) != kConstantRefs) {
        counted->nRefs.fetch_add(1, std::memory_order_relaxed);
    }
    return object;
}

void CFRelease(CFTypeRef object)
{
    const CFObject* counted = CFObject_From(object);
    if (counted->nRefs.load(std::memory_order_relaxed) == kConstantRefs) {
        return;
    }
    // Whoever takes the count to zero must see all that the other holders did to the object.
    if (counted->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        End(const_cast<CFObject*>(counted));
    }
}

CFIndex CFGetRetainCount(CFTypeRef object)
{
    return CFObject_From(object)->nRefs.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef object)
{
    return CFObject_From(object)->isa->id;
}

Boolean CFEqual(CFTypeRef a, CFTypeRef b)
{
    const CFObject* first = CFObject_From(a);
    const CFObject* second = CFObject_From(b);
    return first == second || (first->isa == second->isa && first->isa->equal(first, second));
}
