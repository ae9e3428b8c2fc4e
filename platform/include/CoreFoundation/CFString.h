// SPDX-License-Identifier: MIT
// CFString.h - immutable Unicode strings.
#pragma once

#include <CoreFoundation/CFBase.h>

typedef UInt32 CFStringEncoding;

enum {
    kCFStringEncodingMacRoman = 0,
    kCFStringEncodingWindowsLatin1 = 0x0500,
    kCFStringEncodingISOLatin1 = 0x0201,
    kCFStringEncodingASCII = 0x0600,
    kCFStringEncodingUTF8 = 0x08000100
};

__BEGIN_DECLS

CFTypeID CFStringGetTypeID(void) VL_SYMBOL(CFStringGetTypeID);

/// A string from zero-terminated bytes, which are copied.
///   returns  one reference; null when the bytes are not valid in the encoding, the encoding is not
///            one of the above, or text is null
CFStringRef CFStringCreateWithCString(CFAllocatorRef allocator, const char* text,
                                      CFStringEncoding encoding) VL_SYMBOL(CFStringCreateWithCString);

/// A string from `length` bytes, which may hold zeros. `external` (a byte-order mark in front) is
/// ignored for the encodings above.
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8* bytes, CFIndex length,
                                    CFStringEncoding encoding, Boolean external)
    VL_SYMBOL(CFStringCreateWithBytes);

/// The length in 16-bit units, not bytes.
CFIndex CFStringGetLength(CFStringRef string) VL_SYMBOL(CFStringGetLength);

/// The text without a copy when it is held in that encoding; else null. Lives with the string.
const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding)
    VL_SYMBOL(CFStringGetCStringPtr);

/// Converts into the caller's buffer of `size` bytes, zero-terminated.
///   returns  false when a character cannot be converted or text and zero need more than `size`
Boolean CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding)
    VL_SYMBOL(CFStringGetCString);

/// The 8-bit encoding of plain text in this process: UTF-8.
CFStringEncoding CFStringGetSystemEncoding(void) VL_SYMBOL(CFStringGetSystemEncoding);

CFStringRef __CFStringMakeConstantString(const char* text) VL_SYMBOL(__CFStringMakeConstantString);

__END_DECLS

/// A constant string from a literal of 7-bit characters; never released.
#define CFSTR(literal) __CFStringMakeConstantString("" literal "")
