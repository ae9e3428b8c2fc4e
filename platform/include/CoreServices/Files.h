// SPDX-License-Identifier: MIT
// Files.h - references to existing files and folders. Any thread.
#pragma once

#include <CoreServices/MacErrors.h>
#include <CoreServices/MacTypes.h>

#pragma pack(push, 2)

typedef struct FSRef
{
    UInt8 hidden[80]; // all zero: not valid
} FSRef;

typedef struct FSSpec
{
    SInt16 vRefNum; // volume
    SInt32 parID;   // parent folder
    Str63 name;     // length byte and up to 63 bytes, longer names cut
} FSSpec;

typedef struct FSCatalogInfo FSCatalogInfo; // no routine here fills one

#pragma pack(pop)

typedef UInt32 FSCatalogInfoBitmap;

enum { kFSCatInfoNone = 0 };

__BEGIN_DECLS

/// A reference to the existing object at a POSIX path; a link at the end is followed.
///   isDirectory  [out]  may be null
///   returns      noErr; fnfErr, dirNFErr (a folder on the way), afpAccessDenied, paramErr, errFSNameTooLong;
///                `ref` is untouched then
OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* isDirectory) VL_SYMBOL(FSPathMakeRef);

/// What is known of an object. Every output may be null; `which` is kFSCatInfoNone and `info` null (paramErr
/// otherwise).
///   parent   [out]  the real folder it stands in; for the root a reference that is not valid, with noErr
///   returns  noErr; errFSBadFSRef; fnfErr when the object is gone
OSErr FSGetCatalogInfo(const FSRef* ref, FSCatalogInfoBitmap which, FSCatalogInfo* info,
                       HFSUniStr255* name, FSSpec* fsSpec, FSRef* parent) VL_SYMBOL(FSGetCatalogInfo);

__END_DECLS
