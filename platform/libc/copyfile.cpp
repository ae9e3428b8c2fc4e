// SPDX-License-Identifier: MIT
// copyfile.cpp - access lists and attributes by the extended attributes that hold them.
#include <algorithm>
#include <cerrno>
#include <copyfile.h>
#include <new>
#include <optional>
#include <string>
#include <sys/xattr.h>
#include <vector>

namespace {

bool IsAskedFor(const std::string& name, copyfile_flags_t flags)
{
    if (name == "security.ima" || name == "security.evm")
        return false; // checksums of the contents, which the system keeps
    const bool isAccessList = name.starts_with("system.");
    return (flags & (isAccessList ? COPYFILE_ACL : COPYFILE_XATTR)) != 0;
}

// False with errno on failure.
bool ListNames(int fd, copyfile_flags_t flags, std::vector<std::string>& names)
{
    const ssize_t nSize = flistxattr(fd, nullptr, 0);
    std::string list(nSize > 0 ? static_cast<size_t>(nSize) : 0, '\0');
    const ssize_t nListed = nSize > 0 ? flistxattr(fd, list.data(), list.size()) : nSize;
    if (nListed < 0)
        return errno == ENOTSUP;
    for (const char *p = list.data(), *pEnd = p + nListed; p < pEnd; p += names.back().size() + 1)
        names.emplace_back(p);
    std::erase_if(names, [flags](const std::string& name) { return !IsAskedFor(name, flags); });
    return true;
}

// Reads an attribute. Empty with errno on failure.
std::optional<std::string> Read(int fd, const std::string& name)
{
    const ssize_t nSize = fgetxattr(fd, name.c_str(), nullptr, 0);
    if (nSize < 0)
        return {};
    std::string value(static_cast<size_t>(nSize), '\0');
    const ssize_t nRead = fgetxattr(fd, name.c_str(), value.data(), value.size());
    if (nRead < 0)
        return {};
    value.resize(static_cast<size_t>(nRead));
    return value;
}

int Copy(int from, int to, copyfile_flags_t flags)
{
    std::vector<std::string> wanted;
    std::vector<std::string> present;
    if (!ListNames(from, flags, wanted) || !ListNames(to, flags, present))
        return -1;
    for (const std::string& name : present) {
        if (std::find(wanted.begin(), wanted.end(), name) == wanted.end()
            && fremovexattr(to, name.c_str()) != 0)
            return -1;
    }
    for (const std::string& name : wanted) {
        const std::optional<std::string> value = Read(from, name);
        if (!value
            || (value != Read(to, name)
                && fsetxattr(to, name.c_str(), value->data(), value->size(), 0) != 0))
            return -1;
    }
    return 0;
}

} // namespace

int fcopyfile(int from, int to, copyfile_state_t state, copyfile_flags_t flags)
{
    if (state != nullptr || (flags & ~copyfile_flags_t { COPYFILE_ACL | COPYFILE_XATTR }) != 0) {
        errno = ENOTSUP;
        return -1;
    }
    try {
        return Copy(from, to, flags);
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return -1;
    }
}
