// SPDX-License-Identifier: MIT
// IBCarbonRuntime.h - windows from interface files (NAME.nib folders). Main thread only.
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <Carbon/HIObject.h>

__BEGIN_DECLS

/// Opens "name.nib" as the bundle's resource search finds it.
///   returns  noErr; kIBCarbonRuntimeCantFindNibFile if it is missing or not an interface file; paramErr
OSStatus CreateNibReferenceWithCFBundle(CFBundleRef bundle, CFStringRef name, IBNibRef* nib)
    VL_SYMBOL(CreateNibReferenceWithCFBundle);
/// Builds a window, hidden, with all its controls. The caller disposes it; it does not need the nib.
///   returns  noErr; kIBCarbonRuntimeCantFindObject, kIBCarbonRuntimeObjectNotOfRequestedType;
///            windowWrongStateErr when this process can show no windows; *window is untouched then
OSStatus CreateWindowFromNib(IBNibRef nib, CFStringRef name, WindowRef* window)
    VL_SYMBOL(CreateWindowFromNib);
void DisposeNibReference(IBNibRef nib) VL_SYMBOL(DisposeNibReference);

__END_DECLS
