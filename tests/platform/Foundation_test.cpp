// SPDX-License-Identifier: MIT
// Foundation_test.cpp - texts, numbers, property lists, files, resources and bundles, by the recorded conversations in
// foundation/.
#include "tests/support/Conversation.h"
#include "tests/support/Foundation.h"
#include "tools/ResourceWriter.h"

#include <CoreServices/CoreServices.h>

#include <cstring>
#include <dlfcn.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

const UInt8* Bytes(const std::string& text) { return reinterpret_cast<const UInt8*>(text.c_str()); }

std::string RefPath(const FSRef& ref)
{
    return PathOf(Own(CFURLCreateFromFSRef(nullptr, &ref)).get());
}

const CFStringRef kName = CFSTR("com.veltrano.list");
const CFStringRef kUser = kCFPreferencesAnyUser;
const CFStringRef kHost = kCFPreferencesCurrentHost;

} // namespace

template <> CFStringRef Argument<CFStringRef>::Of(const std::string& word)
{
    return word == "any" ? kUser : word == "this" ? kCFPreferencesCurrentUser : CFSTR("nobody");
}

namespace {

class Foundation : public testing::TestWithParam<const char*>, protected Conversation
{
protected:
    Foundation()
        : Conversation(GetParam())
    {
        m_place = m_folder.Path("");
        m_place.pop_back();
    }
    ~Foundation() override
    {
        for (const auto& [variable, value] : m_kept)
            value.empty() ? unsetenv(variable.c_str()) : setenv(variable.c_str(), value.c_str(), 1);
    }

    void SayText(CFStringEncoding encoding, const std::string& bytes)
    {
        const auto string = Own(CFStringCreateWithCString(nullptr, bytes.c_str(), encoding));
        if (string == nullptr)
            return Say("refused");
        std::string back(bytes.size() + 1, '-');
        EXPECT_TRUE(CFStringGetCString(string.get(), back.data(), CFIndex(back.size()), encoding));
        EXPECT_EQ(bytes, back.c_str());
        Say(Shown(TextOf(string.get())), ", ", CFStringGetLength(string.get()));
    }

    /// As integers of 8, 32 and 64 bits, with "about" where the value is another one.
    void SayNumber(const Ref<CFNumberRef>& number)
    {
        SInt8 as8 = 0;
        SInt32 as32 = 0;
        SInt64 as64 = 0;
        double real = 0;
        const auto get = [&](CFNumberType type, void* value) {
            return CFNumberGetValue(number.get(), type, value) ? "" : "about ";
        };
        const char* const isExact[]
            = { get(kCFNumberSInt8Type, &as8), get(kCFNumberSInt32Type, &as32),
                get(kCFNumberSInt64Type, &as64), get(kCFNumberDoubleType, &real) };
        Say(isExact[0], int { as8 }, ", ", isExact[1], as32, ", ", isExact[2], as64, ", ",
            isExact[3], real, CFNumberIsFloatType(number.get()) ? ", a float" : "");
    }

    void SetList(const std::string& xml)
    {
        setenv("XDG_CONFIG_DIRS", m_folder.Path("").c_str(), 1);
        fs::create_directories(m_folder.Path("preferences"));
        WriteFile(m_list, xml);
        EXPECT_TRUE(CFPreferencesSynchronize(kName, kUser, kHost));
    }

    /// A value in a file, as it is written back.
    void SayValue(const std::string& xml)
    {
        SetList("<plist><dict><key>v</key>" + xml + "<key>w</key><true/></dict></plist>\n");
        const bool isThere
            = Own(CFPreferencesCopyValue(CFSTR("v"), kName, kUser, kHost)) != nullptr;
        CFPreferencesSetValue(CFSTR("more"), kCFBooleanTrue, kName, kUser, kHost);
        EXPECT_TRUE(CFPreferencesSynchronize(kName, kUser, kHost));
        const std::string text = ReadFile(m_list);
        const std::size_t begin = text.find("</key>\n\t") + 8;
        Say(isThere ? Replaced(
                Replaced(text.substr(begin, text.find("\n\t<key>w<") - begin), "\n", "\\n"), "\t",
                "\\t")
                    : "refused");
    }

    /// Of a folder and what is in it, in order; without the machine's number in a name.
    void SayModes(const std::string& folder)
    {
        std::map<std::string, fs::path> names { { "", folder } };
        for (const auto& entry : fs::directory_iterator(folder))
            names[entry.path().filename()] = entry.path();
        for (const auto& [name, path] : names) {
            struct stat info = {};
            lstat(path.c_str(), &info);
            const bool isByHost = folder.ends_with("ByHost") && !name.empty();
            Say(std::oct, info.st_mode, ' ', isByHost ? name.substr(name.rfind('.')) : name);
        }
    }

    OSStatus Refer(const std::string& path, Boolean* isFolder)
    {
        m_ref = {};
        return FSPathMakeRef(Bytes(path), &m_ref, isFolder);
    }

