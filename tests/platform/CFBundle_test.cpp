// SPDX-License-Identifier: MIT
// CFBundle_test.cpp - bundles: identity, code, search, resource maps.
#include "tests/support/Foundation.h"
#include "tools/ResourceWriter.h"

#include <CoreServices/Resources.h>

#include <barrier>
#include <dlfcn.h>
#include <thread>

// A private copy of the test bundle.
class Bundle : public testing::Test
{
protected:
    Bundle()
    {
        std::filesystem::copy(TEST_BUNDLE, m_path, std::filesystem::copy_options::recursive);
        std::filesystem::create_directories(m_path + "/Contents/Resources");
        for (const char* variable : { "LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG" })
            unsetenv(variable);
    }

    Ref<CFBundleRef> Create() const
    {
        return Own(CFBundleCreate(nullptr, FolderURL(m_path).get()));
    }

    void Put(const std::string& name, const std::string& text) const
    {
        std::string path = m_path + "/Contents/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        WriteFile(path, text);
    }

    void PutInfo(const std::string& entries) const
    {
        Put("Info.plist",
            "<?xml version=\"1.0\"?>\n<plist version=\"1.0\"><dict>" + entries + "</dict></plist>");
    }

    static std::string Resource(const std::string& text)
    {
        ResourceWriter file;
        file.Set({ 'TEXT', 1, 0, "", { text.begin(), text.end() } });
        file.Set({ ResType(text == "local" ? 'loca' : 'plai'), 2, 0, "", { 'x' } });
        auto bytes = file.Serialize();
        return { bytes->begin(), bytes->end() };
    }

    TemporaryFolder m_folder;
    std::string m_path = m_folder.Path("Tester.bundle");
    std::string m_executable = m_path + "/Contents/MacOS/Tester";
};

TEST_F(Bundle, IsOneObjectAFolder)
{
    auto first = Create();
    std::filesystem::create_symlink(m_path, m_folder.Path("link"));
    auto second = Own(CFBundleCreate(nullptr, FolderURL(m_folder.Path("link/../link/")).get()));
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(2, CFGetRetainCount(first.get()));
    EXPECT_EQ(m_path, PathOf(Own(CFBundleCopyBundleURL(first.get())).get()));
    EXPECT_EQ(nullptr, CFBundleCreate(nullptr, FolderURL(m_executable).get())) << "no folder";
    EXPECT_EQ(nullptr, CFBundleCreate(nullptr, FolderURL(m_folder.Path("none")).get()));
}

TEST_F(Bundle, LoadsOnceAndTheLastReleaseUnloads)
{
    int nGone = 0;
    auto bundle = Create();
    EXPECT_FALSE(CFBundleIsExecutableLoaded(bundle.get()));
    auto watch = [&] {
        auto* countUnloads = reinterpret_cast<void (*)(int*)>(
            CFBundleGetFunctionPointerForName(bundle.get(), CFSTR("TestCountUnloads")));
        ASSERT_NE(nullptr, countUnloads);
        countUnloads(&nGone);
    };
    watch();
    EXPECT_TRUE(CFBundleLoadExecutable(bundle.get()));
    EXPECT_EQ(nullptr, CFBundleGetFunctionPointerForName(bundle.get(), CFSTR("NoSuchSymbol")));
    CFBundleUnloadExecutable(bundle.get());
    EXPECT_EQ(1, nGone) << "one call unloads, however many loads";
    CFBundleUnloadExecutable(bundle.get());
    watch();
    auto second = Create();
    bundle.reset();
    EXPECT_EQ(1, nGone);
    second.reset();
    EXPECT_EQ(2, nGone);
    EXPECT_EQ(nullptr, dlopen(m_executable.c_str(), RTLD_NOW | RTLD_NOLOAD)) << "still mapped";
}

TEST_F(Bundle, LoadsOnceFromFourThreads)
{
    PutInfo("<key>CFBundleExecutable</key><string>Tester</string>");
    for (int turn = 0; turn < 50; ++turn) {
        Ref<CFBundleRef> bundles[4];
        std::barrier start(4);
        std::vector<std::thread> threads;
        for (Ref<CFBundleRef>& bundle : bundles)
            threads.emplace_back([&] {
                start.arrive_and_wait();
                bundle = Create();
                EXPECT_TRUE(CFBundleLoadExecutable(bundle.get()));
                EXPECT_EQ(nullptr,
                          CFBundleCopyResourceURL(bundle.get(), CFSTR("none"), nullptr, nullptr));
            });
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(4, CFGetRetainCount(bundles[0].get()));
        CFBundleUnloadExecutable(bundles[0].get());
        ASSERT_EQ(nullptr, dlopen(m_executable.c_str(), RTLD_NOW | RTLD_NOLOAD)) << turn;
    }
}

