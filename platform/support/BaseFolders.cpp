// SPDX-License-Identifier: MIT
// BaseFolders.cpp - the XDG base folders.
#include "support/BaseFolders.h"

#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <sys/stat.h>

// Strips the final "/". Relative paths count as unset, as the XDG rules require.
static std::string AbsoluteOrEmpty(std::string_view path)
{
    if (!path.starts_with('/'))
        return {};
    while (path.ends_with('/'))
        path.remove_suffix(1);
    return std::string(path);
}

static std::string_view Variable(const char* name)
{
    const char* value = secure_getenv(name); // null in a set-user-id process
    return value != nullptr ? value : "";
}

std::string BaseFolders_User(const char* variable, const char* below)
{
    std::string folder = AbsoluteOrEmpty(Variable(variable));
    if (folder.empty()) {
        std::string_view home = Variable("HOME");
        folder = home.starts_with('/') ? AbsoluteOrEmpty(home) + below : std::string();
    }
    return folder;
}

std::string BaseFolders_Local(const char* variable, const char* standard)
{
    std::string_view list = Variable(variable);
    while (!list.empty()) {
        std::string_view first = list.substr(0, list.find(':'));
        std::string folder = AbsoluteOrEmpty(first);
        if (!folder.empty())
            return folder;
        list.remove_prefix(first.size() + (first.size() < list.size() ? 1 : 0));
    }
    return standard;
}

int BaseFolders_Make(const std::string& path, unsigned mode)
{
    struct stat info;
    if (stat(path.c_str(), &info) == 0)
        return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
    for (size_t end = 1; end != std::string::npos;) {
        end = path.find('/', end);
        std::string folder = path.substr(0, end);
        if (mkdir(folder.c_str(), mode) != 0 && errno != EEXIST) {
            // The parent may exist although it is not writable.
            int error = errno;
            if (stat(folder.c_str(), &info) != 0 || !S_ISDIR(info.st_mode))
                return error;
        }
        end = end == std::string::npos ? end : end + 1;
    }
    if (stat(path.c_str(), &info) != 0)
        return errno;
    return S_ISDIR(info.st_mode) ? 0 : ENOTDIR;
}
