// SPDX-License-Identifier: MIT
// Resources_test.cpp - the chain of resource files, and handles.
#include "tests/support/Foundation.h"
#include "tools/ResourceWriter.h"

#include <CoreServices/CoreServices.h>

static std::vector<uint8_t> Bytes(const std::string& text)
{
    return { text.begin(), text.end() };
}

static std::string FileText(const ResourceWriter& file)
{
    auto bytes = file.Serialize();
    return bytes ? std::string(bytes->begin(), bytes->end()) : "";
}

// Opens a file with one resource; the number, or -1.
static SInt16 Open(const std::string& path, OSErr expected = noErr)
{
    FSRef ref;
    SInt16 number = 99;
    EXPECT_EQ(noErr, FSPathMakeRef(reinterpret_cast<const UInt8*>(path.c_str()), &ref, nullptr));
    EXPECT_EQ(expected, FSOpenResourceFile(&ref, 0, nullptr, 1, &number));
    EXPECT_EQ(expected, ResError());
    return number;
}

static std::string Get(ResType type, SInt16 id)
{
    Handle handle = GetResource(type, id);
    return handle != nullptr ? std::string(*handle, static_cast<size_t>(GetHandleSize(handle)))
                             : "(none)";
}

TEST(Resources, SearchesFromTheCurrentFileDownTheChain)
{
    TemporaryFolder folder;
    for (const char* name : { "old", "new" }) {
        ResourceWriter file;
        file.Set({ 'TEXT', 1, 0, "", Bytes(std::string("from ") + name) });
        file.Set({ 'only', name[0], 0, "", Bytes("") });
        WriteFile(folder.Path(name), FileText(file));
    }
    EXPECT_EQ(kSystemResFile, CurResFile());
    SInt16 older = Open(folder.Path("old"));
    SInt16 newer = Open(folder.Path("new"));
    SInt16 again = Open(folder.Path("new"));
    EXPECT_TRUE(older > 0 && newer > older && again > newer);
    CloseResFile(again);
    EXPECT_EQ(newer, CurResFile()) << "the next older file becomes current";

    EXPECT_EQ("from new", Get('TEXT', 1));
    EXPECT_EQ("", Get('only', 'o')) << "found further down, empty";
    UseResFile(older);
    EXPECT_EQ("from old", Get('TEXT', 1));
    EXPECT_EQ("(none)", Get('only', 'n')) << "newer than the current file";
    EXPECT_EQ(resNotFound, ResError());
    UseResFile(77);
    EXPECT_EQ(resFNotFound, ResError());
    EXPECT_EQ(older, CurResFile());
    UseResFile(kSystemResFile);
    EXPECT_EQ("(none)", Get('TEXT', 1));
    CloseResFile(newer);
    EXPECT_EQ(kSystemResFile, CurResFile()) << "another file closed";
    CloseResFile(newer);
    EXPECT_EQ(resFNotFound, ResError());
    CloseResFile(older);
    CloseResFile(kSystemResFile);
    EXPECT_EQ(noErr, ResError());
}

TEST(Resources, GivesOneHandleUntilItIsReleased)
{
    TemporaryFolder folder;
    ResourceWriter file;
    file.Set({ 'TEXT', -5, 0xFE, "name", Bytes("data") });
    file.Set({ 'TEXT', 6, 0x01, "", Bytes("packed") });
    WriteFile(folder.Path("f"), FileText(file));
    SInt16 number = Open(folder.Path("f"));
    Handle handle = GetResource('TEXT', -5);
    ASSERT_NE(nullptr, handle);
    EXPECT_EQ(handle, GetResource('TEXT', -5));
    EXPECT_EQ(4, GetHandleSize(handle));
    EXPECT_EQ(nullptr, GetResource('TEXT', 6));
    EXPECT_EQ(CantDecompress, ResError());
    ReleaseResource(handle);
    EXPECT_EQ(noErr, ResError());
    EXPECT_EQ(0, GetHandleSize(handle));
    for (Handle none : { handle, Handle(nullptr) }) {
        ReleaseResource(none);
        EXPECT_EQ(resNotFound, ResError());
    }
    EXPECT_EQ("data", Get('TEXT', -5)) << "loaded anew";
    handle = GetResource('TEXT', -5);
    CloseResFile(number);
    EXPECT_EQ(0, GetHandleSize(handle)) << "ends with its file";
}

TEST(Resources, RefusesWhatIsNoResourceFile)
{
    TemporaryFolder folder;
    WriteFile(folder.Path("junk"), std::string(300, 'x'));
    EXPECT_EQ(kResFileNotOpened, Open(folder.Path("junk"), mapReadErr));
    EXPECT_EQ(kSystemResFile, CurResFile());
}