TEST_F(Bundle, TakesItsExecutableFromInfoOrItsName)
{
    const std::pair<const char*, bool> rows[] = {
        { "<key>Other</key><true/>", true }, // the bundle's own name
        { "<key>CFBundleExecutable</key><string>Other</string>", true },
        { "<key>CFBundleExecutable</key><string>Missing</string>", false },
        { "<key>CFBundleExecutable</key><string>../MacOS/Tester</string>",
          false }, // a name, no path
        { "<key>CFBundleExecutable</key><integer>1</integer>", true },
    };
    std::filesystem::copy_file(m_executable, m_path + "/Contents/MacOS/Other");
    for (const auto& [entries, isLoaded] : rows) {
        PutInfo(entries);
        auto bundle = Create();
        EXPECT_EQ(isLoaded, CFBundleLoadExecutable(bundle.get())) << entries;
    }
    Put("Info.plist", "junk");
    EXPECT_TRUE(CFBundleLoadExecutable(Create().get()));
}

TEST_F(Bundle, MainBundleIsTheProgramsFolder)
{
    CFBundleRef main = CFBundleGetMainBundle();
    ASSERT_NE(nullptr, main);
    EXPECT_EQ(main, CFBundleGetMainBundle());
    std::filesystem::path program = std::filesystem::canonical("/proc/self/exe");
    EXPECT_EQ(program.parent_path().string(), PathOf(Own(CFBundleCopyBundleURL(main)).get()));
    EXPECT_TRUE(CFBundleIsExecutableLoaded(main));
}

TEST_F(Bundle, SearchesPlainThenTheUsersLanguagesThenItsRegionThenEnglish)
{
    PutInfo("<key>CFBundleDevelopmentRegion</key><string>French</string>");
    // each resource is found where only that folder and the ones after it hold it
    const std::pair<const char*, const char*> rows[]
        = { { "sv.lproj/", "it_IT" }, // better than none
            { "da.lproj/", "C" },
            { "en.lproj/", "C" },
            { "English.lproj/", "C" },
            { "fr.lproj/", "C" },
            { "French.lproj/", "C" },
            { "German.lproj/", "de_AT.UTF-8" },
            { "de.lproj/", "de_AT@euro" },
            { "de-AT.lproj/", "de_AT" },
            { "de_AT.lproj/", "de_AT.UTF-8" },
            { "", "de_AT" } };
    std::string last;
    for (const auto& [folder, locale] : rows) {
        if (std::string(folder) == "English.lproj/")
            std::filesystem::remove_all(m_path + "/Contents/Resources/en.lproj");
        Put(std::string("Resources/") + folder + "about.nib", "x");
        setenv("LANG", locale, 1);
        auto url
            = Own(CFBundleCopyResourceURL(Create().get(), CFSTR("about"), CFSTR("nib"), nullptr));
        EXPECT_EQ(m_path + "/Contents/Resources/" + folder + "about.nib", PathOf(url.get()))
            << locale;
    }
    setenv("LANGUAGE", "it:fr", 1);
    Put("Resources/it.lproj/sub/text", "x");
    auto url = Own(CFBundleCopyResourceURL(Create().get(), CFSTR("text"), nullptr, CFSTR("sub")));
    EXPECT_EQ(m_path + "/Contents/Resources/it.lproj/sub/text", PathOf(url.get()));
    EXPECT_EQ(nullptr,
              CFBundleCopyResourceURL(Create().get(), CFSTR("none"), CFSTR("nib"), nullptr));
}

TEST_F(Bundle, JoinsItsResourceFilesLocalisedFirst)
{
    auto bundle = Create();
    EXPECT_EQ(kResFileNotOpened, CFBundleOpenBundleResourceMap(bundle.get()));
    EXPECT_EQ(resFNotFound, ResError());
    EXPECT_EQ(kSystemResFile, CurResFile());

    Put("Resources/Tester.rsrc", Resource("plain"));
    SInt16 plain = CFBundleOpenBundleResourceMap(bundle.get());
    EXPECT_EQ(plain, CurResFile());
    EXPECT_EQ('p', **GetResource('TEXT', 1));
    Put("Resources/en.lproj/Localized.rsrc", Resource("local"));
    SInt16 joined = CFBundleOpenBundleResourceMap(bundle.get());
    EXPECT_NE(plain, joined);
    EXPECT_EQ('l', **GetResource('TEXT', 1));
    EXPECT_NE(nullptr, GetResource('plai', 2));
    EXPECT_NE(nullptr, GetResource('loca', 2));
    CFBundleCloseBundleResourceMap(bundle.get(), joined);
    EXPECT_EQ(plain, CurResFile());
    CFBundleCloseBundleResourceMap(bundle.get(), plain);
    CFBundleCloseBundleResourceMap(bundle.get(), kResFileNotOpened);

    Put("Resources/Tester.rsrc", "damaged");
    std::filesystem::remove(m_path + "/Contents/Resources/en.lproj/Localized.rsrc");
    EXPECT_EQ(kResFileNotOpened, CFBundleOpenBundleResourceMap(bundle.get()));
    EXPECT_EQ(mapReadErr, ResError());
}
