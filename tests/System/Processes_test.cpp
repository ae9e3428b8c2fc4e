// SPDX-License-Identifier: MIT
// Processes_test.cpp - files that several processes or users share, and inputs that wait.

#include "System/vlDataStream.h"
#include "System/vlModuleLog.h"
#include "System/vlProfileFile.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <thread>

using namespace Veltrano;

namespace {

struct ProcessesTest : testing::Test, TemporaryFolder
{
    bool Edit(const std::string& value) const
    {
        ProfileFile file;
        const bool isOpen = file.Open(Path("test.ini").c_str(), "r") != 0;
        file.SetValue("a", "k", value.c_str());
        return isOpen;
    }
};

TEST_F(ProcessesTest, LogLinesAreWhole)
{
    const int nLines = FromEnvironment("VELTRANO_LINES", 2000);
    const int nBad = InProcesses(4, [&](int process) {
        ModuleLog::open(nullptr, nullptr, kLogAppend, Path("log").c_str());
        for (int i = 0; i < nLines; ++i)
            if (LogPrint("process %04d line %040d end\n", process, i) != 63)
                return false;
        return true;
    });
    EXPECT_EQ(nBad, 0);
    std::set<std::string> whole;
    std::ifstream in(Path("log"));
    for (std::string line; std::getline(in, line);)
        if (line.size() == 62 && line.starts_with("process ") && line.ends_with(" end"))
            whole.insert(line);
    EXPECT_EQ(whole.size(), static_cast<size_t>(4 * nLines));
}

// What another user has put into a folder like /tmp, or holds.
TEST_F(ProcessesTest, TheLogKeepsOutOfForeignFiles)
{
    std::filesystem::create_directory(Path("tmp"));
    WriteFile(Path("locked"), "kept");
    const int holder = open(Path("locked").c_str(), O_RDWR | O_CLOEXEC);
    flock(holder, LOCK_EX);
    mkfifo(Path("pipe").c_str(), 0666);
    std::set<std::string> names = { "locked", "pipe" };
    if (geteuid() == 0) {
        WriteFile(Path("roots"), "kept");
        std::filesystem::create_symlink("../roots", Path("tmp/link"));
        ASSERT_EQ(lchown(Path("tmp/link").c_str(), 12345, 12345), 0);
        ModuleLog::open(nullptr, nullptr, kLogAppend, Path("tmp/link").c_str());
        EXPECT_GT(moduleLog_.fd, 1) << "only root can put links into this folder";
        ModuleLog::close();
        chmod(Path("tmp").c_str(), 01777);
        std::filesystem::create_hard_link(Path("roots"), Path("tmp/hard link"));
        names.insert({ "tmp/link", "tmp/hard link" });
    }
    for (const std::string& name : names) {
        const std::string before = name == "pipe" ? "" : ReadFile(Path(name));
        ModuleLog::open(nullptr, nullptr, kLogNew, Path(name).c_str());
        EXPECT_EQ(std::exchange(moduleLog_.fd, -1), 1) << name;
        EXPECT_EQ(name == "pipe" ? "" : ReadFile(Path(name)), before);
    }
    close(holder);
}

TEST_F(ProcessesTest, AProfileKeepsModeOwnerAndAccessList)
{
    const std::string path = Path("test.ini");
    WriteFile(path, "[a]\n");
    ASSERT_EQ(chmod(path.c_str(), 0640), 0);
    const bool isOther = chown(path.c_str(), 65534, 65534) == 0;
    // Version 2; the owner, the user 1, the group, the mask and all others.
    const std::string list(
        "\2\0\0\0\1\0\6\0\377\377\377\377\2\0\4\0\1\0\0\0\4\0\4\0\377\377\377\377"
        "\20\0\4\0\377\377\377\377\40\0\0\0\377\377\377\377",
        44);
    const char* lpszName = "system.posix_acl_access";
    const bool hasList = setxattr(path.c_str(), lpszName, list.data(), list.size(), 0) == 0;
    const bool hasOwn = setxattr(path.c_str(), "user.note", "text", 4, 0) == 0;
    EXPECT_TRUE(Edit("v"));
    EXPECT_EQ(ReadFile(path), "[a]\nk=v\n");
    struct stat info;
    ASSERT_EQ(stat(path.c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(info.st_uid, isOther ? 65534u : geteuid());
    char bytes[44];
    EXPECT_EQ(getxattr(path.c_str(), lpszName, bytes, sizeof(bytes)) == 44, hasList);
    EXPECT_EQ(getxattr(path.c_str(), "user.note", bytes, sizeof(bytes)) == 4, hasOwn);
}

// The new file of a killed writer is used again; what else has its name is not written to.
TEST_F(ProcessesTest, AProfileIsReplacedWhateverIsInItsWay)
{
    WriteFile(Path("test.ini"), "[a]\nk=\n");
    WriteFile(Path("victim"), "kept");
    WriteFile(Path("test.ini.vlnew"), std::string(100, 'x'));
    EXPECT_TRUE(Edit("1"));
    EXPECT_EQ(CountFiles(Path("")), 2);
    std::filesystem::create_hard_link(Path("victim"), Path("test.ini.vlnew"));
    EXPECT_TRUE(Edit("2"));
    EXPECT_EQ(CountFiles(Path("")), 2);
    std::filesystem::create_symlink("victim", Path("test.ini.vlnew"));
    EXPECT_TRUE(Edit("3"));
    EXPECT_EQ(ReadFile(Path("test.ini")), "[a]\nk=3\n");
    EXPECT_EQ(ReadFile(Path("victim")), "kept");
    // While another writer holds it, the next one waits, and does not write in place.
    std::filesystem::remove(Path("test.ini.vlnew"));
    struct stat before, after;
    ASSERT_EQ(stat(Path("test.ini").c_str(), &before), 0);
    int held[2];
    ASSERT_EQ(pipe(held), 0);
    const int nBad = InProcesses(2, [&](int i) {
        char token = 0;
        if (i == 1)
            return read(held[0], &token, 1) == 1 && Edit("4");
        const int fd = open(Path("test.ini.vlnew").c_str(), O_RDWR | O_CREAT, 0600);
        return lockf(fd, F_LOCK, 0) == 0 && write(held[1], &token, 1) == 1 && sleep(1) == 0;
    });
    EXPECT_EQ(nBad, 0);
    EXPECT_EQ(ReadFile(Path("test.ini")), "[a]\nk=4\n");
    EXPECT_TRUE(stat(Path("test.ini").c_str(), &after) == 0 && after.st_ino != before.st_ino);
}

TEST_F(ProcessesTest, ProfilesOfWritersAtOnceAreWhole)
{
    const int nSets = FromEnvironment("VELTRANO_SETS", 20);
    WriteFile(Path("test.ini"), "[a]\nk=\n");
    const int nBad = InProcesses(4, [&](int i) {
        for (int n = 0; n < nSets; ++n) {
            if (!Edit(std::string(900, static_cast<char>('p' + i))))
                return false;
            const std::string text = ReadFile(Path("test.ini"));
            if (text.size() != 907 || text.find_first_not_of(text[6], 6) != 906)
                return false;
        }
        return true;
    });
    EXPECT_EQ(nBad, 0);
    EXPECT_EQ(CountFiles(Path("")), 1);
}

// A standard input that is not ready yet at first, and interrupted later on.
TEST_F(ProcessesTest, AStreamWaitsForEachDigit)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(dup2(ends[0], STDIN_FILENO), STDIN_FILENO);
    struct sigaction action = {}; // without SA_RESTART
    action.sa_handler = [](int) {};
    sigaction(SIGUSR1, &action, nullptr);
    fcntl(STDIN_FILENO, F_SETFL, O_NONBLOCK);
    bool isAsleep = true;
    std::thread writer([&, reader = pthread_self(), id = std::to_string(gettid())] {
        const auto waitForReader = [&, status = "/proc/self/task/" + id + "/stat"] {
            for (int n = 0; isAsleep && ReadFile(status).find(") S ") == id.npos; ++n) {
                isAsleep = n < 10000;
                usleep(1000);
            }
        };
        const std::string digits = "7856\n3412F";
        for (size_t i = 0; i < digits.size(); ++i) {
            waitForReader();
            pthread_kill(reader, SIGUSR1);
            waitForReader();
            EXPECT_EQ(write(ends[1], &digits[i], 1), 1);
            if (i == 4)
                fcntl(STDIN_FILENO, F_SETFL, 0);
        }
        close(ends[1]);
    });
    {
        DataInputFile input(nullptr);
        EXPECT_EQ(input.readInt32(), 0x12345678);
        writer.join(); // before this thread may end
        EXPECT_TRUE(isAsleep) << "waits busily";
        EXPECT_THROW(input.readInt8(), EOFException);
    }
    EXPECT_EQ(fcntl(STDIN_FILENO, F_GETFD), -1) << "closed";
    close(ends[0]);
}

} // namespace
