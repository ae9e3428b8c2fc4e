// SPDX-License-Identifier: MIT
// CFPreferences_test.cpp - values, merging, failures, and several processes on one domain.
// VELTRANO_SETS=n and VELTRANO_KILLS=n make the tests with several processes longer.
#include "tests/support/FailingCalls.h"
#include "tests/support/Foundation.h"

#include <cmath>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <fstream>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <utility>

using testing::HasSubstr;

// --- calls of the C library that a test takes over ---

static void (*sOnFlush)() = nullptr; // called by each fsync
static int sPauses = -1; // counted instead of slept, from 0 on
static bool sHasCoarseStamps = false; // as a file system that keeps seconds
static bool sIsPrivileged = false; // as a set-user-id process
static bool sIsLater = false; // every file is old enough for its stamp to prove its version

#pragma GCC visibility push(default) // the library finds them here first

int fsync(int fd)
{
    if (sOnFlush != nullptr)
        std::exchange(sOnFlush, nullptr)();
    return static_cast<int>(syscall(SYS_fsync, fd));
}

int nanosleep(const timespec* time, timespec* rest)
{
    return sPauses >= 0 ? static_cast<int>(++sPauses * 0)
                        : clock_nanosleep(CLOCK_REALTIME, 0, time, rest);
}

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    static const auto real
        = reinterpret_cast<decltype(&clock_gettime)>(dlsym(RTLD_NEXT, "clock_gettime"));
    const int result = real(clock, time);
    if (sIsLater && clock == CLOCK_REALTIME) {
        time->tv_sec += 10;
        time->tv_nsec |= 1; // a stamp of nanoseconds
    }
    return result;
}

int futimens(int fd, const timespec times[2]) noexcept
{
    const timespec coarse[2] = { times[0], { times[1].tv_sec, 0 } };
    return utimensat(AT_FDCWD, ("/proc/self/fd/" + std::to_string(fd)).c_str(),
                     sHasCoarseStamps ? coarse : times, 0);
}

char* secure_getenv(const char* name) noexcept
{
    return sIsPrivileged ? nullptr : getenv(name);
}

#pragma GCC visibility pop

static const CFStringRef kApplication = CFSTR("com.veltrano.test");
static const CFStringRef kUser = kCFPreferencesCurrentUser;
static const CFStringRef kHost = kCFPreferencesCurrentHost;

static void Set(const std::string& key, CFTypeRef value)
{
    CFPreferencesSetValue(Str(key).get(), value, kApplication, kUser, kHost);
}

static Ref<CFTypeRef> Copy(const std::string& key)
{
    return Own(CFPreferencesCopyValue(Str(key).get(), kApplication, kUser, kHost));
}

static bool Synchronize()
{
    return CFPreferencesSynchronize(kApplication, kUser, kHost);
}

static bool Save(const std::string& key, CFTypeRef value)
{
    Set(key, value);
    return Synchronize();
}

static long Number(CFTypeRef value)
{
    long number = -1;
    if (value != nullptr && CFGetTypeID(value) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(value), kCFNumberLongType, &number);
    return number;
}

static CFIndex CountKeys()
{
    auto keys = Own(CFPreferencesCopyKeyList(kApplication, kUser, kHost));
    return keys != nullptr ? CFArrayGetCount(keys.get()) : 0;
}

// With a private home, so that the domain starts empty.
class CFPreferences : public testing::Test
{
protected:
    CFPreferences()
    {
        Synchronize(); // takes note of the new place
        m_file = FindFile();
    }

    // The name holds the machine's number, so it is found rather than built.
    std::string FindFile() const
    {
        EXPECT_TRUE(Save("x", kCFBooleanTrue));
        std::string found;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            if (entry.path().extension() == ".plist")
                found = entry.path();
        EXPECT_TRUE(Save("x", nullptr));
        return found;
    }

    std::string Contents() const { return ReadFile(m_file); }

    void Write(const std::string& values) const
    {
        WriteFile(m_file,
                  "<?xml version=\"1.0\"?>\n<plist version=\"1.0\">" + values + "</plist>\n");
        EXPECT_TRUE(Synchronize());
    }

