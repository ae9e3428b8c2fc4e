// SPDX-License-Identifier: MIT
// CFPreferences_test.cpp - values, merging, failures, and several processes on one domain.
// VELTRANO_SETS=n and VELTRANO_KILLS=n make the tests with several processes longer.
#include "tests/support/FailingCalls.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Foundation.h"
#include "tests/support/Processes.h"

#include <cmath>
#include <limits>
#include <set>
#include <sys/stat.h>

static const CFStringRef kApplication = CFSTR("com.veltrano.test");

static void Set(const std::string& key, CFTypeRef value)
{
    CFPreferencesSetValue(Str(key).get(), value, kApplication, kCFPreferencesCurrentUser,
                          kCFPreferencesCurrentHost);
}

static Owned<CFTypeRef> Copy(const std::string& key)
{
    return Own(CFPreferencesCopyValue(Str(key).get(), kApplication, kCFPreferencesCurrentUser,
                                      kCFPreferencesCurrentHost));
}

static bool Synchronize()
{
    return CFPreferencesSynchronize(kApplication, kCFPreferencesCurrentUser,
                                    kCFPreferencesCurrentHost);
}

static bool Save(const std::string& key, CFTypeRef value)
{
    Set(key, value);
    return Synchronize();
}

static long Number(CFTypeRef value)
{
    long number = -1;
    if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID()) {
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongType, &number);
    }
    return number;
}

static CFIndex CountKeys()
{
    auto keys = Own(CFPreferencesCopyKeyList(kApplication, kCFPreferencesCurrentUser,
                                             kCFPreferencesCurrentHost));
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
        Set("x", kCFBooleanTrue);
        EXPECT_TRUE(Synchronize());
        std::string found;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder)) {
            if (entry.path().extension() == ".plist") {
                found = entry.path();
            }
        }
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
    double third = 1.0 / 3;
    double infinite = -INFINITY;
    double minusZero = -0.0;
    auto inner = Dict();
    CFDictionarySetValue(inner.get(), CFSTR(""), CFSTR("empty key"));
    CFDictionarySetValue(inner.get(), CFSTR("<&>\"'"), CFSTR("a < b & c > d ]]>\r\n\t\001"));
    const void* elements[] = { kCFBooleanTrue, inner.get(), CFSTR("") };
    const std::pair<const char*, Owned<CFTypeRef>> rows[] = {
        { "text", Own<CFTypeRef>(Str("ä€😀").release()) },
        { "least", Own<CFTypeRef>(Int(INT64_MIN).release()) },
        { "most", Own<CFTypeRef>(Int(INT64_MAX).release()) },
        { "third", Own<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &third)) },
        { "infinite", Own<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &infinite)) },
        { "minus zero", Own<CFTypeRef>(CFNumberCreate(nullptr, kCFNumberDoubleType, &minusZero)) },
        { "false", Own<CFTypeRef>(kCFBooleanFalse) },
        { "data1", Own<CFTypeRef>(CFDataCreate(nullptr, bytes, 4)) },
        { "data2", Own<CFTypeRef>(CFDataCreate(nullptr, bytes, 2)) },
        { "data0", Own<CFTypeRef>(CFDataCreate(nullptr, bytes, 0)) },
        { "far", Own<CFTypeRef>(CFDateCreate(nullptr, 63113904000.0)) }, // 4001-01-01
        { "early", Own<CFTypeRef>(CFDateCreate(nullptr, -63113904000.0)) },
        { "list", Own<CFTypeRef>(CFArrayCreate(nullptr, elements, 3, &kCFTypeArrayCallBacks)) },
    };
    for (const auto& [key, value] : rows) {
        Set(key, value.get());
    }
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
    EXPECT_NE(std::string::npos, text.find("<real>-0</real>"));
    EXPECT_TRUE(Save("one more", kCFBooleanTrue));
    Set("one more", nullptr);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(text, Contents()) << "a rewrite changes nothing else";
}

