// SPDX-License-Identifier: MIT
// Symbol.h - the binary name behind an API name.
// Sources say ShowWindow; the libraries export vlp_ShowWindow. A host that exports a ShowWindow of
// its own (any X toolkit may) therefore cannot capture the module's calls.
#pragma once

#define VL_SYMBOL(name) __asm__("vlp_" #name) __attribute__((__visibility__("default")))
