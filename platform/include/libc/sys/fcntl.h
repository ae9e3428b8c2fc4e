// SPDX-License-Identifier: MIT
// sys/fcntl.h - open(2) with the two lock flags that Linux does not have.
// Only files that include this header get the further open; <fcntl.h> stays the C library's own.
#pragma once

#include <fcntl.h>

#ifdef __cplusplus
#include <veltrano/Symbol.h>

/// Flags of open(2), a lock among them. The type selects the open below, so that no build can take
/// the C library's by mistake, which would ignore the lock.
enum class OpenLockFlags : int {};

constexpr OpenLockFlags operator|(OpenLockFlags a, OpenLockFlags b)
{
    return OpenLockFlags { static_cast<int>(a) | static_cast<int>(b) };
}

constexpr OpenLockFlags operator|(OpenLockFlags a, int b)
{
    return a | OpenLockFlags { b };
}

constexpr OpenLockFlags operator|(int a, OpenLockFlags b)
{
    return OpenLockFlags { a } | b;
}

#define O_SHLOCK (OpenLockFlags { 0x10000000 }) // hold a shared flock from the open to the last close
#define O_EXLOCK (OpenLockFlags { 0x20000000 }) // the same, exclusive

/// open(2) with O_SHLOCK or O_EXLOCK, for regular files alone: EOPNOTSUPP for anything else. The lock is held
/// before the file is truncated. The call waits for it two seconds, or not at all with O_NONBLOCK, then fails
/// with EWOULDBLOCK. A file system without locks grants the open without one. In a sticky folder that all may
/// write, symbolic links of other users (ELOOP) and files with several names (EMLINK) are refused; a file that
/// is writable but cannot be opened with O_CREAT because another user owns it, is opened to append, not truncated.
/// Any thread.
///   mode     [in]  of a file that is created
///   returns  a descriptor with close-on-exec set; -1 with errno
///   example  open("/tmp/x.log", O_RDWR | O_SHLOCK | O_CREAT | O_TRUNC, 0666)
int open(const char* path, OpenLockFlags flags, mode_t mode = 0) VL_SYMBOL(open);
#endif
