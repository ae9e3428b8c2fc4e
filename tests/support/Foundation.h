// SPDX-License-Identifier: MIT
// Foundation.h - short hands for tests that use Core Foundation, and a home of their own.
#pragma once

#include "platform/support/Ref.h"
#include "tests/support/TemporaryFolder.h"

#include <CoreFoundation/CoreFoundation.h>

#include <gtest/gtest.h>
#include <string>

template <typename Pointer> Ref<Pointer> Own(Pointer object) { return Ref<Pointer>(object); }

inline Ref<CFStringRef> Str(const std::string& text)
{
    return Own(CFStringCreateWithCString(nullptr, text.c_str(), kCFStringEncodingUTF8));
}

inline Ref<CFNumberRef> Int(SInt64 value)
{
    return Own(CFNumberCreate(nullptr, kCFNumberSInt64Type, &value));
}

inline Ref<CFNumberRef> Real(double value)
{
    return Own(CFNumberCreate(nullptr, kCFNumberDoubleType, &value));
}

inline Ref<CFMutableDictionaryRef> Dict()
{
    return Own(CFDictionaryCreateMutable(nullptr, 0, &kCFTypeDictionaryKeyCallBacks,
                                         &kCFTypeDictionaryValueCallBacks));
}

inline std::string TextOf(CFTypeRef object)
{
    if (object == nullptr || CFGetTypeID(object) != CFStringGetTypeID())
        return "(no text)";
    std::string text(4096, 0);
    EXPECT_TRUE(CFStringGetCString(static_cast<CFStringRef>(object), text.data(), 4096,
                                   kCFStringEncodingUTF8));
    return text.c_str();
}

inline std::string PathOf(CFURLRef url)
{
    UInt8 path[4096] = "";
    bool isDone = url != nullptr && CFURLGetFileSystemRepresentation(url, true, path, sizeof(path));
    return isDone ? reinterpret_cast<const char*>(path) : "(no path)";
}

inline Ref<CFURLRef> FolderURL(const std::string& path)
{
    return Own(CFURLCreateFromFileSystemRepresentation(nullptr,
                                                       reinterpret_cast<const UInt8*>(path.data()),
                                                       static_cast<CFIndex>(path.size()), true));
}
