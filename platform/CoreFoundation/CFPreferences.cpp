// SPDX-License-Identifier: MIT
// CFPreferences.cpp - preferences: one property list file a domain (application, user, host).
// A domain is kept as it was last read, and, once something is set, as it shall be. A synchronize takes
// the domain's lock file first, then reads what is on disk now and writes the three merged, so that
// processes which change different entries, at any depth, lose nothing. The lock file is never
// removed: a process may be waiting for it.
#include "CoreFoundation/CFObject.h"
#include "CoreFoundation/PropertyList.h"
#include "CoreFoundation/Ref.h"
#include "CoreServices/BaseFolders.h"
#include "libc/FileBytes.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

static constinit const __CFString sAnyUser("kCFPreferencesAnyUser");
static constinit const __CFString sCurrentUser("kCFPreferencesCurrentUser");
static constinit const __CFString sAnyHost("kCFPreferencesAnyHost");
static constinit const __CFString sCurrentHost("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyUser = &sAnyUser;
const CFStringRef kCFPreferencesCurrentUser = &sCurrentUser;
const CFStringRef kCFPreferencesAnyHost = &sAnyHost;
const CFStringRef kCFPreferencesCurrentHost = &sCurrentHost;

// --- where a domain lives ---

// This machine's number, the same as long as the process lives.
static const std::string& HostID()
{
    static const std::string* sHostID = [] {
        auto* found = new std::string;
        for (const char* file : { "/etc/machine-id", "/var/lib/dbus/machine-id" }) {
            std::string text;
            if (FileBytes_Read(file, 4096, text, nullptr) == 0) {
                *found = text.substr(0, text.find_first_not_of("0123456789abcdef"));
            }
            if (found->size() == 32) {
                return found;
            }
        }
        char name[256] = "";
        gethostname(name, sizeof(name) - 1);
        *found = name[0] != 0 ? name : "localhost";
        return found;
    }();
    return *sHostID;
}

struct Scope
{
    bool isAnyUser;
    bool isAnyHost;
};

static bool FindScope(CFStringRef user, CFStringRef host, Scope& scope)
{
    scope = { user == kCFPreferencesAnyUser, host == kCFPreferencesAnyHost };
    return (scope.isAnyUser || user == kCFPreferencesCurrentUser)
        && (scope.isAnyHost || host == kCFPreferencesCurrentHost);
}

// The file of a domain; empty when it has no place.
static std::string DomainPath(std::string_view application, Scope scope)
{
    if (application.find('/') != application.npos || application.find('\0') != application.npos) {
        return {};
    }
    std::string path = scope.isAnyUser ? BaseFolders_Local("XDG_CONFIG_DIRS", "/etc/xdg")
                                       : BaseFolders_User("XDG_CONFIG_HOME", "/.config");
    if (path.empty()) {
        return {};
    }
    path += "/preferences/";
    if (scope.isAnyUser && scope.isAnyHost) {
        path += "Network/";
    } else if (!scope.isAnyUser && !scope.isAnyHost) {
        path += "ByHost/";
    }
    path += application;
    if (!scope.isAnyUser && !scope.isAnyHost) {
        path += "." + HostID();
    }
    return path + ".plist";
}

// --- a domain ---

// Tells one version of a file from another.
struct Version
{
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec changed = {};

    Version() = default;
    explicit Version(const struct stat& info)
        : exists(true)
        , device(info.st_dev)
        , inode(info.st_ino)
        , size(info.st_size)
        , changed(info.st_mtim)
    {
    }
    bool operator==(const Version& other) const
    {
        return exists == other.exists && device == other.device && inode == other.inode
            && size == other.size && changed.tv_sec == other.changed.tv_sec
            && changed.tv_nsec == other.changed.tv_nsec;
    }
};

// A file as it was read.
struct Contents
{
    int error = 0; // errno of the attempt; ENOENT: empty
    bool isDamaged = false;
    Version version;
    Ref<__CFDictionary*> values; // empty with an error or damage
};

struct Domain
{
    Scope scope = {};
    std::string application;
    std::string path; // empty: no place
    bool mustLook = true; // the file may have changed since it was read
    bool isRefused = false; // a value that cannot be kept was set since the last synchronize
    Contents read; // last read or written
    Ref<__CFDictionary*> values; // as they shall be; the same object as read.values: nothing set
};

struct Domains
{
    std::mutex lock;
    std::map<std::string, Domain, std::less<>> byApplication[2][2]; // any user, any host
};

static Domains& GetDomains()
{
    static Domains* sDomains = new Domains; // leaked: usable until the very end
    return *sDomains;
}

// The domain, made on first use. Throws bad_alloc.
static Domain& FindDomain(Domains& domains, CFStringRef application, Scope scope)
{
    auto& map = domains.byApplication[scope.isAnyUser][scope.isAnyHost];
    auto found = map.find(application->Text());
    if (found != map.end()) {
        return found->second;
    }
    Domain domain;
    domain.scope = scope;
    domain.application = application->Text();
    domain.path = DomainPath(domain.application, scope);
    domain.read.values = Ref<__CFDictionary*>(new __CFDictionary);
    domain.values = Ref<__CFDictionary*>::Retained(domain.read.values.Get());
    return map.emplace(domain.application, std::move(domain)).first->second;
}

static bool IsChanged(const Domain& domain)
{
    return domain.values.Get() != domain.read.values.Get();
}

// Takes over what is on disk, with nothing set.
static void Adopt(Domain& domain, Contents contents)
{
    domain.values = Ref<__CFDictionary*>::Retained(contents.values.Get());
    domain.read = std::move(contents);
    domain.mustLook = false;
}

// Reads a file. Throws bad_alloc.
static Contents ReadFile(const std::string& path)
{
    Contents contents;
    contents.values = Ref<__CFDictionary*>(new __CFDictionary);
    std::string xml;
    struct stat info;
    contents.error
        = path.empty() ? ENOENT : FileBytes_Read(path.c_str(), kPropertyListLargest, xml, &info);
    if (contents.error == EFBIG) { // no file of ours
        contents.isDamaged = true;
    } else if (contents.error == 0) {
        contents.version = Version(info);
        Ref<> root(PropertyList_CreateFromXML(xml));
        contents.isDamaged = !root || CFGetTypeID(root.Get()) != kTypeDictionary;
        if (!contents.isDamaged) {
            auto* values = static_cast<const __CFDictionary*>(root.Release());
            contents.values = Ref<__CFDictionary*>(const_cast<__CFDictionary*>(values));
        }
    }
    return contents;
}

// Whether the file is still the one that was read.
static bool IsUnchanged(const Domain& domain)
{
    if (domain.read.error != 0) {
        return false;
    }
    struct stat info;
    return stat(domain.path.c_str(), &info) == 0 && Version(info) == domain.read.version;
}

// Makes the values those of the file, unless something is set or nobody asked for a new look.
static void Refresh(Domain& domain)
{
    if (domain.mustLook && !IsChanged(domain)) {
        if (!IsUnchanged(domain)) {
            Adopt(domain, ReadFile(domain.path));
        }
        domain.mustLook = false;
    }
}

// --- merging ---

static const __CFDictionary* AsDictionary(CFTypeRef value)
{
    bool isOne = value != nullptr && CFGetTypeID(value) == kTypeDictionary;
    return isOne ? static_cast<const __CFDictionary*>(value) : nullptr;
}

// The value that a key gets: ours if we changed it since `base` was read, else the one on disk; when both
// sides changed a dictionary, entry by entry. Null: none. One reference. Throws bad_alloc.
static CFTypeRef Merge(CFTypeRef base, CFTypeRef ours, CFTypeRef disk)
{
    bool isOurs = ours == nullptr ? base != nullptr : base == nullptr || !CFEqual(base, ours);
    if (!isOurs || ours == nullptr) {
        return isOurs || disk == nullptr ? nullptr : CFRetain(disk);
    }
    const __CFDictionary* ourEntries = AsDictionary(ours);
    const __CFDictionary* baseEntries = AsDictionary(base);
    const __CFDictionary* diskEntries = AsDictionary(disk);
    if (ourEntries == nullptr || (baseEntries == nullptr && diskEntries == nullptr)) {
        return CFRetain(ours);
    }
    Ref<__CFDictionary*> merged(new __CFDictionary);
    auto find = [](const __CFDictionary* entries, const __CFDictionary::Entry& like) -> CFTypeRef {
        const auto* found = entries != nullptr ? entries->Find(like.key, like.hash) : nullptr;
        return found != nullptr ? found->value : nullptr;
    };
    auto add = [&](const __CFDictionary::Entry& entry, CFTypeRef onDisk) {
        Ref<> value(Merge(find(baseEntries, entry), find(ourEntries, entry), onDisk));
        if (value) {
            merged->Set(entry.key, value.Get());
        }
    };
    if (diskEntries != nullptr) {
        for (const auto& entry : diskEntries->entries) {
            add(entry, entry.value);
        }
    }
    for (const auto& entry : ourEntries->entries) {
        if (find(diskEntries, entry) == nullptr) {
            add(entry, nullptr);
        }
    }
    return merged.Release();
}

// --- writing ---

// Holds the domain's lock file, waiting for other processes.
class FileLock
{
public:
    FileLock(const std::string& path, mode_t mode)
    {
        m_fd = open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, mode);
        int result = -1;
        do {
            result = m_fd >= 0 ? flock(m_fd, LOCK_EX) : -1;
        } while (result != 0 && m_fd >= 0 && errno == EINTR);
        m_isHeld = result == 0;
    }
    ~FileLock()
    {
        if (m_fd >= 0) {
            close(m_fd);
        }
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool IsHeld() const { return m_isHeld; }

private:
    int m_fd = -1;
    bool m_isHeld = false;
};

// Gives a damaged file a name of its own, so that it is never overwritten. Empty when that failed.
static std::string MoveAside(const std::string& path)
{
    struct stat info;
    std::string aside;
    for (int n = 1; aside.empty() || lstat(aside.c_str(), &info) == 0; ++n) {
        aside = path + ".damaged-" + std::to_string(n);
    }
    if (rename(path.c_str(), aside.c_str()) != 0) {
        aside.clear();
    }
    return aside; // moved, not copied: nothing may fail once the file has its new name
}

static bool Remove(const std::string& path)
{
    return unlink(path.c_str()) == 0 ? FileBytes_FlushFolder(path) == 0 : errno == ENOENT;
}

// Writes the values over what is on disk, whose place they take. Throws bad_alloc.
static bool WriteFile(const Domain& domain, const Contents& disk, Contents& merged)
{
    std::string xml;
    if (!PropertyList_FormatXML(merged.values.Get(), xml)) {
        return false;
    }
    std::string aside;
    if (disk.isDamaged) {
        aside = MoveAside(domain.path);
        if (aside.empty()) {
            return false;
        }
    }
    bool isDone = false;
    if (merged.values->entries.empty()) {
        merged.error = ENOENT;
        isDone = Remove(domain.path);
    } else {
        struct stat info;
        isDone
            = FileBytes_Replace(domain.path, xml, domain.scope.isAnyUser ? 0644 : 0600, &info) == 0;
        merged.version = isDone ? Version(info) : Version();
    }
    if (!isDone && !aside.empty()) {
        rename(aside.c_str(), domain.path.c_str());
    }
    return isDone;
}

// Merges what was set into what is on disk. Throws bad_alloc.
static bool Write(Domain& domain)
{
    std::string folder = domain.path.substr(0, domain.path.rfind('/'));
    if (BaseFolders_Make(folder, domain.scope.isAnyUser ? 0775 : 0700) != 0) {
        return false;
    }
    FileLock lock(domain.path + ".lock", domain.scope.isAnyUser ? 0644 : 0600);
    if (!lock.IsHeld()) {
        return false;
    }
    Contents disk;
    Contents merged;
    if (IsUnchanged(domain)) {
        disk.isDamaged = domain.read.isDamaged;
        merged.values = Ref<__CFDictionary*>::Retained(domain.values.Get());
    } else {
        disk = ReadFile(domain.path);
        if (disk.error != 0 && disk.error != ENOENT && !disk.isDamaged) {
            return false; // there is something that cannot be read: leave it alone
        }
        CFTypeRef values = Merge(domain.read.values.Get(), domain.values.Get(), disk.values.Get());
        merged.values = Ref<__CFDictionary*>(const_cast<__CFDictionary*>(AsDictionary(values)));
    }
    if (!WriteFile(domain, disk, merged)) {
        return false;
    }
    Adopt(domain, std::move(merged));
    return true;
}

// --- the routines ---

void CFPreferencesSetValue(CFStringRef key,
                           CFPropertyListRef value,
                           CFStringRef application,
                           CFStringRef user,
                           CFStringRef host)
{
    Scope scope;
    if (!FindScope(user, host, scope)) {
        return;
    }
    Domains& domains = GetDomains();
    std::lock_guard lock(domains.lock);
    Domain* domain = nullptr;
    try {
        domain = &FindDomain(domains, application, scope);
        Refresh(*domain);
        const auto* found = domain->values->Find(key);
        if (value == nullptr ? found == nullptr
                             : found != nullptr && CFEqual(found->value, value)) {
            return;
        }
        Ref<> copy(value != nullptr ? PropertyList_CreateDeepCopy(value) : nullptr);
        if (key->Text().find('\0') != std::string_view::npos || (value != nullptr && !copy)) {
            domain->isRefused = true;
            return;
        }
        Ref<__CFDictionary*> changed;
        if (!IsChanged(*domain)) {
            changed = Ref<__CFDictionary*>(new __CFDictionary(*domain->values.Get()));
        }
        __CFDictionary* values = changed ? changed.Get() : domain->values.Get();
        if (value != nullptr) {
            values->Set(key, copy.Get());
        } else {
            values->Remove(key);
        }
        if (changed) {
            domain->values = std::move(changed);
        }
    } catch (...) {
        if (domain != nullptr) {
            domain->isRefused = true;
        }
    }
}

CFPropertyListRef
CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host)
{
    Scope scope;
    if (!FindScope(user, host, scope)) {
        return nullptr;
    }
    Domains& domains = GetDomains();
    std::lock_guard lock(domains.lock);
    try {
        Domain& domain = FindDomain(domains, application, scope);
        Refresh(domain);
        const auto* found = domain.values->Find(key);
        return found != nullptr ? CFRetain(found->value) : nullptr;
    } catch (...) {
        return nullptr;
    }
}

