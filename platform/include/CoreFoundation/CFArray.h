// SPDX-License-Identifier: MIT
// CFArray.h - ordered lists of objects.
#pragma once

#include <CoreFoundation/CFBase.h>

__BEGIN_DECLS

CFTypeID CFArrayGetTypeID(void) VL_SYMBOL(CFArrayGetTypeID);
CFIndex CFArrayGetCount(CFArrayRef array) VL_SYMBOL(CFArrayGetCount);
/// Borrowed; null when the index is out of range.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) VL_SYMBOL(CFArrayGetValueAtIndex);

__END_DECLS
