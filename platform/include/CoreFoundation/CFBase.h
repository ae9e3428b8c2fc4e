// SPDX-License-Identifier: MIT
// CFBase.h - the types and the reference counting that all Core Foundation objects share.
// A routine with "Create" or "Copy" in its name hands over one reference, which the caller gives to
// CFRelease; one with "Get" hands over none. Null crashes.
// Any thread may call any Core Foundation routine, and share objects. Only a mutable dictionary must not be
// changed while another thread uses it.
#pragma once

#include <CoreServices/MacTypes.h>

typedef long CFIndex;
typedef unsigned long CFTypeID;
typedef unsigned long CFHashCode;
typedef unsigned long CFOptionFlags;
typedef const void* CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef const struct __CFAllocator* CFAllocatorRef;
typedef const struct __CFString* CFStringRef;
typedef const struct __CFNumber* CFNumberRef;
typedef const struct __CFBoolean* CFBooleanRef;
typedef const struct __CFData* CFDataRef;
typedef const struct __CFDate* CFDateRef;
typedef const struct __CFArray* CFArrayRef;
typedef struct __CFArray* CFMutableArrayRef;
typedef const struct __CFDictionary* CFDictionaryRef;
typedef struct __CFDictionary* CFMutableDictionaryRef;
typedef const struct __CFURL* CFURLRef;
typedef struct __CFBundle* CFBundleRef;

__BEGIN_DECLS

extern const CFAllocatorRef kCFAllocatorDefault VL_SYMBOL(kCFAllocatorDefault); // null
extern const CFAllocatorRef kCFAllocatorNull VL_SYMBOL(kCFAllocatorNull);       // frees nothing

/// One more reference; returns the object.
CFTypeRef CFRetain(CFTypeRef object) VL_SYMBOL(CFRetain);
/// One reference less; the last one ends the object. Constants are never ended.
void CFRelease(CFTypeRef object) VL_SYMBOL(CFRelease);
/// The number of references; an arbitrary large number for constants.
CFIndex CFGetRetainCount(CFTypeRef object) VL_SYMBOL(CFGetRetainCount);
/// The class of an object: compare with CFStringGetTypeID() and its like.
CFTypeID CFGetTypeID(CFTypeRef object) VL_SYMBOL(CFGetTypeID);
/// Equal by content: same class and equal value, containers compared in depth.
Boolean CFEqual(CFTypeRef a, CFTypeRef b) VL_SYMBOL(CFEqual);

__END_DECLS