    TemporaryHome m_home;
    std::string m_folder = m_home.Path("config/preferences/ByHost");
    std::string m_file;
};

TEST_F(CFPreferences, KeepsEveryKindOfValueThroughTheFile)
{
    const UInt8 bytes[] = { 0, 255, 10, 13 };
    auto inner = Dict();
    CFDictionarySetValue(inner.get(), CFSTR(""), CFSTR("empty key"));
    CFDictionarySetValue(inner.get(), CFSTR("<&>\"'"), CFSTR("a < b & c > d ]]>\r\n\t\001"));
    const std::pair<const char*, Ref<CFTypeRef>> rows[] = {
        { "text", Str("ä€😀") },
        { "least", Int(INT64_MIN) },
        { "most", Int(INT64_MAX) },
        { "third", Real(1.0 / 3) },
        { "infinite", Real(-INFINITY) },
        { "minus zero", Real(-0.0) },
        { "false", Own(kCFBooleanFalse) },
        { "data1", Own(CFDataCreate(nullptr, bytes, 4)) },
        { "data2", Own(CFDataCreate(nullptr, bytes, 2)) },
        { "data0", Own(CFDataCreate(nullptr, bytes, 0)) },
        { "inner", Own(CFRetain(inner.get())) },
    };
    for (const auto& [key, value] : rows)
        Set(key, value.get());
    ASSERT_TRUE(Synchronize());
    // Read back by a domain that has none of it in memory any more.
    std::string text = Contents();
    Write("<dict/>");
    EXPECT_EQ(0, CountKeys());
    WriteFile(m_file, text);
    ASSERT_TRUE(Synchronize());
    for (const auto& [key, value] : rows) {
        auto read = Copy(key);
        ASSERT_NE(nullptr, read) << key;
        EXPECT_TRUE(CFEqual(value.get(), read.get())) << key << "\n" << text;
        EXPECT_EQ(CFGetTypeID(value.get()), CFGetTypeID(read.get())) << key;
    }
    EXPECT_THAT(text, HasSubstr("<real>-0</real>"));
    EXPECT_TRUE(Save("one more", kCFBooleanTrue) && Save("one more", nullptr));
    EXPECT_EQ(text, Contents()) << "a rewrite changes nothing else";
}

static std::string Unescaped(std::string text)
{
    const std::pair<const char*, const char*> escapes[]
        = { { "\\n", "\n" }, { "\\r", "\r" }, { "\\t", "\t" }, { "\\xC3", "\xC3" } };
    for (const auto& [escape, character] : escapes)
        for (size_t at; (at = text.find(escape)) != text.npos;)
            text.replace(at, strlen(escape), character);
    return text;
}

TEST_F(CFPreferences, ReadsOnlyWhatItCanKeepExactly)
{
    std::ifstream rows(TEST_FOLDER "/values.txt");
    int nRows = 0;
    for (std::string line; std::getline(rows, line);) {
        if (line[0] == '#')
            continue;
        const std::string value = line.substr(0, line.find('\t'));
        const std::string rewritten = line.substr(value.size() + 1);
        Write("<dict><key>v</key>" + Unescaped(value) + "<key>w</key><true/></dict>");
        EXPECT_EQ(Copy("v") != nullptr, rewritten != "-") << value;
        ++nRows;
        if (rewritten == "-")
            continue;
        EXPECT_TRUE(Save("more", kCFBooleanTrue));
        EXPECT_THAT(Contents(), HasSubstr("<key>v</key>\n\t" + Unescaped(rewritten)));
    }
    EXPECT_EQ(nRows, 36);
    for (const char* file : { "", "junk", "<plist/>", "<plist><dict/></plist>x",
                              "<plist><dict/><dict/></plist>", "<plist><array/></plist>",
                              "<!DOCTYPE plist [<!ENTITY a \"b\">]><plist><dict/></plist>" }) {
        WriteFile(m_file, file);
        ASSERT_TRUE(Synchronize());
        EXPECT_EQ(0, CountKeys()) << file;
        EXPECT_EQ(file, Contents()) << "reading changes nothing";
    }
    WriteFile(m_file,
              "\xEF\xBB\xBF<!-- c --><?xml version='1.0'?><!DOCTYPE plist SYSTEM 'x'>"
              "<plist><dict><key>a</key><true/></dict></plist>\n");
    ASSERT_TRUE(Synchronize());
    EXPECT_EQ(1, CountKeys());
}

