// SPDX-License-Identifier: MIT
// FileRefs.h - the paths behind FSRef.
// An FSRef has 80 bytes, too few for a path: it holds an index into a table of canonical paths, which only
// grows.
#pragma once

#include <CoreServices/Files.h>

#include <string>

/// The reference to a canonical path. Throws bad_alloc.
FSRef FileRefs_FromPath(const std::string& path);

/// The canonical path of a reference; null if it is invalid. Never freed.
const std::string* FileRefs_Path(const FSRef& ref);

/// The result code for an errno.
OSStatus FileRefs_Error(int error);
