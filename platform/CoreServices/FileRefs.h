// SPDX-License-Identifier: MIT
// FileRefs.h - the paths behind FSRef.
// An FSRef of 80 bytes cannot hold a path, so it holds a number in a table of canonical paths, which
// only grows.
#pragma once

#include <CoreServices/Files.h>

#include <string>

/// The reference to a canonical path. Throws bad_alloc.
FSRef FileRefs_FromPath(const std::string& path);

/// The canonical path of a reference; null when it is not valid. Never goes away.
const std::string* FileRefs_Path(const FSRef& ref);

/// The result code for an errno.
OSStatus FileRefs_Error(int error);
