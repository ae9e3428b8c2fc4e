// SPDX-License-Identifier: MIT
// CFBundle.h - folders that hold code and resources: X.bundle/Contents/{Info.plist,MacOS,Resources}.
// A null bundle is one without anything in it.
// Any thread, but resource maps belong to the main thread. Initialisers run on the thread that loads first.
// One object a folder: asking again for a folder gives the living object with one more reference.
#pragma once

#include <CoreFoundation/CFBase.h>
#include <CoreFoundation/CFURL.h>

typedef SInt16 CFBundleRefNum;

__BEGIN_DECLS

/// The bundle at an existing folder; nothing is loaded. Null when there is no such folder.
CFBundleRef CFBundleCreate(CFAllocatorRef allocator, CFURLRef url) VL_SYMBOL(CFBundleCreate);

/// The bundle that the running program stands in, or its folder when it stands in none. Borrowed, always
/// the same; null only when the program's file cannot be found.
CFBundleRef CFBundleGetMainBundle(void) VL_SYMBOL(CFBundleGetMainBundle);

/// The bundle's folder; one reference.
CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle) VL_SYMBOL(CFBundleCopyBundleURL);

/// A resource by name and type (extension, may be null): the plain Resources folder, then the user's
/// languages, the development region, English. Null if absent. `subFolder` may be null.
CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle, CFStringRef name, CFStringRef type,
                                 CFStringRef subFolder) VL_SYMBOL(CFBundleCopyResourceURL);

/// Opens Resources/EXECUTABLE.rsrc and the best LANGUAGE.lproj/Localized.rsrc as one read-only map
/// on top of the resource chain and makes it current.
///   returns  a unique reference number, released by the close call;
///            -1 when neither file could be opened, the current file unchanged
CFBundleRefNum CFBundleOpenBundleResourceMap(CFBundleRef bundle)
    VL_SYMBOL(CFBundleOpenBundleResourceMap);
/// Ignores a number that is not open.
void CFBundleCloseBundleResourceMap(CFBundleRef bundle, CFBundleRefNum refNum)
    VL_SYMBOL(CFBundleCloseBundleResourceMap);

/// Loads the executable, which runs its static initialisers. True also when it was loaded before; not
/// counted. False if it is missing or cannot be linked (the reason goes to standard error).
Boolean CFBundleLoadExecutable(CFBundleRef bundle) VL_SYMBOL(CFBundleLoadExecutable);
Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle) VL_SYMBOL(CFBundleIsExecutableLoaded);
/// An exported function by its plain name, the executable being loaded first if need be. Null when the
/// load failed or there is no such symbol.
void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef name)
    VL_SYMBOL(CFBundleGetFunctionPointerForName);
/// Unloads the executable whatever the number of loads; its clean-ups run inside the call. The last
/// CFRelease of a bundle does the same.
void CFBundleUnloadExecutable(CFBundleRef bundle) VL_SYMBOL(CFBundleUnloadExecutable);

__END_DECLS
