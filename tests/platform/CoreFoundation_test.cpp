// SPDX-License-Identifier: MIT
// CoreFoundation_test.cpp - strings, numbers, containers, locations, and their counts.
#include "tests/support/Foundation.h"

#include <algorithm>
#include <cmath>
#include <thread>
#include <unistd.h>
#include <vector>

// --- strings ---

TEST(CFString, ReadsEveryEncodingOrRefuses)
{
    const struct
    {
        const char* bytes;
        CFStringEncoding encoding;
        const char* utf8; // null: refused
        CFIndex nUnits;
    } rows[] = {
        { "", kCFStringEncodingUTF8, "", 0 },
        { "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80", kCFStringEncodingUTF8, "aä€😀", 5 },
        { "\x8A\xDB\xF0", kCFStringEncodingMacRoman, "ä€\xEF\xA3\xBF", 3 },
        { "\xE4\x80", kCFStringEncodingISOLatin1, "ä\xC2\x80", 2 },
        { "\xE4\x80\x9F", kCFStringEncodingWindowsLatin1, "ä€Ÿ", 3 },
        { "plain", kCFStringEncodingASCII, "plain", 5 },
        { "\x80", kCFStringEncodingASCII, nullptr, 0 },
        { "\x80", kCFStringEncodingUTF8, nullptr, 0 }, // stray
        { "\xC3", kCFStringEncodingUTF8, nullptr, 0 }, // cut short
        { "\xC0\xAF", kCFStringEncodingUTF8, nullptr, 0 }, // overlong
        { "\xE0\x9F\xBF", kCFStringEncodingUTF8, nullptr, 0 }, // overlong
        { "\xED\xA0\x80", kCFStringEncodingUTF8, nullptr, 0 }, // surrogate
        { "\xF4\x90\x80\x80", kCFStringEncodingUTF8, nullptr, 0 }, // above 10FFFF
        { "\xF8\x88\x80\x80\x80", kCFStringEncodingUTF8, nullptr, 0 }, // five bytes
        { "x", 0x0100, nullptr, 0 }, // unknown encoding
    };
    for (const auto& row : rows) {
        auto string = Own(CFStringCreateWithCString(nullptr, row.bytes, row.encoding));
        ASSERT_EQ(row.utf8 != nullptr, string != nullptr) << row.bytes << " in " << row.encoding;
        if (row.utf8 != nullptr) {
            EXPECT_EQ(row.utf8, TextOf(string.get()));
            EXPECT_EQ(row.nUnits, CFStringGetLength(string.get())) << row.utf8;
        }
    }
    EXPECT_EQ(nullptr, CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8));
}

TEST(CFString, EightBitEncodingsRoundTripEveryByte)
{
    for (CFStringEncoding encoding : { kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1,
                                       kCFStringEncodingWindowsLatin1 }) {
        std::string bytes;
        for (int byte = 1; byte < 256; ++byte) {
            bytes += static_cast<char>(byte);
        }
        auto string = Own(CFStringCreateWithCString(nullptr, bytes.c_str(), encoding));
        char back[256];
        ASSERT_TRUE(CFStringGetCString(string.get(), back, sizeof(back), encoding)) << encoding;
        EXPECT_EQ(bytes, back) << encoding;
    }
}

