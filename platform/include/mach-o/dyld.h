// SPDX-License-Identifier: MIT
// dyld.h - the images (main program and shared objects) mapped into this process, in load order.
// Any thread; another thread that loads or unloads an image changes the numbers.
// Index 0 is the main program. An image whose static initialisers are running is already listed.
#pragma once

#include <stdint.h>
#include <veltrano/Symbol.h>

__BEGIN_DECLS

struct mach_header; // opaque: only the address matters

/// The images mapped now; may change between two calls.
uint32_t _dyld_image_count(void) VL_SYMBOL(_dyld_image_count);

/// The header of an image: the address of its first mapped byte. Null when the index is out of range.
const struct mach_header* _dyld_get_image_header(uint32_t index) VL_SYMBOL(_dyld_get_image_header);

/// The absolute path of an image's file as it was named at load, links unresolved. Null when the index
/// is out of range. Belongs to the loader and stays valid while the image is mapped.
const char* _dyld_get_image_name(uint32_t index) VL_SYMBOL(_dyld_get_image_name);

/// The header of the image that this is compiled into. Each image has its own, so it is no import.
extern const struct mach_header _mh_image_header __asm__("__ehdr_start")
    __attribute__((visibility("hidden")));

__END_DECLS