CFArrayRef CFPreferencesCopyKeyList(CFStringRef application, CFStringRef user, CFStringRef host)
{
    Scope scope;
    if (!FindScope(user, host, scope)) {
        return nullptr;
    }
    Domains& domains = GetDomains();
    std::lock_guard lock(domains.lock);
    try {
        Domain& domain = FindDomain(domains, application, scope);
        Refresh(domain);
        std::vector<const void*> keys;
        for (const auto& entry : domain.values->entries) {
            keys.push_back(entry.key);
        }
        return keys.empty() ? nullptr
                            : CFArrayCreate(nullptr, keys.data(), static_cast<CFIndex>(keys.size()),
                                            &kCFTypeArrayCallBacks);
    } catch (...) {
        return nullptr;
    }
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host)
{
    Scope scope;
    if (!FindScope(user, host, scope)) {
        return false;
    }
    Domains& domains = GetDomains();
    std::lock_guard lock(domains.lock);
    try {
        Domain& domain = FindDomain(domains, application, scope);
        std::string path = DomainPath(domain.application, scope);
        if (path != domain.path) { // the environment names another place now
            domain.path = path;
            domain.read.error = ENOENT; // what was read is of another file
        }
        bool isRefused = std::exchange(domain.isRefused, false);
        if (domain.path.empty()) {
            return false;
        }
        if (IsChanged(domain)) {
            return Write(domain) && !isRefused;
        }
        domain.mustLook = true;
        return !isRefused;
    } catch (...) {
        return false;
    }
}