TEST_F(CFPreferences, RefusesWhatAPropertyListCannotHold)
{
    const UInt8 withZero[] = { 'a', 0, 'b' };
    auto byNumber = Dict();
    CFDictionarySetValue(byNumber.get(), Int(1).get(), kCFBooleanTrue);
    auto inItself = Dict();
    CFDictionarySetValue(inItself.get(), CFSTR("in"), inItself.get());
    const CFMutableDictionaryRef cycle = inItself.get();
    std::pair<const char*, Ref<CFTypeRef>> rows[] = {
        { "zero in text",
          Own(CFStringCreateWithBytes(nullptr, withZero, 3, kCFStringEncodingUTF8, false)) },
        { "key is a number", std::move(byNumber) },
        { "a location", FolderURL("/") },
        { "a dictionary in itself", std::move(inItself) },
    };
    ASSERT_TRUE(Save("v", Int(1).get()));
    std::string before = Contents();
    for (const auto& [name, value] : rows) {
        Set("v", value.get());
        EXPECT_EQ(1, Number(Copy("v").get())) << name;
        EXPECT_FALSE(Synchronize()) << name;
        EXPECT_EQ(before, Contents()) << name;
        EXPECT_TRUE(Synchronize()) << name << ": told once";
    }
    CFDictionaryRemoveValue(cycle, CFSTR("in"));
}

// Runs `work` with a stack of 256 KB, whatever the stack of the process.
template <typename Work> static void WithSmallStack(Work work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10);
    pthread_t thread;
    const auto run = [](void* argument) -> void* {
        (*static_cast<Work*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(0, pthread_create(&thread, &attributes, run, &work));
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(CFPreferences, NestingTakesNoStack)
{
    static constexpr int kDepth = 100000;
    const auto nested = [](CFTypeRef innermost) {
        auto value = Dict();
        CFDictionarySetValue(value.get(), CFSTR("v"), innermost);
        for (int i = 1; i < kDepth; ++i) {
            auto outer = Dict();
            CFDictionarySetValue(outer.get(), CFSTR("in"), value.get());
            value = std::move(outer);
        }
        return value;
    };
    WithSmallStack([&] {
        EXPECT_TRUE(Save("deep", nested(Int(1).get()).get()));
        const std::string deep = Contents();
        EXPECT_LT(deep.size(), kDepth * 80u) << "its indentation is bounded";
        Set("deep", nested(Int(2).get()).get());
        WriteFile(m_file, deep); // by another writer: it is merged
        EXPECT_TRUE(Synchronize());
        EXPECT_TRUE(CFEqual(nested(Int(2).get()).get(), Copy("deep").get()));
        EXPECT_FALSE(CFEqual(nested(Int(1).get()).get(), Copy("deep").get()));

        const auto times = [](const char* text) {
            std::string all;
            for (int i = 0; i < kDepth; ++i)
                all += text;
            return all;
        };
        const std::string list = "<plist><dict><key>a</key>" + times("<array>");
        WriteFile(m_file, list);
        EXPECT_EQ(nullptr, Copy("a")) << "cut short";
        WriteFile(m_file, list + times("</array>") + "</dict></plist>");
        EXPECT_TRUE(Save("b", kCFBooleanTrue));
        EXPECT_NE(nullptr, Copy("a"));
    });
}

TEST_F(CFPreferences, PlacesAndModes)
{
    umask(0);
    std::filesystem::remove_all(m_folder);
    const struct
    {
        CFStringRef user;
        CFStringRef host;
        const char* folder;
        mode_t fileMode;
        mode_t folderMode;
    } rows[] = {
        { kCFPreferencesCurrentUser, kCFPreferencesCurrentHost, "config/preferences/ByHost", 0600,
          0700 },
        { kCFPreferencesAnyUser, kCFPreferencesCurrentHost, "etc/preferences", 0644, 0775 },
    };
    for (const auto& row : rows) {
        std::string folder = m_home.Path(row.folder);
        CFPreferencesSynchronize(kApplication, row.user, row.host);
        CFPreferencesSetValue(CFSTR("k"), kCFBooleanTrue, kApplication, row.user, row.host);
        EXPECT_TRUE(CFPreferencesSynchronize(kApplication, row.user, row.host)) << row.folder;
        struct stat info;
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".plist") {
                ASSERT_EQ(0, stat(entry.path().c_str(), &info));
                EXPECT_EQ(row.fileMode, info.st_mode & 07777) << entry.path();
                EXPECT_EQ(0u, entry.path().filename().string().find("com.veltrano.test."));
            }
        }
        ASSERT_EQ(0, stat(folder.c_str(), &info));
        EXPECT_EQ(row.folderMode, info.st_mode & 07777) << folder;
        CFPreferencesSetValue(CFSTR("k"), nullptr, kApplication, row.user, row.host);
        EXPECT_TRUE(CFPreferencesSynchronize(kApplication, row.user, row.host));
        EXPECT_FALSE(std::filesystem::exists(folder + "/com.veltrano.test.plist")) << "empty";
    }
    EXPECT_EQ(1, CountFiles(m_folder)) << "the lock file";
    EXPECT_FALSE(CFPreferencesSynchronize(kApplication, CFSTR("somebody"), kHost));
    EXPECT_FALSE(CFPreferencesSynchronize(CFSTR("../up"), kUser, kHost));

    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    EXPECT_FALSE(Synchronize()) << "no home, no place, also without changes";
    EXPECT_FALSE(Save("k", Int(5).get()));
    EXPECT_EQ(5, Number(Copy("k").get())) << "kept in memory";
    setenv("XDG_CONFIG_HOME", m_home.Path("new").c_str(), 1);
    EXPECT_TRUE(Synchronize());
    EXPECT_TRUE(Save("k", nullptr));
}

