// SPDX-License-Identifier: MIT
// CFDate.cpp - points in time.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFDate.h>

#include <functional>

struct __CFDate final : CFObject
{
    explicit __CFDate(CFAbsoluteTime time)
        : CFObject(kTypeDate)
        , at(time)
    {
    }

    void End() noexcept override { delete this; }
    bool Equals(const CFObject& other, CFContainerPairs&) const override
    {
        return at == static_cast<const __CFDate&>(other).at;
    }
    CFHashCode Hash() const noexcept override { return std::hash<double>()(at); }

    CFAbsoluteTime at;
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
