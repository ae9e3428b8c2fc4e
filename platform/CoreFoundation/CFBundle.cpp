// SPDX-License-Identifier: MIT
// CFBundle.cpp - bundles: folders with code and resources.
#include "CoreFoundation/CFObject.h"
#include "CoreFoundation/PropertyList.h"
#include "Resources/Resources.h"
#include "support/CatchAll.h"
#include "support/FileBytes.h"
#include "support/Immortal.h"
#include "support/Ref.h"

#include <CoreFoundation/CoreFoundation.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <memory>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

struct __CFBundle final : CFObject
{
    __CFBundle(std::string folder, std::string programInside);

    void End() noexcept override;

    const std::string path; // canonical
    const std::string program; // of the main bundle: its running executable
    std::once_flag infoOnce; // Info.plist is read on first use
    Ref<const __CFDictionary*> info; // null without one
    std::atomic<void*> image = nullptr; // dlopen's handle while loaded
};

namespace {

// All live bundles, not retained: each removes itself when it is freed.
struct Bundles
{
    std::mutex lock;
    std::vector<__CFBundle*> list;
};

} // namespace

void __CFBundle::End() noexcept
{
    {
        Bundles& bundles = Immortal<Bundles>();
        std::lock_guard lock(bundles.lock);
        std::erase(bundles.list, this);
    }
    CFBundleUnloadExecutable(this);
    delete this;
}

__CFBundle::__CFBundle(std::string folder, std::string programInside)
    : CFObject(kTypeBundle)
    , path(std::move(folder))
    , program(std::move(programInside))
{
}

// --- finding ---

// Retains an object unless another thread is freeing it.
static bool RetainLiving(const CFObject* object)
{
    SInt32 n = object->nRefs.load(std::memory_order_relaxed);
    while (n > 0 && !object->nRefs.compare_exchange_weak(n, n + 1, std::memory_order_relaxed)) { }
    return n > 0;
}

// The running executable; empty if the system does not report it.
static std::string Program()
{
    char program[PATH_MAX];
    const ssize_t n = readlink("/proc/self/exe", program, sizeof(program));
    return std::string(program, static_cast<size_t>(std::max<ssize_t>(n, 0)));
}

// The bundle of a program: X for X/Contents/MacOS/program, otherwise the program's folder.
static std::string BundleOfProgram(const std::string& program)
{
    constexpr std::string_view kInside = "/Contents/MacOS";
    std::string folder = program.substr(0, program.rfind('/'));
    if (folder.ends_with(kInside))
        folder.resize(folder.size() - kInside.size());
    return folder.empty() && !program.empty() ? "/" : folder;
}

// Returns one reference to the bundle at a path; null unless the path is a folder. Throws bad_alloc.
static __CFBundle* CreateAt(const std::string& path)
{
    std::unique_ptr<char, void (*)(void*)> canonical(realpath(path.c_str(), nullptr), std::free);
    struct stat info;
    if (canonical == nullptr || stat(canonical.get(), &info) != 0 || !S_ISDIR(info.st_mode))
        return nullptr;
    Bundles& bundles = Immortal<Bundles>();
    std::lock_guard lock(bundles.lock);
    for (__CFBundle* bundle : bundles.list) {
        if (bundle->path == canonical.get() && RetainLiving(bundle))
            return bundle;
    }
    const std::string program = Program();
    const bool isMain = BundleOfProgram(program) == canonical.get();
    auto bundle = std::make_unique<__CFBundle>(canonical.get(), isMain ? program : std::string());
    bundles.list.push_back(bundle.get());
    return bundle.release();
}

CFBundleRef CFBundleCreate(CFAllocatorRef, CFURLRef url)
{
    return CatchAll<CFBundleRef>(
        nullptr, [&] { return url != nullptr ? CreateAt(url->Absolute()) : nullptr; });
}

CFBundleRef CFBundleGetMainBundle(void)
{
    static std::mutex sLock;
    static constinit __CFBundle* sMain = nullptr; // never released
    std::lock_guard lock(sLock);
    return CatchAll<CFBundleRef>(nullptr, [&] {
        if (sMain == nullptr)
            sMain = CreateAt(BundleOfProgram(Program()));
        return sMain;
    });
}

CFURLRef CFBundleCopyBundleURL(CFBundleRef bundle)
{
    return CFObject_New<__CFURL>(std::string(), bundle->path, true);
}

// --- Info.plist ---

