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

void __CFArray::Free() noexcept
{
    if (isOfObjects)
        std::for_each(values.begin(), values.end(), CFRelease);
    delete this;
}

bool __CFArray::Equals(const CFObject& object, CFContainerPairs& later) const
{
    const auto& other = static_cast<const __CFArray&>(object);
    return isOfObjects == other.isOfObjects
        && std::equal(values.begin(), values.end(), other.values.begin(), other.values.end(),
                      [&](const void* a, const void* b) {
                          return isOfObjects ? CFObject_EqualSoFar(a, b, later) : a == b;
                      });
}

CFHashCode __CFArray::Hash() const noexcept
{
    return values.size();
}

__CFArray::__CFArray(const void** first, CFIndex n, bool ofObjects)
    : CFContainer(kTypeArray)
    , values(first, first + n)
    , isOfObjects(ofObjects)
{
    if (isOfObjects)
        std::for_each(values.begin(), values.end(), CFRetain);
}

CFTypeID CFArrayGetTypeID(void)
{
    return kTypeArray;
}

CFArrayRef
CFArrayCreate(CFAllocatorRef, const void** values, CFIndex count, const CFArrayCallBacks* callBacks)
{
    bool isKnown = callBacks == nullptr || callBacks == &kCFTypeArrayCallBacks;
    if (count < 0 || (values == nullptr && count > 0) || !isKnown)
        return nullptr;
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
