// SPDX-License-Identifier: MIT
// vlModule.cpp - the module's image, its folders and its preferences.
#include "System/vlModule.h"

#include "System/vlPreferenceStore.h"

#include <mach-o/dyld.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <sys/stat.h>

namespace Veltrano {

namespace {

constexpr int kPathBuffer = 260; // characters

// The state of the module, from load to unload.
String* sProductName = nullptr;
String* sComponentName = nullptr;
String* sModulePath = nullptr;
String* sModuleIdentifier = nullptr;
bool sInited = false;
bool sLocated = false;
FSSpec sModuleFolder = {};
CFBundleRef sModuleBundle = nullptr;

void EnsureModuleStrings()
{
    for (String** string : { &sProductName, &sComponentName, &sModulePath, &sModuleIdentifier })
        if (*string == nullptr)
            *string = new String;
}

// The length of a path up to and including its last "/"; the whole length without a "/".
int FolderLength(const char* path)
{
    const char* slash = strrchr(path, '/');
    return static_cast<int>(slash != nullptr ? slash + 1 - path : static_cast<long>(strlen(path)));
}

// Goes up from the executable through MacOS, Contents and the bundle to the folder that holds the bundle.
OSErr GoUpToBundleFolder(FSRef& ref)
{
    OSErr error = noErr;
    for (int level = 0; level < 4 && error == noErr; ++level) {
        const FSRef child = ref;
        error = FSGetCatalogInfo(&child, kFSCatInfoNone, nullptr, nullptr, nullptr, &ref);
    }
    return error;
}

OSErr StoreModuleFolder(const FSRef& ref)
{
    FSSpec fsSpec = {};
    const OSErr error = FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &fsSpec, nullptr);
    if (error == noErr)
        sModuleFolder = fsSpec;
    return error;
}

void CutAt(String& path, int nLength) { path.RemoveRange(nLength, path.GetLength()); }

// The position of the last "/". The check is reported with its own line.
int LastSlash(const String& path, unsigned line)
{
    const int n = path.FindLastChar('/');
    VL_CHECK(n >= 0, SourceName(__FILE__), line, "n >= 0");
    return n;
}

// The application identifier for the module's preferences. Null after the identifier was released; a store
// without an application is invalid.
const char* GetPreferencesApplication()
{
    const String& identifier = GetModuleIdentifier();
    return identifier.IsEmpty() ? nullptr : identifier.GetString();
}

// The module path without its final "/".
void GetExecutableFolder(String& result)
{
    result = GetModulePath();
    const int n = result.FindLastChar('/');
    if (n >= 0 && n == result.GetLength() - 1)
        CutAt(result, n);
}

void GetFolderOfBundle(String& result)
{
    GetExecutableFolder(result);
    CutAt(result, LastSlash(result, 316));
    CutAt(result, LastSlash(result, 319));
    CutAt(result, LastSlash(result, 322) + 1);
}

void GetApplicationSupportFolder(String& result, SInt16 domain)
{
    FSRef ref = {}; // zero if the search fails: no URL is created then
    if (FSFindFolder(domain, kApplicationSupportFolderType, kCreateFolder, &ref) != noErr)
        result.Clear();
    auto* buffer
        = reinterpret_cast<UInt8*>(result.OpenBuffer(kPathBuffer)); // may throw: before the URL
    const CFURLRef url = CFURLCreateFromFSRef(kCFAllocatorDefault, &ref);
    const bool isWritten
        = url != nullptr && CFURLGetFileSystemRepresentation(url, true, buffer, kPathBuffer);
    if (url != nullptr)
        CFRelease(url);
    result.CloseBuffer(isWritten ? -1 : 0);
}

// Makes a folder. An existing one is a success; other failures are reported and return false.
bool MakeDirectory(const char* path)
{
    if (mkdir(path, 0777) == 0 || errno == EEXIST)
        return true;
    fprintf(stderr, "mkdir error %d: path = \"%s\"\n", errno, path);
    return false;
}

// Appends the components of a relative path, unless the path is empty. With `make` set, makes each folder, and
// empties the path if one cannot be made.
void AppendFolders(String& result, const char* relative, bool make)
{
    relative += strspn(relative, "/");
    while (!result.IsEmpty() && *relative != '\0') {
        const size_t length = strcspn(relative, "/");
        result += String(relative, static_cast<int>(length));
        relative += length + strspn(relative + length, "/");
        if (!make || MakeDirectory(result))
            result += '/';
        else
            result.Clear();
    }
}

unsigned CopyPart(std::string_view part, char* out, unsigned size)
{
    const auto needed = static_cast<unsigned>(part.size() + 1);
    if (out == nullptr || needed > size)
        return needed;
    out[part.copy(out, part.size())] = '\0';
    return 0;
}

} // namespace

