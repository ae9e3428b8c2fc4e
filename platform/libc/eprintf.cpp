// SPDX-License-Identifier: MIT
// eprintf.cpp - the report that a failed check ends in.
#include <assert.h>
#include <cstdio>
#include <cstdlib>

void __eprintf(const char* format, const char* file, unsigned line, const char* expression)
{
    std::fprintf(stderr, format, file, line, expression);
    std::fflush(stderr);
    std::abort();
}
