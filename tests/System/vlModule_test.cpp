// SPDX-License-Identifier: MIT
// vlModule_test.cpp - the module environment in a separate image, inside a bundle; the path helpers;
// the walk over images that a double of the loader supplies; every check.

#include "tests/System/ModuleProbe.h"
#include "tests/support/KeptLeaks.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <mach-o/dyld.h>

#include <dlfcn.h>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace Veltrano;

namespace {

// What the loader says to this program, when a test says so: names of images with the program's own header.
std::optional<std::vector<const char*>> sImageNames;
bool sHasMainBundle = true;

template <class Function> Function Real(Function, const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
#define REAL(routine) Real(routine, "vlp_" #routine)

} // namespace

uint32_t _dyld_image_count()
{
    return sImageNames ? static_cast<uint32_t>(sImageNames->size()) : REAL(_dyld_image_count)();
}

const mach_header* _dyld_get_image_header(uint32_t i)
{
    return sImageNames ? &_mh_image_header : REAL(_dyld_get_image_header)(i);
}

const char* _dyld_get_image_name(uint32_t i)
{
    return sImageNames ? (*sImageNames)[i] : REAL(_dyld_get_image_name)(i);
}

CFBundleRef CFBundleGetMainBundle()
{
    return sHasMainBundle ? REAL(CFBundleGetMainBundle)() : nullptr;
}

namespace {

// The image as <folder>/A/B/X.bundle/Contents/MacOS/X, fresh for each test.
class ModuleTest : public testing::Test
{
protected:
    ModuleTest()
    {
        const std::string folder = Path("A/B/X.bundle/Contents/MacOS");
        std::filesystem::create_directories(folder);
        std::filesystem::copy_file(MODULE_PROBE, folder + "/X");
        m_image = dlopen((folder + "/X").c_str(), RTLD_NOW | RTLD_LOCAL);
        using GetModuleProbe = const ModuleProbe* (*)();
        const auto get = reinterpret_cast<GetModuleProbe>(dlsym(m_image, "GetModuleProbe"));
        m = get();
        m->StartModuleEnvironment();
        m->StartModuleEnvironment();
    }
    ~ModuleTest() override
    {
        m->ReleaseModuleBundle();
        m->ReleaseModuleStrings();
        dlclose(m_image);
    }

    std::string Path(const std::string& name) const { return m_folder.Path(name); }
    // A path below the folder, shown from there.
    std::string Below(const String& path) const
    {
        const std::string root = Path("");
        const std::string text = TextOf(path);
        return text.starts_with(root) ? text.substr(root.size()) : "elsewhere: " + text;
    }

    TemporaryHome m_folder;
    void* m_image;
    const ModuleProbe* m;
};

TEST_F(ModuleTest, KnowsItsPlaceFromLoadOn)
{
    String result("before");
    EXPECT_EQ(Below(m->GetModulePath()), "A/B/X.bundle/Contents/MacOS/");
    m->GetModuleParentFolder(result);
    EXPECT_EQ(Below(result), "A/B/X.bundle/Contents/");
    m->GetModuleBundleName(result);
    EXPECT_TEXT("X.bundle", result);
    m->GetFolderPath(result, kFolderModule);
    EXPECT_EQ(Below(result), "A/B/");
    EXPECT_EQ(m->LocateModuleImage(), 1);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m->GetModuleFolder().name)), "\1B");
    EXPECT_TEXT("", m->GetModuleProductName());
    EXPECT_TEXT("", m->GetModuleIdentifier());
    m->GetProductFolderPath(result);
    EXPECT_TEXT("Veltrano/", result);
}

TEST_F(ModuleTest, TheBundleIsCachedAndReleasedOnlyWhenOthersHoldIt)
{
    const CFBundleRef bundle = m->GetModuleBundle();
    EXPECT_EQ(m->GetModuleBundle(), bundle);
    const CFURLRef url = CFBundleCopyBundleURL(bundle);
    UInt8 path[260];
    ASSERT_TRUE(CFURLGetFileSystemRepresentation(url, true, path, sizeof(path)));
    EXPECT_EQ(reinterpret_cast<char*>(path), Path("A/B/X.bundle"));
    const CFBundleRef held = CFBundleCreate(kCFAllocatorDefault, url);
    EXPECT_EQ(held, bundle);
    EXPECT_EQ(CFGetRetainCount(bundle), 2);
    m->ReleaseModuleBundle();
    EXPECT_EQ(CFGetRetainCount(bundle), 1);
    EXPECT_EQ(m->GetModuleBundle(), bundle);
    CFRelease(held);
    m->ReleaseModuleBundle();
    EXPECT_EQ(CFGetRetainCount(bundle), 1) << "KEPT: a reference held once is not released";
    CFRelease(url);
    CFRelease(bundle);
}

