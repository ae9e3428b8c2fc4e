// SPDX-License-Identifier: MIT
// FileBytes.h - whole small files: read at once, replaced at once.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <sys/stat.h>

/// Reads a regular file whole.
///   limit    [in]   the largest size in bytes that is accepted
///   bytes    [out]  the contents; unspecified on failure
///   info     [out]  the file as it was opened; may be null, unspecified on failure
///   returns  0; else the errno: EFBIG beyond the limit, EISDIR or EINVAL for what is no regular file,
///            ENOMEM
int FileBytes_Read(const char* path, size_t limit, std::string& bytes, struct stat* info);

/// Replaces a file durably and in one step: a reader, or a crash, meets the old contents or the new ones.
/// One writer at a time: the temporary file has the fixed name `path`.tmp, and whatever stands there is
/// removed. File systems without modes, stamps or a flush of folders will do.
///   mode     [in]   exact permissions of the new file
///   info     [out]  the new file, once it is in place; may be null, else untouched
///   returns  0; else the errno, the old file being as it was, except when the very last step fails, the
///            flush of the folder: the new contents stand there, but might not survive a power failure
int FileBytes_Replace(const std::string& path,
                      std::string_view bytes,
                      mode_t mode,
                      struct stat* info) noexcept;

/// Flushes the folder that `path` stands in, so that a new, renamed or removed name lasts.
int FileBytes_FlushFolder(const std::string& path) noexcept;

/// Replaces a path that is a symbolic link by its target, which need not exist.
///   returns  0; else the errno, the path being unspecified
int FileBytes_ResolveLinks(std::string& path) noexcept;

/// Whether an errno says that the file system has no such operation.
bool FileBytes_IsUnsupported(int error);

/// Takes a lock as flock(2) does, but waits for it at most about so many milliseconds: any process that can open
/// a file can hold its lock indefinitely.
///   operation  [in]  LOCK_SH or LOCK_EX
///   returns    whether it is held, or the file system has no locks; else false with errno, EWOULDBLOCK
///              when the wait was in vain
bool FileBytes_Lock(int fd, int operation, int milliseconds) noexcept;
