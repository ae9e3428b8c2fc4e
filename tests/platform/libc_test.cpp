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

TEST(open, HoldsTheLockFromOpenToCloseAndTruncatesOnlyWithIt)
{
    TemporaryFolder folder;
    const std::string path = folder.Path("log");
    const auto isFree = [&](int operation) {
        const int other = openat(AT_FDCWD, path.c_str(), O_RDWR | O_CLOEXEC);
        const bool isGranted = flock(other, operation | LOCK_NB) == 0;
        close(other);
        return isGranted;
    };
    int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_SHLOCK, 0640);
    EXPECT_TRUE(isFree(LOCK_SH));
    EXPECT_FALSE(isFree(LOCK_EX));
    EXPECT_TRUE(fcntl(fd, F_GETFD) & FD_CLOEXEC);
    close(fd);
    EXPECT_TRUE(isFree(LOCK_EX));

    WriteFile(path, "contents");
    fd = open(path.c_str(), O_RDWR | O_EXLOCK);
    EXPECT_FALSE(isFree(LOCK_SH));
    EXPECT_EQ(-1, open(path.c_str(), O_WRONLY | O_TRUNC | O_SHLOCK | O_NONBLOCK));
    EXPECT_EQ(EWOULDBLOCK, errno);
    std::thread waiting([&] {
        const int late = open(path.c_str(), O_WRONLY | O_TRUNC | O_SHLOCK);
        EXPECT_EQ(0, close(late));
    });
    usleep(20000);
    EXPECT_EQ("contents", ReadFile(path)) << "truncated before the lock was held";
    close(fd);
    waiting.join();
    EXPECT_EQ("", ReadFile(path));

    mkfifo(folder.Path("pipe").c_str(), 0666);
    for (const auto& [name, error] : { std::pair { std::string("/dev/null"), EOPNOTSUPP },
                                       { folder.Path("pipe"), EOPNOTSUPP },
                                       { folder.Path(""), EISDIR },
                                       { folder.Path("none/x"), ENOENT } }) {
        EXPECT_EQ(-1, open(name.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_SHLOCK, 0600)) << name;
        EXPECT_EQ(error, errno) << name;
    }
}

TEST(AddAtomic, GivesTheValueBefore)
{
    SInt32 value = 5;
    EXPECT_EQ(5, AddAtomic(-2, &value));
    EXPECT_EQ(3, value);
}
