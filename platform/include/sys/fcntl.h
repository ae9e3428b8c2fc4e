// SPDX-License-Identifier: MIT
// sys/fcntl.h - open(2) with the two lock flags that Linux does not have.
// Only files that include this header get the widened open; <fcntl.h> stays the C library's own.
#pragma once

#include <fcntl.h>
#include <veltrano/Symbol.h>

#define O_SHLOCK 0x10000000 // hold a shared flock from the open to the last close
#define O_EXLOCK 0x20000000 // the same, exclusive

#ifdef __cplusplus
extern "C" {
#endif

/// open(2). With O_SHLOCK or O_EXLOCK the lock is held before the file is truncated; the call waits
/// for it unless O_NONBLOCK is given. A file system without locks grants the open without one.
///   returns  a descriptor with close-on-exec set when a lock was asked for; -1 with errno
int open(const char* path, int flags, ...) VL_SYMBOL(open);

#ifdef __cplusplus
}
#endif
