// SPDX-License-Identifier: MIT
// Resources.h - opens resource files for the rest of the platform.
#pragma once

#include "Resources/ResourceFile.h"

#include <CoreServices/Resources.h>

#include <string>
#include <vector>

/// Reads a data-fork resource file of up to 32 MB and adds it to `files`. Throws bad_alloc.
///   returns  noErr; mapReadErr for a damaged one; fnfErr, afpAccessDenied, ioErr ...
OSErr Resources_ReadFile(const std::string& path, std::vector<ResourceFile>& files);

/// Puts files as one map on top of the chain and makes it current. The first file that has a resource wins.
/// Sets ResError.
///   returns  a unique reference number; kResFileNotOpened without a file or a free number
SInt16 Resources_OpenMap(std::vector<ResourceFile> files);

/// Sets the result of ResError.
void Resources_SetError(OSErr error);