TEST_F(ModuleTest, NamesMakeTheIdentifierAndTheFolders)
{
    const struct
    {
        const char *product, *component, *identifier, *maker, *folder;
    } rows[] = {
        { "P", "C", "com.veltrano.P.C", "Veltrano/P/", "Veltrano/P/C/" },
        { "P", nullptr, "com.veltrano.P", "Veltrano/P/", "Veltrano/P/" },
        { "P", "", "com.veltrano.P.", "Veltrano/P/", "Veltrano/P/" },
        { "", "C", "com.veltrano..C", "Veltrano/", "Veltrano/C/" },
        { nullptr, nullptr, "com.veltrano.", "Veltrano/", "Veltrano/" },
    };
    String result;
    for (const auto& row : rows) {
        m->ModuleInit(row.product, row.component);
        EXPECT_TEXT(row.identifier, m->GetModuleIdentifier());
        m->GetMakerFolderPath(result);
        EXPECT_TEXT(row.maker, result);
        m->GetProductFolderPath(result);
        EXPECT_TEXT(row.folder, result);
    }
    m->ModuleInit("first", "second");
    m->ModuleInit("a much longer name", m->GetModuleProductName());
    EXPECT_TEXT("com.veltrano.a much longer name.first", m->GetModuleIdentifier());
    EXPECT_TEXT("first", m->GetModuleComponentName());
}

TEST_F(ModuleTest, InitWithPathTakesThePlaceFromThePath)
{
    String result;
    EXPECT_EQ(m->ModuleInitWithPath("no slash", "P", "C"), fnfErr);
    EXPECT_TEXT("no slash", m->GetModulePath());
    EXPECT_TEXT("com.veltrano.P.C", m->GetModuleIdentifier());
    EXPECT_EQ(m->ModuleInitWithPath("/dev/null", "P", "C"), errFSBadFSRef) << "too few folders";
    std::filesystem::create_directories(Path("other/Y.bundle/Contents/MacOS"));
    const std::string path = Path("other/Y.bundle/Contents/MacOS/Y");
    WriteFile(path, "");
    EXPECT_NE(m->ModuleInitWithPath(path.c_str(), "P", "C"), noErr) << "KEPT: means nothing";
    m->GetModuleBundleName(result);
    EXPECT_TEXT("Y.bundle", result);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(m->GetModuleFolder().name)), "\5other");
}

TEST_F(ModuleTest, FolderKinds)
{
    std::filesystem::create_directory(Path("back\\slash"));
    const std::pair<int, std::string> rows[]
        = { { 0, "A/B/" }, { 1, "data/" }, { 2, "data/" }, { 3, "share/" } };
    String result;
    for (const auto& [kind, folder] : rows) {
        m->GetFolderPath(result, kind);
        EXPECT_EQ(Below(result), folder) << kind;
        m->GetFolderPathWith(result, kind, "/a//b/");
        EXPECT_EQ(Below(result), folder + "a/b/") << kind;
        EXPECT_FALSE(std::filesystem::exists(TextOf(result))) << "nothing is made";
    }
    for (int kind : { -1, 4, INT_MAX, INT_MIN }) {
        m->GetFolderPathWith(result, kind, "a");
        EXPECT_TEXT("", result);
    }
    m->GetFolderPathWith(result, 1, nullptr);
    EXPECT_EQ(Below(result), "data/");
    result = "c/d";
    m->GetFolderPathWith(result, 1, result);
    EXPECT_EQ(Below(result), "data/c/d/") << "the argument lies in the result";
    setenv("XDG_DATA_HOME", Path("back\\slash").c_str(), 1);
    m->GetFolderPath(result, 1);
    EXPECT_EQ(Below(result), "back/slash/") << "KEPT: a backslash becomes a slash";
    setenv("XDG_DATA_HOME", Path(std::string(300, 'l')).c_str(), 1);
    m->GetFolderPath(result, 1);
    EXPECT_TEXT("", result);
}

