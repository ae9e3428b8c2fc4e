// SPDX-License-Identifier: MIT
// CFArray.h - ordered lists of objects.
#pragma once

#include <CoreFoundation/CFBase.h>

#ifdef __cplusplus
extern "C" {
#endif

CFTypeID CFArrayGetTypeID(void) VL_SYMBOL(CFArrayGetTypeID);
CFIndex CFArrayGetCount(CFArrayRef array) VL_SYMBOL(CFArrayGetCount);
/// Borrowed; null when the index is out of range.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) VL_SYMBOL(CFArrayGetValueAtIndex);

#ifdef __cplusplus
}
#endif
