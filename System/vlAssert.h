// SPDX-License-Identifier: MIT
// vlAssert.h - contract checks that stay active in every build and end the process when they fail.
// The line is a fixed number and not the place in today's source, so that a report means the same
// check in every release.
#pragma once

#include <assert.h>
#include <string_view>

namespace Veltrano {

/// A source path from its last "System/" component on; a path without one as it is.
///   example  "/home/a/System/x/System/vlString.h" is "System/vlString.h"
consteval const char* SourceName(const char* lpszPath)
{
    const char* lpszName = lpszPath;
    for (const char* p = lpszPath; *p != '\0'; ++p) {
        if ((p == lpszPath || p[-1] == '/') && std::string_view(p).starts_with("System/"))
            lpszName = p;
    }
    return lpszName;
}

} // namespace Veltrano

/// Checks a condition under a given file, line and text: for inline code of an implementation file,
/// and for a condition that is read otherwise than it is reported.
#define VL_CHECK(condition, file, line, text)                                                      \
    ((condition) ? static_cast<void>(0)                                                            \
                 : __eprintf("%s:%u: failed assertion `%s'\n", file, line, text))

/// Reports the file's name, `line` and the condition's own text when the condition is false.
///   example  VL_ASSERT(314, m_pchData != 0) may end in
///            System/vlString.h:314: failed assertion `m_pchData != 0'
#define VL_ASSERT(line, condition)                                                                 \
    VL_CHECK(condition, Veltrano::SourceName(__FILE__), line, #condition)
