// SPDX-License-Identifier: MIT
// FailingMalloc.cpp - malloc and strdup of the objects in a test program, which is linked with
// --wrap=malloc,--wrap=strdup.
#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <cstring>

extern "C" {

__attribute__((visibility("default"))) void* __wrap_malloc(std::size_t n);
__attribute__((visibility("default"))) char* __wrap_strdup(const char* text);

void* __wrap_malloc(std::size_t n)
{
    return FailingNew::IsDue() ? nullptr : std::calloc(1, n);
}

char* __wrap_strdup(const char* text)
{
    const std::size_t n = std::strlen(text) + 1;
    void* copy = __wrap_malloc(n);
    return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, n)) : nullptr;
}

} // extern "C"