TEST_F(CFPreferences, ReadsOnlyWhatItCanKeepExactly)
{
    const struct
    {
        const char* value;
        const char* rewritten; // null: refused
    } rows[] = {
        { "<integer> 12 </integer>", "<integer>12</integer>" },
        { "<integer>+0x1F</integer>", "<integer>31</integer>" },
        { "<integer>18446744073709551615</integer>", "<integer>18446744073709551615</integer>" },
        { "<integer>-9223372036854775808</integer>", "<integer>-9223372036854775808</integer>" },
        { "<integer>18446744073709551616</integer>", nullptr },
        { "<integer>-9223372036854775809</integer>", nullptr },
        { "<integer>abc</integer>", nullptr },
        { "<integer/>", nullptr },
        { "<real>1e300</real>", "<real>1e+300</real>" },
        { "<real>+infinity</real>", "<real>+infinity</real>" },
        { "<real>1,5</real>", nullptr },
        { "<date>2024-02-29T23:59:59Z</date>", "<date>2024-02-29T23:59:59Z</date>" },
        { "<date>2023-02-29T00:00:00Z</date>", nullptr },
        { "<date>soon</date>", nullptr },
        { "<data>AA==</data>", "<data>AA==</data>" },
        { "<data>\n\tAAEC\n\tAwQ=\n</data>", "<data>AAECAwQ=</data>" },
        { "<data>A</data>", nullptr },
        { "<data>AA=A</data>", nullptr },
        { "<data>#</data>", nullptr },
        { "<string>a&#x41;&lt;<![CDATA[<&]]><!-- no -->b</string>",
          "<string>aA&lt;&lt;&amp;b</string>" },
        { "<string>a\r\nb</string>", "<string>a\nb</string>" },
        { "<string>&unknown;</string>", nullptr },
        { "<string>&#0;</string>", nullptr },
        { "<string>&#xD800;</string>", nullptr },
        { "<string>\xC3</string>", nullptr },
        { "<string>no end", nullptr },
        { "<string>a</key>", nullptr },
        { "<true/><!-- fine --> ", "<true/>" },
        { "<true>x</true>", nullptr },
        { "<dict><key>a</key></dict>", nullptr },
        { "<dict><integer>1</integer></dict>", nullptr },
        { "<array><true/></dict>", nullptr },
        { "<array> text </array>", nullptr },
        { "<uid>3</uid>", nullptr },
    };
    for (const auto& row : rows) {
        Write("<dict><key>v</key>" + std::string(row.value) + "<key>w</key><true/></dict>");
        EXPECT_EQ(row.rewritten != nullptr, Copy("v") != nullptr) << row.value;
        if (row.rewritten != nullptr) {
            EXPECT_TRUE(Save("more", kCFBooleanTrue));
            EXPECT_NE(std::string::npos,
                      Contents().find(std::string("<key>v</key>\n\t") + row.rewritten))
                << Contents();
        }
    }
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
        return Own<CFTypeRef>(value.release());
    };
    auto byNumber = Dict();
    CFDictionarySetValue(byNumber.get(), Int(1).get(), kCFBooleanTrue);
    const void* pointer = &withZero;
    const std::pair<const char*, Owned<CFTypeRef>> rows[] = {
        { "zero in text",
          Own<CFTypeRef>(
              CFStringCreateWithBytes(nullptr, withZero, 3, kCFStringEncodingUTF8, false)) },
        { "key is a number", Own<CFTypeRef>(byNumber.release()) },
        { "plain pointers", Own<CFTypeRef>(CFArrayCreate(nullptr, &pointer, 1, nullptr)) },
        { "year 10000", Own<CFTypeRef>(CFDateCreate(nullptr, 252423993600.0)) },
        { "no date", Own<CFTypeRef>(CFDateCreate(nullptr, NAN)) },
        { "a location", Own<CFTypeRef>(FolderURL("/").release()) },
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
        const char* name;
        const char* base;
        const char* ours;
        const char* disk;
        const char* merged;
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
    auto xml = [](std::string_view text) {
        std::string out;
        for (size_t i = 0; i < text.size(); ++i) {
            if (text[i] == '}') {
                out += "</dict>";
                continue;
            }
            out += std::string("<key>") + text[i] + "</key>";
            if (text[++i] == '{') {
                out += "<dict>";
            } else {
                out += std::string("<integer>") + text[++i] + "</integer>";
                ++i;
            }
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
        for (const char* key : { "a", "b", "c", "D" }) {
            ours.emplace_back(key, Copy(key));
        }
        WriteFile(m_file, xml(row.base));
        ASSERT_TRUE(Synchronize());
        for (const auto& [key, value] : ours) {
            Set(key, value.get());
        }
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
        EXPECT_FALSE(std::filesystem::exists(folder + "/com.veltrano.test.plist"))
            << "empty: removed";
    }
    EXPECT_EQ(1, CountFiles(m_folder)) << "the lock file";
    EXPECT_FALSE(
        CFPreferencesSynchronize(kApplication, CFSTR("somebody"), kCFPreferencesCurrentHost));
    EXPECT_FALSE(CFPreferencesSynchronize(CFSTR("../up"), kCFPreferencesCurrentUser,
                                          kCFPreferencesCurrentHost));

    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    EXPECT_FALSE(Synchronize()) << "no home, no place, also without changes";
    EXPECT_FALSE(Save("k", Int(5).get()));
    EXPECT_EQ(5, Number(Copy("k").get())) << "kept in memory";
    setenv("XDG_CONFIG_HOME", m_home.Path("new").c_str(), 1);
    EXPECT_TRUE(Synchronize());
    EXPECT_TRUE(Save("k", nullptr));
}

TEST_F(CFPreferences, FailedWriteKeepsFileAndChanges)
{
    ASSERT_TRUE(Save("a", Int(1).get()));
    std::string before = Contents();
    std::filesystem::rename(m_folder, m_folder + "-away");
    WriteFile(m_folder, "a file where the folder should be");
    Set("a", Int(2).get());
    EXPECT_FALSE(Synchronize());
    EXPECT_FALSE(Synchronize());
    EXPECT_EQ(2, Number(Copy("a").get()));
    std::filesystem::remove(m_folder);
    std::filesystem::rename(m_folder + "-away", m_folder);
    EXPECT_EQ(before, Contents());
    EXPECT_TRUE(Synchronize());
    EXPECT_NE(before, Contents());

    std::filesystem::remove(m_file);
    std::filesystem::create_directories(m_file + "/unreadable"); // not ours to replace
    EXPECT_FALSE(Save("b", Int(3).get()));
    EXPECT_TRUE(std::filesystem::exists(m_file + "/unreadable"));
    std::filesystem::remove_all(m_file);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(3, Number(Copy("b").get()));
}

#ifdef HAS_FAILING_CALLS
TEST_F(CFPreferences, EveryFailingSystemCallFailsCleanly)
{
    ASSERT_TRUE(Save("a", Int(0).get()));
    const std::string good = Contents();
    for (int error : { EIO, ENOSPC, EACCES, EINTR, FailingCalls::kShortWrite }) {
        for (const std::string& before : { good, std::string("damaged") }) {
            std::set<std::string> failed;
            std::string call = "first";
            for (int n = 1; !call.empty(); ++n) {
                ASSERT_LT(n, 100);
                WriteFile(m_file, before);
                ASSERT_TRUE(Synchronize());
                Set("a", Int(n).get());
                int nDescriptors = CountDescriptors();
                bool isDone = false;
                call = FailingCalls::Run(n, error, [&] { isDone = Synchronize(); });
                std::string row = std::to_string(n) + ": " + call + ", " + strerror(error);
                EXPECT_EQ(nDescriptors, CountDescriptors()) << row;
                EXPECT_EQ(n, Number(Copy("a").get())) << row;
                if (!isDone) {
                    bool isFolderFlush
                        = before == good && failed.contains("rename") && call == "fsync";
                    EXPECT_EQ(!isFolderFlush, Contents() == before) << row;
                    failed.insert(call);
                    EXPECT_TRUE(Synchronize()) << row << ": the next try";
                }
                EXPECT_NE(std::string::npos, Contents().find("<integer>" + std::to_string(n) + "<"))
                    << row;
                std::filesystem::remove(m_file + ".damaged-1");
                EXPECT_EQ(2, CountFiles(m_folder)) << row << ": file and lock";
            }
            for (const char* name : { "fchmod", "open", "rename", "stat" }) {
                EXPECT_EQ(error != FailingCalls::kShortWrite, failed.contains(name))
                    << name << ", " << strerror(error);
            }
        }
    }
}
#endif

TEST_F(CFPreferences, EveryFailingAllocationFailsCleanly)
{
    Write("<dict><key>a</key><integer>0</integer></dict>");
    auto value = Dict();
    CFDictionarySetValue(value.get(), CFSTR("list"),
                         Own(CFArrayCreate(nullptr, nullptr, 0, &kCFTypeArrayCallBacks)).get());
    for (const std::string& before : { Contents(), std::string("damaged") }) {
        bool isFailed = true;
        for (int n = 1; isFailed; ++n) {
            ASSERT_LT(n, 1000);
            WriteFile(m_file, before);
            ASSERT_TRUE(Synchronize());
            auto key = Str("k" + std::to_string(n));
            FailingNew::Fail(n);
            CFPreferencesSetValue(key.get(), value.get(), kApplication, kCFPreferencesCurrentUser,
                                  kCFPreferencesCurrentHost);
            bool isDone = Synchronize();
            isFailed = FailingNew::Stop();
            if (!isDone) {
                EXPECT_EQ(before, Contents()) << n;
                Set("k" + std::to_string(n), value.get());
                EXPECT_TRUE(Synchronize()) << n << ": the next try";
            }
            EXPECT_TRUE(CFEqual(value.get(), Copy("k" + std::to_string(n)).get())) << n;
            EXPECT_EQ(before == "damaged", Copy("a") == nullptr) << n;
            EXPECT_EQ(before == "damaged", std::filesystem::remove(m_file + ".damaged-1")) << n;
        }
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
        if (std::string(shape) == "top level") {
            ASSERT_TRUE(Save("old", Int(1).get()));
        }
        int nBad = InProcesses(kProcesses, [&](int process) {
            bool isGood = true;
            for (int i = 0; i < nSets; ++i) {
                std::string name = std::to_string(process) + "-" + std::to_string(i);
                auto value = Own<CFTypeRef>(Int(i).release());
                if (isNested) {
                    auto old = Copy("dictionary");
                    auto dictionary = old != nullptr ? Own(CFDictionaryCreateMutableCopy(
                                          nullptr, 0, static_cast<CFDictionaryRef>(old.get())))
                                                     : Dict();
                    CFDictionarySetValue(dictionary.get(), Str(name).get(), value.get());
                    value = Own<CFTypeRef>(dictionary.release());
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
        for (int i = 0; i < nSets; ++i) {
            isGood &= Save("p" + std::to_string(process), Int(100000 + i).get());
        }
        return isGood;
    });
    EXPECT_EQ(0, nBad);
    ASSERT_TRUE(Synchronize());
    for (int process = 0; process < 4; ++process) {
        EXPECT_EQ(100000 + nSets - 1, Number(Copy("p" + std::to_string(process)).get()));
    }
}

TEST_F(CFPreferences, KilledWritersLeaveAWholeFile)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    int nBroken = 0;
    int nLost = 0;
    for (int i = 0; i < 100; ++i) {
        Set("key" + std::to_string(i), Int(i).get());
    }
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
