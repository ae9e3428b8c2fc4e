// SPDX-License-Identifier: MIT
// CFPreferences.cpp - preferences: one property list file for each domain (application, user, host).
// A domain keeps the file's values as last read and, after a set, the values to write. Reloading the file
// merges: entries that were set here are kept, all others are taken from the file, at any depth. Processes
// that change different entries therefore lose no updates.
// - CFPreferencesCopyValue reloads a changed file. CFPreferencesSetValue does so only as the first call after
//   a synchronize: callers modify a copied dictionary, so its differences from that copy are the change.
// - A set of any other value is recorded even if it equals the value last read.
// - Writing merges again under the domain's lock file. The lock file is never removed: another process may be
//   waiting for it.
#include "CoreFoundation/CFObject.h"
#include "CoreFoundation/PropertyList.h"
#include "support/BaseFolders.h"
#include "support/CatchAll.h"
#include "support/FileBytes.h"
#include "support/Immortal.h"
#include "support/Ref.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <map>
#include <mutex>
#include <new>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

static constinit const __CFString sAnyUser("kCFPreferencesAnyUser");
static constinit const __CFString sCurrentUser("kCFPreferencesCurrentUser");
static constinit const __CFString sCurrentHost("kCFPreferencesCurrentHost");
const CFStringRef kCFPreferencesAnyUser = &sAnyUser;
const CFStringRef kCFPreferencesCurrentUser = &sCurrentUser;
const CFStringRef kCFPreferencesCurrentHost = &sCurrentHost;

// --- a domain ---

namespace {

// Identifies a version of a file.
struct Version
{
    Version() = default;
    explicit Version(const struct stat& info)
        : device(info.st_dev)
        , inode(info.st_ino)
        , size(info.st_size)
        , seconds(info.st_mtim.tv_sec)
        , nanoseconds(info.st_mtim.tv_nsec)
    {
    }
    bool operator==(const Version&) const = default;

    // File systems truncate time stamps, some to two seconds. With nanoseconds our own writes have exact
    // stamps, but those of other writers have the granularity of the kernel's clock tick.
    bool HasFineStamp() const { return nanoseconds % 1000 != 0; }
    bool IsOlderThanATick(const timespec& now) const
    {
        const auto age = std::chrono::seconds(now.tv_sec - seconds)
            + std::chrono::nanoseconds(now.tv_nsec - nanoseconds);
        return age > (HasFineStamp() ? std::chrono::milliseconds(20) : std::chrono::seconds(2));
    }

    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    time_t seconds = 0; // the last change
    long nanoseconds = 0;
};

// A file as it was read.
struct Contents
{
    int error = 0; // errno; ENOENT: no file
    bool isDamaged = false;
    Version version;
    bool isProof = false; // no other version can have the same stamp
    Ref<__CFDictionary*> values; // empty if the file is unreadable or damaged
};

struct Domain
{
    bool isAnyUser = false;
    std::string application;
    std::string path; // empty: no file is possible
    bool isUnflushed = false; // the file is written, but the flush of its folder failed
    bool isRefused = false; // an unsupported value was set since the last synchronize
    bool mustLook = true; // not read since the last synchronize
    Contents read; // as last read or written
    Ref<__CFDictionary*> values; // to write; the same object as read.values if nothing was changed
    std::map<std::string, Ref<>, std::less<>>
        plain; // values set that are no dictionaries; null: removed
};

struct Domains
{
    std::mutex lock;
    std::map<std::string, Domain, std::less<>> byApplication[2]; // current user, any user
};

} // namespace

// Finds or creates a domain. Throws bad_alloc.
static Domain& FindDomain(Domains& domains, CFStringRef application, bool isAnyUser)
{
    auto& map = domains.byApplication[isAnyUser];
    auto found = map.find(application->Text());
    if (found != map.end())
        return found->second;
    Domain domain;
    domain.isAnyUser = isAnyUser;
    domain.application = application->Text();
    domain.path = BaseFolders_Preferences(domain.application, isAnyUser);
    domain.read.values = Ref<__CFDictionary*>(new __CFDictionary);
    domain.values = Ref_Retained(domain.read.values.get());
    return map.emplace(domain.application, std::move(domain)).first->second;
}

