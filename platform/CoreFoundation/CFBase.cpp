// SPDX-License-Identifier: MIT
// CFBase.cpp - reference counts, types and equality of all objects.
#include "CoreFoundation/CFObject.h"
#include "support/CatchAll.h"

struct __CFAllocator
{
};
static const __CFAllocator sAllocatorNull;

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFAllocatorRef kCFAllocatorNull = &sAllocatorNull;

// While one container is freed, others that lose their last reference are queued instead of freed
// recursively. The queue is linked through the containers, so freeing allocates nothing.
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
    // Acquire and release: the thread that frees the object sees all writes of the other holders.
    if (counted->nRefs.fetch_sub(1, std::memory_order_acq_rel) == 1)
        const_cast<CFObject*>(counted)->End();
}

CFIndex CFGetRetainCount(CFTypeRef object)
{
    return CFObject_From(object)->nRefs.load(std::memory_order_relaxed);
}

CFTypeID CFGetTypeID(CFTypeRef object) { return CFObject_From(object)->type; }

Boolean CFEqual(CFTypeRef a, CFTypeRef b)
{
    return CatchAll<Boolean>(false, [&] { return CFObject_Equal(a, b); });
}