void StartModuleEnvironment()
{
    EnsureModuleStrings();
    LocateModuleImage();
}

void ReleaseModuleBundle()
{
    const CFBundleRef bundle = sModuleBundle;
    sModuleBundle = nullptr;
    // KEPT: the reference is never released; destroying the bundle would unload this code.
    if (bundle != nullptr && CFGetRetainCount(bundle) > 1)
        CFRelease(bundle);
}

void ReleaseModuleStrings()
{
    for (String** string : { &sModuleIdentifier, &sModulePath, &sComponentName, &sProductName }) {
        delete *string;
        *string = nullptr;
    }
    sLocated = false; // the next caller needs the path again
}

void ModuleInit(const char* productName, const char* componentName)
{
    LocateModuleImage();
    EnsureModuleStrings();
    const String product(productName); // the argument may be one of our own strings
    const String component(componentName);
    *sProductName = product;
    *sComponentName = component;
    sInited = true;
    *sModuleIdentifier = kIdentifierPrefix + product;
    if (componentName != nullptr) // KEPT: an empty name also adds its "."
        *sModuleIdentifier += '.' + component;
}

OSStatus
ModuleInitWithPath(const char* modulePath, const char* productName, const char* componentName)
{
    const String path(modulePath); // the argument may be one of our own strings
    ModuleInit(productName, componentName);
    *sModulePath = path.Head(FolderLength(path));
    FSRef ref = {};
    OSStatus error = FSPathMakeRef(reinterpret_cast<const UInt8*>(path.GetString()), &ref, nullptr);
    if (error != noErr)
        return error;
    error = GoUpToBundleFolder(ref);
    if (error != noErr)
        return error;
    error = StoreModuleFolder(ref);
    return error != noErr ? error : 1; // KEPT: not 0 after success
}

int CheckInited()
{
    VL_ASSERT(667, sInited);
    return 0;
}

int LocateModuleImage()
{
    if (sLocated)
        return 1;
    EnsureModuleStrings();

    FSRef ref = {};
    bool isFound = false;
    const uint32_t n = _dyld_image_count();
    for (uint32_t i = 1; i < n && !isFound; ++i) { // image 0 is the host's program
        if (_dyld_get_image_header(i) != &_mh_image_header)
            continue;
        const char* imagename = _dyld_get_image_name(i);
        if (imagename == nullptr)
            continue;
        const int nLength = FolderLength(imagename);
        memcpy(sModulePath->OpenBuffer(std::max(nLength, kPathBuffer)), imagename,
               static_cast<size_t>(nLength));
        sModulePath->CloseBuffer(nLength);
        isFound = FSPathMakeRef(reinterpret_cast<const UInt8*>(imagename), &ref, nullptr) == noErr;
    }
    if (isFound) {
        if (GoUpToBundleFolder(ref) != noErr)
            return 0;
        StoreModuleFolder(ref);
    }
    sLocated = true;
    return 1;
}

CFBundleRef GetModuleBundle()
{
    if (sModuleBundle == nullptr)
        sModuleBundle = CreateModuleBundle();
    return sModuleBundle;
}

CFBundleRef CreateModuleBundle()
{
    const uint32_t n = _dyld_image_count();
    uint32_t i = 0; // includes the program, which may contain this code
    while (i < n && _dyld_get_image_header(i) != &_mh_image_header)
        ++i;
    VL_ASSERT(1008, i < n);
    const char* imagename = _dyld_get_image_name(i);
    VL_ASSERT(1012, imagename != 0);

    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(imagename),
        static_cast<CFIndex>(strlen(imagename)), false);
    for (int level = 0; level < 3 && url != nullptr; ++level) { // the executable, MacOS, Contents
        const CFURLRef parent = CFURLCreateCopyDeletingLastPathComponent(kCFAllocatorDefault, url);
        CFRelease(url);
        url = parent;
    }
    CFBundleRef ref = nullptr;
    if (url != nullptr) {
        ref = CFBundleCreate(kCFAllocatorDefault, url);
        CFRelease(url);
    }
    VL_ASSERT(1028, ref != 0);
    return ref;
}

CFBundleRef GetHostMainBundle()
{
    const CFBundleRef mainBundle = CFBundleGetMainBundle();
    VL_ASSERT(1074, mainBundle != 0);
    return mainBundle;
}

void GetModuleParentFolder(String& result)
{
    LocateModuleImage();
    result = *sModulePath;
    result = result.Head(result.FindLastChar('/'));
    result = result.Head(result.FindLastChar('/') + 1);
}

