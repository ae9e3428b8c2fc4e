// SPDX-License-Identifier: MIT
// vlProfileFile_test.cpp - files in and out, and what each operation finds and changes.

#include "System/vlProfileFile.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>
#include <vector>

using namespace Veltrano;

namespace {

std::vector<std::string> Texts(const ProfileLineList& list)
{
    std::vector<std::string> texts;
    const ProfileLine* pPrevious = nullptr;
    for (const ProfileLine* p = list.head; p != nullptr; pPrevious = p, p = p->next) {
        EXPECT_EQ(p->previous, pPrevious);
        texts.push_back(TextOf(p->text));
    }
    EXPECT_EQ(list.tail, pPrevious);
    EXPECT_EQ(list.GetCount(), static_cast<int>(texts.size()));
    return texts;
}

TEST(ProfileLineList, KeepsItsLinks)
{
    ProfileLineList list;
    list.Append("b");
    list.InsertBefore(list.head, "a");
    list.InsertBefore(nullptr, "d");
    list.InsertBefore(list.tail, "c");
    EXPECT_EQ(Texts(list), (std::vector<std::string> { "a", "b", "c", "d" }));
    list.Remove(list.head->next);
    list.Remove(list.tail);
    list.Remove(nullptr);
    EXPECT_EQ(Texts(list), (std::vector<std::string> { "a", "c" }));
    list.RemoveHead();
    list.RemoveHead();
    list.RemoveHead();
    EXPECT_TRUE(Texts(list).empty());
}

class ProfileFileTest : public testing::Test
{
protected:
    std::string Path() const { return m_folder.Path("test.ini"); }

    // The file after one edit.
    std::string Edited(const std::string& text, const std::function<void(ProfileFile&)>& edit)
    {
        WriteFile(Path(), text);
        ProfileFile file;
        EXPECT_EQ(file.Open(Path().c_str(), "r"), 1);
        edit(file);
        file.Close();
        return ReadFile(Path());
    }

    ProfileFile& Loaded(const std::string& text)
    {
        WriteFile(Path(), text);
        EXPECT_EQ(m_file.Open(Path().c_str(), "r"), 1);
        return m_file;
    }

