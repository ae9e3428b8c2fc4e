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

/// Parses XML in UTF-8. Refuses what it cannot represent exactly, so reading and writing back loses nothing.
///   returns  one reference; null if the text is damaged or too large
CFPropertyListRef PropertyList_CreateFromXML(std::string_view xml);

/// Writes a value. The indentation stops at eight tabs.
///   returns  false if a property list cannot hold the value (other types, keys that are no strings, a text
///            with a zero, a cycle), or if the text would exceed kPropertyListLargest
bool PropertyList_FormatXML(CFPropertyListRef value, std::string& xml);
