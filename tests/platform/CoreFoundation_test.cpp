// SPDX-License-Identifier: MIT
// CoreFoundation_test.cpp - strings, numbers, containers, locations, and their counts.
#include "tests/support/Foundation.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <thread>
#include <unistd.h>
#include <vector>

// --- strings ---

TEST(CFString, ReadsEveryEncodingOrRefuses)
{
    const std::tuple<const char*, CFStringEncoding, const char*, CFIndex> rows[] = {
        // the text in UTF-8, or null where it is refused, and its UTF-16 units
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
    for (const auto& [bytes, encoding, utf8, nUnits] : rows) {
        auto string = Own(CFStringCreateWithCString(nullptr, bytes, encoding));
        ASSERT_EQ(utf8 != nullptr, string != nullptr) << bytes << " in " << encoding;
        if (utf8 != nullptr) {
            EXPECT_EQ(utf8, TextOf(string.get()));
            EXPECT_EQ(nUnits, CFStringGetLength(string.get())) << utf8;
        }
    }
    EXPECT_EQ(nullptr, CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8));
}

TEST(CFString, EightBitEncodingsRoundTripEveryByte)
{
    std::string bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes += static_cast<char>(byte);
    for (CFStringEncoding encoding : { kCFStringEncodingMacRoman, kCFStringEncodingISOLatin1,
                                       kCFStringEncodingWindowsLatin1 }) {
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
    EXPECT_EQ(std::string("\x8A") + "b", buffer);
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

// All of these texts have one value under the hash of the C++ library, which is known to everybody.
TEST(CFString, HashesCannotBeForeseen)
{
    const std::string pairs[] = { "SY}8\xd6\x92\xcb\x9bSY}8\xd6\x92\xcb\x9b", "SY:Rqxs*SY:Rqxs*" };
    std::set<CFHashCode> hashes;
    for (unsigned i = 0; i < 1024; ++i) {
        std::string text;
        for (unsigned bit = 0; bit < 10; ++bit)
            text += pairs[i >> bit & 1];
        hashes.insert(kCFTypeDictionaryKeyCallBacks.hash(Str(text).get()));
    }
    EXPECT_EQ(1024u, hashes.size());
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
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(1, CFGetRetainCount(string.get()));
    EXPECT_GT(CFGetRetainCount(kCFBooleanTrue), 1);
}

TEST(CFBase, ClassesAreDistinct)
{
    std::vector<CFTypeID> ids
        = { CFStringGetTypeID(), CFNumberGetTypeID(), CFBooleanGetTypeID(),   CFDataGetTypeID(),
            CFDateGetTypeID(),   CFArrayGetTypeID(),  CFDictionaryGetTypeID() };
    std::sort(ids.begin(), ids.end());
    EXPECT_EQ(ids.end(), std::adjacent_find(ids.begin(), ids.end()));
    EXPECT_EQ(CFBooleanGetTypeID(), CFGetTypeID(kCFBooleanFalse));
}

// --- numbers ---

TEST(CFNumber, ConvertsExactlyOrTellsAndGivesTheNearest)
{
    const struct
    {
        Ref<CFNumberRef> number;
        bool isExact[3]; // in 8, 32 and 64 bits
        SInt8 as8;
        SInt32 as32;
        SInt64 as64;
    } rows[] = {
        { Int(5), { true, true, true }, 5, 5, 5 },
        { Int(300), { false, true, true }, 127, 300, 300 },
        { Int(-300), { false, true, true }, -128, -300, -300 },
        { Int(INT64_MIN), { false, false, true }, -128, INT32_MIN, INT64_MIN },
        { Real(3.7), { false, false, false }, 3, 3, 3 },
        { Real(-3.7), { false, false, false }, -3, -3, -3 },
        { Real(-128.0), { true, true, true }, -128, -128, -128 },
        { Real(1e300), { false, false, false }, 127, INT32_MAX, INT64_MAX },
        { Real(-9223372036854775808.0), { false, false, true }, -128, INT32_MIN, INT64_MIN },
        { Real(9223372036854775808.0), { false, false, false }, 127, INT32_MAX, INT64_MAX },
        { Real(-INFINITY), { false, false, false }, -128, INT32_MIN, INT64_MIN },
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        CFNumberRef number = row.number.get();
        SInt8 as8 = 0;
        SInt32 as32 = 0;
        SInt64 as64 = 0;
        EXPECT_EQ(row.isExact[0], CFNumberGetValue(number, kCFNumberSInt8Type, &as8));
        EXPECT_EQ(row.isExact[1], CFNumberGetValue(number, kCFNumberSInt32Type, &as32));
        EXPECT_EQ(row.isExact[2], CFNumberGetValue(number, kCFNumberSInt64Type, &as64));
        EXPECT_EQ(row.as8, as8);
        EXPECT_EQ(row.as32, as32);
        EXPECT_EQ(row.as64, as64);
        EXPECT_EQ(&row - rows > 3, CFNumberIsFloatType(number));
    }
    double asReal = 0;
    EXPECT_FALSE(CFNumberGetValue(Int(INT64_MAX).get(), kCFNumberDoubleType, &asReal));
    EXPECT_EQ(9223372036854775808.0, asReal);
    EXPECT_TRUE(CFEqual(Int(3).get(), Real(3).get()));
    EXPECT_FALSE(CFEqual(Int(1).get(), kCFBooleanTrue));
    EXPECT_EQ(nullptr, CFNumberCreate(nullptr, 99, &asReal));
}

// --- data, dictionaries ---

TEST(CFData, StaysInItsBytes)
{
    const UInt8 bytes[] = { 1, 2, 3, 4 };
    auto borrowed = Own(CFDataCreateWithBytesNoCopy(nullptr, bytes, 4, kCFAllocatorNull));
    EXPECT_EQ(bytes, CFDataGetBytePtr(borrowed.get()));
    EXPECT_TRUE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 4)).get()));
    EXPECT_FALSE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 3)).get()));
    EXPECT_EQ(nullptr, CFDataCreate(nullptr, bytes, -1));
    EXPECT_EQ(0, CFDataGetLength(Own(CFDataCreate(nullptr, nullptr, 0)).get()));
}

