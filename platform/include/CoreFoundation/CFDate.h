// SPDX-License-Identifier: MIT
// CFDate.h - points in time, in seconds from 2001-01-01 00:00:00 UTC.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef double CFTimeInterval;
typedef CFTimeInterval CFAbsoluteTime;

__BEGIN_DECLS

CFTypeID CFDateGetTypeID(void) VL_SYMBOL(CFDateGetTypeID);
CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) VL_SYMBOL(CFDateGetAbsoluteTime);

__END_DECLS