TEST_F(ModuleTest, SupportFoldersAreMadeWhereTheyCanBe)
{
    String result;
    const mode_t before = umask(022);
    m->GetSupportFolderPath(result, 3, "/Veltrano//P/");
    umask(before);
    EXPECT_EQ(Below(result), "share/Veltrano/P/");
    struct stat info;
    ASSERT_EQ(stat(result, &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0755u);
    m->GetSupportFolderPath(result, 4, "Veltrano");
    EXPECT_EQ(Below(result), "share/Veltrano/") << "KEPT: a kind above 3 steps down to 3";

    std::filesystem::create_directory(Path("data"));
    WriteFile(Path("share/taken"), "");
    WriteFile(Path("data/taken"), "");
    testing::internal::CaptureStderr();
    m->GetSupportFolderPath(result, 3, "taken/below");
    EXPECT_EQ(Below(result), "A/B/taken/below/");
    WriteFile(Path("A/B/full"), "");
    m->GetSupportFolderPath(result, 0, "full/below");
    EXPECT_TEXT("", result);
    std::string lines;
    for (const char* path : { "share/taken", "data/taken", "data/taken", "A/B/full" })
        lines += "mkdir error 20: path = \"" + Path(path) + "/below\"\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), lines);
}

TEST_F(ModuleTest, PreferencesOfTheModule)
{
    m->ModuleInit("P", "C");
    for (bool allUsers : { false, true }) {
        String result("before");
        EXPECT_EQ(m->GetModuleIntPref("n", 5, allUsers), 5);
        EXPECT_EQ(m->SetModuleIntPref("n", -3, allUsers), 0);
        EXPECT_EQ(m->GetModuleIntPref("n", 5, allUsers), -3);
        m->GetModuleStringPref(result, "s", result, allUsers);
        EXPECT_TEXT("before", result);
        EXPECT_EQ(m->SetModuleStringPref("s", "text", allUsers), 0);
        m->GetModuleStringPref(result, "s", "x", allUsers);
        EXPECT_TEXT("text", result);
    }
    EXPECT_TRUE(std::filesystem::exists(Path("etc/preferences/com.veltrano.P.C.plist")));
    m->ModuleInit("no/place", nullptr); // an application without a file: the store is not valid
    String result;
    EXPECT_EQ(m->SetModuleIntPref("n", 1, false), -1);
    EXPECT_EQ(m->SetModuleStringPref("s", "x", false), -1);
    EXPECT_EQ(m->GetModuleIntPref("n", 5, false), 5);
    m->GetModuleStringPref(result, "s", "default", false);
    EXPECT_TEXT("default", result);
}

TEST_F(ModuleTest, CallsAfterTheStringsAreReleasedAreSafe)
{
    m->ModuleInit("P", "C");
    ASSERT_EQ(m->SetModuleIntPref("n", 1, false), 0);
    const std::pair<const char*, std::function<void(String&)>> rows[] = {
        { "A/B/X.bundle/Contents/", m->GetModuleParentFolder },
        { "A/B/", [this](String& result) { m->GetFolderPath(result, kFolderModule); } },
        { "A/B/X.bundle/Contents/MacOS/", [this](String& result) { result = m->GetModulePath(); } },
    };
    String result;
    for (const auto& [path, call] : rows) {
        m->ReleaseModuleStrings();
        m->ReleaseModuleStrings();
        call(result);
        EXPECT_EQ(Below(result), path);
        m->ReleaseModuleStrings();
        m->GetMakerFolderPath(result); // makes the strings again, all empty
        EXPECT_TEXT("Veltrano/", result);
        call(result);
        EXPECT_EQ(Below(result), path);
    }
    m->ReleaseModuleStrings();
    m->GetModuleBundleName(result);
    EXPECT_TEXT("X.bundle", result);
    m->ReleaseModuleStrings();
    EXPECT_EQ(m->GetModuleIntPref("n", 5, false), 5);
    m->ReleaseModuleStrings();
    EXPECT_EQ(m->SetModuleIntPref("n", 2, true), -1);
    EXPECT_EQ(m->SetModuleStringPref("s", "x", true), -1);
    m->GetModuleStringPref(result, "s", "default", true);
    EXPECT_TEXT("default", result);
    EXPECT_FALSE(std::filesystem::exists(Path("etc"))) << "no file for an empty identifier";
}

// Each row runs in a child process, because a location once found is kept.
TEST(ModuleImagesDeathTest, TheWalkPassesOverWhatHasNoFile)
{
    const TemporaryFolder folder;
    const std::string found = folder.Path("A/X.bundle/Contents/MacOS/X");
    std::filesystem::create_directories(folder.Path("A/X.bundle/Contents/MacOS"));
    WriteFile(found, "");
    auto locate = [](std::vector<const char*> names) {
        sImageNames = names;
        return LocateModuleImage();
    };
    auto isFound = [&] {
        return found == TextOf(GetModulePath()) + "X" && GetModuleFolder().name[1] == 'A';
    };
    const std::pair<const char*, std::function<bool()>> rows[] = {
        // clang-format off
        { "the program is skipped", [&] { return locate({ found.c_str() }) == 1 && GetModulePath().IsEmpty(); } },
        { "not found is final", [&] { return locate({}) == 1 && locate({ "", found.c_str() }) == 1 && GetModulePath().IsEmpty(); } },
        { "no name, no file", [&] { return locate({ "", nullptr, "/missing/X", found.c_str() }) == 1 && isFound(); } },
        { "the last try counts", [&] { return locate({ "", "/missing/X" }) == 1 && GetModulePath() == "/missing/"; } },
        { "too few folders", [&] { return locate({ "", "/dev/null" }) == 0 && locate({ "", found.c_str() }) == 1 && isFound(); } },
        // clang-format on
    };
    for (const auto& [name, call] : rows)
        EXPECT_EXIT(_exit(call() ? 0 : 1), testing::ExitedWithCode(0), "") << name;
}

TEST(ModulePaths, MakeDirectories)
{
    TemporaryFolder folder;
    WriteFile(folder.Path("file"), "");
    testing::internal::CaptureStderr();
    for (const char* path : { "a/b//c", "a/b/c", "d/e/", "file/x/y" })
        EXPECT_EQ(MakeDirectories(folder.Path(path).c_str()), 1) << path;
    EXPECT_EQ(MakeDirectories(nullptr), 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "mkdir error 20: path = \"" + folder.Path("file/x") + "\"\n");
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("a/b/c")));
    EXPECT_TRUE(std::filesystem::is_directory(folder.Path("d/e")));
}

