// SPDX-License-Identifier: MIT
// vlModuleLog_test.cpp - opening, lines, the fallback to standard output, closing.

#include "System/vlModuleLog.h"
#include "tests/support/TemporaryFolder.h"

#include <ctime>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace Veltrano;

namespace {

// A printf format that the compiler does not check.
int (*const LogPrintUnchecked)(const char*, ...) = LogPrint;

// Puts TIME where a ctime text of 24 characters stands.
std::string MaskTimes(std::string text)
{
    for (size_t n = 0; (n = text.find("oaded at ", n)) != std::string::npos;) {
        n += 9;
        tm time;
        const char* end = strptime(text.c_str() + n, "%a %b %e %H:%M:%S %Y", &time);
        if (end == text.c_str() + n + 24) {
            text.replace(n, 24, "TIME");
        }
    }
    return text;
}

class ModuleLogTest : public testing::Test
{
protected:
    ~ModuleLogTest() override
    {
        ModuleLog::close();
        moduleLog_.fd = -1;
    }

    std::string Path() const { return m_folder.Path("logfile.log"); }
    std::string Lines() const { return MaskTimes(ReadFile(Path())); }

    TemporaryFolder m_folder;
};

TEST_F(ModuleLogTest, NothingHappensWhileItIsOffOrClosed)
{
    const ModuleLog loaded = moduleLog_;
    EXPECT_EQ(loaded.fd, -1);
    EXPECT_STREQ(loaded.prefix, "");
    ModuleLog::close();
    for (int flags : { int { kLogOff }, kLogOff | kLogNew }) {
        EXPECT_EQ(ModuleLog::open("x", "Host", flags, Path().c_str()), 1);
        EXPECT_EQ(moduleLog_.fd, -1);
        EXPECT_EQ(moduleLog_.prefix, loaded.prefix);
    }
    EXPECT_EQ(ModuleLog::open("[x] ", "Host", 0, Path().c_str()), 1);
    EXPECT_EQ(LogPrint("%d\n", 12), 7) << "the would-be length";
    EXPECT_EQ(LogPrintRaw("%300d", 1), 300);
    ModuleLog::close();
    EXPECT_STREQ(moduleLog_.prefix, "[x] ") << "close does nothing at all";
    free(const_cast<char*>(moduleLog_.prefix));
    moduleLog_.prefix = loaded.prefix;
    EXPECT_FALSE(std::filesystem::exists(Path()));
}

TEST_F(ModuleLogTest, WritesLines)
{
    const mode_t umaskBefore = umask(077);
    ModuleLog::open("[x] ", "Host", kLogNew, Path().c_str());
    umask(umaskBefore);
    struct stat info;
    ASSERT_EQ(fstat(moduleLog_.fd, &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0666u);
    EXPECT_EQ(LogPrint("%s %d\n", "line", 1), 11);
    EXPECT_EQ(LogPrintRaw("raw\n"), 4);
    LogPrintIf(2, "if\n");
    LogPrintIf(0, "not\n");
    LogPrintRawIf(1, "raw if\n");
    LogPrintRawIf(0, "not\n");
    EXPECT_EQ(LogPrint("%300s", "cut"), 258);
    EXPECT_EQ(LogPrintRaw("\n"), 1);
    ModuleLog::close();
    EXPECT_EQ(moduleLog_.fd, -1);
    EXPECT_STREQ(moduleLog_.prefix, "");
    EXPECT_EQ(Lines(),
              "[x] Host; loaded at TIME.\n[x] line 1\nraw\n[x] if\nraw if\n[x] "
                  + std::string(254, ' ') + "\n[x] Unloaded at TIME.\n");

    ModuleLog::open(nullptr, "", kLogAppend, Path().c_str());
    ModuleLog::close();
    EXPECT_THAT(Lines(),
                testing::EndsWith(" Unloaded at TIME.\nLoaded at TIME.\nUnloaded at TIME.\n"));
    ModuleLog::open("", nullptr, kLogNew | kLogAppend, Path().c_str());
    EXPECT_EQ(Lines(), "Loaded at TIME.\n") << "new wins";
}

TEST_F(ModuleLogTest, KeptThePrefixIsPartOfTheFormat)
{
    ModuleLog::open("100%", nullptr, kLogNew, nullptr);
    EXPECT_EQ(moduleLog_.fd, 1);
    testing::internal::CaptureStdout();
    LogPrintUnchecked("d\n", 7);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "1007\n");
}

TEST_F(ModuleLogTest, AFailedOpenLeadsToStandardOutput)
{
    for (const std::string& path : { m_folder.Path("missing/logfile.log"),
                                     m_folder.Path(std::string(260, 'n')), std::string() }) {
        testing::internal::CaptureStdout();
        ModuleLog::open("[y] ", "Host", kLogNew, path.c_str());
        EXPECT_EQ(moduleLog_.fd, 1);
        LogPrint("line\n");
        ModuleLog::close();
        EXPECT_STREQ(moduleLog_.prefix, "");
        LogPrint("after\n");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "[y] line\nafter\n") << path;
    }
}

