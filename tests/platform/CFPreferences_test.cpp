// SPDX-License-Identifier: MIT
// CFPreferences_test.cpp - values, merging, failures, and several processes on one domain.
// VELTRANO_SETS=n and VELTRANO_KILLS=n make the tests with several processes longer.
#include "tests/support/FailingCalls.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Foundation.h"

#include <cmath>
#include <sys/stat.h>

using testing::HasSubstr;

static const CFStringRef kApplication = CFSTR("com.veltrano.test");
static const CFStringRef kUser = kCFPreferencesCurrentUser;
static const CFStringRef kHost = kCFPreferencesCurrentHost;

static void Set(const std::string& key, CFTypeRef value)
{
    CFPreferencesSetValue(Str(key).get(), value, kApplication, kUser, kHost);
}

static Owned<CFTypeRef> Copy(const std::string& key)
{
    return Own(CFPreferencesCopyValue(Str(key).get(), kApplication, kUser, kHost));
}

static bool Synchronize()
{
    return CFPreferencesSynchronize(kApplication, kUser, kHost);
}

static bool Save(const std::string& key, CFTypeRef value)
{
    Set(key, value);
    return Synchronize();
}

static long Number(CFTypeRef value)
{
    long number = -1;
    if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongType, &number);
    return number;
}

static CFIndex CountKeys()
{
    auto keys = Own(CFPreferencesCopyKeyList(kApplication, kUser, kHost));
    return keys != nullptr ? CFArrayGetCount(keys.get()) : 0;
}

// A home of its own, so that the domain starts empty.
class CFPreferences : public testing::Test
{
protected:
    CFPreferences()
    {
        Synchronize(); // takes note of the new place
        m_file = FindFile();
    }

    // The name holds the machine's number, so it is found rather than built.
    std::string FindFile() const
    {
        EXPECT_TRUE(Save("x", kCFBooleanTrue));
        std::string found;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            if (entry.path().extension() == ".plist")
                found = entry.path();
        EXPECT_TRUE(Save("x", nullptr));
        return found;
    }

    std::string Contents() const { return ReadFile(m_file); }

