// SPDX-License-Identifier: MIT
// vlPreferenceStore_test.cpp - each type in and out, entry paths, failures, and every line in the log.

#include "System/vlModuleLog.h"
#include "System/vlPreferenceStore.h"
#include "tests/support/KeptLeaks.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace Veltrano;

namespace {

// Preferences and log in a folder of their own; one store that is valid and quiet.
class PreferenceStoreTest : public testing::Test
{
protected:
    ~PreferenceStoreTest() override { ModuleLog::close(); }

    Bool32 SetInt(const char* entry, SInt32 value)
    {
        return m_store.SetInt(entry, m_store.m_user, &value);
    }
    SInt32 GetInt(const char* entry) { return m_store.GetInt(entry, m_store.m_user, -1); }

    void StartLog() { ModuleLog::open("> ", nullptr, kLogNew, m_folder.Path("log").c_str()); }
    // The lines since StartLog, with addresses and type numbers masked.
    std::string Lines()
    {
        std::string text = ReadFile(m_folder.Path("log"));
        text.erase(0, text.find('\n') + 1);
        for (const std::string mark : { "0x", " ID " }) {
            for (size_t n = 0; (n = text.find(mark, n)) != std::string::npos; ++n) {
                n += mark.size();
                text.replace(n, text.find_first_not_of("0123456789abcdef", n) - n, "#");
            }
        }
        ModuleLog::close();
        return text;
    }

