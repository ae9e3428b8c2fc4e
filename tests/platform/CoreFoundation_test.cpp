// SPDX-License-Identifier: MIT
// CoreFoundation_test.cpp - objects and their counts, containers, and what several threads do at once.
#include "tests/support/Foundation.h"

#include <barrier>
#include <cstring>
#include <dlfcn.h>
#include <set>
#include <thread>
#include <unistd.h>
#include <vector>

TEST(CFString, ConstantsAreOneObjectATextAndOutliveTheirLiteral)
{
    char literal[] = "gone soon";
    CFStringRef constant = __CFStringMakeConstantString(literal);
    literal[0] = 'X';
    EXPECT_EQ(constant, CFSTR("gone soon"));
    CFRelease(constant);
    CFRelease(constant);
    EXPECT_EQ("gone soon", TextOf(constant));
    EXPECT_TRUE(CFEqual(constant, Str("gone soon").get()));
    EXPECT_EQ(nullptr, CFStringCreateWithCString(nullptr, nullptr, kCFStringEncodingUTF8));
    const UInt8 zero[] = { 'a', 0, 'b' };
    auto text = Own(CFStringCreateWithBytes(nullptr, zero, 3, kCFStringEncodingUTF8, false));
    EXPECT_EQ(nullptr, CFStringGetCStringPtr(text.get(), kCFStringEncodingUTF8)) << "would be cut";
    EXPECT_EQ(3, CFStringGetLength(text.get()));
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

TEST(CFBase, CountsFromManyThreads)
{
    auto string = Str("shared");
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i)
            threads.emplace_back([&string] {
                for (int k = 0; k < 20000; ++k) {
                    CFRelease(CFRetain(string.get()));
                    CFRetain(kCFBooleanTrue);
                }
            });
    }
    EXPECT_EQ(1, CFGetRetainCount(string.get()));
    EXPECT_GT(CFGetRetainCount(kCFBooleanTrue), 1);
}

TEST(CFBase, ValuesAreEqualByContent)
{
    const UInt8 bytes[] = { 1, 2, 3, 4 };
    auto borrowed = Own(CFDataCreateWithBytesNoCopy(nullptr, bytes, 4, kCFAllocatorNull));
    EXPECT_EQ(bytes, CFDataGetBytePtr(borrowed.get()));
    EXPECT_TRUE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 4)).get()));
    EXPECT_FALSE(CFEqual(borrowed.get(), Own(CFDataCreate(nullptr, bytes, 3)).get()));
    EXPECT_EQ(nullptr, CFDataCreate(nullptr, bytes, -1));
    EXPECT_EQ(0, CFDataGetLength(Own(CFDataCreate(nullptr, nullptr, 0)).get()));
    EXPECT_TRUE(CFEqual(Int(3).get(), Real(3).get()));
    EXPECT_FALSE(CFEqual(Int(1).get(), kCFBooleanTrue));
    EXPECT_EQ(nullptr, CFNumberCreate(nullptr, 99, bytes));
    EXPECT_EQ(CFBooleanGetTypeID(), CFGetTypeID(kCFBooleanFalse));
    CFStringRef error = nullptr;
    EXPECT_EQ(nullptr, CFPropertyListCreateFromXMLData(nullptr, borrowed.get(), 0, &error));
    EXPECT_NE("", TextOf(Own(error).get()));
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

    auto value = Int(1);
    CFDictionarySetValue(copy.get(), key(1).get(), value.get()); // replaces the value, not the key
    CFDictionarySetValue(copy.get(), key(1).get(), kCFBooleanTrue);
    const void* first = keys[0];
    CFDictionaryGetKeysAndValues(copy.get(), keys.data(), nullptr);
    EXPECT_EQ(first, keys[0]);
    EXPECT_EQ(1, CFGetRetainCount(value.get()));
    const void* found = &value;
    EXPECT_FALSE(CFDictionaryGetValueIfPresent(copy.get(), CFSTR("key0"), &found));
    EXPECT_EQ(&value, found) << "untouched when absent";
    EXPECT_TRUE(CFDictionaryGetValueIfPresent(copy.get(), CFSTR("key1"), nullptr));
    copy.reset(); // and what it holds
    EXPECT_EQ(1, CFGetRetainCount(dictionary.get()));
    CFDictionaryKeyCallBacks own = {};
    EXPECT_EQ(nullptr,
              CFDictionaryCreateMutable(nullptr, 0, &own, &kCFTypeDictionaryValueCallBacks));
}

TEST(CFURL, IsBoundWhereItWasMade)
{
    TemporaryFolder folder;
    std::string before = std::filesystem::current_path();
    auto url = FolderURL("x/y");
    auto parent = Own(CFURLCreateCopyDeletingLastPathComponent(nullptr, FolderURL("b").get()));
    ASSERT_EQ(0, chdir(folder.Path("").c_str()));
    EXPECT_EQ(before + "/x/y", PathOf(url.get()));
    EXPECT_EQ(before, PathOf(parent.get()));
    ASSERT_EQ(0, chdir(before.c_str()));
    const auto made = [](const char* path, bool isFolder) {
        const auto* bytes = reinterpret_cast<const UInt8*>(path);
        const auto length = static_cast<CFIndex>(strlen(path));
        return Own(CFURLCreateFromFileSystemRepresentation(nullptr, bytes, length, isFolder));
    };
    EXPECT_TRUE(CFEqual(made("/a/", false).get(), made("/a", true).get()));
    EXPECT_FALSE(CFEqual(made("/a", false).get(), made("/a", true).get()));
    const UInt8 withZero[] = { '/', 0, 'b' };
    EXPECT_EQ(nullptr, CFURLCreateFromFileSystemRepresentation(nullptr, withZero, 3, false));
    EXPECT_EQ(nullptr, CFURLCreateFromFileSystemRepresentation(nullptr, withZero, 0, false));
}

TEST(CFBundle, LoadsOnceFromFourThreads)
{
    for (int turn = 0; turn < 50; ++turn) {
        Ref<CFBundleRef> bundles[4];
        {
            std::barrier start(4);
            std::vector<std::jthread> threads;
            for (Ref<CFBundleRef>& bundle : bundles)
                threads.emplace_back([&] {
                    start.arrive_and_wait();
                    bundle = Own(CFBundleCreate(nullptr, FolderURL(TEST_BUNDLE).get()));
                    EXPECT_TRUE(CFBundleLoadExecutable(bundle.get()));
                    EXPECT_EQ(
                        nullptr,
                        CFBundleCopyResourceURL(bundle.get(), CFSTR("none"), nullptr, nullptr));
                });
        }
        EXPECT_EQ(4, CFGetRetainCount(bundles[0].get()));
        CFBundleUnloadExecutable(bundles[0].get());
        ASSERT_EQ(nullptr, dlopen(TEST_BUNDLE "/Contents/MacOS/Tester", RTLD_NOW | RTLD_NOLOAD));
    }
}

TEST(CFBundle, OfTheProgramIsItsFolder)
{
    CFBundleRef main = CFBundleGetMainBundle();
    EXPECT_EQ(main, CFBundleGetMainBundle());
    std::filesystem::path program = std::filesystem::canonical("/proc/self/exe");
    EXPECT_EQ(program.parent_path().string(), PathOf(Own(CFBundleCopyBundleURL(main)).get()));
    EXPECT_TRUE(CFBundleIsExecutableLoaded(main));
}
