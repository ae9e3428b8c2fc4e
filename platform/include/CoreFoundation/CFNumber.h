// SPDX-License-Identifier: MIT
// CFNumber.h - numbers and truth values, two different classes.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef CFIndex CFNumberType;

enum {
    kCFNumberSInt8Type = 1,
    kCFNumberSInt16Type = 2,
    kCFNumberSInt32Type = 3,
    kCFNumberSInt64Type = 4,
    kCFNumberFloat32Type = 5,
    kCFNumberFloat64Type = 6,
    kCFNumberCharType = 7,
    kCFNumberShortType = 8,
    kCFNumberIntType = 9,
    kCFNumberLongType = 10,
    kCFNumberLongLongType = 11,
    kCFNumberFloatType = 12,
    kCFNumberDoubleType = 13,
    kCFNumberCFIndexType = 14
};

__BEGIN_DECLS

extern const CFBooleanRef kCFBooleanTrue VL_SYMBOL(kCFBooleanTrue);
extern const CFBooleanRef kCFBooleanFalse VL_SYMBOL(kCFBooleanFalse);

CFTypeID CFBooleanGetTypeID(void) VL_SYMBOL(CFBooleanGetTypeID);
Boolean CFBooleanGetValue(CFBooleanRef boolean) VL_SYMBOL(CFBooleanGetValue);

CFTypeID CFNumberGetTypeID(void) VL_SYMBOL(CFNumberGetTypeID);

/// A number from the C value of that type at `value`. Null for an unknown type or a null pointer.
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void* value)
    VL_SYMBOL(CFNumberCreate);

/// Stores the value as a C value of that type.
///   returns  false when it does not fit exactly; the best attempt is stored all the same
///   example  3.7 as kCFNumberSInt32Type stores 3 and returns false
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void* value)
    VL_SYMBOL(CFNumberGetValue);

Boolean CFNumberIsFloatType(CFNumberRef number) VL_SYMBOL(CFNumberIsFloatType);

__END_DECLS
