// SPDX-License-Identifier: MIT
// assert.h - the C library's, and the report that a failed check ends in. Any thread.
#pragma GCC system_header
#include_next <assert.h>

#ifndef VELTRANO_PLATFORM_EPRINTF
#define VELTRANO_PLATFORM_EPRINTF
#include <veltrano/Symbol.h>

__BEGIN_DECLS

/// Writes `format` with file, line and expression (in that order) to standard error, flushes it and
/// aborts the process. Does not return.
///   example  __eprintf("%s:%u: failed assertion `%s'\n", "a.c", 7, "p != 0")
void __eprintf(const char* format, const char* file, unsigned line, const char* expression)
    VL_SYMBOL(__eprintf) __attribute__((__noreturn__));

__END_DECLS
#endif
