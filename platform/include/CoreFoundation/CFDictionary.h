// SPDX-License-Identifier: MIT
// CFDictionary.h - objects under keys that compare by content.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef const void* (*CFDictionaryRetainCallBack)(CFAllocatorRef allocator, const void* value);
typedef void (*CFDictionaryReleaseCallBack)(CFAllocatorRef allocator, const void* value);
typedef CFStringRef (*CFDictionaryCopyDescriptionCallBack)(const void* value);
typedef Boolean (*CFDictionaryEqualCallBack)(const void* value1, const void* value2);
typedef CFHashCode (*CFDictionaryHashCallBack)(const void* value);

typedef struct CFDictionaryKeyCallBacks
{
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
    CFDictionaryHashCallBack hash;
} CFDictionaryKeyCallBacks;

typedef struct CFDictionaryValueCallBacks
{
    CFIndex version;
    CFDictionaryRetainCallBack retain;
    CFDictionaryReleaseCallBack release;
    CFDictionaryCopyDescriptionCallBack copyDescription;
    CFDictionaryEqualCallBack equal;
} CFDictionaryValueCallBacks;

__BEGIN_DECLS

extern const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks
    VL_SYMBOL(kCFTypeDictionaryKeyCallBacks);
extern const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks
    VL_SYMBOL(kCFTypeDictionaryValueCallBacks);

CFTypeID CFDictionaryGetTypeID(void) VL_SYMBOL(CFDictionaryGetTypeID);

/// An empty dictionary. Keys and values are retained; the callbacks are the two constants above, others
/// are refused with null. The capacity is a hint.
CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef allocator, CFIndex capacity,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks)
    VL_SYMBOL(CFDictionaryCreateMutable);

/// A shallow copy: the entries are shared and retained.
CFMutableDictionaryRef CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity,
                                                     CFDictionaryRef dictionary)
    VL_SYMBOL(CFDictionaryCreateMutableCopy);

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary) VL_SYMBOL(CFDictionaryGetCount);
/// Borrowed; null when absent.
const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key)
    VL_SYMBOL(CFDictionaryGetValue);
/// Borrowed; false when absent, *value untouched then. `value` may be null.
Boolean CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value)
    VL_SYMBOL(CFDictionaryGetValueIfPresent);
/// Fills arrays of CFDictionaryGetCount() borrowed pointers, in insertion order; either may be null.
void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary, const void** keys, const void** values)
    VL_SYMBOL(CFDictionaryGetKeysAndValues);

/// Adds the pair or replaces the value; on a replacement the old key object stays.
void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value)
    VL_SYMBOL(CFDictionarySetValue);
void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key)
    VL_SYMBOL(CFDictionaryRemoveValue);

__END_DECLS
