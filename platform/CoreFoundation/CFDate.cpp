// SPDX-License-Identifier: MIT
// CFDate.cpp - points in time.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFDate.h>

#include <functional>

extern const CFClass kDateClass;

struct __CFDate : CFObject
{
    explicit __CFDate(CFAbsoluteTime time)
        : CFObject(kDateClass)
        , at(time)
    {
    }
    CFAbsoluteTime at;
};

const CFClass kDateClass = {
    kTypeDate,
    [](CFObject* object) noexcept { delete static_cast<__CFDate*>(object); },
    [](const CFObject* a, const CFObject* b) noexcept {
        return static_cast<const __CFDate*>(a)->at == static_cast<const __CFDate*>(b)->at;
    },
    [](const CFObject* object) noexcept {
        return static_cast<CFHashCode>(
            std::hash<double>()(static_cast<const __CFDate*>(object)->at));
    },
};

CFTypeID CFDateGetTypeID(void)
{
    return kTypeDate;
}

CFDateRef CFDateCreate(CFAllocatorRef, CFAbsoluteTime at)
{
    return CFObject_New<__CFDate>(at);
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date)
{
    return date->at;
}