static bool IsChanged(const Domain& domain)
{
    return domain.values.get() != domain.read.values.get();
}

// Replaces the values by those on disk; discards changes.
static void Adopt(Domain& domain, Contents contents)
{
    domain.values = Ref_Retained(contents.values.get());
    domain.read = std::move(contents);
}

// Reads a file. Throws bad_alloc.
static Contents ReadFile(const std::string& path)
{
    Contents contents;
    contents.values = Ref<__CFDictionary*>(new __CFDictionary);
    std::string xml;
    struct stat info;
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    contents.error
        = path.empty() ? ENOENT : FileBytes_Read(path.c_str(), kPropertyListLargest, xml, &info);
    if (contents.error == EFBIG) { // too large to be ours
        contents.isDamaged = true;
    } else if (contents.error == 0) {
        contents.version = Version(info);
        contents.isProof = contents.version.IsOlderThanATick(now);
        Ref<> root(PropertyList_CreateFromXML(xml));
        contents.isDamaged = !root || CFGetTypeID(root.get()) != kTypeDictionary;
        if (!contents.isDamaged) {
            auto* values = static_cast<const __CFDictionary*>(root.release());
            contents.values = Ref<__CFDictionary*>(const_cast<__CFDictionary*>(values));
        }
    }
    return contents;
}

// --- merging ---

static const __CFDictionary* AsDictionary(CFTypeRef value)
{
    bool isOne = value != nullptr && CFGetTypeID(value) == kTypeDictionary;
    return isOne ? static_cast<const __CFDictionary*>(value) : nullptr;
}

static CFTypeRef ValueIn(const __CFDictionary* entries, const __CFDictionary::Entry& like)
{
    const auto* found = entries != nullptr ? entries->Find(like.key, like.hash) : nullptr;
    return found != nullptr ? found->value : nullptr;
}

namespace {

// The state of merging one dictionary.
struct Merging
{
    Merging(CFTypeRef under, CFTypeRef baseValue, CFTypeRef ourValue, CFTypeRef diskValue)
        : key(under)
        , base(AsDictionary(baseValue))
        , ours(AsDictionary(ourValue))
        , onDisk(diskValue)
        , disk(AsDictionary(diskValue))
        , merged(new __CFDictionary)
    {
        isOurs = base == nullptr
            || std::any_of(base->entries.begin(), base->entries.end(),
                           [this](const auto& entry) { return ValueIn(ours, entry) == nullptr; });
    }

    // Iterates over the entries on disk, then over ours that are not on disk; null at the end.
    const __CFDictionary::Entry* Next()
    {
        const size_t nOnDisk = disk != nullptr ? disk->entries.size() : 0;
        while (next < nOnDisk + ours->entries.size()) {
            const size_t i = next++;
            const auto& entry = i < nOnDisk ? disk->entries[i] : ours->entries[i - nOnDisk];
            if (i < nOnDisk || ValueIn(disk, entry) == nullptr)
                return &entry;
        }
        return nullptr;
    }

    void Put(CFTypeRef entryKey, CFTypeRef value)
    {
        if (value != nullptr)
            merged->Set(entryKey, value);
    }

    CFTypeRef key; // in the enclosing dictionary
    const __CFDictionary* base; // null if it was no dictionary
    const __CFDictionary* ours;
    CFTypeRef onDisk; // null or any type
    const __CFDictionary* disk;
    bool isOurs; // differs from the base
    size_t next = 0;
    Ref<__CFDictionary*> merged;
};

} // namespace

