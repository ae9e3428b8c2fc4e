// SPDX-License-Identifier: MIT
// FailingNew.cpp - the allocation operators of a test program, and malloc and strdup of its objects when it is
// linked with --wrap=malloc,--wrap=strdup. In its own file: a compiler that sees both ends of an allocation warns.
#include "tests/support/FailingNew.h"

#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <new>

using namespace FailingNew;

static void* Allocate(std::size_t n, void* caller) noexcept
{
    Dl_info info;
    const char* library = lpszLibrary; // which another thread may reset meanwhile
    const bool isCounted = library == nullptr
        || (dladdr(caller, &info) != 0 && std::strstr(info.dli_fname, library) != nullptr);
    return isCounted && IsDue() ? nullptr : std::calloc(1, n != 0 ? n : 1);
}

void* operator new(std::size_t n, const std::nothrow_t&) noexcept
{
    return Allocate(n, __builtin_return_address(0));
}

void* operator new(std::size_t n)
{
    if (void* block = Allocate(n, __builtin_return_address(0)))
        return block;
    throw std::bad_alloc();
}

void* operator new[](std::size_t n, const std::nothrow_t&) noexcept
{
    void* block = Allocate(n, __builtin_return_address(0));
    nArrays += block != nullptr;
    return block;
}

void* operator new[](std::size_t n)
{
    if (void* block = operator new[](n, std::nothrow))
        return block;
    throw std::bad_alloc();
}

void operator delete(void* block) noexcept { std::free(block); }

void operator delete(void* block, std::size_t) noexcept { std::free(block); }

void operator delete[](void* block) noexcept
{
    nArrays -= block != nullptr;
    std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept { operator delete[](block); }

extern "C" {

__attribute__((visibility("default"))) void* __wrap_malloc(std::size_t n);
__attribute__((visibility("default"))) char* __wrap_strdup(const char* text);

void* __wrap_malloc(std::size_t n) { return IsDue() ? nullptr : std::calloc(1, n); }

char* __wrap_strdup(const char* text)
{
    const std::size_t n = std::strlen(text) + 1;
    void* copy = __wrap_malloc(n);
    return copy != nullptr ? static_cast<char*>(std::memcpy(copy, text, n)) : nullptr;
}

} // extern "C"
