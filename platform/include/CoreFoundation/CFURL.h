// SPDX-License-Identifier: MIT
// CFURL.h - file locations. Purely textual: the file need not exist.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreServices/Files.h>

__BEGIN_DECLS

/// A file URL from `length` bytes of a POSIX path; a relative one is bound to the working directory of
/// this moment. Null for a null or empty path.
CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef allocator, const UInt8* path,
                                                 CFIndex length, Boolean isDirectory)
    VL_SYMBOL(CFURLCreateFromFileSystemRepresentation);

/// The folder that the last path component stands in.
CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef allocator, CFURLRef url)
    VL_SYMBOL(CFURLCreateCopyDeletingLastPathComponent);

/// Null for an FSRef that is not valid.
CFURLRef CFURLCreateFromFSRef(CFAllocatorRef allocator, const FSRef* ref)
    VL_SYMBOL(CFURLCreateFromFSRef);

/// The POSIX path with its zero, without a trailing "/" (but for the root).
///   returns  false when `size` bytes are too few; the buffer is untouched then
Boolean CFURLGetFileSystemRepresentation(CFURLRef url, Boolean resolveAgainstBase, UInt8* buffer,
                                         CFIndex size) VL_SYMBOL(CFURLGetFileSystemRepresentation);

__END_DECLS
