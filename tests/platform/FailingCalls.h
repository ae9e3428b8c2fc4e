// SPDX-License-Identifier: MIT
// FailingCalls.h - replaces system calls of the whole program, so that the n-th one fails with EIO.
// Include it in exactly one source of a test program.
#pragma once

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace FailingCalls {

inline int nUntilFailure = 0; // 1: the next call fails; 0: none does
inline std::string failedCall;

inline void Fail(int n)
{
    nUntilFailure = n;
    failedCall.clear();
}

/// No more failures; the name of the call that failed, empty when there was none.
inline std::string Stop()
{
    nUntilFailure = 0;
    return failedCall;
}

inline bool IsDue(const char* call)
{
    if (nUntilFailure == 0 || --nUntilFailure > 0) {
        return false;
    }
    failedCall = call;
    errno = EIO;
    return true;
}

} // namespace FailingCalls

// A call that fails does not happen, except that close closes.
#define FAILING_CALL(result, name, parameters, arguments)                                          \
    extern "C" __attribute__((visibility("default"))) result name parameters                       \
    {                                                                                              \
        bool isDue = FailingCalls::IsDue(#name);                                                   \
        if (isDue && std::string(#name) != "close") {                                              \
            return -1;                                                                             \
        }                                                                                          \
        static auto* real = reinterpret_cast<result(*) parameters>(dlsym(RTLD_NEXT, #name));       \
        return isDue ? (real arguments, errno = EIO, -1) : real arguments;                         \
    }

FAILING_CALL(int, close, (int fd), (fd))
FAILING_CALL(int, fchmod, (int fd, mode_t mode), (fd, mode))
FAILING_CALL(int, flock, (int fd, int operation), (fd, operation))
FAILING_CALL(int, fstat, (int fd, struct stat* info), (fd, info))
FAILING_CALL(int, fsync, (int fd), (fd))
FAILING_CALL(int, futimens, (int fd, const timespec* times), (fd, times))
FAILING_CALL(int, mkdir, (const char* path, mode_t mode), (path, mode))
FAILING_CALL(int, rename, (const char* from, const char* to), (from, to))
FAILING_CALL(int, stat, (const char* path, struct stat* info), (path, info))
FAILING_CALL(ssize_t, write, (int fd, const void* bytes, size_t n), (fd, bytes, n))

extern "C" __attribute__((visibility("default"))) int open(const char* path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
    va_end(arguments);
    return FailingCalls::IsDue("open") ? -1 : openat(AT_FDCWD, path, flags, mode);
}
