// SPDX-License-Identifier: MIT
// Symbol.h - how the two platform libraries export a function.
// VL_SYMBOL: sources say ShowWindow, the library exports vlp_ShowWindow. A host that exports a ShowWindow of
// its own (any X toolkit may) therefore cannot capture the module's calls.
// VL_EXPORT: the function keeps its own name, for foreign-function interfaces.
#pragma once

#include <sys/cdefs.h> // __BEGIN_DECLS: C linkage, in C++ as well

#define VL_EXPORT __attribute__((__visibility__("default")))
#define VL_SYMBOL(name) __asm__("vlp_" #name) __attribute__((__visibility__("default")))
