// SPDX-License-Identifier: MIT
// PropertyList.h - property lists in XML: strings, numbers, truth values, dates, data, arrays and
// dictionaries with string keys.
// Time and memory are linear in the size, whatever the input. Nesting has no limit and takes no stack.
// Throws bad_alloc. Any thread.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <string>
#include <string_view>

constexpr size_t kPropertyListLargest = 64 << 20; // bytes of XML

/// Reads XML in UTF-8. Strict: whatever it cannot represent exactly it refuses, so that reading and
/// writing back loses nothing.
///   returns  one reference; null when the text is damaged or too large
CFPropertyListRef PropertyList_CreateFromXML(std::string_view xml);

/// Writes a value that PropertyList_CreateDeepCopy or PropertyList_CreateFromXML made, or a dictionary of
/// such values. The indentation stops at eight tabs.
///   returns  false when the text becomes larger than kPropertyListLargest
bool PropertyList_FormatXML(CFPropertyListRef value, std::string& xml);

/// A copy that nobody else can change.
///   returns  one reference; null for what a property list cannot hold: other classes, keys that are no
///            strings, text with a zero, a container inside itself
CFPropertyListRef PropertyList_CreateDeepCopy(CFPropertyListRef value);
