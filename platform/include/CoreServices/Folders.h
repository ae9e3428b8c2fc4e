// SPDX-License-Identifier: MIT
// Folders.h - the well-known folders. Any thread.
#pragma once

#include <CoreServices/Files.h>

enum {
    kOnSystemDisk = -32768,
    kSystemDomain = -32766,
    kLocalDomain = -32765,
    kNetworkDomain = -32764,
    kUserDomain = -32763
};

enum { kApplicationSupportFolderType = 0x61737570 /* 'asup' */ };
enum { kDontCreateFolder = 0, kCreateFolder = 1 };

__BEGIN_DECLS

/// A well-known folder, made with its missing parents when `create` is true.
/// Application Support: $XDG_DATA_HOME (~/.local/share) for the user, the first of $XDG_DATA_DIRS
/// (/usr/local/share) for the machine.
///   returns  noErr; fnfErr, dirNFErr, afpAccessDenied ...; `found` is untouched then
OSErr FSFindFolder(SInt16 domain, OSType folder, Boolean create, FSRef* found) VL_SYMBOL(FSFindFolder);

__END_DECLS