TEST(CFString, GivesOutOnlyWhatFitsAndExists)
{
    auto plain = Str("abc");
    auto umlaut = Str("äb");
    char buffer[8] = "-------";
    EXPECT_FALSE(CFStringGetCString(plain.get(), buffer, 3, kCFStringEncodingUTF8));
    EXPECT_FALSE(CFStringGetCString(plain.get(), buffer, 3, kCFStringEncodingASCII));
    EXPECT_EQ('-', buffer[3]) << "written outside of three bytes";
    EXPECT_TRUE(CFStringGetCString(plain.get(), buffer, 4, kCFStringEncodingASCII));
    EXPECT_STREQ("abc", buffer);
    EXPECT_TRUE(CFStringGetCString(umlaut.get(), buffer, 3, kCFStringEncodingMacRoman));
    EXPECT_STREQ("\x8A"
                 "b",
                 buffer);
    EXPECT_FALSE(CFStringGetCString(umlaut.get(), buffer, 8, kCFStringEncodingASCII));

    EXPECT_STREQ("abc", CFStringGetCStringPtr(plain.get(), kCFStringEncodingMacRoman));
    EXPECT_STREQ("äb", CFStringGetCStringPtr(umlaut.get(), CFStringGetSystemEncoding()));
    EXPECT_EQ(nullptr, CFStringGetCStringPtr(umlaut.get(), kCFStringEncodingMacRoman));
    const UInt8 withZero[] = { 'a', 0, 'b' };
    auto zero = Own(CFStringCreateWithBytes(nullptr, withZero, 3, kCFStringEncodingUTF8, false));
    EXPECT_EQ(nullptr, CFStringGetCStringPtr(zero.get(), kCFStringEncodingUTF8)) << "would be cut";
    EXPECT_EQ(3, CFStringGetLength(zero.get()));
}

TEST(CFString, ConstantsAreOneObjectATextAndOutliveTheirLiteral)
{
    char literal[] = "gone soon";
    CFStringRef constant = __CFStringMakeConstantString(literal);
    literal[0] = 'X';
    EXPECT_EQ("gone soon", TextOf(constant));
    EXPECT_EQ(constant, CFSTR("gone soon"));
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ("gone soon", TextOf(constant));
    EXPECT_TRUE(CFEqual(constant, Str("gone soon").get()));
}

// --- counting ---

TEST(CFBase, CountsFromManyThreads)
{
    auto string = Str("shared");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&string] {
            for (int k = 0; k < 20000; ++k) {
                CFRelease(CFRetain(string.get()));
                CFRetain(kCFBooleanTrue);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(1, CFGetRetainCount(string.get()));
    EXPECT_GT(CFGetRetainCount(kCFBooleanTrue), 1);
}

TEST(CFBase, EndsDeepNestsWithoutADeepStack)
{
    Owned<CFMutableDictionaryRef> outer = Dict();
    for (int i = 0; i < 300000; ++i) {
        auto next = Dict();
        CFDictionarySetValue(next.get(), CFSTR("inner"), outer.get());
        outer = std::move(next);
    }
}

TEST(CFBase, ClassesAreDistinct)
{
    std::vector<CFTypeID> ids
        = { CFStringGetTypeID(),     CFNumberGetTypeID(), CFBooleanGetTypeID(),
            CFDataGetTypeID(),       CFDateGetTypeID(),   CFArrayGetTypeID(),
            CFDictionaryGetTypeID(), CFURLGetTypeID(),    CFBundleGetTypeID() };
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids.end(), std::adjacent_find(ids.begin(), ids.end()));
    EXPECT_EQ(CFBooleanGetTypeID(), CFGetTypeID(kCFBooleanFalse));
}

// --- numbers ---