    void SayNames()
    {
        HFSUniStr255 name;
        FSSpec fsSpec;
        if (!Good(FSGetCatalogInfo(&m_ref, kFSCatInfoNone, nullptr, &name, &fsSpec, nullptr)))
            return;
        FSRef parent;
        FSGetCatalogInfo(&m_ref, kFSCatInfoNone, nullptr, nullptr, nullptr, &parent);
        Say(name.length, " units, the last one ", name.unicode[name.length - 1], ", ",
            int { fsSpec.name[0] }, " bytes");
        struct stat info;
        EXPECT_EQ(0, stat(RefPath(parent).c_str(), &info));
        EXPECT_EQ(static_cast<UInt32>(info.st_ino), static_cast<UInt32>(fsSpec.parID));
        EXPECT_LT(fsSpec.vRefNum, 0);
    }

    // clang-format off
    const Commands m_commands = {
        // The world around
        { "set", Call([this](std::string variable, std::string value) { m_kept.try_emplace(variable, getenv(variable.c_str()) ? getenv(variable.c_str()) : ""); value.empty() ? unsetenv(variable.c_str()) : setenv(variable.c_str(), value.c_str(), 1); }) },
        { "file", Call([](std::string path, std::string text) { fs::create_directories(fs::path(path).parent_path()); WriteFile(path, text); }) },
        { "shell", Call([](std::string command) { EXPECT_EQ(0, std::system(command.c_str())) << command; }) },
        { "read", Call([](std::string path) { return Shown(ReadFile(path)); }) },
        // Texts
        { "text", Call([this](CFStringEncoding encoding, std::string bytes) { SayText(encoding, bytes); }) },
        { "fits", Call([](std::string text, CFIndex room, CFStringEncoding encoding) {
            std::string buffer(8, '-');
            const bool fits = CFStringGetCString(Str(text).get(), buffer.data(), room, encoding);
            return (fits ? "fits " : "not ") + Shown(buffer);
        }) },
        { "pointer", Call([](std::string text, CFStringEncoding encoding) { const Ref<CFStringRef> string = Str(text); const char* its = CFStringGetCStringPtr(string.get(), encoding); return its ? Shown(its) : "none"; }) },
        // Numbers and values
        { "number", Call([this](std::string text) { SayNumber(text.find_first_of(".en") == text.npos ? ::Int(std::stoll(text)) : Real(std::stod(text))); }) },
        { "value", Call([this](std::string xml) { SayValue(xml); }) },
        { "list", Call([this](std::string xml) { SetList(xml); const auto keys = Own(CFPreferencesCopyKeyList(kName, kUser, kHost)); Say(keys ? CFArrayGetCount(keys.get()) : 0, ReadFile(m_list) == xml ? " keys" : " keys, and the file is changed"); }) },
        // Preferences: user, key
        { "save", Call([](CFStringRef user, std::string key, std::string value) { CFPreferencesSetValue(Str(key).get(), value.empty() ? nullptr : Str(value).get(), kName, user, kHost); return CFPreferencesSynchronize(kName, user, kHost); }) },
        { "synchronize", Call([](CFStringRef user, std::string name) { return CFPreferencesSynchronize(name.empty() ? kName : Str(name).get(), user, kHost); }) },
        { "copy", Call([](CFStringRef user, std::string key) { return TextOf(Own(CFPreferencesCopyValue(Str(key).get(), kName, user, kHost)).get()); }) },
        { "modes", Call([this](std::string folder) { SayModes(folder); }) },
        { "umask", Call([](unsigned mask) { umask(mask); }) },
        // Locations and references
        { "parent", Call([](std::string path) { return PathOf(Own(CFURLCreateCopyDeletingLastPathComponent(nullptr, FolderURL(path).get())).get()); }) },
        { "path", Call([](std::string path, CFIndex room) {
            std::string buffer(8, '-');
            const bool fits = CFURLGetFileSystemRepresentation(FolderURL(path).get(), false, reinterpret_cast<UInt8*>(buffer.data()), room);
            return (fits ? "fits " : "not ") + Shown(buffer);
        }) },
        { "reference", Call([this](std::string path) { Boolean isFolder = 7; if (Good(Refer(path, &isFolder))) Say(isFolder == 1 ? "folder " : isFolder == 0 ? "file " : "? ", RefPath(m_ref)); else EXPECT_EQ(7, isFolder); }) },
        { "climb", Call([this] { if (Good(FSGetCatalogInfo(&m_ref, kFSCatInfoNone, nullptr, nullptr, nullptr, &m_ref))) Say(RefPath(m_ref)); }) },
        { "garbage", Call([this](UInt8 byte) { std::memset(m_ref.hidden, byte, sizeof m_ref.hidden); }) },
        { "names", Call([this] { SayNames(); }) },
        { "find", Call([this](SInt16 domain, bool isCreated) { m_ref = {}; if (Good(FSFindFolder(domain, kApplicationSupportFolderType, isCreated, &m_ref))) Say(RefPath(m_ref)); else EXPECT_EQ(0, m_ref.hidden[0]); }) },
        // Resource files, by names
        { "resource", Call([this](ResType type, SInt16 id, UInt8 attributes, std::string bytes) { m_writer.Set({ type, id, attributes, "name", { bytes.begin(), bytes.end() } }); }) },
        { "write", Call([this](std::string path) { const auto bytes = std::exchange(m_writer, {}).Serialize().value(); WriteFile(path, { bytes.begin(), bytes.end() }); }) },
        { "open", Call([this](std::string name, std::string path) { Refer(path, nullptr); const OSErr error = FSOpenResourceFile(&m_ref, 0, nullptr, 1, &m_files[name]); EXPECT_EQ(error, ResError()); return error; }) },
        { "use", Call([this](std::string name) { UseResFile(m_files.at(name)); return ResError(); }) },
        { "close", Call([this](std::string name) { CloseResFile(m_files.at(name)); return ResError(); }) },
        { "current", Call([this] { for (const auto& [name, file] : m_files) if (file == CurResFile()) return name; return std::string("?"); }) },
        { "get", Call([this](ResType type, SInt16 id) { m_handle = GetResource(type, id); if (Good(ResError())) Say(Shown(std::string(*m_handle, size_t(GetHandleSize(m_handle))))); }) },
        { "again", Call([this](ResType type, SInt16 id) { return GetResource(type, id) == m_handle; }) },
        { "release", Call([this] { ReleaseResource(m_handle); const OSErr error = ResError(); EXPECT_EQ(0, GetHandleSize(m_handle)); return error; }) },
        { "size", Call([this] { return GetHandleSize(m_handle); }) },
        // Bundles, by names
        { "module", Call([](std::string path) { fs::create_directories(path + "/Contents/Resources"); fs::copy(TEST_BUNDLE, path, fs::copy_options::recursive); }) },
        { "bundle", Call([this](std::string name, std::string path) { m_bundles[name] = Own(CFBundleCreate(nullptr, FolderURL(path).get())); Say(m_bundles[name] ? PathOf(Own(CFBundleCopyBundleURL(m_bundles[name].get())).get()) : "none"); }) },
        { "same", Call([this](std::string one, std::string other) { return m_bundles[one].get() == m_bundles[other].get() && CFGetRetainCount(m_bundles[one].get()) == 2; }) },
        { "drop", Call([this](std::string name) { m_bundles[name].reset(); }) },
        { "load", Call([this](std::string name) { return CFBundleLoadExecutable(m_bundles[name].get()); }) },
        { "unload", Call([this](std::string name) { CFBundleUnloadExecutable(m_bundles[name].get()); }) },
        { "loaded", Call([this](std::string name) { return CFBundleIsExecutableLoaded(m_bundles[name].get()); }) },
        { "watch", Call([this](std::string name, std::string symbol) { auto* watch = reinterpret_cast<void (*)(int*)>(CFBundleGetFunctionPointerForName(m_bundles[name].get(), Str(symbol).get())); if (watch) watch(&m_unloads); else Say("none"); }) },
        { "unloads", Call([this](std::string path) { void* image = dlopen((path + "/Contents/MacOS/Tester").c_str(), RTLD_NOW | RTLD_NOLOAD); Say(m_unloads, image ? ", mapped" : ""); if (image) dlclose(image); }) },
        { "search", Call([this](std::string name, std::string resource, std::string type, std::string folder) { return PathOf(Own(CFBundleCopyResourceURL(m_bundles[name].get(), Str(resource).get(), type.empty() ? nullptr : Str(type).get(), folder.empty() ? nullptr : Str(folder).get())).get()); }) },
        { "map", Call([this](std::string name, std::string file) { const auto map = SInt16(CFBundleOpenBundleResourceMap(m_bundles[name].get())); m_files[file] = map; return ResError(); }) },
        { "unmap", Call([this](std::string name, std::string file) { CFBundleCloseBundleResourceMap(m_bundles[name].get(), m_files[file]); }) },
    };
    // clang-format on
    const TemporaryFolder m_folder;
    const std::string m_list = m_folder.Path("preferences/com.veltrano.list.plist");
    std::map<std::string, std::string> m_kept; // of the environment
    FSRef m_ref = {};
    ResourceWriter m_writer;
    std::map<std::string, SInt16> m_files { { "the system", kSystemResFile }, { "none", 77 } };
    Handle m_handle = nullptr;
    std::map<std::string, Ref<CFBundleRef>> m_bundles;
    int m_unloads = 0;
};

TEST_P(Foundation, GoesAsRecorded)
{
    Play(m_commands,
         PROJECT_FOLDER "/tests/platform/foundation/" + std::string(GetParam()) + ".txt");
}

INSTANTIATE_TEST_SUITE_P(
    ,
    Foundation,
    testing::Values("bundles", "files", "numbers", "preferences", "resources", "texts", "values"),
    [](const auto& name) { return std::string(name.param); });

} // namespace