TEST_F(ModuleLogTest, ThePathMayHave259Bytes)
{
    std::string path = m_folder.Path("");
    path += std::string(120, 'd');
    std::filesystem::create_directory(path);
    path += '/' + std::string(258 - path.size(), 'f');
    ASSERT_EQ(path.size(), 259u);
    ModuleLog::open(nullptr, nullptr, kLogNew, path.c_str());
    EXPECT_GT(moduleLog_.fd, 1);
    ModuleLog::close();
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(ModuleLogTest, TheFileIsLockedWhileOpen)
{
    ModuleLog::open(nullptr, nullptr, kLogNew, Path().c_str());
    const int other = open(Path().c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_NE(flock(other, LOCK_EX | LOCK_NB), 0);
    EXPECT_EQ(flock(other, LOCK_SH | LOCK_NB), 0);
    ModuleLog::close();
    EXPECT_EQ(flock(other, LOCK_EX | LOCK_NB), 0);
    close(other);
}

TEST_F(ModuleLogTest, TheStandardPlace)
{
    const std::string path = std::string("/tmp/") + kLogFileName;
    if (std::filesystem::exists(path)) {
        GTEST_SKIP() << path << " belongs to somebody";
    }
    ModuleLog::open(nullptr, nullptr, kLogNew | kLogInTmp, kLogFileName);
    ModuleLog::close();
    EXPECT_EQ(MaskTimes(ReadFile(path)), "Loaded at TIME.\nUnloaded at TIME.\n");
    std::filesystem::remove(path);
}

// Lines of several processes stay whole, and those whose call returned survive a kill.
TEST_F(ModuleLogTest, LinesAreWholeBesideOthersAndAfterAKill)
{
    const int nProcesses = 4;
    const int nLines = 2000;
    for (int i = 0; i < nProcesses; ++i) {
        if (fork() == 0) {
            ModuleLog::open(nullptr, nullptr, kLogAppend, Path().c_str());
            for (int n = 0; n < nLines; ++n) {
                LogPrint("process %d line %040d end\n", i, n);
            }
            kill(getpid(), SIGKILL);
        }
    }
    while (wait(nullptr) > 0) { }
    std::istringstream lines(Lines());
    int nWhole = 0;
    for (std::string line; std::getline(lines, line); ++nWhole) {
        int nProcess;
        int n;
        ASSERT_TRUE(line == "Loaded at TIME."
                    || (line.size() == 59 && line.ends_with(" end")
                        && sscanf(line.c_str(), "process %d line %d", &nProcess, &n) == 2))
            << line;
    }
    EXPECT_EQ(nWhole, nProcesses * (nLines + 1));
}

} // namespace
