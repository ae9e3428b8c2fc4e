// SPDX-License-Identifier: MIT
// Resources.h - how the rest of the platform puts a resource file on the chain.
#pragma once

#include "Resources/ResourceFile.h"

#include <CoreServices/Resources.h>

#include <string>
#include <vector>

/// Reads a data-fork resource file of up to 32 MB and adds it to `files`. Throws bad_alloc.
///   returns  noErr; mapReadErr for a damaged one; fnfErr, afpAccessDenied, ioErr ...
OSErr Resources_ReadFile(const std::string& path, std::vector<ResourceFile>& files);

/// Joins files to one map on top of the chain and makes it current; the first one that has a resource
/// wins. ResError tells the result.
///   returns  a number of its own for each call; kResFileNotOpened when there is no file or no free number
SInt16 Resources_OpenMap(std::vector<ResourceFile> files);

/// Sets what ResError answers.
void Resources_SetError(OSErr error);
