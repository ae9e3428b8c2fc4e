// SPDX-License-Identifier: MIT
// BundleAt.h - a bundle by its path.
#pragma once

#include "support/Ref.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string_view>

/// Creates the bundle of a folder; null if the path is not a folder.
inline Ref<CFBundleRef> BundleAt(std::string_view path)
{
    const Ref<CFURLRef> url(CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), true));
    return Ref<CFBundleRef>(CFBundleCreate(kCFAllocatorDefault, url.get()));
}
