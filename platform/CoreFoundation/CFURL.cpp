// SPDX-License-Identifier: MIT
// CFURL.cpp - file URLs, stored as paths.
#include "CoreFoundation/CFObject.h"
#include "CoreServices/FileRefs.h"
#include "support/CatchAll.h"

#include <CoreFoundation/CFURL.h>

#include <climits>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

bool __CFURL::Equals(const CFObject& object, CFContainerPairs&) const
{
    const auto& other = static_cast<const __CFURL&>(object);
    return base == other.base && path == other.path && isFolder == other.isFolder;
}

std::string __CFURL::Absolute() const
{
    if (base.empty() || path.empty())
        return base.empty() ? path : base;
    return (base == "/" ? base : base + "/") + path;
}

CFURLRef CFURLCreateFromFileSystemRepresentation(CFAllocatorRef,
                                                 const UInt8* path,
                                                 CFIndex length,
                                                 Boolean isDirectory)
{
    if (path == nullptr || length <= 0
        || std::memchr(path, 0, static_cast<size_t>(length)) != nullptr)
        return nullptr;
    return CatchAll<CFURLRef>(nullptr, [&]() -> CFURLRef {
        std::string text(reinterpret_cast<const char*>(path), static_cast<size_t>(length));
        bool isFolder = isDirectory || text.ends_with('/');
        while (text.size() > 1 && text.ends_with('/'))
            text.pop_back();
        std::string base;
        if (!text.starts_with('/')) {
            char folder[PATH_MAX];
            if (getcwd(folder, sizeof(folder)) == nullptr)
                return nullptr;
            base = folder;
        }
        return CFObject_New<__CFURL>(std::move(base), std::move(text), isFolder);
    });
}

CFURLRef CFURLCreateCopyDeletingLastPathComponent(CFAllocatorRef, CFURLRef url)
{
    return CatchAll<CFURLRef>(nullptr, [&] {
        std::string path = url->path;
        size_t slash = path.rfind('/');
        std::string last = path.substr(slash == std::string::npos ? 0 : slash + 1);
        if (last == ".." || last == "." || path.empty())
            path += path.empty() ? ".." : "/.."; // the parent needs one more ".."
        else if (slash == std::string::npos)
            path.clear();
        else
            path.resize(slash == 0 ? 1 : slash);
        while (path.size() > 1 && path.ends_with('/'))
            path.pop_back(); // "a//b"
        return CFObject_New<__CFURL>(url->base, std::move(path), true);
    });
}

CFURLRef CFURLCreateFromFSRef(CFAllocatorRef, const FSRef* ref)
{
    const std::string* path = ref != nullptr ? FileRefs_Path(*ref) : nullptr;
    if (path == nullptr)
        return nullptr;
    struct stat info;
    bool isFolder = stat(path->c_str(), &info) == 0 && S_ISDIR(info.st_mode);
    return CFObject_New<__CFURL>(std::string(), *path, isFolder);
}

Boolean CFURLGetFileSystemRepresentation(CFURLRef url,
                                         Boolean resolveAgainstBase,
                                         UInt8* buffer,
                                         CFIndex size)
{
    return CatchAll<Boolean>(false, [&] {
        std::string path = resolveAgainstBase ? url->Absolute()
            : url->path.empty()               ? "."
                                              : url->path;
        if (buffer == nullptr || size < 0 || path.size() >= static_cast<size_t>(size))
            return false;
        std::memcpy(buffer, path.c_str(), path.size() + 1);
        return true;
    });
}
