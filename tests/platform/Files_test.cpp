// SPDX-License-Identifier: MIT
// Files_test.cpp - references to files, and the well-known folders.
#include "tests/support/Foundation.h"

#include <CoreServices/CoreServices.h>

#include <sys/stat.h>
#include <unistd.h>

static const UInt8* Bytes(const std::string& path)
{
    return reinterpret_cast<const UInt8*>(path.c_str());
}

static std::string RefPath(const FSRef& ref)
{
    return PathOf(Own(CFURLCreateFromFSRef(nullptr, &ref)).get());
}

TEST(Files, PathBecomesAReferenceOrAnError)
{
    TemporaryFolder folder;
    std::filesystem::create_directories(folder.Path("real/sub"));
    WriteFile(folder.Path("real/file"), "x");
    std::filesystem::create_symlink("real", folder.Path("link"));
    std::filesystem::create_symlink("nowhere", folder.Path("dangling"));
    const std::tuple<std::string, OSStatus, const char*, bool> rows[] = {
        { "real/sub", noErr, "real/sub", true },
        { "real/sub/../file", noErr, "real/file", false },
        { "link", noErr, "real", true },
        { "link/file", noErr, "real/file", false },
        { "missing", fnfErr, "", false },
        { "dangling", fnfErr, "", false },
        { "missing/file", dirNFErr, "", false },
        { "real/file/below", dirNFErr, "", false },
        { std::string(5000, 'x'), errFSNameTooLong, "", false },
    };
    for (const auto& [path, status, canonical, folderOrNot] : rows) {
        SCOPED_TRACE(path);
        FSRef ref = {};
        Boolean isFolder = 7;
        EXPECT_EQ(status, FSPathMakeRef(Bytes(folder.Path(path)), &ref, &isFolder));
        EXPECT_EQ(status == noErr ? folder.Path(canonical) : "(no path)", RefPath(ref));
        EXPECT_EQ(status == noErr ? folderOrNot : 7, isFolder);
        EXPECT_TRUE(status == noErr || ref.hidden[0] == 0) << "reference touched";
    }
    EXPECT_EQ(paramErr, FSPathMakeRef(nullptr, nullptr, nullptr));
}

TEST(Files, ClimbsToTheRootAndNoFurther)
{
    TemporaryFolder folder;
    WriteFile(folder.Path("file"), "x");
    FSRef ref;
    ASSERT_EQ(noErr, FSPathMakeRef(Bytes(folder.Path("file")), &ref, nullptr));
    std::string path = folder.Path("file");
    while (path != "/") {
        path = std::filesystem::path(path).parent_path();
        ASSERT_EQ(noErr, FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, nullptr, &ref));
        ASSERT_EQ(path, RefPath(ref));
    }
    ASSERT_EQ(noErr, FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, nullptr, &ref));
    FSSpec fsSpec;
    EXPECT_EQ(errFSBadFSRef,
              FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, &fsSpec, nullptr));
    EXPECT_EQ(nullptr, CFURLCreateFromFSRef(nullptr, &ref));
    FSRef garbage;
    std::fill(std::begin(garbage.hidden), std::end(garbage.hidden), UInt8(0x46));
    EXPECT_EQ(errFSBadFSRef,
              FSGetCatalogInfo(&garbage, kFSCatInfoNone, nullptr, nullptr, nullptr, &ref));
}

TEST(Files, TellsNamesAndWhatIsGone)
{
    TemporaryFolder folder;
    std::string longName(62, 'n');
    longName += "ä.txt"; // cut at 63 bytes, but not through the character
    WriteFile(folder.Path(longName), "x");
    FSRef ref;
    ASSERT_EQ(noErr, FSPathMakeRef(Bytes(folder.Path(longName)), &ref, nullptr));
    HFSUniStr255 name;
    FSSpec fsSpec;
    ASSERT_EQ(noErr, FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, &name, &fsSpec, nullptr));
    EXPECT_EQ(67, name.length);
    EXPECT_EQ(0xE4, name.unicode[62]);
    EXPECT_EQ(62, fsSpec.name[0]);
    EXPECT_LT(fsSpec.vRefNum, 0);
    struct stat info;
    ASSERT_EQ(0, stat(folder.Path(".").c_str(), &info));
    EXPECT_EQ(static_cast<UInt32>(info.st_ino), static_cast<UInt32>(fsSpec.parID));

    std::filesystem::remove(folder.Path(longName));
    EXPECT_EQ(fnfErr, FSGetCatalogInfo(&ref, kFSCatInfoNone, nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(paramErr, FSGetCatalogInfo(&ref, 2, nullptr, nullptr, nullptr, nullptr));
}

TEST(Folders, FindsOrMakesApplicationSupport)
{
    TemporaryHome home;
    FSRef found = {};
    auto find = [&found](SInt16 domain, bool create) {
        found = {};
        return FSFindFolder(domain, kApplicationSupportFolderType, create, &found);
    };
    EXPECT_EQ(fnfErr, find(kUserDomain, false));
    EXPECT_EQ(noErr, find(kUserDomain, true));
    EXPECT_EQ(home.Path("data"), RefPath(found));
    setenv("XDG_DATA_DIRS", ("relative::" + home.Path("a/b") + ":/other").c_str(), 1);
    EXPECT_EQ(noErr, find(kLocalDomain, true));
    EXPECT_EQ(home.Path("a/b"), RefPath(found));
    setenv("XDG_DATA_HOME", "not/absolute", 1);
    EXPECT_EQ(noErr, find(kUserDomain, true));
    EXPECT_EQ(home.Path("home/.local/share"), RefPath(found));

    WriteFile(home.Path("file"), "x");
    for (const char* blocked : { "file", "file/below" }) {
        setenv("XDG_DATA_HOME", home.Path(blocked).c_str(), 1);
        EXPECT_EQ(dirNFErr, find(kUserDomain, true)) << blocked;
        EXPECT_EQ(0, found.hidden[0]) << blocked;
    }
    unsetenv("XDG_DATA_HOME");
    unsetenv("HOME");
    EXPECT_EQ(fnfErr, find(kUserDomain, true));
    EXPECT_EQ(fnfErr, find(kSystemDomain, true));
}
