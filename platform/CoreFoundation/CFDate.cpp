// SPDX-License-Identifier: MIT
// CFDate.cpp - points in time, which property lists bring.
#include "CoreFoundation/CFObject.h"

CFTypeID CFDateGetTypeID(void)
{
    return kTypeDate;
}

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date)
{
    return date->at;
}