    TemporaryFolder m_folder;
    ProfileFile m_file;
};

TEST_F(ProfileFileTest, Edits)
{
    const std::tuple<const char*, const char*, std::function<void(ProfileFile&)>, const char*>
        rows[] = {
            // clang-format off
        { "replace", "[a]\n k = v \n", [](auto& f) { f.SetValue("a", "k", "x"); }, "[a]\nk=x\n" },
        { "the first of two", "[a]\nk=1\nk=2\n", [](auto& f) { f.SetValue("a", "k", "x"); }, "[a]\nk=x\nk=2\n" },
        { "value as given", "[a]\n", [](auto& f) { f.SetValue("a", " k", " x "); }, "[a]\n k= x \n" },
        { "new section", "#c\n", [](auto& f) { f.SetValue("a", "k", "v"); }, "#c\n[a]\nk=v\n" },
        { "KEPT: new key at the end of the file", "[a]\n[b]\n", [](auto& f) { f.SetValue("a", "k", "v"); }, "[a]\n[b]\nk=v\n" },
        { "KEPT: empty value, missing key", "[a]\n[b]\n", [](auto& f) { f.SetValue("a", "k", ""); }, "[a]\n[b]\nk=\n" },
        { "empty value removes", "[a]\nk=v\nl=w\n", [](auto& f) { f.SetValue("a", "k", ""); }, "[a]\nl=w\n" },
        { "empty value, missing section", "[a]\r\n", [](auto& f) { f.SetValue("b", "k", ""); }, "[a]\r\n" },
        { "only in its section", "[a]\n[b]\nk=v\n", [](auto& f) { f.SetValue("a", "k", "x"); }, "[a]\n[b]\nk=v\nk=x\n" },
        { "null and empty", "[a]\r\n", [](auto& f) { f.SetValue(nullptr, "k", "v"); f.SetValue("a", "", "v"); f.AddLine("", "l"); f.AddLine("a", nullptr); f.RemoveLine("a", ""); }, "[a]\r\n" },
        { "add to the first section", "[a]\nx\n\n[b]\n", [](auto& f) { f.AddLine("a", "y"); }, "[a]\nx\n\ny\n[b]\n" },
        { "add to the last section", "[a]\nx", [](auto& f) { f.AddLine("a", " x"); }, "[a]\nx\n x\n" },
        { "add an equal line", "[a]\r\nx\r\n", [](auto& f) { f.AddLine("a", "x"); }, "[a]\r\nx\r\n" },
        { "add a section", "", [](auto& f) { f.AddLine("a", nullptr); f.AddLine("b", "x"); }, "[a]\n[b]\nx\n" },
        { "remove the first", "[a]\nx\nx\n", [](auto& f) { f.RemoveLine("a", "x"); }, "[a]\nx\n" },
        { "remove from another section", "[a]\r\n[b]\r\nx\r\n", [](auto& f) { f.RemoveLine("a", "x"); }, "[a]\r\n[b]\r\nx\r\n" },
        { "KEPT: remove makes the section", "x\n", [](auto& f) { f.RemoveLine("a", "x"); }, "x\n[a]\n" },
        { "the first of two sections", "[a]\n[a]\nk=1\n", [](auto& f) { f.AddLine("a", "y"); }, "[a]\ny\n[a]\nk=1\n" },
        { "untouched kinds", "; c\r\n\r\n=x\n[\nnote=[a]\n\t[b]\n", [](auto& f) { f.AddLine("a", "x"); }, "; c\n\n=x\n[\nnote=[a]\nx\n\t[b]\n" },
            // clang-format on
        };
    for (const auto& [name, before, edit, after] : rows)
        EXPECT_EQ(Edited(before, edit), after) << name;
}

TEST_F(ProfileFileTest, Values)
{
    ProfileFile& file = Loaded("g=0\n[a]\n  k = v  \nk=second\nempty=\n=x\n==\nx=y=z\n[A]\nk=big\n"
                               "note=[odd name]\nk=odd\n[a]\nlate=1\n[]\nk=1\n");
    const std::tuple<const char*, const char*, int, const char*> rows[] = {
        { "a", "k", 1, "v" },    { "a", " k", 0, "" },          { "A", "k", 1, "big" },
        { "a", "empty", 1, "" }, { "a", "x", 1, "y=z" },        { "a", "", 0, "" },
        { "a", "late", 0, "" },  { "odd name", "k", 1, "odd" }, { "a", "g", 0, "" },
        { nullptr, "k", 0, "" }, { "a", nullptr, 0, "" },       { "missing", "k", 0, "" },
        { "", "k", 0, "" },
    };
    for (const auto& [section, key, found, expected] : rows) {
        String value("before");
        EXPECT_EQ(file.GetValue(section, key, value), found) << section << key;
        EXPECT_TEXT(expected, value);
    }
    String own("k");
    EXPECT_EQ(file.GetValue("a", own, own), 1);
    EXPECT_TEXT("v", own);
}

TEST_F(ProfileFileTest, Enumerations)
{
    using Names = std::vector<std::string>;
    ProfileFile& file = Loaded("x=0\n[a]\n b = 1\n\nopaque\n c=[h]\nd=2\n[a]\ne=3\n");
    ProfileLineList list;
    EXPECT_EQ(file.GetSections(list), 3);
    EXPECT_EQ(Texts(list), (Names { "a", "h", "a" }));
    EXPECT_EQ(file.GetKeys(list, list.head->text), 1) << "the argument lies in the list";
    EXPECT_EQ(Texts(list), (Names { "b" }));
    EXPECT_EQ(file.GetKeys(list, "h"), 2);
    EXPECT_EQ(Texts(list), (Names { "c", "d" })) << "KEPT: the header too may hold a key";
    EXPECT_EQ(file.GetLines(list, "a"), 6);
    EXPECT_EQ(Texts(list), (Names { "b = 1", "opaque", "c=[h]", "d=2", "[a]", "e=3" }));
    EXPECT_EQ(
        file.GetLines(list, "missing") + file.GetKeys(list, "") + file.GetLines(list, nullptr), 0);
    EXPECT_TRUE(Texts(list).empty());
}

TEST_F(ProfileFileTest, LongLinesSplit)
{
    auto add = [](ProfileFile& f) { f.AddLine("s", nullptr); };
    const std::string x1022(1022, 'x');
    EXPECT_EQ(Edited(std::string(1500, 'x') + "\n", add),
              x1022 + '\n' + std::string(478, 'x') + "\n[s]\n");
    EXPECT_EQ(Edited(std::string(1021, 'x') + "\r\n", add), std::string(1021, 'x') + "\n\n[s]\n");
    EXPECT_EQ(Edited(x1022, add), x1022 + "\n[s]\n");
    EXPECT_EQ(Edited(x1022 + "\n", add), x1022 + "\n\n[s]\n")
        << "the line feed is a piece of its own";
    const std::string large(70000, 'x'); // more than is gathered for one write
    EXPECT_EQ(Edited("a\n", [&](auto& f) { f.AddLine("s", large.c_str()); }),
              "a\n[s]\n" + large + "\n");
}

// Against a plain model, with files large enough to be read in several blocks.
TEST_F(ProfileFileTest, RandomFilesSurviveAnEdit)
{
    std::mt19937 random(1);
    for (int n = 0; n < 300; ++n) {
        std::string text;
        const size_t nSize = random() % (n % 20 == 0 ? 200000 : 300);
        while (text.size() < nSize) {
            const std::string alphabet("[]= \t\r\n\nab\0\xff", 12);
            text += random() % 400 == 0 ? std::string(random() % 3000, 'l')
                                        : std::string(1, alphabet[random() % 12]);
        }
        std::string expected;
        for (size_t i = 0; i < text.size();) {
            const size_t nLineFeed = std::min(text.find('\n', i), text.size() - 1);
            std::string piece = text.substr(i, std::min<size_t>(nLineFeed - i + 1, 1022));
            i += piece.size();
            piece.resize(piece.find_last_not_of("\r\n") + 1);
            expected += piece + '\n';
        }
        expected += "[the new section]\nk=v\n";
        ASSERT_EQ(Edited(text, [](auto& f) { f.SetValue("the new section", "k", "v"); }), expected)
            << "file " << n;
    }
}

TEST_F(ProfileFileTest, OpenAndClose)
{
    ProfileFile file;
    EXPECT_EQ(file.Open(Path().c_str(), "r"), 0) << "missing";
    EXPECT_EQ(file.Open(m_folder.Path("").c_str(), "r"), 0) << "a folder";
    EXPECT_EQ(file.Open(Path().c_str(), nullptr), 0);
    file.AddLine("early", nullptr); // no file yet
    EXPECT_EQ(file.Open(Path().c_str(), "a+"), 1) << "created";
    file.AddLine("a", "x");
    EXPECT_EQ(file.Open(nullptr, "r+"), 1) << "closed, written and opened again by its old path";
    EXPECT_EQ(ReadFile(Path()), "[early]\n[a]\nx\n");
    struct stat before;
    ASSERT_EQ(stat(Path().c_str(), &before), 0);
    file.AddLine("a", "x");
    file.Close();
    file.Close();
    struct stat after;
    ASSERT_EQ(stat(Path().c_str(), &after), 0);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec) << "nothing changed, nothing written";
    EXPECT_EQ(file.Open(Path().c_str(), "w"), 1) << "mode as for fopen";
    file.SetValue("b", "k", "v");
    file.Close();
    EXPECT_EQ(ReadFile(Path()), "[b]\nk=v\n");
    {
        ProfileFile destroyed;
        destroyed.Open(Path().c_str(), "r");
        destroyed.SetValue("b", "k", "w");
    }
    EXPECT_EQ(ReadFile(Path()), "[b]\nk=w\n");
}

TEST_F(ProfileFileTest, AFileThatWentAwayLosesTheChanges)
{
    const std::string path = m_folder.Path("folder/test.ini");
    std::filesystem::create_directory(m_folder.Path("folder"));
    WriteFile(path, "[a]\n");
    ProfileFile file;
    EXPECT_EQ(file.Open(path.c_str(), "r"), 1);
    file.SetValue("a", "k", "v");
    std::filesystem::remove_all(m_folder.Path("folder"));
    file.Close();
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_EQ(file.Open(path.c_str(), "r"), 0);
}

} // namespace
