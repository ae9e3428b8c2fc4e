// SPDX-License-Identifier: MIT
// MemoryFile.h - the input of one turn as a file without a disk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

class MemoryFile
{
public:
    MemoryFile(const uint8_t* data, size_t size)
        : m_fd(memfd_create("input", 0))
        , m_path("/proc/self/fd/" + std::to_string(m_fd))
    {
        while (size != 0) {
            const ssize_t written = write(m_fd, data, size);
            if (written <= 0)
                break;
            data += written;
            size -= static_cast<size_t>(written);
        }
    }
    ~MemoryFile() { close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const char* Path() const { return m_path.c_str(); }

    std::string Contents() const
    {
        std::string contents;
        char buffer[4096];
        off_t at = 0;
        for (ssize_t n; (n = pread(m_fd, buffer, sizeof buffer, at)) > 0; at += n)
            contents.append(buffer, static_cast<size_t>(n));
        return contents;
    }

private:
    int m_fd;
    std::string m_path;
};