TEST(ModulePaths, Parts)
{
    using Part = unsigned (*)(const char*, char*, unsigned);
    const std::tuple<Part, const char*, unsigned, const char*> rows[] = {
        { GetDirectoryPart, "/a/b.txt", 4, "/a/" },
        { GetFileNamePart, "/a/b.txt", 6, "b.txt" },
        { GetDirectoryPart, "b.txt", 1, "" },
        { GetFileNamePart, "b.txt", 6, "b.txt" },
        { GetDirectoryPart, "/a/", 4, "/a/" },
        { GetFileNamePart, "/a/", 1, "" },
        { GetDirectoryPart, "/", 2, "/" },
        { GetFileNamePart, "/", 1, "" },
        { GetDirectoryPart, "", 1, "" },
        { GetFileNamePart, "", 1, "" },
    };
    for (const auto& [part, path, nNeeded, text] : rows) {
        SCOPED_TRACE(path);
        char out[10] = "untouched";
        EXPECT_EQ(part(path, nullptr, 10), nNeeded);
        EXPECT_EQ(part(path, out, nNeeded - 1), nNeeded);
        EXPECT_STREQ(out, "untouched");
        EXPECT_EQ(part(path, out, nNeeded), 0u);
        EXPECT_STREQ(out, text);
        EXPECT_EQ(part(nullptr, out, 10), 0xFFFFFFFF);
    }
}

TEST(ModuleDeathTest, EveryCheckReportsItsFileLineAndText)
{
    static String result;
    const ReportRow rows[] = {
        // clang-format off
        { 667, "sInited", [] { CheckInited(); } },
        { 684, "sInited", [] { GetModuleIntPref("k", 0, false); } },
        { 701, "sInited", [] { SetModuleIntPref("k", 0, false); } },
        { 717, "sInited", [] { GetModuleStringPref(result, "k", "", false); } },
        { 732, "sInited", [] { SetModuleStringPref("k", "", false); } },
        { 316, "n >= 0", [] { ModuleInitWithPath("X", "", ""); GetFolderPath(result, 0); } },
        { 316, "n >= 0", [] { ModuleInitWithPath("/X", "", ""); GetFolderPath(result, 0); } },
        { 319, "n >= 0", [] { ModuleInitWithPath("c/m/X", "", ""); GetFolderPath(result, 0); } },
        { 322, "n >= 0", [] { ModuleInitWithPath("/c/m/X", "", ""); GetFolderPath(result, 0); } },
        { 361, "n >= 0", [] { ModuleInitWithPath("X", "", ""); GetModuleBundleName(result); } },
        { 364, "n >= 0", [] { ModuleInitWithPath("c/m/X", "", ""); GetModuleBundleName(result); } },
        { 368, "n >= 0", [] { ModuleInitWithPath("b/c/m/X", "", ""); GetModuleBundleName(result); } },
        { 1008, "i < n", [] { sImageNames.emplace(); GetModuleBundle(); } },
        { 1012, "imagename != 0", [] { sImageNames = { nullptr }; GetModuleBundle(); } },
        { 1028, "ref != 0", [] { sImageNames = { "/missing/c/m/X" }; GetModuleBundle(); } },
        { 1074, "mainBundle != 0", [] { sHasMainBundle = false; GetHostMainBundle(); } },
        // clang-format on
    };
    ExpectReports("System/vlModule.cpp", rows);
}

} // namespace