TEST_F(CFPreferences, EveryFailingSystemCallFailsCleanly)
{
    Write("<dict><key>a</key><integer>0</integer><key>b</key><integer>7</integer></dict>");
    const std::string good = Contents();
    sIsLater = true; // the same calls in each run
    for (const std::string& before : { good, std::string("damaged") }) {
        std::set<std::pair<int, std::string>> failed;
        SInt64 n = 0;
        bool isDone = false;
        FailingCalls::ForEach(
            { "fchmod", "open", "read", "rename", "stat" },
            [&] {
                WriteFile(m_file, before);
                EXPECT_TRUE(Synchronize());
                Set("a", Int(++n).get());
                WriteFile(m_file, before); // by another writer: it must be read again
            },
            [&] { isDone = Synchronize(); },
            [&](const std::string& call, int error) {
                EXPECT_EQ(n, Number(Copy("a").get()));
                const bool isRetried = call == "read" || call == "write" || call == "flock";
                EXPECT_TRUE(isDone || (isRetried ? error != EINTR : !call.empty()));
                if (!isDone) {
                    const bool isFolderFlush
                        = before == good && failed.contains({ error, "rename" }) && call == "fsync";
                    EXPECT_EQ(!isFolderFlush, Contents() == before);
                    EXPECT_EQ(2, CountFiles(m_folder)) << "file and lock";
                    failed.emplace(error, call);
                    EXPECT_TRUE(Synchronize()) << "the next try";
                }
                EXPECT_THAT(Contents(), HasSubstr("<integer>" + std::to_string(n) + "<"));
                EXPECT_EQ(before == good ? 7 : -1, Number(Copy("b").get()));
                std::filesystem::remove(m_file + ".damaged-1");
                EXPECT_EQ(2, CountFiles(m_folder)) << "file and lock";
            });
#ifdef HAS_FAILING_CALLS
        for (int error : FailingCalls::kErrors) {
            for (const char* name : { "fchmod", "open", "rename", "stat" }) {
                EXPECT_EQ(error != FailingCalls::kShortWrite, failed.contains({ error, name }))
                    << name << ", " << strerror(error);
            }
        }
#endif
    }
    sIsLater = false;
}

// --- hostile neighbours ---