// Three-way merge. An entry of ours that differs from `base` (as last read) wins; otherwise the one on disk
// is taken. A dictionary of ours is merged recursively if base or disk has one there. Throws bad_alloc.
static Ref<__CFDictionary*> Merge(CFTypeRef base, CFTypeRef ours, CFTypeRef disk)
{
    std::vector<Merging> open; // outermost first; no recursion
    open.emplace_back(nullptr, base, ours, disk);
    for (;;) {
        if (const auto* entry = open.back().Next()) {
            CFTypeRef baseValue = ValueIn(open.back().base, *entry);
            CFTypeRef ourValue = ValueIn(open.back().ours, *entry);
            CFTypeRef diskValue = ValueIn(open.back().disk, *entry);
            const bool isReplaced = AsDictionary(baseValue) || AsDictionary(diskValue);
            if (ourValue != baseValue && AsDictionary(ourValue) && isReplaced) {
                open.emplace_back(entry->key, baseValue, ourValue, diskValue);
                continue;
            }
            const bool isOurs = ourValue == nullptr ? baseValue != nullptr
                : baseValue == nullptr              ? true
                                                    : !CFObject_Equal(baseValue, ourValue);
            open.back().isOurs |= isOurs;
            open.back().Put(entry->key, isOurs ? ourValue : diskValue);
            continue;
        }
        Merging done = std::move(open.back());
        open.pop_back();
        if (open.empty())
            return std::move(done.merged);
        open.back().isOurs |= done.isOurs;
        open.back().Put(done.key, done.isOurs ? done.merged.get() : done.onDisk);
    }
}

// --- reading ---

// True only if the file is certainly the version that was read.
static bool IsUnchanged(const Domain& domain)
{
    struct stat info;
    if (stat(domain.path.c_str(), &info) != 0)
        return errno == ENOENT && domain.read.error == ENOENT;
    return domain.read.error == 0 && domain.read.isProof && Version(info) == domain.read.version;
}

static bool IsUnreadable(const Contents& contents)
{
    return contents.error != 0 && contents.error != ENOENT && !contents.isDamaged;
}

// Sets the values to write. Values equal to the file's count as unchanged. Throws bad_alloc.
static void SetValues(Domain& domain, Ref<__CFDictionary*> values)
{
    const bool isEqual = CFObject_Equal(values.get(), domain.read.values.get());
    domain.values = isEqual ? Ref_Retained(domain.read.values.get()) : std::move(values);
}

static void SetIn(__CFDictionary& values, CFStringRef key, CFTypeRef value)
{
    if (value != nullptr)
        values.Set(key, value);
    else
        values.Remove(key);
}

// Reloads a changed file and merges pending changes into it. Throws bad_alloc.
static void Refresh(Domain& domain)
{
    domain.mustLook = false;
    if (IsUnchanged(domain))
        return;
    Contents disk = ReadFile(domain.path);
    if (!IsChanged(domain) && domain.plain.empty()) {
        Adopt(domain, std::move(disk));
    } else if (IsUnreadable(disk)) {
        domain.read.error = disk.error; // keep the last good values as the base of pending changes
        domain.read.isDamaged = false;
    } else {
        auto merged = Merge(domain.read.values.get(), domain.values.get(), disk.values.get());
        for (const auto& [text, value] : domain.plain) {
            Ref<CFStringRef> key(CFString_Create(text));
            if (!key)
                throw std::bad_alloc();
            SetIn(*merged.get(), key.get(), value.get());
        }
        domain.read = std::move(disk);
        domain.values = std::move(merged);
        SetValues(domain, Ref_Retained(domain.values.get()));
    }
}

// --- writing ---

