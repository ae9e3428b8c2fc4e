// SPDX-License-Identifier: MIT
// CFArray.cpp - ordered lists of objects: the arrays of property lists, and lists of keys.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFArray.h>

#include <algorithm>

void __CFArray::Free() noexcept
{
    std::for_each(values.begin(), values.end(), CFRelease);
    delete this;
}

bool __CFArray::Equals(const CFObject& object, CFContainerPairs& later) const
{
    const auto& other = static_cast<const __CFArray&>(object);
    return std::equal(values.begin(), values.end(), other.values.begin(), other.values.end(),
                      [&](CFTypeRef a, CFTypeRef b) { return CFObject_EqualSoFar(a, b, later); });
}

CFTypeID CFArrayGetTypeID(void) { return kTypeArray; }

CFIndex CFArrayGetCount(CFArrayRef array) { return static_cast<CFIndex>(array->values.size()); }

const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index)
{
    return index >= 0 && index < CFArrayGetCount(array) ? array->values[static_cast<size_t>(index)]
                                                        : nullptr;
}
