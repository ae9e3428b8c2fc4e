// SPDX-License-Identifier: MIT
// Ref.h - the owner of one Core Foundation reference, for the platform, tools and tests.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <memory>
#include <type_traits>

struct Ref_Releaser
{
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

/// Owns one reference, or none when null.
///   example  Ref<CFStringRef> name(CFStringCreateWithCString(nullptr, "x", kCFStringEncodingUTF8));
template <typename Pointer = CFTypeRef>
using Ref = std::unique_ptr<std::remove_pointer_t<Pointer>, Ref_Releaser>;

/// Retains an object that the caller does not own.
template <typename Pointer> Ref<Pointer> Ref_Retained(Pointer borrowed)
{
    CFRetain(borrowed);
    return Ref<Pointer>(borrowed);
}