namespace {

constexpr int kLongestWait = 5000; // milliseconds for the lock

// Holds the domain's lock file. The wait is bounded, since any process that can open the file can hold it.
class FileLock
{
public:
    explicit FileLock(const std::string& path)
        : m_fd(open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600))
    {
        struct stat info;
        if (m_fd >= 0 && fstat(m_fd, &info) == 0 && (info.st_mode & 077) != 0)
            fchmod(m_fd, 0600); // earlier releases created it world-readable
        m_isHeld = m_fd >= 0 && FileBytes_Lock(m_fd, LOCK_EX, kLongestWait);
    }
    ~FileLock()
    {
        if (m_fd >= 0) {
            flock(m_fd, LOCK_UN); // explicit: a forked child may share the descriptor
            close(m_fd);
        }
    }
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

    bool IsHeld() const { return m_isHeld; }

private:
    int m_fd;
    bool m_isHeld = false;
};

} // namespace

// Renames a damaged file, so that it is not overwritten. Returns the new name; empty on failure.
static std::string MoveAside(const std::string& path)
{
    struct stat info;
    std::string aside;
    for (int n = 1; aside.empty() || lstat(aside.c_str(), &info) == 0; ++n)
        aside = path + ".damaged-" + std::to_string(n);
    if (rename(path.c_str(), aside.c_str()) != 0)
        aside.clear();
    return aside; // NRVO: nothing may throw after the rename
}

// Writes the values to `path`. Throws bad_alloc.
static bool WriteFile(Domain& domain, const std::string& path)
{
    Contents written;
    written.values = Ref_Retained(domain.values.get());
    std::string xml;
    if (!PropertyList_FormatXML(written.values.get(), xml))
        return false;
    std::string aside;
    if (domain.read.isDamaged) {
        aside = MoveAside(path);
        if (aside.empty())
            return false;
    }
    int error = 0;
    if (!written.values->entries.empty()) {
        struct stat info = {};
        error = FileBytes_Replace(path, xml, domain.isAnyUser ? 0644 : 0600, &info);
        domain.isUnflushed = error != 0 && info.st_ino != 0;
        written.version = Version(info);
        written.isProof = written.version.HasFineStamp();
    } else if (unlink(path.c_str()) == 0) {
        written.error = ENOENT;
        error = FileBytes_FlushFolder(path);
        domain.isUnflushed = error != 0;
    } else {
        written.error = ENOENT;
        error = errno == ENOENT ? 0 : errno;
    }
    if (error == 0)
        Adopt(domain, std::move(written));
    else if (!aside.empty() && rename(aside.c_str(), path.c_str()) == 0)
        domain.isUnflushed = false;
    return error == 0;
}

// Repeats a flush that failed after the file was written.
static bool Flush(Domain& domain)
{
    std::string path = domain.path;
    domain.isUnflushed = domain.isUnflushed
        && (FileBytes_ResolveLinks(path) != 0 || FileBytes_FlushFolder(path) != 0);
    return !domain.isUnflushed;
}

// Merges pending changes into the file under its lock, and writes it. Throws bad_alloc.
static bool Write(Domain& domain)
{
    std::string path = domain.path; // a symbolic link is kept, and its target written
    if (FileBytes_ResolveLinks(path) != 0)
        return false;
    std::string folder = path.substr(0, path.rfind('/'));
    if (BaseFolders_Make(folder, domain.isAnyUser ? 0775 : 0700) != 0)
        return false;
    FileLock lock(path + ".lock");
    if (!lock.IsHeld())
        return false;
    Refresh(domain);
    if (IsUnreadable(domain.read))
        return false; // do not overwrite an unreadable file
    return IsChanged(domain) ? WriteFile(domain, path) : Flush(domain);
}

// --- the routines ---

// Without memory the last values stay. Returning none would be worse: a caller that finds no dictionary
// creates one, which would replace the existing one.
static void TryToRefresh(Domain& domain) noexcept
{
    CatchAll(0, [&] { return Refresh(domain), 0; });
}