    void Write(const std::string& values) const
    {
        WriteFile(m_file,
                  "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + values + "</plist>\n");
        EXPECT_TRUE(Synchronize());
    }

    TemporaryHome m_home;
    std::string m_folder = m_home.Path("config/preferences/ByHost");
    std::string m_file;
};

TEST_F(CFPreferences, KeepsEveryKindOfValueThroughTheFile)
{
    const UInt8 bytes[] = { 0, 255, 10, 13 };
    auto inner = Dict();
    CFDictionarySetValue(inner.get(), CFSTR(""), CFSTR("empty key"));
    CFDictionarySetValue(inner.get(), CFSTR("<&>\"'"), CFSTR("a < b & c > d ]]>\r\n\t\001"));
    const void* elements[] = { kCFBooleanTrue, inner.get(), CFSTR("") };
    const std::pair<const char*, Owned<CFTypeRef>> rows[] = {
        { "text", Str("ä€😀") },
        { "least", Int(INT64_MIN) },
        { "most", Int(INT64_MAX) },
        { "third", Real(1.0 / 3) },
        { "infinite", Real(-INFINITY) },
        { "minus zero", Real(-0.0) },
        { "false", Own(kCFBooleanFalse) },
        { "data1", Own(CFDataCreate(nullptr, bytes, 4)) },
        { "data2", Own(CFDataCreate(nullptr, bytes, 2)) },
        { "data0", Own(CFDataCreate(nullptr, bytes, 0)) },
        { "far", Own(CFDateCreate(nullptr, 63113904000.0)) }, // 4001-01-01
        { "early", Own(CFDateCreate(nullptr, -63113904000.0)) },
        { "list", Own(CFArrayCreate(nullptr, elements, 3, &kCFTypeArrayCallBacks)) },
    };
    for (const auto& [key, value] : rows)
        Set(key, value.get());
    ASSERT_TRUE(Synchronize());
    // Read back by a domain that has none of it in memory any more.
    std::string text = Contents();
    Write("<dict/>");
    EXPECT_EQ(0, CountKeys());
    WriteFile(m_file, text);
    ASSERT_TRUE(Synchronize());
    for (const auto& [key, value] : rows) {
        auto read = Copy(key);
        ASSERT_NE(nullptr, read) << key;
        EXPECT_TRUE(CFEqual(value.get(), read.get())) << key << "\n" << text;
        EXPECT_EQ(CFGetTypeID(value.get()), CFGetTypeID(read.get())) << key;
    }
    EXPECT_THAT(text, HasSubstr("<real>-0</real>"));
    EXPECT_TRUE(Save("one more", kCFBooleanTrue) && Save("one more", nullptr));
    EXPECT_EQ(text, Contents()) << "a rewrite changes nothing else";
}

TEST_F(CFPreferences, ReadsOnlyWhatItCanKeepExactly)
{
    const std::pair<const char*, const char*> rows[] = {
        { "<integer> 12 </integer>", "<integer>12</integer>" },
        { "<integer>+0x1F</integer>", "<integer>31</integer>" },
        { "<integer>18446744073709551615</integer>", "<integer>18446744073709551615</integer>" },
        { "<integer>-9223372036854775808</integer>", "<integer>-9223372036854775808</integer>" },
        { "<real>1e300</real>", "<real>1e+300</real>" },
        { "<real>+infinity</real>", "<real>+infinity</real>" },
        { "<date>2024-02-29T23:59:59Z</date>", "<date>2024-02-29T23:59:59Z</date>" },
        { "<data>AA==</data>", "<data>AA==</data>" },
        { "<data>\n\tAAEC\n\tAwQ=\n</data>", "<data>AAECAwQ=</data>" },
        { "<string>a&#x41;&lt;<![CDATA[<&]]><!-- no -->b</string>",
          "<string>aA&lt;&lt;&amp;b</string>" },
        { "<string>a\r\nb</string>", "<string>a\nb</string>" },
        { "<true/><!-- fine --> ", "<true/>" },
    };
    const auto write = [this](const std::string& value) {
        Write("<dict><key>v</key>" + value + "<key>w</key><true/></dict>");
        return Copy("v") != nullptr;
    };
    for (const auto& [value, rewritten] : rows) {
        EXPECT_TRUE(write(value) && Save("more", kCFBooleanTrue)) << value;
        EXPECT_THAT(Contents(), HasSubstr(std::string("<key>v</key>\n\t") + rewritten));
    }
    for (const char* refused : { "<integer>18446744073709551616</integer>",
                                 "<integer>-9223372036854775809</integer>",
                                 "<integer>abc</integer>",
                                 "<integer/>",
                                 "<real>1,5</real>",
                                 "<date>2023-02-29T00:00:00Z</date>",
                                 "<date>soon</date>",
                                 "<data>A</data>",
                                 "<data>AA=A</data>",
                                 "<data>#</data>",
                                 "<string>&unknown;</string>",
                                 "<string>&#0;</string>",
                                 "<string>&#xD800;</string>",
                                 "<string>\xC3</string>",
                                 "<string>no end",
                                 "<string>a</key>",
                                 "<true>x</true>",
                                 "<dict><key>a</key></dict>",
                                 "<dict><integer>1</integer></dict>",
                                 "<array><true/></dict>",
                                 "<array> text </array>",
                                 "<uid>3</uid>" })
        EXPECT_FALSE(write(refused)) << refused;
    for (const char* file : { "", "junk", "<plist/>", "<plist><dict/></plist>x",
                              "<plist><dict/><dict/></plist>", "<plist><array/></plist>",
                              "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><dict/></plist>" }) {
        WriteFile(m_file, file);
        ASSERT_TRUE(Synchronize());
        EXPECT_EQ(0, CountKeys()) << file;
        EXPECT_EQ(file, Contents()) << "reading changes nothing";
    }
    WriteFile(m_file,
              "\xEF\xBB\xBF<!-- c --><?xml version='1.0'?><!DOCTYPE plist SYSTEM 'x'>"
              "<plist><dict><key>a</key><true/></dict></plist>\n");
    ASSERT_TRUE(Synchronize());
    EXPECT_EQ(1, CountKeys());
}

TEST_F(CFPreferences, RefusesWhatAPropertyListCannotHold)
{
    const UInt8 withZero[] = { 'a', 0, 'b' };
    auto nest = [](int depth) {
        auto value = Dict();
        for (int i = 1; i < depth; ++i) {
            auto outer = Dict();
            CFDictionarySetValue(outer.get(), CFSTR("in"), value.get());
            value = std::move(outer);
        }
        return value;
    };
    auto byNumber = Dict();
    CFDictionarySetValue(byNumber.get(), Int(1).get(), kCFBooleanTrue);
    const void* pointer = &withZero;
    std::pair<const char*, Owned<CFTypeRef>> rows[] = {
        { "zero in text",
          Own(CFStringCreateWithBytes(nullptr, withZero, 3, kCFStringEncodingUTF8, false)) },
        { "key is a number", std::move(byNumber) },
        { "plain pointers", Own(CFArrayCreate(nullptr, &pointer, 1, nullptr)) },
        { "year 10000", Own(CFDateCreate(nullptr, 252423993600.0)) },
        { "no date", Own(CFDateCreate(nullptr, NAN)) },
        { "a location", FolderURL("/") },
        { "513 levels", nest(513) },
        { "a million levels", nest(1000000) },
    };
    ASSERT_TRUE(Save("v", Int(1).get()));
    std::string before = Contents();
    for (const auto& [name, value] : rows) {
        Set("v", value.get());
        EXPECT_EQ(1, Number(Copy("v").get())) << name;
        EXPECT_FALSE(Synchronize()) << name;
        EXPECT_EQ(before, Contents()) << name;
        EXPECT_TRUE(Synchronize()) << name << ": told once";
    }
    EXPECT_TRUE(Save("v", nest(512).get()));
    std::string deep = Contents();
    Write("<dict/>");
    WriteFile(m_file, deep);
    ASSERT_TRUE(Synchronize());
    EXPECT_NE(nullptr, Copy("v")) << "512 levels are read back";
}

TEST_F(CFPreferences, SetCopiesAndEqualValuesChangeNothing)
{
    UInt8 bytes[] = { 1, 2 };
    auto dictionary = Dict();
    CFDictionarySetValue(
        dictionary.get(), CFSTR("d"),
        Own(CFDataCreateWithBytesNoCopy(nullptr, bytes, 2, kCFAllocatorNull)).get());
    Set("v", dictionary.get());
    bytes[0] = 9;
    CFDictionarySetValue(dictionary.get(), CFSTR("later"), kCFBooleanTrue);
    ASSERT_TRUE(Synchronize());
    auto kept = Copy("v");
    EXPECT_EQ(1, CFDictionaryGetCount(static_cast<CFDictionaryRef>(kept.get())));
    EXPECT_NE(std::string::npos, Contents().find("<data>AQI=</data>"));

    std::filesystem::remove_all(m_folder); // a write would bring it back
    Set("v", kept.get());
    Set("absent", nullptr);
    EXPECT_TRUE(Synchronize());
    EXPECT_FALSE(std::filesystem::exists(m_folder));
}

TEST_F(CFPreferences, OtherWritersShowAfterASynchronizeWithoutChanges)
{
    Write("<dict><key>a</key><integer>1</integer></dict>");
    EXPECT_EQ(1, Number(Copy("a").get()));
    WriteFile(m_file,
              "<plist><dict><key>a</key><integer>2</integer><key>b</key><integer>2</integer></"
              "dict></plist>");
    EXPECT_EQ(1, Number(Copy("a").get())) << "nobody asked for a new look";
    EXPECT_TRUE(Save("c", Int(3).get()));
    EXPECT_EQ(2, Number(Copy("a").get())) << "merged";
    EXPECT_EQ(3, CountKeys());
    WriteFile(m_file, "<plist><dict/></plist>");
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(0, CountKeys());
}

TEST_F(CFPreferences, MergesEntryByEntry)
{
    // read first, then set by us while another process leaves `disk` behind
    const struct
    {
        const char *name, *base, *ours, *disk, *merged;
    } rows[] = {
        { "both add", "", "a=1 ", "b=2 ", "b=2 a=1 " },
        { "both add to one new dictionary", "", "D{a=1 }", "D{b=2 }", "D{b=2 a=1 }" },
        { "both change one", "a=1 ", "a=2 ", "a=3 ", "a=2 " },
        { "we keep, they change", "a=1 b=1 ", "a=1 b=2 ", "a=3 b=1 ", "a=3 b=2 " },
        { "we remove, they add", "a=1 ", "", "a=1 b=2 ", "b=2 " },
        { "they remove, we add", "a=1 ", "a=1 b=2 ", "", "b=2 " },
        { "we remove what they change", "a=1 c=1 ", "c=1 ", "a=2 c=1 ", "c=1 " },
        { "deep", "D{E{a=1 x=1 }}", "D{E{a=2 x=1 }}", "D{E{a=1 x=1 b=3 }f=4 }",
          "D{E{a=2 x=1 b=3 }f=4 }" },
        { "they replace by a number", "D{a=1 b=1 }", "D{a=1 b=2 }", "D=7 ", "D{b=2 }" },
        { "we replace by a number", "D{a=1 }", "D=7 ", "D{a=1 b=2 }", "D=7 " },
    };
    // "D{a=1 }" is a dictionary under D with 1 under a
    auto xml = [](const std::string& text) {
        std::string out;
        for (char c : text) {
            if (isalpha(c) != 0)
                out += std::string("<key>") + c + "</key>";
            if (isdigit(c) != 0)
                out += std::string("<integer>") + c + "</integer>";
            if (c == '{' || c == '}')
                out += c == '{' ? "<dict>" : "</dict>";
        }
        return "<plist><dict>" + out + "</dict></plist>";
    };
    auto spaceless = [](std::string text) {
        std::erase_if(text, [](char c) { return c == '\n' || c == '\t'; });
        return text.substr(std::min(text.find("<dict>"), text.size()));
    };
    for (const auto& row : rows) {
        WriteFile(m_file, xml(row.ours));
        ASSERT_TRUE(Synchronize());
        std::vector<std::pair<std::string, Owned<CFTypeRef>>> ours;
        for (const char* key : { "a", "b", "c", "D" })
            ours.emplace_back(key, Copy(key));
        WriteFile(m_file, xml(row.base));
        ASSERT_TRUE(Synchronize());
        for (const auto& [key, value] : ours)
            Set(key, value.get());
        WriteFile(m_file, xml(row.disk));
        ASSERT_TRUE(Synchronize()) << row.name;
        EXPECT_EQ(spaceless(xml(row.merged)), spaceless(Contents())) << row.name;
    }
}

TEST_F(CFPreferences, DamagedFileIsMovedAsideOnceAndKept)
{
    WriteFile(m_file, "damaged 1");
    ASSERT_TRUE(Synchronize());
    EXPECT_EQ(nullptr, Copy("a"));
    EXPECT_FALSE(std::filesystem::exists(m_file + ".damaged-1")) << "only a write moves it";
    EXPECT_TRUE(Save("a", Int(1).get()));
    EXPECT_TRUE(Save("b", Int(2).get()));
    EXPECT_EQ("damaged 1", ReadFile(m_file + ".damaged-1"));
    EXPECT_FALSE(std::filesystem::exists(m_file + ".damaged-2"));
    WriteFile(m_file, "damaged 2");
    EXPECT_TRUE(Save("c", Int(3).get()));
    EXPECT_EQ("damaged 1", ReadFile(m_file + ".damaged-1"));
    EXPECT_EQ("damaged 2", ReadFile(m_file + ".damaged-2"));
    EXPECT_EQ(3, Number(Copy("c").get()));
}

TEST_F(CFPreferences, PlacesAndModes)
{
    umask(0);
    std::filesystem::remove_all(m_folder);
    const struct
    {
        CFStringRef user;
        CFStringRef host;
        const char* folder;
        mode_t fileMode;
        mode_t folderMode;
    } rows[] = {
        { kCFPreferencesCurrentUser, kCFPreferencesCurrentHost, "config/preferences/ByHost", 0600,
          0700 },
        { kCFPreferencesCurrentUser, kCFPreferencesAnyHost, "config/preferences", 0600, 0700 },
        { kCFPreferencesAnyUser, kCFPreferencesCurrentHost, "etc/preferences", 0644, 0775 },
        { kCFPreferencesAnyUser, kCFPreferencesAnyHost, "etc/preferences/Network", 0644, 0775 },
    };
    for (const auto& row : rows) {
        std::string folder = m_home.Path(row.folder);
        CFPreferencesSynchronize(kApplication, row.user, row.host);
        CFPreferencesSetValue(CFSTR("k"), kCFBooleanTrue, kApplication, row.user, row.host);
        EXPECT_TRUE(CFPreferencesSynchronize(kApplication, row.user, row.host)) << row.folder;
        struct stat info;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".plist") {
                ASSERT_EQ(0, stat(entry.path().c_str(), &info));
                EXPECT_EQ(row.fileMode, info.st_mode & 07777) << entry.path();
                EXPECT_EQ(0u, entry.path().filename().string().find("com.veltrano.test."));
            }
        }
        ASSERT_EQ(0, stat(folder.c_str(), &info));
        EXPECT_EQ(row.folderMode, info.st_mode & 07777) << folder;
        CFPreferencesSetValue(CFSTR("k"), nullptr, kApplication, row.user, row.host);
        EXPECT_TRUE(CFPreferencesSynchronize(kApplication, row.user, row.host));
        EXPECT_FALSE(std::filesystem::exists(folder + "/com.veltrano.test.plist")) << "empty";
    }
    EXPECT_EQ(1, CountFiles(m_folder)) << "the lock file";
    EXPECT_FALSE(CFPreferencesSynchronize(kApplication, CFSTR("somebody"), kHost));
    EXPECT_FALSE(CFPreferencesSynchronize(CFSTR("../up"), kUser, kHost));

    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    EXPECT_FALSE(Synchronize()) << "no home, no place, also without changes";
    EXPECT_FALSE(Save("k", Int(5).get()));
    EXPECT_EQ(5, Number(Copy("k").get())) << "kept in memory";
    setenv("XDG_CONFIG_HOME", m_home.Path("new").c_str(), 1);
    EXPECT_TRUE(Synchronize());
    EXPECT_TRUE(Save("k", nullptr));
}