TEST(CFNumber, ConvertsExactlyOrTellsAndGivesTheNearest)
{
    const struct
    {
        double real; // NaN: use `integer`
        SInt64 integer;
        bool exact8;
        SInt8 as8;
        bool exact32;
        SInt32 as32;
        bool exact64;
        SInt64 as64;
    } rows[] = {
        { NAN, 5, true, 5, true, 5, true, 5 },
        { NAN, 300, false, 127, true, 300, true, 300 },
        { NAN, -300, false, -128, true, -300, true, -300 },
        { NAN, INT64_MIN, false, -128, false, INT32_MIN, true, INT64_MIN },
        { 3.7, 0, false, 3, false, 3, false, 3 },
        { -3.7, 0, false, -3, false, -3, false, -3 },
        { -128.0, 0, true, -128, true, -128, true, -128 },
        { 1e300, 0, false, 127, false, INT32_MAX, false, INT64_MAX },
        { -9223372036854775808.0, 0, false, -128, false, INT32_MIN, true, INT64_MIN },
        { 9223372036854775808.0, 0, false, 127, false, INT32_MAX, false, INT64_MAX },
        { -INFINITY, 0, false, -128, false, INT32_MIN, false, INT64_MIN },
    };
    for (const auto& row : rows) {
        bool isReal = !std::isnan(row.real);
        auto number = isReal ? Own(CFNumberCreate(nullptr, kCFNumberDoubleType, &row.real))
                             : Int(row.integer);
        std::string name = isReal ? std::to_string(row.real) : std::to_string(row.integer);
        SInt8 as8 = 0;
        SInt32 as32 = 0;
        SInt64 as64 = 0;
        EXPECT_EQ(row.exact8, CFNumberGetValue(number.get(), kCFNumberSInt8Type, &as8)) << name;
        EXPECT_EQ(row.exact32, CFNumberGetValue(number.get(), kCFNumberSInt32Type, &as32)) << name;
        EXPECT_EQ(row.exact64, CFNumberGetValue(number.get(), kCFNumberSInt64Type, &as64)) << name;
        EXPECT_EQ(row.as8, as8) << name;
        EXPECT_EQ(row.as32, as32) << name;
        EXPECT_EQ(row.as64, as64) << name;
        EXPECT_EQ(isReal, CFNumberIsFloatType(number.get())) << name;
    }
    double asReal = 0;
    EXPECT_FALSE(CFNumberGetValue(Int(INT64_MAX).get(), kCFNumberDoubleType, &asReal));
    EXPECT_EQ(9223372036854775808.0, asReal);
    double three = 3;
    EXPECT_TRUE(
        CFEqual(Int(3).get(), Own(CFNumberCreate(nullptr, kCFNumberDoubleType, &three)).get()));
    EXPECT_FALSE(CFEqual(Int(1).get(), kCFBooleanTrue));
    EXPECT_EQ(nullptr, CFNumberCreate(nullptr, 99, &three));
}

// --- data, arrays, dictionaries ---

TEST(CFData, StaysInItsBytes)
{
    const UInt8 bytes[] = { 1, 2, 3, 4 };
    auto borrowed = Own(CFDataCreateWithBytesNoCopy(nullptr, bytes, 4, kCFAllocatorNull));
    EXPECT_EQ(bytes, CFDataGetBytePtr(borrowed.get()));
    UInt8 out[4] = {};
    CFDataGetBytes(borrowed.get(), CFRangeMake(2, 100), out);
    EXPECT_EQ(3, out[0]);
    EXPECT_EQ(0, out[2]);
    CFDataGetBytes(borrowed.get(), CFRangeMake(-1, 2), out);
    CFDataGetBytes(borrowed.get(), CFRangeMake(5, 1), out);
    EXPECT_EQ(3, out[0]);
    EXPECT_TRUE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 4)).get()));
    EXPECT_FALSE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 3)).get()));
    EXPECT_EQ(nullptr, CFDataCreate(nullptr, bytes, -1));
    EXPECT_EQ(0, CFDataGetLength(Own(CFDataCreate(nullptr, nullptr, 0)).get()));
}

TEST(CFArray, HoldsItsObjects)
{
    auto text = Str("held");
    const void* values[] = { text.get(), kCFBooleanTrue };
    auto array = Own(CFArrayCreate(nullptr, values, 2, &kCFTypeArrayCallBacks));
    EXPECT_EQ(2, CFGetRetainCount(text.get()));
    EXPECT_EQ(text.get(), CFArrayGetValueAtIndex(array.get(), 0));
    EXPECT_EQ(nullptr, CFArrayGetValueAtIndex(array.get(), 2));
    array.reset();
    EXPECT_EQ(1, CFGetRetainCount(text.get()));
    CFArrayCallBacks own = {};
    EXPECT_EQ(nullptr, CFArrayCreate(nullptr, values, 2, &own));
}