// Calls `use` with a domain while no other thread uses the domains. Returns `failure` for an unknown user or
// host, or if `use` throws.
template <typename Result, typename Use>
static Result WithDomain(
    CFStringRef application, CFStringRef user, CFStringRef host, Result failure, Use use) noexcept
{
    if ((user != kCFPreferencesAnyUser && user != kCFPreferencesCurrentUser)
        || host != kCFPreferencesCurrentHost)
        return failure;
    Domains& domains = Immortal<Domains>();
    std::lock_guard lock(domains.lock);
    return CatchAll<Result>(failure, [&] {
        return use(FindDomain(domains, application, user == kCFPreferencesAnyUser));
    });
}

// Sets a value, or removes it if it is null, in memory. False if a property list cannot hold it. Throws
// bad_alloc.
static bool SetValue(Domain& domain, CFStringRef key, CFPropertyListRef value)
{
    if (domain.mustLook)
        Refresh(domain);
    Ref<> copy; // what a reader of the file gets
    if (std::string xml; value != nullptr && PropertyList_FormatXML(value, xml))
        copy = Ref<>(PropertyList_CreateFromXML(xml));
    if (key->Text().find('\0') != std::string_view::npos || (value != nullptr && !copy))
        return false;
    auto values = IsChanged(domain)
        ? Ref_Retained(domain.values.get())
        : Ref<__CFDictionary*>(new __CFDictionary(*domain.values.get()));
    SetIn(*values.get(), key, copy.get());
    const auto* read = domain.read.values->Find(key);
    if (copy && read != nullptr ? CFObject_Equal(read->value, copy.get()) : !copy && !read)
        SetValues(domain, std::move(values)); // this may undo the only change
    else
        domain.values = std::move(values);
    domain.plain.erase(std::string(key->Text()));
    if (AsDictionary(value) == nullptr)
        domain.plain.emplace(key->Text(), std::move(copy));
    return true;
}

void CFPreferencesSetValue(CFStringRef key,
                           CFPropertyListRef value,
                           CFStringRef application,
                           CFStringRef user,
                           CFStringRef host)
{
    WithDomain(application, user, host, false, [=](Domain& domain) {
        const bool isSet = CatchAll<bool>(false, [&] { return SetValue(domain, key, value); });
        domain.isRefused |= !isSet;
        return isSet;
    });
}

CFPropertyListRef
CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user, CFStringRef host)
{
    return WithDomain<CFPropertyListRef>(application, user, host, nullptr, [=](Domain& domain) {
        TryToRefresh(domain);
        const auto* found = domain.values->Find(key);
        return found != nullptr ? CFRetain(found->value) : nullptr;
    });
}

CFArrayRef CFPreferencesCopyKeyList(CFStringRef application, CFStringRef user, CFStringRef host)
{
    return WithDomain<CFArrayRef>(application, user, host, nullptr, [](Domain& domain) {
        TryToRefresh(domain);
        Ref<__CFArray*> keys(new __CFArray);
        for (const auto& entry : domain.values->entries) {
            keys->values.push_back(entry.key);
            CFRetain(entry.key);
        }
        return keys->values.empty() ? nullptr : keys.release();
    });
}

Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host)
{
    return WithDomain(application, user, host, false, [](Domain& domain) {
        std::string path = BaseFolders_Preferences(domain.application, domain.isAnyUser);
        if (path != domain.path) { // the environment has changed
            domain.path = path;
            domain.read.error = 0;
            domain.read.isProof = false; // of the previous file
        }
        bool isRefused = std::exchange(domain.isRefused, false);
        if (domain.path.empty())
            return false;
        const bool isAnythingSet = IsChanged(domain) || !domain.plain.empty();
        if (isAnythingSet)
            Refresh(domain);
        const bool isToBeWritten
            = IsChanged(domain) || (isAnythingSet && IsUnreadable(domain.read));
        const bool isDone = isToBeWritten ? Write(domain) : Flush(domain);
        if (isDone)
            domain.plain.clear();
        domain.mustLook = true;
        return isDone && !isRefused;
    });
}
