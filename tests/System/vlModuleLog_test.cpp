// SPDX-License-Identifier: MIT
// vlModuleLog_test.cpp - opening, lines, the fallback to standard output, closing.

#include "System/vlModuleLog.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/file.h>
#include <sys/stat.h>
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
        if (end == text.c_str() + n + 24)
            text.replace(n, 24, "TIME");
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
    mkfifo(m_folder.Path("pipe").c_str(), 0666);
    WriteFile(m_folder.Path("locked"), "kept");
    const int holder = open(m_folder.Path("locked").c_str(), O_RDWR | O_CLOEXEC);
    flock(holder, LOCK_EX);
    std::vector<std::string> paths
        = { m_folder.Path("missing/logfile.log"), m_folder.Path(std::string(260, 'n')),
            m_folder.Path("pipe"), m_folder.Path("locked"), "" };
    if (geteuid() == 0) { // what another user has put into a folder like /tmp
        WriteFile(m_folder.Path("roots"), "kept");
        std::filesystem::create_directory(m_folder.Path("tmp"));
        for (const char* kind : { "link", "hard link" })
            paths.push_back(m_folder.Path(std::string("tmp/") + kind));
        std::filesystem::create_symlink("../roots", m_folder.Path("tmp/link"));
        ASSERT_EQ(lchown(m_folder.Path("tmp/link").c_str(), 12345, 12345), 0);
        ModuleLog::open(nullptr, nullptr, kLogAppend, m_folder.Path("tmp/link").c_str());
        EXPECT_GT(moduleLog_.fd, 1) << "only root can put links into this folder";
        ModuleLog::close();
        WriteFile(m_folder.Path("roots"), "kept");
        chmod(m_folder.Path("tmp").c_str(), 01777);
        std::filesystem::create_hard_link(m_folder.Path("roots"), m_folder.Path("tmp/hard link"));
    }
    for (const std::string& path : paths) {
        testing::internal::CaptureStdout();
        ModuleLog::open("[y] ", "Host", kLogNew, path.c_str());
        EXPECT_EQ(moduleLog_.fd, 1);
        LogPrint("line\n");
        ModuleLog::close();
        EXPECT_STREQ(moduleLog_.prefix, "");
        LogPrint("after\n");
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "[y] line\nafter\n") << path;
    }
    for (const char* name : { "locked", "roots" })
        EXPECT_TRUE(ReadFile(m_folder.Path(name)) == "kept" || geteuid() != 0) << name;
    close(holder);
}

TEST_F(ModuleLogTest, ThePathMayHave259Bytes)
{
    std::string path = m_folder.Path(std::string(120, 'd'));
    std::filesystem::create_directory(path);
    path += '/' + std::string(258 - path.size(), 'f');
    ModuleLog::open(nullptr, nullptr, kLogNew, path.c_str());
    EXPECT_GT(moduleLog_.fd, 1);
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
    if (std::filesystem::exists(path))
        GTEST_SKIP() << path << " exists already";
    ModuleLog::open(nullptr, nullptr, kLogNew | kLogInTmp, kLogFileName);
    ModuleLog::close();
    EXPECT_EQ(MaskTimes(ReadFile(path)), "Loaded at TIME.\nUnloaded at TIME.\n");
    std::filesystem::remove(path);
}

// The number of lines of a log, each one whole: about loading, or of process `first` to `last` and with numbers
// that rise by one from a hundred thousand times the process on.
int CountWholeLines(const std::string& text, int first, int last)
{
    std::map<int, int> next;
    std::istringstream lines(text);
    int nLines = 0;
    EXPECT_TRUE(text.empty() || text.ends_with('\n'));
    for (std::string line; std::getline(lines, line);) {
        int process = -1;
        int n = -1;
        if (sscanf(line.c_str(), "process %d line %d", &process, &n) == 2) {
            EXPECT_TRUE(line.size() == 62 && line.ends_with(" end")) << line;
            EXPECT_TRUE(process >= first && process <= last) << line;
            EXPECT_EQ(next.try_emplace(process, process * 100000).first->second++, n) << line;
            ++nLines;
        } else {
            EXPECT_EQ(line, "Loaded at TIME.");
        }
    }
    return nLines;
}

TEST_F(ModuleLogTest, LinesOfSeveralProcessesAreWhole)
{
    const int nProcesses = 4;
    const int nLines = FromEnvironment("VELTRANO_LINES", 2000);
    const int nBad = InProcesses(nProcesses, [&](int process) {
        ModuleLog::open(nullptr, nullptr, kLogAppend, Path().c_str());
        bool isGood = true;
        for (int i = 0; i < nLines; ++i)
            isGood &= LogPrint("process %4d line %040d end\n", process, process * 100000 + i) == 63;
        return isGood;
    });
    EXPECT_EQ(nBad, 0);
    const int nWhole = CountWholeLines(Lines(), 0, nProcesses - 1);
    EXPECT_EQ(nWhole, nProcesses * nLines);
    printf("%d processes: %d of %d lines whole\n", nProcesses, nWhole, nProcesses * nLines);
}

TEST_F(ModuleLogTest, LinesSurviveAKill)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    int nLines = 0;
    int nLost = 0;
    KillWriters(
        nKills,
        [&](int i) {
            if (moduleLog_.fd == -1)
                ModuleLog::open(nullptr, nullptr, kLogNew, Path().c_str());
            return LogPrint("process %4d line %040d end\n", i / 100000, i) == 63;
        },
        [&](int first, int last) {
            const int nReturned = last - first + 1;
            std::string text = Lines();
            text.erase(text.rfind('\n') + 1); // a call that had not returned
            const int nWhole
                = nReturned > 0 ? CountWholeLines(text, first / 100000, first / 100000) : 0;
            nLines += nReturned;
            nLost += std::max(nReturned - nWhole, 0);
        });
    EXPECT_GE(nLines, nKills / 2);
    EXPECT_EQ(nLost, 0);
    printf("%d kills: %d lines returned, %d lost\n", nKills, nLines, nLost);
}

} // namespace
