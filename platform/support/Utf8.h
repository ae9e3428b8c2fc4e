// SPDX-License-Identifier: MIT
// Utf8.h - the strict decoder that all text of the platform goes through.
#pragma once

#include <CoreServices/MacTypes.h>

#include <string_view>

constexpr UInt32 kUtf8Invalid = 0xFFFFFFFF;

/// Takes one character off the front of [p, end), which is not empty.
///   returns  the code point; kUtf8Invalid for stray, missing or overlong bytes, surrogates and values
///            above 10FFFF, p being just past the first byte then
inline UInt32 Utf8_Next(const UInt8*& p, const UInt8* end)
{
    UInt32 first = *p++;
    if (first < 0x80)
        return first;
    int nMore = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    static constexpr UInt32 kSmallest[] = { 0, 0x80, 0x800, 0x10000 };
    if (first < 0xC2 || first > 0xF4 || end - p < nMore)
        return kUtf8Invalid;
    UInt32 code = first & (0x3Fu >> nMore);
    for (int i = 0; i < nMore; ++i) {
        if ((p[i] & 0xC0) != 0x80)
            return kUtf8Invalid;
        code = code << 6 | (p[i] & 0x3Fu);
    }
    if (code < kSmallest[nMore] || code > 0x10FFFF || (code >= 0xD800 && code < 0xE000))
        return kUtf8Invalid;
    p += nMore;
    return code;
}

inline bool Utf8_IsValid(std::string_view text)
{
    const UInt8* p = reinterpret_cast<const UInt8*>(text.data());
    const UInt8* end = p + text.size();
    while (p < end) {
        if (Utf8_Next(p, end) == kUtf8Invalid)
            return false;
    }
    return true;
}

/// Appends a valid code point.
template <typename Text> void Utf8_Append(Text& text, UInt32 code)
{
    auto put = [&text](UInt32 byte) { text.push_back(static_cast<char>(byte)); };
    if (code < 0x80) {
        put(code);
        return;
    }
    int nMore = code < 0x800 ? 1 : code < 0x10000 ? 2 : 3;
    put((0xFF00u >> (nMore + 1) & 0xFF) | code >> (6 * nMore));
    for (int i = nMore - 1; i >= 0; --i)
        put(0x80 | (code >> (6 * i) & 0x3F));
}