    TemporaryHome m_folder;
    PreferenceStore m_store { "test.store", 0 };
};

TEST_F(PreferenceStoreTest, EachTypeComesBackFromDisk)
{
    for (Bool32 anyUser : { 0, 1 }) {
        PreferenceStore store("test.types", anyUser);
        EXPECT_EQ(store.m_user, anyUser ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser);
        for (const SInt32 value : { INT32_MIN, -1, 0, INT32_MAX }) {
            EXPECT_EQ(store.SetInt("i", store.m_user, &value), 1);
            EXPECT_EQ(store.GetInt("i", store.m_user, 7), value);
        }
        const Bool32 two = 2;
        const Bool32 zero = 0;
        EXPECT_EQ(store.SetBool("yes", store.m_user, &two), 1);
        EXPECT_EQ(store.SetBool("no", store.m_user, &zero), 1);
        EXPECT_EQ(store.SetString("s", store.m_user, "größe"), 1);
        EXPECT_EQ(store.SetString("empty", store.m_user, ""), 1);
        EXPECT_EQ(store.SetBinary("b", store.m_user, "\0\1\2\xff", 4), 1);

        PreferenceStore other("test.types", anyUser);
        EXPECT_EQ(other.GetBool("yes", other.m_user, 0), 1);
        EXPECT_EQ(other.GetBool("no", other.m_user, 1), 0);
        EXPECT_EQ(other.GetBool("absent", other.m_user, 2), 2);
        EXPECT_TEXT("größe", other.GetString("s", other.m_user, "x"));
        EXPECT_TEXT("", other.GetString("empty", other.m_user, "x"));
        EXPECT_TEXT("x", other.GetString("absent", other.m_user, "x"));
        char bytes[5] = "abcd";
        UInt32 size = 3;
        EXPECT_EQ(other.GetBinary("b", other.m_user, bytes, &size), 0);
        EXPECT_STREQ(bytes, "abcd");
        EXPECT_EQ(size, 4u);
        EXPECT_EQ(other.GetBinary("b", other.m_user, bytes, &size), 1);
        EXPECT_EQ(memcmp(bytes, "\0\1\2\xff", 4), 0);
        size = 9;
        EXPECT_EQ(other.GetBinary("b", other.m_user, nullptr, &size), 0);
        EXPECT_EQ(size, 4u);
        size = 9;
        EXPECT_EQ(other.GetBinary("absent", other.m_user, bytes, &size), 0);
        EXPECT_EQ(size, 9u);
        // Another type than the stored one is absent.
        EXPECT_EQ(other.GetInt("yes", other.m_user, 5), 5);
        EXPECT_EQ(other.GetBool("i", other.m_user, 5), 5);
        EXPECT_TEXT("x", other.GetString("b", other.m_user, "x"));
    }
    EXPECT_EQ(m_store.GetInt("i", m_store.m_user, 5), 5) << "another application";
}

TEST_F(PreferenceStoreTest, NullRemovesATopLevelKey)
{
    const struct
    {
        const char* name;
        Bool32 (*remove)(PreferenceStore&);
    } rows[] = {
        { "int", [](PreferenceStore& s) { return s.SetInt("k", s.m_user, nullptr); } },
        { "bool", [](PreferenceStore& s) { return s.SetBool("k", s.m_user, nullptr); } },
        { "text", [](PreferenceStore& s) { return s.SetString("k", s.m_user, nullptr); } },
        { "bytes", [](PreferenceStore& s) { return s.SetBinary("k", s.m_user, nullptr, 3); } },
        { "no bytes", [](PreferenceStore& s) { return s.SetBinary("k", s.m_user, "x", 0); } },
    };
    for (const auto& row : rows) {
        EXPECT_EQ(SetInt("k", 3), 1);
        EXPECT_EQ(row.remove(m_store), 1) << row.name;
        EXPECT_EQ(GetInt("k"), -1) << row.name;
    }
    EXPECT_EQ(SetInt("d/k", 3), 1);
    EXPECT_EQ(m_store.SetString("d/k", m_store.m_user, nullptr), 0) << "refused below the top";
    EXPECT_EQ(GetInt("d/xk"), 3);
}

TEST_F(PreferenceStoreTest, PathsLeadIntoDictionaries)
{
    SInt32 n = 0;
    for (const char* entry : { "A/B/C", "A/B/D", "A/E", "Z/", "A//F", "" })
        EXPECT_EQ(SetInt(entry, ++n), 1) << entry;
    const std::pair<const char*, SInt32> rows[] = {
        { "A/xB/C", 1 }, { "A/yB/D", 2 }, { "A/?E", 3 },  { "A/E", -1 },  { "A/B/C", -1 },
        { "Z/x", 4 },    { "Z/", -1 },    { "A", -1 },    { "A/x/F", 5 }, { "A//F", -1 },
        { "", 6 },       { "/", -1 },     { "a/xE", -1 }, { "A/xB", -1 }, { "A/xB/C/x", 1 },
    };
    for (const auto& [entry, value] : rows)
        EXPECT_EQ(GetInt(entry), value) << '"' << entry << '"';
    CFTypeRef top = m_store.GetObjectOfType("A", CFDictionaryGetTypeID(), m_store.m_user);
    ASSERT_NE(top, nullptr);
    EXPECT_EQ(CFDictionaryGetCount(static_cast<CFDictionaryRef>(top)), 3);
    CFRelease(top);
    // A value in the way is replaced, at the top and below.
    EXPECT_EQ(SetInt("N", 7) + SetInt("N/M", 8) + SetInt("N/M/L", 9), 3);
    EXPECT_EQ(GetInt("N/xM/L"), 9);
    EXPECT_EQ(GetInt("N/xM"), -1);
}

TEST_F(PreferenceStoreTest, DeepPathsAreSafe)
{
    std::string path = "deep";
    for (int i = 0; i < 300; ++i)
        path += "/k";
    EXPECT_EQ(SetInt(path.c_str(), 1), 1);
    EXPECT_EQ(GetInt(("deep/x" + path.substr(5)).c_str()), 1);
    EXPECT_EQ(SetInt((path + path + path).c_str(), 1), 0) << "too deep for the service";
}

TEST_F(PreferenceStoreTest, KeptAConvertedTextCountsItsZero)
{
    const char utf8[] = "\xc3\xa9t\xc3\xa9";
    EXPECT_EQ(m_store.SetString("s", m_store.m_user, utf8), 1);
    EXPECT_EQ(m_store.SetString("u", m_store.m_user, "\xe6\xbc\xa2"), 1);
    EXPECT_EQ(m_store.SetString("a", m_store.m_user, "plain"), 1);
    EXPECT_EQ(m_store.SetString("e", m_store.m_user, ""), 1);
    m_store.m_encoding = kCFStringEncodingMacRoman;
    EXPECT_TEXT(std::string("\x8et\x8e\0", 4), m_store.GetString("s", m_store.m_user, "default"));
    EXPECT_TEXT("plain", m_store.GetString("a", m_store.m_user, "default"));
    EXPECT_TEXT("default", m_store.GetString("u", m_store.m_user, "default"));
}

TEST_F(PreferenceStoreTest, FailuresGiveZeroOrTheDefault)
{
    PreferenceStore none(nullptr, 1);
    EXPECT_EQ(none.m_application, nullptr);
    EXPECT_EQ(none.m_verbose, 1);
    EXPECT_EQ(none.m_encoding, CFStringGetSystemEncoding());
    EXPECT_EQ(none.Initialize(nullptr, 0), 0);
    PreferenceStore nowhere("no/place", 0);
    for (PreferenceStore* store : { &none, &nowhere }) {
        EXPECT_EQ(store->m_valid, 0);
        const SInt32 one = 1;
        EXPECT_EQ(store->SetInt("k", store->m_user, &one), 0);
        EXPECT_EQ(store->SetBool("k", store->m_user, &one), 0);
        EXPECT_EQ(store->SetString("k", store->m_user, "x"), 0);
        EXPECT_EQ(store->GetInt("k", store->m_user, 5), 5);
        EXPECT_TEXT("x", store->GetString("k", store->m_user, "x"));
        EXPECT_EQ(store->GetObjectOfType("k", CFNumberGetTypeID(), store->m_user), nullptr);
    }
    EXPECT_EQ(none.Initialize("test.store", 0), 1) << "a store can be turned to another one";
    EXPECT_EQ(none.m_user, kCFPreferencesCurrentUser);
    EXPECT_EQ(none.Initialize("bad \xff", 1), 0);
    EXPECT_EQ(none.m_valid, 1) << "and stays as it was when that fails";
    EXPECT_EQ(none.m_user, kCFPreferencesCurrentUser);

    EXPECT_EQ(SetInt("kept", 1), 1);
    WriteFile(m_folder.Path("blocked"), "a file where a folder should be");
    setenv("XDG_CONFIG_HOME", m_folder.Path("blocked").c_str(), 1);
    PreferenceStore blocked("test.store", 0);
    EXPECT_EQ(blocked.m_valid, 1) << "nothing was to be written yet";
    const SInt32 two = 2;
    EXPECT_EQ(blocked.SetInt("k", blocked.m_user, &two), 0);
    EXPECT_EQ(blocked.GetInt("k", blocked.m_user, 5), 2) << "the value stays in memory";
    setenv("XDG_CONFIG_HOME", m_folder.Path("config").c_str(), 1);
}

TEST_F(PreferenceStoreTest, TracesEveryStep)
{
    StartLog();
    PreferenceStore store("test.log", 0);
    const SInt32 one = 1;
    store.SetInt("A/B/C", store.m_user, &one);
    store.GetInt("A/xB/C", store.m_user, 0);
    store.GetInt("A/xB", store.m_user, 0);
    store.SetBinary("b", store.m_user, "xy", 2);
    char bytes[2];
    UInt32 size = 2;
    store.GetBinary("b", store.m_user, bytes, &size);
    store.GetString("absent", store.m_user, "none");
    store.GetBool("absent", store.m_user, 2);
    const std::string into = "> GetObjectOfType: Getting Entry 'A'\n"
                             "> GetObjectOfType: Found CFType 0x# ID #\n"
                             "> GetObjectOfType: Entering Dictionary 0x#\n"
                             "> GetDictEntryValue: Getting Entry 'B'\n"
                             "> GetDictEntryValue: Found CFType 0x# ID #\n"
                             "> GetDictEntryValue: Entering Dictionary 0x#\n";
    EXPECT_EQ(Lines(),
              "> Initialize: App 'test.log'\n"
              "> Initialize: Synchronizing 1\n"
              "> PutObject: Setting Entry 'A/B/C'\n"
              "> GetDictEntryValue: Setting Entry 'B/C'\n"
              "> GetDictEntryValue: Setting Entry 'C'\n"
              "> SetSynchronizeProperty: Synchronizing 1\n"
                  + into
                  + "> GetDictEntryValue: Getting Entry 'C'\n"
                    "> GetDictEntryValue: Found CFType 0x# ID #\n"
                    "> GetDictEntryValue: Returning CFType 0x# ID #\n"
                    "> GetDictEntryValue: Returning CFType 0x# ID #\n"
                    "> GetInt: result 1\n"
                  + into
                  + "> GetDictEntryValue: Attempt to get Dictionary as value\n"
                    "> GetDictEntryValue: Returning NULL CFType\n"
                    "> GetInt: result 0\n"
                    "> PutObject: Setting Entry 'b'\n"
                    "> SetSynchronizeProperty: Synchronizing 1\n"
                    "> GetObjectOfType: Getting Entry 'b'\n"
                    "> GetObjectOfType: Found CFType 0x# ID #\n"
                    "> GetBinary: 2 bytes copied\n"
                    "> GetObjectOfType: Getting Entry 'absent'\n"
                    "> GetString: result 'none'\n"
                    "> GetObjectOfType: Getting Entry 'absent'\n"
                    "> GetBool: result 'Yes'\n");
}

TEST_F(PreferenceStoreTest, ReportsFailuresAlsoWhenQuiet)
{
    SetInt("A/B", 1);
    m_store.SetBinary("b", m_store.m_user, "xy", 2);
    StartLog();
    PreferenceStore none(nullptr, 0);
    none.GetObjectOfType("k", CFNumberGetTypeID(), none.m_user);
    m_store.m_verbose = 0;
    m_store.SetString(nullptr, m_store.m_user, "x");
    m_store.SetString("k", m_store.m_user, "\xff");
    m_store.SetString("\xff", m_store.m_user, "x");
    m_store.SetString("A/\xff", m_store.m_user, "x");
    m_store.SetBinary("k", m_store.m_user, "x", -1);
    m_store.GetInt("A/xabsent", m_store.m_user, 0);
    UInt32 size = 1;
    m_store.GetBinary("b", m_store.m_user, nullptr, &size);
    EXPECT_EQ(Lines(),
              "> GetObjectOfType: Not initialized or invalid Entry (0x#).\n"
              "> PutObject: Not initialized or invalid Entry ((nil)).\n"
              "> SetString: CFString NULL\n"
              "> GetEntryString: CFString NULL\n"
              "> GetEntryString: CFString NULL\n"
              "> PutObject: Out of memory."
              "> SetBinary: CFData NULL\n"
              "> GetDictEntryValue: Returning NULL CFType\n"
              "> GetBinary: buffer null or overflow (2 > 1)\n");
}

} // namespace
