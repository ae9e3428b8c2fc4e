// SPDX-License-Identifier: MIT
// CFPropertyList.h - property lists from XML.
#pragma once

#include <CoreFoundation/CFData.h>
#include <CoreFoundation/CFString.h>

enum { kCFPropertyListImmutable = 0 };

__BEGIN_DECLS

/// Parses an XML property list in UTF-8. Only immutable lists are made, and no error text: errorString, if not
/// null, becomes null.
///   returns  one reference; null if the text is damaged
CFPropertyListRef CFPropertyListCreateFromXMLData(CFAllocatorRef allocator, CFDataRef xmlData,
                                                  CFOptionFlags mutabilityOption,
                                                  CFStringRef* errorString)
    VL_SYMBOL(CFPropertyListCreateFromXMLData);

__END_DECLS