void GetModuleBundleName(String& result)
{
    GetExecutableFolder(result);
    CutAt(result, LastSlash(result, 361));
    CutAt(result, LastSlash(result, 364));
    result.RemoveRange(0, LastSlash(result, 368) + 1);
}

void GetMakerFolderPath(String& result)
{
    EnsureModuleStrings();
    result = String(kMakerName) + '/';
    if (!sProductName->IsEmpty())
        result += *sProductName + '/';
}

void GetProductFolderPath(String& result)
{
    GetMakerFolderPath(result);
    if (!sComponentName->IsEmpty())
        result += *sComponentName + '/';
}

void GetFolderPath(String& result, int kind)
{
    switch (kind) {
    case kFolderModule:
        GetFolderOfBundle(result);
        break;
    case kFolderUserSupport:
    case 2: // KEPT: the user's folder under a second number
        GetApplicationSupportFolder(result, kUserDomain);
        break;
    case kFolderLocalSupport:
        GetApplicationSupportFolder(result, kLocalDomain);
        break;
    default:
        result.Clear();
        break;
    }
    if (result.IsEmpty())
        return;
    const int nFirst = strncmp(result, "\\\\", 2) == 0 ? 2 : 0;
    for (int i = nFirst; i < result.GetLength(); ++i)
        if (result[i] == '\\')
            result.SetCharAt(i, '/');
    if (result[result.GetLength() - 1] != '/')
        result += '/';
}

void GetFolderPathWith(String& result, int kind, const char* relative)
{
    const String pieces(relative); // may alias the result
    GetFolderPath(result, kind);
    AppendFolders(result, pieces, false);
}

void GetSupportFolderPath(String& result, int kind, const char* relative)
{
    const String pieces(relative); // may alias the result
    // KEPT: only 0 ends the search; a negative kind wraps round.
    for (unsigned n = static_cast<unsigned>(kind);; --n) {
        GetFolderPath(result, static_cast<int>(n));
        AppendFolders(result, pieces, true);
        if (!result.IsEmpty() || n == 0)
            return;
    }
}

int MakeDirectories(const char* path)
{
    if (path == nullptr)
        return 1;
    for (const char* slash = strchr(path, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        const String prefix(path, static_cast<int>(slash - path));
        if (!prefix.IsEmpty() && !MakeDirectory(prefix))
            return 1;
    }
    MakeDirectory(path);
    return 1;
}

unsigned GetDirectoryPart(const char* path, char* out, unsigned size)
{
    if (path == nullptr)
        return 0xFFFFFFFF;
    const std::string_view text(path);
    return CopyPart(text.substr(0, text.rfind('/') + 1), out, size);
}

unsigned GetFileNamePart(const char* path, char* out, unsigned size)
{
    if (path == nullptr)
        return 0xFFFFFFFF;
    const std::string_view text(path);
    return CopyPart(text.substr(text.rfind('/') + 1), out, size);
}

int GetModuleIntPref(const char* key, int nDefault, bool allUsers)
{
    VL_ASSERT(684, sInited);
    PreferenceStore store(GetPreferencesApplication(), allUsers);
    return store.m_valid ? store.GetInt(key, store.m_user, nDefault) : nDefault;
}

int SetModuleIntPref(const char* key, int nValue, bool allUsers)
{
    VL_ASSERT(701, sInited);
    PreferenceStore store(GetPreferencesApplication(), allUsers);
    const SInt32 value = nValue;
    return store.m_valid && store.SetInt(key, store.m_user, &value) ? 0 : -1;
}

void GetModuleStringPref(String& result, const char* key, const char* lpszDefault, bool allUsers)
{
    VL_ASSERT(717, sInited);
    PreferenceStore store(GetPreferencesApplication(), allUsers);
    if (store.m_valid)
        result = store.GetString(key, store.m_user, lpszDefault);
    else
        result = lpszDefault;
}

int SetModuleStringPref(const char* key, const char* lpszValue, bool allUsers)
{
    VL_ASSERT(732, sInited);
    PreferenceStore store(GetPreferencesApplication(), allUsers);
    return store.m_valid && store.SetString(key, store.m_user, lpszValue) ? 0 : -1;
}

const String& GetModuleProductName()
{
    EnsureModuleStrings();
    return *sProductName;
}

const String& GetModuleComponentName()
{
    EnsureModuleStrings();
    return *sComponentName;
}

const String& GetModulePath()
{
    if (sModulePath == nullptr || sModulePath->IsEmpty())
        LocateModuleImage(); // again if the module strings were released
    return *sModulePath;
}

const String& GetModuleIdentifier()
{
    EnsureModuleStrings();
    return *sModuleIdentifier;
}

const FSSpec& GetModuleFolder() { return sModuleFolder; }

} // namespace Veltrano
