// SPDX-License-Identifier: MIT
// vlModule.h - where the module is and where its product keeps its files.
// Order: the start-up runs at load -> ModuleInit once, by the product's component -> the rest. What
// needs no names (bundles, folders, path helpers) works without ModuleInit.
// Main thread; plain strings are borrowed; folder paths end in "/"; an empty path is a failure.
#pragma once

#include "System/vlString.h"

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/CoreServices.h>

namespace Veltrano {

const char kMakerName[] = "Veltrano";
const char kIdentifierPrefix[] = "com.veltrano.";

/// Folder kinds. 2 is the user's folder, too; others have no path.
enum { kFolderModule = 0, kFolderUserSupport = 1, kFolderLocalSupport = 3 };

/// What the module does when it is loaded, for a component that links this code without the module: the
/// names exist and are empty, the module's image is located. May be called again.
void StartModuleEnvironment();
/// The clean-ups of unload, in reverse order of start: the cached bundle, then the names. Calls after them are
/// safe: the place is found again, the names are empty, the preferences give defaults and refuse sets.
void ReleaseModuleBundle();
void ReleaseModuleStrings();

/// Sets the product's and the component's name (null is empty) and the module identifier:
/// kIdentifierPrefix, product, and "." with the component when that is not null.
///   example  ModuleInit("P", ""): the identifier is "com.veltrano.P."
void ModuleInit(const char* productName, const char* componentName);
/// ModuleInit, and the module's place from the path of its executable instead of its image.
///   returns  the first failing call's error; after success a value that means nothing
OSStatus
ModuleInitWithPath(const char* modulePath, const char* productName, const char* componentName);
/// Asserts that ModuleInit was called; returns 0.
int CheckInited();

/// Finds the module's image and from it the module path and the folder that holds the bundle. Once.
///   returns  1 done, or the image is not there; 0 too few folders above it: the next call tries again
int LocateModuleImage();
/// The module's own bundle, made on the first call. Borrowed.
CFBundleRef GetModuleBundle();
/// A new reference to it, for the caller.
///   asserts  that the image is found, has a name and stands in a bundle
CFBundleRef CreateModuleBundle();
/// The host's bundle. Borrowed.
CFBundleRef GetHostMainBundle();

/// Paths for a module at /A/B/X.bundle/Contents/MacOS/X, product P, component C:
void GetModuleParentFolder(String& result); // /A/B/X.bundle/Contents/
void GetModuleBundleName(String& result); // X.bundle; asserts that there is one
void GetMakerFolderPath(String& result); // Veltrano/P/, or Veltrano/
void GetProductFolderPath(String& result); // Veltrano/P/C/, or Veltrano/P/

/// The base folder of a kind: /A/B/ for kFolderModule, Application Support for the others.
void GetFolderPath(String& result, int kind);
/// The base folder and a relative path below it; nothing is made.
///   example  "/a//b/" appends "a/b/"
void GetFolderPathWith(String& result, int kind, const char* relative);
/// The same with its folders made (mode 0777, narrowed by the umask), or the same below the next lower kind
/// when that fails. Each failure writes a "mkdir error" line to standard error.
///   kind  0 to 3; a negative one searches for minutes
void GetSupportFolderPath(String& result, int kind, const char* relative);
/// Makes the missing folders of an absolute path; stops at the first failure with a "mkdir error" line.
///   returns  1 in every case
int MakeDirectories(const char* path);

/// Splits a path at its last "/": the folder with its "/", or what follows.
///   out      may be null
///   returns  0 copied; the bytes needed, zero included, when out is null or size is less; -1 (all
///            bits) for a null path
///   example  "/a/b.txt": GetDirectoryPart needs 4 for "/a/", GetFileNamePart 6 for "b.txt"
unsigned GetDirectoryPart(const char* path, char* out, unsigned size);
unsigned GetFileNamePart(const char* path, char* out, unsigned size);

/// The module's own preferences, under the module identifier. Assert that ModuleInit was called.
///   key      an entry path
///   returns  getters the value or the default; setters 0, or -1 when it could not be written
int GetModuleIntPref(const char* key, int nDefault, bool allUsers);
int SetModuleIntPref(const char* key, int nValue, bool allUsers);
void GetModuleStringPref(String& result, const char* key, const char* lpszDefault, bool allUsers);
int SetModuleStringPref(const char* key, const char* lpszValue, bool allUsers);

/// The state, to be read.
const String& GetModuleProductName();
const String& GetModuleComponentName();
const String& GetModulePath(); // the folder of the executable file
const String& GetModuleIdentifier();
const FSSpec& GetModuleFolder(); // the folder that holds the bundle; all zero until it is known

} // namespace Veltrano
