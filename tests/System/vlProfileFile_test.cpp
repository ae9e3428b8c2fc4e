// SPDX-License-Identifier: MIT
// vlProfileFile_test.cpp - how a file is replaced: kills, concurrent writers, attributes. What edits do is
// compared with a model in vlProfileFile_model.cpp.

#include "System/vlProfileFile.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <functional>
#include <sys/stat.h>
#include <sys/xattr.h>

using namespace Veltrano;

namespace {

class ProfileFileTest : public testing::Test
{
protected:
    std::string Path() const { return m_folder.Path("test.ini"); }

    bool Edit(const std::function<void(ProfileFile&)>& edit)
    {
        ProfileFile file;
        const bool isOpen = file.Open(Path().c_str(), "r") != 0;
        edit(file);
        return isOpen;
    }

    TemporaryFolder m_folder;
};

TEST_F(ProfileFileTest, KeepsModeOwnerAndAccessList)
{
    WriteFile(Path(), "[a]\n");
    ASSERT_EQ(chmod(Path().c_str(), 0640), 0);
    const bool isOther = chown(Path().c_str(), 65534, 65534) == 0;
    // Version 2; the owner, the user 1, the group, the mask and all others.
    const std::string list(
        "\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\4\0\377\377\377\377"
        "\20\0\4\0\377\377\377\377\40\0\0\0\377\377\377\377",
        44);
    const char* lpszName = "system.posix_acl_access";
    const bool hasList = setxattr(Path().c_str(), lpszName, list.data(), list.size(), 0) == 0;
    const bool hasOwn = setxattr(Path().c_str(), "user.note", "text", 4, 0) == 0;
    EXPECT_TRUE(Edit([](ProfileFile& file) { file.SetValue("a", "k", "v"); }));
    EXPECT_EQ(ReadFile(Path()), "[a]\nk=v\n");
    struct stat info;
    ASSERT_EQ(stat(Path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(info.st_uid, isOther ? 65534u : geteuid());
    char bytes[44];
    EXPECT_EQ(getxattr(Path().c_str(), lpszName, bytes, sizeof(bytes)) == 44, hasList);
    EXPECT_EQ(getxattr(Path().c_str(), "user.note", bytes, sizeof(bytes)) == 4, hasOwn);
}

// A kill leaves the old text or the new one, and no more than one other file.
TEST_F(ProfileFileTest, SurvivesAKill)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    std::string rest = "\n";
    for (int i = 0; i < 500; ++i)
        rest += "; a line that is not touched\n";
    WriteFile(Path(), "[a]\nk=-1" + rest);
    int nWritten = 0;
    int nDamaged = 0;
    KillWriters(
        nKills,
        [&](int i) {
            return Edit([i](ProfileFile& f) { f.SetValue("a", "k", std::to_string(i).c_str()); });
        },
        [&](int first, int last) {
            const std::string text = ReadFile(Path());
            const int value = text.size() < 6 ? 0 : atoi(&text[6]);
            const bool isLatest = last < first || value == last || value == last + 1;
            nDamaged += text != "[a]\nk=" + std::to_string(value) + rest || !isLatest;
            nWritten += last - first + 1;
        });
    EXPECT_EQ(nDamaged, 0);
    EXPECT_LE(CountFiles(m_folder.Path("")), 2);
    EXPECT_TRUE(Edit([](ProfileFile& file) { file.SetValue("a", "k", "end"); }));
    EXPECT_EQ(CountFiles(m_folder.Path("")), 1) << "the next writer uses what was left";
    printf("%d kills: %d writes returned, %d files damaged or old\n", nKills, nWritten, nDamaged);
}

TEST_F(ProfileFileTest, WritersAtOnceLeaveOneText)
{
    const int nSets = FromEnvironment("VELTRANO_SETS", 20);
    WriteFile(Path(), "[a]\nk=\n");
    const int nBad = InProcesses(4, [&](int i) {
        const std::string value(900, static_cast<char>('p' + i));
        for (int n = 0; n < nSets; ++n) {
            if (!Edit([&](ProfileFile& file) { file.SetValue("a", "k", value.c_str()); }))
                return false;
            const std::string text = ReadFile(Path());
            if (text.size() != 907 || text.find_first_not_of(text[6], 6) != 906)
                return false;
        }
        return true;
    });
    EXPECT_EQ(nBad, 0);
    EXPECT_EQ(CountFiles(m_folder.Path("")), 1);
    printf("%d writes by 4 processes, each file whole\n", 4 * nSets);
}

} // namespace
