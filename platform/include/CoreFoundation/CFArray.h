// SPDX-License-Identifier: MIT
// CFArray.h - ordered lists of objects.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const void* (*CFArrayRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFArrayReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFArrayCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFArrayEqualCallBack)(const void* value1, const void* value2);

typedef struct CFArrayCallBacks
{
    CFIndex version;
    CFArrayRetainCallBack retain;
    CFArrayReleaseCallBack release;
    CFArrayCopyDescriptionCallBack copyDescription;
    CFArrayEqualCallBack equal;
} CFArrayCallBacks;

#ifdef __cplusplus
extern "C" {
#endif

extern const CFArrayCallBacks kCFTypeArrayCallBacks VL_SYMBOL(kCFTypeArrayCallBacks);

CFTypeID CFArrayGetTypeID(void) VL_SYMBOL(CFArrayGetTypeID);

/// A list of `count` values. `callBacks` is kCFTypeArrayCallBacks (the values are retained objects) or
/// null (plain pointers); others are refused with null.
CFArrayRef CFArrayCreate(CFAllocatorRef allocator, const void** values, CFIndex count,
                         const CFArrayCallBacks* callBacks) VL_SYMBOL(CFArrayCreate);
CFIndex CFArrayGetCount(CFArrayRef array) VL_SYMBOL(CFArrayGetCount);
/// Borrowed; null when the index is out of range.
const void* CFArrayGetValueAtIndex(CFArrayRef array, CFIndex index) VL_SYMBOL(CFArrayGetValueAtIndex);

#ifdef __cplusplus
}
#endif