TEST_F(CFPreferences, WhatStandsInTheFilesPlaceIsLeftAlone)
{
    std::filesystem::create_directories(m_file + "/unreadable");
    EXPECT_FALSE(Save("b", Int(3).get()));
    EXPECT_TRUE(std::filesystem::exists(m_file + "/unreadable"));
    std::filesystem::remove_all(m_file);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(3, Number(Copy("b").get()));
}

TEST_F(CFPreferences, EveryFailingSystemCallFailsCleanly)
{
    Write("<dict><key>a</key><integer>0</integer><key>b</key><integer>7</integer></dict>");
    const std::string good = Contents();
    for (const std::string& before : { good, std::string("damaged") }) {
        std::set<std::pair<int, std::string>> failed;
        SInt64 n = 0;
        bool isDone = false;
        FailingCalls::ForEach(
            { "fchmod", "open", "read", "rename", "stat" },
            [&] {
                WriteFile(m_file, before);
                EXPECT_TRUE(Synchronize());
                Set("a", Int(++n).get());
                WriteFile(m_file, before); // by another writer: it must be read again
            },
            [&] { isDone = Synchronize(); },
            [&](const std::string& call, int error) {
                EXPECT_EQ(n, Number(Copy("a").get()));
                const bool isRetried = call == "read" || call == "write" || call == "flock";
                EXPECT_TRUE(isDone || (isRetried ? error != EINTR : !call.empty()));
                if (!isDone) {
                    const bool isFolderFlush
                        = before == good && failed.contains({ error, "rename" }) && call == "fsync";
                    EXPECT_EQ(!isFolderFlush, Contents() == before);
                    EXPECT_EQ(2, CountFiles(m_folder)) << "file and lock";
                    failed.emplace(error, call);
                    EXPECT_TRUE(Synchronize()) << "the next try";
                }
                EXPECT_THAT(Contents(), HasSubstr("<integer>" + std::to_string(n) + "<"));
                EXPECT_EQ(before == good ? 7 : -1, Number(Copy("b").get()));
                std::filesystem::remove(m_file + ".damaged-1");
                EXPECT_EQ(2, CountFiles(m_folder)) << "file and lock";
            });
#ifdef HAS_FAILING_CALLS
        for (int error : FailingCalls::kErrors) {
            for (const char* name : { "fchmod", "open", "rename", "stat" }) {
                EXPECT_EQ(error != FailingCalls::kShortWrite, failed.contains({ error, name }))
                    << name << ", " << strerror(error);
            }
        }
#endif
    }
}