// Starts a process that does `work` and waits; its end is up to the caller.
template <typename Work> static pid_t StartIdle(Work work)
{
    int ready[2];
    EXPECT_EQ(0, pipe(ready));
    const pid_t child = fork();
    if (child == 0) {
        work();
        [[maybe_unused]] ssize_t n = write(ready[1], "", 1);
        for (;;)
            pause();
    }
    char byte;
    EXPECT_EQ(1, read(ready[0], &byte, 1));
    close(ready[0]);
    close(ready[1]);
    return child;
}

static void End(pid_t child)
{
    ASSERT_GT(child, 0);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
}

static pid_t sChild;

TEST_F(CFPreferences, AForkedChildDoesNotKeepTheLock)
{
    sOnFlush = [] { sChild = StartIdle([] {}); };
    EXPECT_TRUE(Save("a", Int(1).get()));
    sPauses = 0;
    EXPECT_TRUE(Save("b", Int(1).get()));
    EXPECT_EQ(0, std::exchange(sPauses, -1));
    End(sChild);
}

TEST_F(CFPreferences, TheLockIsPrivateAndWaitedForWithABound)
{
    const std::string lock = m_file + ".lock";
    ASSERT_EQ(0, chmod(lock.c_str(), 0644));
    EXPECT_TRUE(Save("a", Int(1).get()));
    struct stat info;
    ASSERT_EQ(0, stat(lock.c_str(), &info));
    EXPECT_EQ(0600u, info.st_mode & 07777);
    const pid_t holder = StartIdle([&] { flock(open(lock.c_str(), O_RDONLY), LOCK_EX); });
    sPauses = 0;
    EXPECT_FALSE(Save("a", Int(2).get()));
    EXPECT_EQ(5000, std::exchange(sPauses, -1)) << "milliseconds";
    End(holder);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(2, Number(Copy("a").get()));
}

TEST_F(CFPreferences, WritesIntoNothingThatLiesInItsWay)
{
    const std::string victim = m_home.Path("victim");
    const std::string temporary = m_file + ".tmp";
    WriteFile(victim, "precious");
    EXPECT_EQ(0, mkfifo(temporary.c_str(), 0600));
    const int keepsOpensFromWaiting = open(temporary.c_str(), O_RDWR);
    EXPECT_TRUE(Save("a", Int(1).get()));
    close(keepsOpensFromWaiting);
    std::filesystem::create_symlink(victim, temporary);
    EXPECT_TRUE(Save("a", Int(2).get()));
    std::filesystem::create_hard_link(victim, temporary);
    EXPECT_TRUE(Save("a", Int(3).get()));
    EXPECT_EQ("precious", ReadFile(victim));

    // A link stays a link, also without its file.
    const std::string target = m_home.Path("kept elsewhere");
    std::filesystem::rename(m_file, target);
    std::filesystem::create_symlink("../../../kept elsewhere", m_file);
    for (CFTypeRef value :
         { CFTypeRef(kCFBooleanTrue), CFTypeRef(nullptr), CFTypeRef(kCFBooleanFalse) }) {
        EXPECT_TRUE(Save("a", value));
        EXPECT_TRUE(std::filesystem::is_symlink(m_file));
        EXPECT_EQ(value != nullptr, std::filesystem::exists(target));
    }
}

TEST_F(CFPreferences, APrivilegedProcessTakesNoFoldersFromItsUser)
{
    sIsPrivileged = true;
    EXPECT_FALSE(Save("a", Int(1).get()));
    sIsPrivileged = false;
    EXPECT_TRUE(Save("a", nullptr));
}

#ifdef HAS_FAILING_CALLS
TEST_F(CFPreferences, FileSystemsThatRefuseACallStillSave)
{
    std::multiset<std::string> refused;
    std::string call = "first";
    for (int n = 1; !call.empty(); ++n) {
        bool isDone = false;
        Set("a", Int(n).get());
        call = FailingCalls::Run(n, EOPNOTSUPP, [&] { isDone = Synchronize(); });
        if (isDone)
            refused.insert(call);
        EXPECT_TRUE(Synchronize());
    }
    for (const char* name : { "flock", "fchmod", "futimens", "fsync" })
        EXPECT_EQ(1u, refused.count(name) - (name == std::string("flock"))) << name;
}
#endif