// Throws bad_alloc.
static void ReadInfo(__CFBundle* bundle)
{
    std::string path = bundle->path + "/Contents/Info.plist";
    std::string xml;
    if (FileBytes_Read(path.c_str(), kPropertyListLargest, xml, nullptr) != 0)
        return;
    Ref<> root(PropertyList_CreateFromXML(xml));
    if (root && CFGetTypeID(root.get()) == kTypeDictionary)
        bundle->info = Ref<const __CFDictionary*>(static_cast<CFDictionaryRef>(root.release()));
    else
        std::fprintf(stderr, "%s: not a property list\n", path.c_str());
}

// A string of Info.plist; empty if absent. Throws bad_alloc.
static std::string InfoText(__CFBundle* bundle, CFStringRef key)
{
    std::call_once(bundle->infoOnce, ReadInfo, bundle);
    CFTypeRef value = bundle->info ? CFDictionaryGetValue(bundle->info.get(), key) : nullptr;
    bool isText = value != nullptr && CFGetTypeID(value) == kTypeString;
    return isText ? std::string(static_cast<CFStringRef>(value)->Text()) : std::string();
}

// The file name of the executable: CFBundleExecutable, or the bundle's name without its extension.
static std::string ExecutableName(CFBundleRef bundle)
{
    static constinit const __CFString kKey("CFBundleExecutable");
    if (!bundle->program.empty())
        return bundle->program.substr(bundle->program.rfind('/') + 1);
    std::string name = InfoText(bundle, &kKey);
    if (name.empty()) {
        name = bundle->path.substr(bundle->path.rfind('/') + 1);
        size_t dot = name.rfind('.');
        name.resize(dot == std::string::npos || dot == 0 ? name.size() : dot);
    }
    return name.find('/') == std::string::npos ? name : std::string(); // a path is refused
}

// --- resources ---

// Appends the languages of a locale name, best first: "de_AT.UTF-8" gives de_AT, de-AT, de, German.
static void AddLanguage(std::vector<std::string>& languages, std::string locale)
{
    static constexpr struct
    {
        const char* code;
        const char* oldName;
    } kOldNames[] = { { "en", "English" },    { "de", "German" },  { "fr", "French" },
                      { "it", "Italian" },    { "es", "Spanish" }, { "ja", "Japanese" },
                      { "nl", "Dutch" },      { "sv", "Swedish" }, { "da", "Danish" },
                      { "pt", "Portuguese" }, { "fi", "Finnish" }, { "nb", "Norwegian" } };
    auto add = [&languages](const std::string& language) {
        if (std::find(languages.begin(), languages.end(), language) == languages.end())
            languages.push_back(language);
    };
    locale.resize(std::min(locale.find_first_of(".@"), locale.size()));
    if (locale.empty() || locale == "C" || locale == "POSIX"
        || locale.find('/') != std::string::npos)
        return;
    add(locale);
    std::string code = locale.substr(0, locale.find_first_of("_-"));
    if (code != locale) {
        std::replace(locale.begin(), locale.end(), '_', '-');
        add(locale);
        add(code);
    }
    for (const auto& old : kOldNames) {
        if (code == old.code || locale == old.oldName) {
            add(old.code);
            add(old.oldName);
        }
    }
}

// The .lproj folders to search: the user's languages, the bundle's development region, English.
static std::vector<std::string> Languages(CFBundleRef bundle)
{
    static constinit const __CFString kRegion("CFBundleDevelopmentRegion");
    std::vector<std::string> languages;
    std::string locale;
    for (const char* variable : { "LC_ALL", "LC_MESSAGES", "LANG" }) {
        const char* value = std::getenv(variable);
        if (locale.empty() && value != nullptr)
            locale = value;
    }
    const char* wanted = std::getenv("LANGUAGE");
    bool isPlain = locale.empty() || locale == "C"
        || locale == "POSIX"; // LANGUAGE is ignored in these locales
    std::string list = wanted != nullptr && !isPlain ? wanted : "";
    for (size_t start = 0; start < list.size();) {
        size_t end = std::min(list.find(':', start), list.size());
        AddLanguage(languages, list.substr(start, end - start));
        start = end + 1;
    }
    AddLanguage(languages, locale);
    AddLanguage(languages, InfoText(bundle, &kRegion));
    AddLanguage(languages, "en");
    return languages;
}

