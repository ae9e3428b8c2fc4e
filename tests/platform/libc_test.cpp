// SPDX-License-Identifier: MIT
// libc_test.cpp - the assertion report, the lock flags of open, the atomic add.
#include "tests/support/TemporaryFolder.h"

#include <CoreServices/DriverSynchronization.h>
#include <sys/fcntl.h>

#include <assert.h>
#include <cerrno>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

TEST(eprintfDeathTest, ReportsAndAborts)
{
    EXPECT_EXIT(__eprintf("%s:%u: failed assertion `%s'\n", "a.c", 7, "p != 0"),
                testing::KilledBySignal(SIGABRT), "^a\\.c:7: failed assertion `p != 0'\n");
}

// Whether another open file gets that lock at once.
static bool IsFree(const std::string& path, int operation)
{
    int fd = openat(AT_FDCWD, path.c_str(), O_RDWR | O_CLOEXEC);
    bool isFree = flock(fd, operation | LOCK_NB) == 0;
    close(fd);
    return isFree;
}

TEST(open, HoldsTheLockFromOpenToClose)
{
    TemporaryFolder folder;
    std::string path = folder.Path("log");
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_SHLOCK, 0640);
    ASSERT_GE(fd, 0);
    EXPECT_TRUE(IsFree(path, LOCK_SH));
    EXPECT_FALSE(IsFree(path, LOCK_EX));
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
    close(fd);
    EXPECT_TRUE(IsFree(path, LOCK_EX));
    fd = open(path.c_str(), O_RDWR | O_EXLOCK);
    EXPECT_FALSE(IsFree(path, LOCK_SH));
    close(fd);
}

TEST(open, TruncatesOnlyWithTheLock)
{
    TemporaryFolder folder;
    std::string path = folder.Path("log");
    WriteFile(path, "contents");
    int holder = open(path.c_str(), O_RDWR | O_EXLOCK);
    EXPECT_EQ(-1, open(path.c_str(), O_WRONLY | O_TRUNC | O_SHLOCK | O_NONBLOCK));
    EXPECT_EQ(EWOULDBLOCK, errno);
    EXPECT_EQ("contents", ReadFile(path));
    std::thread waiting([&path] {
        int fd = open(path.c_str(), O_WRONLY | O_TRUNC | O_SHLOCK);
        EXPECT_GE(fd, 0);
        close(fd);
    });
    usleep(20000);
    EXPECT_EQ("contents", ReadFile(path)) << "truncated before the lock was held";
    close(holder);
    waiting.join();
    EXPECT_EQ("", ReadFile(path));
}

TEST(open, RefusesWhatIsNoFile)
{
    TemporaryFolder folder;
    mkfifo(folder.Path("pipe").c_str(), 0666);
    for (const auto& [path, error] : { std::pair { std::string("/dev/null"), EOPNOTSUPP },
                                       { folder.Path("pipe"), EOPNOTSUPP },
                                       { folder.Path(""), EISDIR },
                                       { folder.Path("none/x"), ENOENT } }) {
        EXPECT_EQ(-1, open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_SHLOCK, 0600)) << path;
        EXPECT_EQ(error, errno) << path;
    }
}

TEST(AddAtomic, GivesTheValueBefore)
{
    SInt32 value = 5;
    EXPECT_EQ(5, AddAtomic(-2, &value));
    std::thread other([&value] {
        for (int i = 0; i < 10000; ++i)
            AddAtomic(1, &value);
    });
    for (int i = 0; i < 10000; ++i)
        AddAtomic(1, &value);
    other.join();
    EXPECT_EQ(20003, value);
}