TEST_F(CFPreferences, EveryFailingAllocationFailsCleanly)
{
    Write("<dict><key>a</key><integer>0</integer></dict>");
    auto value = Dict();
    CFDictionarySetValue(value.get(), CFSTR("list"),
                         Own(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks)).get());
    for (const std::string& before : { Contents(), std::string("damaged") }) {
        int n = 0;
        std::string name;
        Owned<CFStringRef> key;
        bool isDone = false;
        FailingNew::ForEach(
            [&] {
                WriteFile(m_file, before);
                EXPECT_TRUE(Synchronize());
                name = "k" + std::to_string(++n);
                key = Str(name);
            },
            [&] {
                CFPreferencesSetValue(key.get(), value.get(), kApplication, kUser, kHost);
                isDone = Synchronize();
            },
            [&](bool isFailed) {
                EXPECT_TRUE(isDone || isFailed);
                if (!isDone) {
                    EXPECT_EQ(before, Contents());
                    EXPECT_TRUE(Save(name, value.get())) << "the next try";
                }
                EXPECT_TRUE(CFEqual(value.get(), Copy(name).get()));
                EXPECT_EQ(before == "damaged", Copy("a") == nullptr);
                EXPECT_EQ(before == "damaged", std::filesystem::remove(m_file + ".damaged-1"));
            });
    }
}