static bool Exists(const std::string& path)
{
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

// Finds a file in the .lproj folders of the languages, then in any .lproj folder. Empty if absent. Throws
// bad_alloc.
static std::string FindLocalized(CFBundleRef bundle, const std::string& file)
{
    const std::string resources = bundle->path + "/Contents/Resources";
    for (const std::string& language : Languages(bundle)) {
        std::string path = resources + "/" + language + ".lproj/" + file;
        if (Exists(path))
            return path;
    }
    std::string found;
    std::unique_ptr<DIR, int (*)(DIR*)> folders(opendir(resources.c_str()), closedir);
    while (const dirent64* folder = folders ? readdir64(folders.get()) : nullptr) {
        std::string path = resources + "/" + folder->d_name + "/" + file;
        if (std::string_view(folder->d_name).ends_with(".lproj") && (found.empty() || path < found)
            && Exists(path))
            found = path; // deterministic: the first in order of names
    }
    return found;
}

CFURLRef CFBundleCopyResourceURL(CFBundleRef bundle,
                                 CFStringRef name,
                                 CFStringRef type,
                                 CFStringRef subFolder)
{
    if (bundle == nullptr || name == nullptr)
        return nullptr;
    return CatchAll<CFURLRef>(nullptr, [&] {
        std::string file;
        if (subFolder != nullptr && subFolder->nBytes > 0) {
            file += subFolder->Text();
            file += '/';
        }
        file += name->Text();
        if (type != nullptr && type->nBytes > 0) {
            file += '.';
            file += type->Text();
        }
        std::string path
            = bundle->path + "/Contents/Resources/" + file; // takes precedence over localised files
        if (!Exists(path))
            path = FindLocalized(bundle, file);
        struct stat info;
        bool isFolder = stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
        return path.empty() ? nullptr : CFObject_New<__CFURL>(std::string(), path, isFolder);
    });
}

CFBundleRefNum CFBundleOpenBundleResourceMap(CFBundleRef bundle)
{
    if (bundle == nullptr) {
        Resources_SetError(resFNotFound);
        return kResFileNotOpened;
    }
    try {
        std::vector<ResourceFile> files;
        OSErr error = resFNotFound;
        auto add = [&](const std::string& path) {
            OSErr result = path.empty() ? OSErr(fnfErr) : Resources_ReadFile(path, files);
            if (result != noErr && result != fnfErr)
                error = result;
        };
        std::string name = ExecutableName(bundle);
        add(FindLocalized(bundle, "Localized.rsrc"));
        add(bundle->path + "/Contents/Resources/" + name + ".rsrc");
        if (files.empty()) {
            Resources_SetError(error);
            return kResFileNotOpened;
        }
        return Resources_OpenMap(std::move(files));
    } catch (...) {
        Resources_SetError(memFullErr);
        return kResFileNotOpened;
    }
}

void CFBundleCloseBundleResourceMap(CFBundleRef, CFBundleRefNum refNum) { CloseResFile(refNum); }

// --- code ---

Boolean CFBundleLoadExecutable(CFBundleRef bundle)
{
    if (bundle == nullptr)
        return false;
    return CatchAll<Boolean>(false, [&] {
        if (bundle->image != nullptr)
            return true;
        const std::string file = bundle->path + "/Contents/MacOS/" + ExecutableName(bundle);
        void* image
            = dlopen(bundle->program.empty() ? file.c_str() : nullptr, RTLD_NOW | RTLD_LOCAL);
        void* none = nullptr;
        if (image == nullptr)
            std::fprintf(stderr, "%s: %s\n", bundle->path.c_str(), dlerror());
        else if (!bundle->image.compare_exchange_strong(none, image))
            dlclose(image); // another thread came first; no lock may be held while initialisers run
        return image != nullptr;
    });
}

Boolean CFBundleIsExecutableLoaded(CFBundleRef bundle)
{
    return bundle != nullptr && (bundle->image != nullptr || !bundle->program.empty());
}

void* CFBundleGetFunctionPointerForName(CFBundleRef bundle, CFStringRef name)
{
    const char* symbol
        = name != nullptr ? CFStringGetCStringPtr(name, kCFStringEncodingUTF8) : nullptr;
    return symbol != nullptr && CFBundleLoadExecutable(bundle) ? dlsym(bundle->image, symbol)
                                                               : nullptr;
}

void CFBundleUnloadExecutable(CFBundleRef bundle)
{
    if (void* image = bundle != nullptr ? bundle->image.exchange(nullptr) : nullptr)
        dlclose(image); // runs the image's destructors, which may use this bundle
}
