// SPDX-License-Identifier: MIT
// CFArray.cpp - ordered lists.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>

static const void* RetainObject(CFAllocatorRef, const void* value)
{
    return CFRetain(value);
}

static void ReleaseObject(CFAllocatorRef, const void* value)
{
    CFRelease(value);
}

const CFArrayCallBacks kCFTypeArrayCallBacks = { 0, RetainObject, ReleaseObject, nullptr, CFEqual };

static const CFClass kArrayClass = {
    kTypeArray,
    [](CFObject* object) noexcept {
        auto* array = static_cast<__CFArray*>(object);
        if (array->isOfObjects) {
            std::for_each(array->values.begin(), array->values.end(), CFRelease);
        }
        delete array;
    },
    [](const CFObject* a, const CFObject* b) noexcept {
        const auto* first = static_cast<const __CFArray*>(a);
        const auto* second = static_cast<const __CFArray*>(b);
        return first->isOfObjects == second->isOfObjects
            && std::equal(first->values.begin(), first->values.end(), second->values.begin(),
                          second->values.end(), [first](const void* x, const void* y) {
                              return first->isOfObjects ? CFEqual(x, y) != 0 : x == y;
                          });
    },
    [](const CFObject* object) noexcept {
        return static_cast<CFHashCode>(static_cast<const __CFArray*>(object)->values.size());
    },
};

__CFArray::__CFArray(const void** first, CFIndex n, bool ofObjects)
    : CFObject(kArrayClass)
    , values(first, first + n)
    , isOfObjects(ofObjects)
{
    if (isOfObjects) {
        std::for_each(values.begin(), values.end(), CFRetain);
    }
}

CFTypeID CFArrayGetTypeID(void)
{
    return kTypeArray;
}

CFArrayRef
CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count, const CFArrayCallBacks* callBacks)
{
    bool isKnown = callBacks == nullptr || callBacks == &kCFTypeArrayCallBacks;
    if (count < 0 || (values == nullptr && count > 0) || !isKnown) {
        return nullptr;
    }
    return CFObject_New<__CFArray>(values, count, callBacks != nullptr);
}

CFIndex CFArrayGetCount(CFArrayRef array)
{
    return static_cast<CFIndex>(array->values.size());
}

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
{
    return index >= 0 && index < CFArrayGetCount(array) ? array->values[static_cast<size_t>(index)]
                                                        : nullptr;
}