// --- several processes ---

TEST_F(CFPreferences, WritersOfDifferentEntriesLoseNothing)
{
    constexpr int kProcesses = 8;
    const int nSets = FromEnvironment("VELTRANO_SETS", 15);
    for (const char* shape : { "no file yet", "top level", "one dictionary" }) {
        bool isNested = std::string(shape) == "one dictionary";
        std::filesystem::remove_all(m_folder);
        ASSERT_TRUE(Synchronize());
        ASSERT_TRUE(std::string(shape) != "top level" || Save("old", Int(1).get()));
        int nBad = InProcesses(kProcesses, [&](int process) {
            bool isGood = true;
            for (int i = 0; i < nSets; ++i) {
                std::string name = std::to_string(process) + "-" + std::to_string(i);
                Owned<CFTypeRef> value = Int(i);
                if (isNested) {
                    auto old = Copy("dictionary");
                    auto dictionary = old != nullptr ? Own(CFDictionaryCreateMutableCopy(
                                          nullptr, 0, static_cast<CFDictionaryRef>(old.get())))
                                                     : Dict();
                    CFDictionarySetValue(dictionary.get(), Str(name).get(), value.get());
                    value = std::move(dictionary);
                }
                isGood &= Save(isNested ? "dictionary" : name, value.get());
            }
            return isGood;
        });
        EXPECT_EQ(0, nBad) << shape;
        ASSERT_TRUE(Synchronize());
        auto dictionary = Copy("dictionary");
        CFIndex nFound = isNested
            ? CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary.get()))
            : CountKeys() - (Copy("old") != nullptr);
        EXPECT_EQ(kProcesses * nSets, nFound) << shape;
        printf("%s: lost %ld of %d\n", shape, kProcesses * nSets - nFound, kProcesses * nSets);
    }
}

