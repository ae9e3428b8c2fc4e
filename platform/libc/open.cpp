// SPDX-License-Identifier: MIT
// open.cpp - open with the lock flags that Linux lacks, by flock on the new descriptor.
// Such a file is shared, so what others have put in its place is met here.
#include "support/FileBytes.h"

#include <sys/fcntl.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

constexpr int kLongestWait = 2000; // milliseconds for the lock

// The folder of a path. False when anybody may put a link of that name into it.
static bool IsPrivateFolder(const char* path, struct stat& folder)
{
    char name[PATH_MAX] = ".";
    if (const char* slash = strrchr(path, '/'))
        memcpy(name, path, std::min(static_cast<size_t>(slash + 1 - path), sizeof(name) - 1));
    constexpr mode_t kShared = S_ISVTX | S_IWOTH;
    return stat(name, &folder) == 0 && (folder.st_mode & kShared) != kShared;
}

static int Refuse(int fd, int error)
{
    close(fd);
    errno = error;
    return -1;
}

int open(const char* path, OpenLockFlags lockFlags, mode_t mode)
{
    int flags = static_cast<int>(lockFlags);
    // The old contents stay until the lock is held: its holder may still be reading them. A child
    // process must not inherit the descriptor, since it would hold the lock as well. No pipe is waited for.
    int plainFlags
        = (flags & ~(static_cast<int>(O_SHLOCK | O_EXLOCK) | O_TRUNC)) | O_CLOEXEC | O_NONBLOCK;
    // In a shared folder, a link of another user leads to a file that only we may write, and a hard
    // link is one. The kernel refuses them too, where that is switched on.
    struct stat folder = {};
    struct stat info;
    const bool isPrivate = IsPrivateFolder(path, folder);
    if (!isPrivate
        && (lstat(path, &info) != 0 || (info.st_uid != geteuid() && info.st_uid != folder.st_uid)))
        plainFlags |= O_NOFOLLOW;
    int fd = openat(AT_FDCWD, path, plainFlags, mode);
    if (fd < 0 && errno == EACCES && (flags & (O_CREAT | O_EXCL)) == O_CREAT) {
        // Some kernels refuse O_CREAT for a file of another user in such a folder, though all may write it.
        flags &= ~O_TRUNC;
        fd = openat(AT_FDCWD, path, (plainFlags & ~O_CREAT) | O_APPEND);
        errno = fd < 0 ? EACCES : errno;
    }
    if (fd < 0)
        return -1;
    if (fstat(fd, &info) != 0)
        return Refuse(fd, errno);
    if (!S_ISREG(info.st_mode))
        return Refuse(fd, EOPNOTSUPP);
    if (!isPrivate && info.st_nlink > 1)
        return Refuse(fd, EMLINK);
    const int operation = (flags & static_cast<int>(O_EXLOCK)) ? LOCK_EX : LOCK_SH;
    if (!FileBytes_Lock(fd, operation, (flags & O_NONBLOCK) ? 0 : kLongestWait)
        || ((flags & O_TRUNC) && ftruncate(fd, 0) != 0))
        return Refuse(fd, errno);
    return fd;
}
