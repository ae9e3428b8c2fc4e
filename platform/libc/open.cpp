// SPDX-License-Identifier: MIT
// open.cpp - open with the lock flags that Linux lacks, by flock on the new descriptor.
#include <sys/fcntl.h>

#include <cerrno>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

// A file system without locks grants the open all the same.
static bool LockIsUnsupported(int error)
{
    return error == ENOLCK || error == EOPNOTSUPP || error == ENOSYS;
}

static bool Lock(int fd, int flags)
{
    int operation = (flags & static_cast<int>(O_EXLOCK)) ? LOCK_EX : LOCK_SH;
    if (flags & O_NONBLOCK)
        operation |= LOCK_NB;
    int result = -1;
    do {
        result = flock(fd, operation);
    } while (result != 0 && errno == EINTR);
    return result == 0 || LockIsUnsupported(errno);
}

// Devices and pipes ignore O_TRUNC, where ftruncate would refuse them.
static bool Truncate(int fd)
{
    struct stat info;
    return fstat(fd, &info) == 0 && (!S_ISREG(info.st_mode) || ftruncate(fd, 0) == 0);
}

int open(const char* path, OpenLockFlags lockFlags, mode_t mode)
{
    const int flags = static_cast<int>(lockFlags);
    // The old contents stay until the lock is held: its holder may still be reading them. A child
    // process must not inherit the descriptor, since it would hold the lock as well.
    const int plainFlags = flags & ~(static_cast<int>(O_SHLOCK | O_EXLOCK) | O_TRUNC);
    int fd = openat(AT_FDCWD, path, plainFlags | O_CLOEXEC, mode);
    if (fd < 0)
        return -1;
    if (!Lock(fd, flags) || ((flags & O_TRUNC) && !Truncate(fd))) {
        int error = errno;
        close(fd);
        errno = error;
        return -1;
    }
    return fd;
}