// Sizes and numbers of replaced files come round again within one tick of the kernel's clock.
TEST_F(CFPreferences, CountersOfEqualLengthLoseNothing)
{
    ASSERT_TRUE(Save("padding", Str(std::string(200, 'x')).get()));
    const int nSets = FromEnvironment("VELTRANO_SETS", 15);
    int nBad = InProcesses(4, [&](int process) {
        bool isGood = true;
        for (int i = 0; i < nSets; ++i)
            isGood &= Save("p" + std::to_string(process), Int(100000 + i).get());
        return isGood;
    });
    EXPECT_EQ(0, nBad);
    ASSERT_TRUE(Synchronize());
    for (int process = 0; process < 4; ++process)
        EXPECT_EQ(100000 + nSets - 1, Number(Copy("p" + std::to_string(process)).get()));
}

TEST_F(CFPreferences, KilledWritersLeaveAWholeFile)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    int nBroken = 0;
    int nLost = 0;
    for (int i = 0; i < 100; ++i)
        Set("key" + std::to_string(i), Int(i).get());
    ASSERT_TRUE(Synchronize());
    KillWriters(
        nKills, [](int i) { return Save("count", Int(i).get()); },
        [&](int first, int last) {
            EXPECT_TRUE(Synchronize());
            nBroken += CountKeys() < 100 || !Contents().ends_with("</plist>\n");
            nLost += last >= first && Number(Copy("count").get()) < last;
        });
    EXPECT_EQ(0, nBroken);
    EXPECT_EQ(0, nLost) << "a set that had returned";
    int nStray = CountFiles(m_folder) - 1;
    EXPECT_LE(nStray, 2);
    printf("%d kills: broken %d, lost %d, stray files %d\n", nKills, nBroken, nLost, nStray);
}
