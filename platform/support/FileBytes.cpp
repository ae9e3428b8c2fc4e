// SPDX-License-Identifier: MIT
// FileBytes.cpp - whole small files.
#include "support/FileBytes.h"

#include "support/CatchAll.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

static int ReadAll(int fd, size_t limit, std::string& bytes, struct stat& info)
{
    if (fstat(fd, &info) != 0)
        return errno;
    if (!S_ISREG(info.st_mode))
        return S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    if (info.st_size < 0 || static_cast<unsigned long long>(info.st_size) > limit)
        return EFBIG;
    bytes.resize(static_cast<size_t>(info.st_size));
    size_t nRead = 0;
    while (nRead < bytes.size()) {
        ssize_t n = read(fd, bytes.data() + nRead, bytes.size() - nRead);
        if (n < 0 && errno != EINTR)
            return errno;
        if (n == 0)
            break; // the file was truncated meanwhile
        nRead += n > 0 ? static_cast<size_t>(n) : 0;
    }
    bytes.resize(nRead);
    return 0;
}

int FileBytes_Read(const char* path, size_t limit, std::string& bytes, struct stat* info)
{
    int fd = open(path,
                  O_RDONLY | O_CLOEXEC | O_NONBLOCK); // O_NONBLOCK: never wait for a pipe's writer
    if (fd < 0)
        return errno;
    struct stat opened = {};
    const int error = CatchAll(ENOMEM, [&] { return ReadAll(fd, limit, bytes, opened); });
    close(fd);
    if (info != nullptr)
        *info = opened;
    return error;
}

static int WriteAll(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        ssize_t n = write(fd, bytes.data(), bytes.size());
        if (n < 0 && errno != EINTR)
            return errno;
        bytes.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
    return 0;
}

bool FileBytes_IsUnsupported(int error)
{
    return error == EOPNOTSUPP || error == ENOSYS || error == EINVAL || error == EPERM
        || error == ENOLCK;
}

bool FileBytes_Lock(int fd, int operation, int milliseconds) noexcept
{
    for (;; --milliseconds) {
        if (flock(fd, operation | LOCK_NB) == 0)
            return true;
        if (errno != EWOULDBLOCK && errno != EINTR)
            return FileBytes_IsUnsupported(errno);
        if (milliseconds <= 0)
            break;
        const timespec pause = { 0, 1000000 };
        nanosleep(&pause, nullptr);
    }
    errno = EWOULDBLOCK;
    return false;
}

// The error of a call; 0 if the file system does not support the operation.
static int ErrorIfSupported(int result)
{
    return result == 0 || FileBytes_IsUnsupported(errno) ? 0 : errno;
}

// Sets an exact time stamp: the kernel's own have the granularity of its clock tick, too coarse to tell two
// versions with the same size and inode number apart.
static int Stamp(int fd)
{
    timespec times[2] = { { 0, UTIME_OMIT }, { 0, 0 } };
    clock_gettime(CLOCK_REALTIME, &times[1]);
    return ErrorIfSupported(futimens(fd, times));
}

static int WriteTemporary(int fd, std::string_view bytes, mode_t mode, struct stat& info)
{
    int error = ErrorIfSupported(fchmod(fd, mode));
    if (error == 0)
        error = WriteAll(fd, bytes);
    if (error == 0)
        error = Stamp(fd);
    if (error == 0 && fsync(fd) != 0)
        error = errno;
    if (error == 0 && fstat(fd, &info) != 0)
        error = errno;
    if (close(fd) != 0 && error == 0)
        error = errno;
    return error;
}

// Opens the folder of `path`; -1 with errno. Throws bad_alloc.
static int OpenFolder(const std::string& path)
{
    size_t slash = path.rfind('/');
    std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
    return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

int FileBytes_FlushFolder(const std::string& path) noexcept
{
    return CatchAll<int>(ENOMEM, [&] {
        int folder = OpenFolder(path);
        if (folder < 0)
            return errno;
        int error = ErrorIfSupported(fsync(folder));
        close(folder);
        return error;
    });
}

static int ReplaceIn(int folder,
                     const char* temporary,
                     const char* path,
                     std::string_view bytes,
                     mode_t mode,
                     struct stat* info)
{
    // Left by a killed writer, or planted by another user.
    unlink(temporary);
    int fd = open(temporary, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode);
    if (fd < 0)
        return errno;
    struct stat written = {};
    int error = WriteTemporary(fd, bytes, mode, written);
    if (error == 0 && rename(temporary, path) != 0)
        error = errno;
    if (error != 0) {
        unlink(temporary);
        return error;
    }
    if (info != nullptr)
        *info = written;
    return ErrorIfSupported(fsync(folder));
}

int FileBytes_Replace(const std::string& path,
                      std::string_view bytes,
                      mode_t mode,
                      struct stat* info) noexcept
{
    return CatchAll<int>(ENOMEM, [&] {
        std::string temporary = path + ".tmp";
        int folder = OpenFolder(path); // first: after the rename only its fsync can fail
        if (folder < 0)
            return errno;
        int error = ReplaceIn(folder, temporary.c_str(), path.c_str(), bytes, mode, info);
        close(folder);
        return error;
    });
}

int FileBytes_ResolveLinks(std::string& path) noexcept
{
    constexpr int kMostLinks = 40; // as in the kernel
    return CatchAll<int>(ENOMEM, [&] {
        char target[PATH_MAX];
        for (int i = 0; i < kMostLinks; ++i) {
            const ssize_t n = readlink(path.c_str(), target, sizeof(target));
            if (n < 0)
                return errno == EINVAL || errno == ENOENT ? 0 : errno;
            if (target[0] != '/')
                path.resize(path.rfind('/') + 1);
            else
                path.clear();
            path.append(target, static_cast<size_t>(n));
        }
        return ELOOP;
    });
}
