// SPDX-License-Identifier: MIT
// Resources.h - typed, numbered resources in a chain of open files.
// A search starts at the current file and goes on through the files opened before it. Main thread.
#pragma once

#include <CoreServices/Files.h>
#include <CoreServices/MacMemory.h>

typedef SInt16 ResFileRefNum;

enum { kResFileNotOpened = -1, kSystemResFile = 0 };

__BEGIN_DECLS

/// The result of the last resource call.
OSErr ResError(void) VL_SYMBOL(ResError);
/// The file that a search starts at; kSystemResFile, the empty bottom of the chain, when none is open.
SInt16 CurResFile(void) VL_SYMBOL(CurResFile);
/// Moves the start of the search; the order of the chain stays. A number that is not open changes
/// nothing (resFNotFound).
void UseResFile(SInt16 refNum) VL_SYMBOL(UseResFile);
/// Opens the data-fork resource file of a reference, read only, puts it on top of the chain and makes it
/// current. `nameLength` and `name` say which fork; 0 and null are the data fork.
///   returns  noErr; resFNotFound, mapReadErr, fnfErr; *refNum is kResFileNotOpened then
OSErr FSOpenResourceFile(const FSRef* ref, UInt16 nameLength, const UniChar* name, SInt8 permissions,
                         SInt16* refNum) VL_SYMBOL(FSOpenResourceFile);
/// Releases all resources of the file and closes it; the next older file becomes current if it was.
void CloseResFile(SInt16 refNum) VL_SYMBOL(CloseResFile);
/// A resource; null with resNotFound if it is absent, CantDecompress for a compressed one. The same one twice gives the same handle until
/// it is released. The handle belongs to its file.
Handle GetResource(ResType type, SInt16 id) VL_SYMBOL(GetResource);
/// Frees the data and ends the handle. Null or another kind of pointer: nothing but resNotFound.
void ReleaseResource(Handle handle) VL_SYMBOL(ReleaseResource);

__END_DECLS
