// SPDX-License-Identifier: MIT
// CFDate.h - points in time, in seconds from 2001-01-01 00:00:00 UTC.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

#ifdef __cplusplus
extern "C" {
#endif

CFTypeID CFDateGetTypeID(void) VL_SYMBOL(CFDateGetTypeID);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) VL_SYMBOL(CFDateGetAbsoluteTime);

#ifdef __cplusplus
}
#endif
