// SPDX-License-Identifier: MIT
// BaseFolders.cpp - the XDG base folders.
#include "support/BaseFolders.h"

#include "support/FileBytes.h"

#include <cerrno>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

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

// The machine's id, read once in a process.
static const std::string& HostID()
{
    static const std::string* sHostID = [] {
        auto* found = new std::string;
        for (const char* file : { "/etc/machine-id", "/var/lib/dbus/machine-id" }) {
            std::string text;
            if (FileBytes_Read(file, 4096, text, nullptr) == 0)
                *found = text.substr(0, text.find_first_not_of("0123456789abcdef"));
            if (found->size() == 32)
                return found;
        }
        char name[256] = "";
        gethostname(name, sizeof(name) - 1);
        *found = name[0] != 0 ? name : "localhost";
        return found;
    }();
    return *sHostID;
}

std::string BaseFolders_Preferences(std::string_view application, bool isAnyUser)
{
    if (application.find('/') != application.npos || application.find('\0') != application.npos)
        return {};
    std::string path = isAnyUser ? BaseFolders_Local("XDG_CONFIG_DIRS", "/etc/xdg")
                                 : BaseFolders_User("XDG_CONFIG_HOME", "/.config");
    if (path.empty())
        return {};
    path += isAnyUser ? "/preferences/" : "/preferences/ByHost/";
    path += application;
    if (!isAnyUser)
        path += "." + HostID();
    return path + ".plist";
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