// --- several processes ---

TEST_F(CFPreferences, WritersOfDifferentEntriesLoseNothing)
{
    constexpr int kProcesses = 8;
    const int nSets = FromEnvironment("VELTRANO_SETS", 15);
    for (const char* shape : { "no file yet", "top level", "one dictionary" }) {
        bool isNested = std::string(shape) == "one dictionary";
        std::filesystem::remove_all(m_folder);
        ASSERT_TRUE(Synchronize());
        ASSERT_TRUE(std::string(shape) != "top level" || Save("old", Int(1).get()));
        int nBad = InProcesses(kProcesses, [&](int process) {
            bool isGood = true;
            for (int i = 0; i < nSets; ++i) {
                std::string name = std::to_string(process) + "-" + std::to_string(i);
                Ref<CFTypeRef> value = Int(i);
                if (isNested) {
                    auto old = Copy("dictionary");
                    auto dictionary = old != nullptr ? Own(CFDictionaryCreateMutableCopy(
                                          nullptr, 0, static_cast<CFDictionaryRef>(old.get())))
                                                     : Dict();
                    CFDictionarySetValue(dictionary.get(), Str(name).get(), value.get());
                    value = std::move(dictionary);
                }
                isGood &= Save(isNested ? "dictionary" : name, value.get());
            }
            return isGood;
        });
        EXPECT_EQ(0, nBad) << shape;
        ASSERT_TRUE(Synchronize());
        auto dictionary = Copy("dictionary");
        CFIndex nFound = isNested
            ? CFDictionaryGetCount(static_cast<CFDictionaryRef>(dictionary.get()))
            : CountKeys() - (Copy("old") != nullptr);
        EXPECT_EQ(kProcesses * nSets, nFound) << shape;
        printf("%s: lost %ld of %d\n", shape, kProcesses * nSets - nFound, kProcesses * nSets);
    }
}

// Sizes and numbers of replaced files come round again, within one tick of the clock that stamps them.
TEST_F(CFPreferences, CountersOfEqualLengthLoseNothing)
{
    ASSERT_TRUE(Save("padding", Str(std::string(200, 'x')).get()));
    const int nSets = FromEnvironment("VELTRANO_SETS", 15);
    for (bool isCoarse : { false, true }) {
        sHasCoarseStamps = isCoarse;
        const int nBad = InProcesses(4, [&](int process) {
            long seen[4] = { -1, -1, -1, -1 };
            int nLost = 0;
            for (int i = 0; i < nSets; ++i) {
                nLost += !Save("p" + std::to_string(process), Int(100000 + i).get());
                for (int other = 0; other < 4; ++other) {
                    const long count = Number(Copy("p" + std::to_string(other)).get());
                    nLost += count < std::exchange(seen[other], count);
                }
                nLost += seen[process] != 100000 + i;
            }
            return nLost == 0;
        });
        printf("counters, %s stamps: %d of 4 lost sets\n", isCoarse ? "coarse" : "fine", nBad);
        EXPECT_EQ(0, nBad);
        EXPECT_TRUE(Save("p0", nullptr) && Save("p1", nullptr) && Save("p2", nullptr)
                    && Save("p3", nullptr));
    }
    sHasCoarseStamps = false;
}

TEST_F(CFPreferences, KilledWritersLeaveAWholeFile)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    int nBroken = 0;
    int nLost = 0;
    for (int i = 0; i < 100; ++i)
        Set("key" + std::to_string(i), Int(i).get());
    ASSERT_TRUE(Synchronize());
    KillWriters(
        nKills, [](int i) { return Save("count", Int(i).get()); },
        [&](int first, int last) {
            EXPECT_TRUE(Synchronize());
            nBroken += CountKeys() < 100 || !Contents().ends_with("</plist>\n");
            nLost += last >= first && Number(Copy("count").get()) < last;
        });
    EXPECT_EQ(0, nBroken);
    EXPECT_EQ(0, nLost) << "a set that had returned";
    int nStray = CountFiles(m_folder) - 1;
    EXPECT_LE(nStray, 2);
    printf("%d kills: broken %d, lost %d, stray files %d\n", nKills, nBroken, nLost, nStray);
}