TEST(CFDictionary, FindsByContentAndKeepsTheOrder)
{
    auto dictionary = Dict();
    constexpr int kMany = 1000;
    for (int i = 0; i < kMany; ++i) {
        CFDictionarySetValue(dictionary.get(), Str("key" + std::to_string(i)).get(), Int(i).get());
    }
    auto copy = Own(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary.get()));
    EXPECT_TRUE(CFEqual(copy.get(), dictionary.get()));
    for (int i = 0; i < kMany; i += 2) {
        CFDictionaryRemoveValue(copy.get(), Str("key" + std::to_string(i)).get());
    }
    CFDictionaryRemoveValue(copy.get(), CFSTR("no such"));
    EXPECT_FALSE(CFEqual(copy.get(), dictionary.get()));
    ASSERT_EQ(kMany / 2, CFDictionaryGetCount(copy.get()));
    EXPECT_EQ(kMany, CFDictionaryGetCount(dictionary.get())) << "the copy is another object";

    std::vector<const void*> keys(kMany / 2);
    CFDictionaryGetKeysAndValues(copy.get(), keys.data(), nullptr);
    for (int i = 0; i < kMany / 2; ++i) {
        std::string key = "key" + std::to_string(2 * i + 1);
        EXPECT_EQ(key, TextOf(keys[static_cast<size_t>(i)]));
        EXPECT_TRUE(
            CFEqual(Int(2 * i + 1).get(), CFDictionaryGetValue(copy.get(), Str(key).get())));
    }
    EXPECT_EQ(nullptr, CFDictionaryGetValue(copy.get(), CFSTR("key0")));
}

TEST(CFDictionary, ReplacesTheValueAndKeepsTheKey)
{
    auto dictionary = Dict();
    auto first = Str("same");
    auto second = Str("same");
    auto value = Int(1);
    CFDictionarySetValue(dictionary.get(), first.get(), value.get());
    CFDictionarySetValue(dictionary.get(), second.get(), kCFBooleanTrue);
    const void* key = nullptr;
    CFDictionaryGetKeysAndValues(dictionary.get(), &key, nullptr);
    EXPECT_EQ(first.get(), key);
    EXPECT_EQ(1, CFGetRetainCount(value.get()));
    const void* found = &key;
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("other"), &found));
    EXPECT_EQ(&key, found) << "untouched when absent";
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(dictionary.get(), CFSTR("same"), nullptr));
    CFDictionaryKeyCallBacks own = {};
    EXPECT_EQ(nullptr,
              CFDictionaryCreateMutable(nullptr, 0, &own, &kCFTypeDictionaryValueCallBacks));
}

// --- locations ---

TEST(CFURL, DropsTheLastComponent)
{
    std::string here = std::filesystem::current_path();
    const struct
    {
        const char* path;
        std::string parent;
    } rows[] = {
        { "/a/b/c", "/a/b" }, { "/a/b/", "/a" },      { "/a", "/" },
        { "/", "/" },         { "/a//b", "/a" },      { "/a/..", "/a/../.." },
        { "b", here },        { "b/c", here + "/b" }, { "/sp ace/%41", "/sp ace" },
    };
    for (const auto& row : rows) {
        auto url = FolderURL(row.path);
        auto parent = Own(CFURLCreateCopyDeletingLastPathComponent(nullptr, url.get()));
        EXPECT_EQ(row.parent, PathOf(parent.get())) << row.path;
    }
}

TEST(CFURL, IsBoundWhereItWasMadeAndFitsOrFails)
{
    TemporaryFolder folder;
    std::string before = std::filesystem::current_path();
    auto url = FolderURL("x/y");
    ASSERT_EQ(0, chdir(folder.Path("").c_str()));
    EXPECT_EQ(before + "/x/y", PathOf(url.get()));
    ASSERT_EQ(0, chdir(before.c_str()));

    UInt8 buffer[] = "----";
    EXPECT_FALSE(CFURLGetFileSystemRepresentation(url.get(), false, buffer, 3));
    EXPECT_EQ('-', buffer[0]);
    EXPECT_TRUE(CFURLGetFileSystemRepresentation(url.get(), false, buffer, 4));
    EXPECT_STREQ("x/y", reinterpret_cast<const char*>(buffer));
    const UInt8 withZero[] = { '/', 0, 'b' };
    EXPECT_EQ(nullptr, CFURLCreateFromFileSystemRepresentation(nullptr, withZero, 3, false));
    EXPECT_EQ(nullptr, CFURLCreateFromFileSystemRepresentation(nullptr, withZero, 0, false));
    FSRef none = {};
    EXPECT_EQ(nullptr, CFURLCreateFromFSRef(nullptr, &none));
}
