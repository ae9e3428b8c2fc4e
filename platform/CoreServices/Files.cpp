// SPDX-License-Identifier: MIT
// Files.cpp - references to existing files and folders.
#include "CoreServices/FileRefs.h"
#include "support/CatchAll.h"
#include "support/Immortal.h"
#include "support/Utf8.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <sys/stat.h>
#include <unordered_map>

static_assert(sizeof(FSRef) == 80);
static_assert(sizeof(FSSpec) == 70);
static_assert(sizeof(HFSUniStr255) == 512);

// --- the table ---

namespace {

constexpr UInt32 kMagic = 0x46535266; // 'FSRf'
constexpr SInt16 kVolume = -100; // the only volume
constexpr SInt32 kRootParent = 1; // the parent of the root

struct Table
{
    std::mutex lock;
    std::deque<std::string> paths; // never move
    std::unordered_map<std::string_view, UInt32> numbers;
};

} // namespace

FSRef FileRefs_FromPath(const std::string& path)
{
    Table& table = Immortal<Table>();
    std::lock_guard lock(table.lock);
    UInt32 number = static_cast<UInt32>(table.paths.size());
    auto found = table.numbers.find(path);
    if (found != table.numbers.end()) {
        number = found->second;
    } else {
        table.paths.push_back(path);
        try {
            table.numbers.emplace(table.paths.back(), number);
        } catch (...) {
            table.paths.pop_back();
            throw;
        }
    }
    FSRef ref = {};
    std::memcpy(ref.hidden, &kMagic, sizeof(kMagic));
    std::memcpy(ref.hidden + sizeof(kMagic), &number, sizeof(number));
    return ref;
}

const std::string* FileRefs_Path(const FSRef& ref)
{
    UInt32 magic = 0;
    UInt32 number = 0;
    std::memcpy(&magic, ref.hidden, sizeof(magic));
    std::memcpy(&number, ref.hidden + sizeof(magic), sizeof(number));
    bool isClean
        = std::all_of(ref.hidden + 8, std::end(ref.hidden), [](UInt8 byte) { return byte == 0; });
    Table& table = Immortal<Table>();
    std::lock_guard lock(table.lock);
    return magic == kMagic && isClean && number < table.paths.size() ? &table.paths[number]
                                                                     : nullptr;
}

OSStatus FileRefs_Error(int error)
{
    static constexpr std::pair<int, OSStatus> kErrors[] = { { 0, noErr },
                                                            { ENOENT, fnfErr },
                                                            { ENOTDIR, dirNFErr },
                                                            { EACCES, afpAccessDenied },
                                                            { EPERM, afpAccessDenied },
                                                            { EROFS, afpAccessDenied },
                                                            { ENAMETOOLONG, errFSNameTooLong },
                                                            { ENOMEM, memFullErr } };
    for (const auto& [number, status] : kErrors) {
        if (number == error)
            return status;
    }
    return ioErr;
}

// --- the routines ---

// Distinguishes a missing item from a missing parent folder.
static OSStatus MissingError(const char* path)
{
    std::string_view folder(path);
    while (folder.ends_with('/'))
        folder.remove_suffix(1);
    size_t slash = folder.rfind('/');
    struct stat info;
    bool isThere = slash == std::string_view::npos || slash == 0
        || stat(std::string(folder.substr(0, slash)).c_str(), &info) == 0;
    return isThere ? fnfErr : dirNFErr;
}

OSStatus FSPathMakeRef(const UInt8* path, FSRef* ref, Boolean* isDirectory)
{
    if (path == nullptr || ref == nullptr)
        return paramErr;
    return CatchAll<OSStatus>(memFullErr, [&]() -> OSStatus {
        const char* text = reinterpret_cast<const char*>(path);
        char* canonical = realpath(text, nullptr);
        if (canonical == nullptr)
            return errno == ENOENT ? MissingError(text) : FileRefs_Error(errno);
        std::unique_ptr<char, void (*)(void*)> owner(canonical, std::free);
        struct stat info = {};
        if (isDirectory != nullptr && stat(canonical, &info) != 0)
            return FileRefs_Error(errno);
        *ref = FileRefs_FromPath(canonical);
        if (isDirectory != nullptr)
            *isDirectory = S_ISDIR(info.st_mode);
        return noErr;
    });
}

static HFSUniStr255 UnicodeName(std::string_view name)
{
    HFSUniStr255 result = {};
    auto put
        = [&result](UInt32 unit) { result.unicode[result.length++] = static_cast<UniChar>(unit); };
    const UInt8* p = reinterpret_cast<const UInt8*>(name.data());
    const UInt8* end = p + name.size();
    while (p < end && result.length < 254) { // leaves room for a surrogate pair
        UInt32 code = Utf8_Next(p, end);
        if (code == kUtf8Invalid)
            code = 0xFFFD;
        if (code <= 0xFFFF) {
            put(code);
        } else {
            put(0xD7C0 + (code >> 10));
            put(0xDC00 + (code & 0x3FF));
        }
    }
    return result;
}

static FSSpec MakeFSSpec(std::string_view name, SInt32 parent)
{
    FSSpec fsSpec = {};
    fsSpec.vRefNum = kVolume;
    fsSpec.parID = parent;
    size_t n = std::min(name.size(), sizeof(fsSpec.name) - 1);
    while (n < name.size() && n > 0 && (name[n] & 0xC0) == 0x80)
        --n; // do not split a character
    fsSpec.name[0] = static_cast<unsigned char>(n);
    std::memcpy(fsSpec.name + 1, name.data(), n);
    return fsSpec;
}

OSErr FSGetCatalogInfo(const FSRef* ref,
                       FSCatalogInfoBitmap which,
                       FSCatalogInfo* info,
                       HFSUniStr255* name,
                       FSSpec* fsSpec,
                       FSRef* parent)
{
    if (ref == nullptr || which != kFSCatInfoNone || info != nullptr)
        return paramErr;
    const std::string* path = FileRefs_Path(*ref);
    if (path == nullptr)
        return errFSBadFSRef;
    struct stat status;
    if (lstat(path->c_str(), &status) != 0)
        return static_cast<OSErr>(FileRefs_Error(errno));
    return CatchAll<OSErr>(memFullErr, [&]() -> OSErr {
        bool isRoot = *path == "/";
        size_t slash = path->rfind('/');
        std::string_view ownName
            = isRoot ? std::string_view("/") : std::string_view(*path).substr(slash + 1);
        std::string folder = isRoot ? std::string() : path->substr(0, std::max<size_t>(slash, 1));
        SInt32 parentNumber = kRootParent;
        if (!isRoot && fsSpec != nullptr) {
            if (stat(folder.c_str(), &status) != 0)
                return static_cast<OSErr>(FileRefs_Error(errno));
            parentNumber = static_cast<SInt32>(static_cast<UInt32>(status.st_ino));
        }
        FSRef folderRef = isRoot ? FSRef {} : FileRefs_FromPath(folder);
        if (name != nullptr)
            *name = UnicodeName(ownName);
        if (fsSpec != nullptr)
            *fsSpec = MakeFSSpec(ownName, parentNumber);
        if (parent != nullptr)
            *parent = folderRef; // may be `ref` itself
        return noErr;
    });
}