TEST(CFDictionary, FindsByContentAndKeepsTheOrder)
{
    auto dictionary = Dict();
    constexpr int kMany = 1000;
    const auto key = [](int i) { return Str("key" + std::to_string(i)); };
    for (int i = 0; i < kMany; ++i)
        CFDictionarySetValue(dictionary.get(), key(i).get(), Int(i).get());
    auto copy = Own(CFDictionaryCreateMutableCopy(nullptr, 0, dictionary.get()));
    EXPECT_TRUE(CFEqual(copy.get(), dictionary.get()));
    for (int i = 0; i < kMany; i += 2)
        CFDictionaryRemoveValue(copy.get(), key(i).get());
    CFDictionaryRemoveValue(copy.get(), CFSTR("no such"));
    EXPECT_FALSE(CFEqual(copy.get(), dictionary.get()));
    ASSERT_EQ(kMany / 2, CFDictionaryGetCount(copy.get()));
    EXPECT_EQ(kMany, CFDictionaryGetCount(dictionary.get())) << "the copy is another object";

    std::vector<const void*> keys(kMany / 2);
    CFDictionaryGetKeysAndValues(copy.get(), keys.data(), nullptr);
    for (int i = 1; i < kMany; i += 2) {
        EXPECT_TRUE(CFEqual(key(i).get(), keys[static_cast<size_t>(i / 2)]));
        EXPECT_TRUE(CFEqual(Int(i).get(), CFDictionaryGetValue(copy.get(), key(i).get())));
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
    const std::pair<const char*, std::string> rows[] = {
        { "/a/b/c", "/a/b" }, { "/a/b/", "/a" },      { "/a", "/" },
        { "/", "/" },         { "/a//b", "/a" },      { "/a/..", "/a/../.." },
        { "b", here },        { "b/c", here + "/b" }, { "/sp ace/%41", "/sp ace" },
    };
    for (const auto& [path, parent] : rows) {
        auto url = Own(CFURLCreateCopyDeletingLastPathComponent(nullptr, FolderURL(path).get()));
        EXPECT_EQ(parent, PathOf(url.get())) << path;
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
