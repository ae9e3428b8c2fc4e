// SPDX-License-Identifier: MIT
// CFPreferences_test.cpp - what the file of a domain survives: failures, hostile neighbours, and several processes.
// VELTRANO_SETS=n and VELTRANO_KILLS=n make the tests with several processes longer.
#include "tests/support/FailingCalls.h"
#include "tests/support/Foundation.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <thread>
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
static const CFStringRef kUser = kCFPreferencesAnyUser;
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

static bool Save(const std::string& key, SInt64 value)
{
    Set(key, Int(value).get());
    return Synchronize();
}

/// -1 for another type, too.
static long Number(const std::string& key)
{
    long number = -1;
    const auto value = Copy(key);
    if (value != nullptr && CFGetTypeID(value.get()) == CFNumberGetTypeID())
        CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberLongType, &number);
    return number;
}

// With a private home, so that the domain starts empty.
class CFPreferences : public testing::Test
{
protected:
    CFPreferences() { EXPECT_TRUE(Synchronize()); } // takes note of the new place

    std::string Contents() const { return ReadFile(m_file); }

    TemporaryHome m_home;
    std::string m_folder = m_home.Path("etc/preferences");
    std::string m_file = m_folder + "/com.veltrano.test.plist";
};

TEST_F(CFPreferences, RefusesWhatAPropertyListCannotHold)
{
    const UInt8 withZero[] = { 'a', 0, 'b' };
    const auto zero
        = Own(CFStringCreateWithBytes(nullptr, withZero, 3, kCFStringEncodingUTF8, false));
    const auto byNumber = Dict();
    const auto inItself = Dict();
    const auto place = FolderURL("/");
    CFDictionarySetValue(byNumber.get(), Int(1).get(), kCFBooleanTrue);
    CFDictionarySetValue(inItself.get(), CFSTR("in"), inItself.get());
    ASSERT_TRUE(Save("v", 1));
    const std::string before = Contents();
    for (CFTypeRef value : { CFTypeRef(zero.get()), CFTypeRef(byNumber.get()),
                             CFTypeRef(inItself.get()), CFTypeRef(place.get()) }) {
        SCOPED_TRACE(CFGetTypeID(value));
        Set("v", value);
        EXPECT_EQ(1, Number("v"));
        EXPECT_FALSE(Synchronize());
        EXPECT_EQ(before, Contents());
        EXPECT_TRUE(Synchronize()) << "told once";
    }
    CFDictionaryRemoveValue(inItself.get(), CFSTR("in"));
}

static void NestAndSave(const std::string& file)
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
    Set("deep", nested(Int(1).get()).get());
    EXPECT_TRUE(Synchronize());
    const std::string deep = ReadFile(file);
    EXPECT_LT(deep.size(), kDepth * 80u) << "its indentation is bounded";
    Set("deep", nested(Int(2).get()).get());
    WriteFile(file, deep); // by another writer: it is merged
    EXPECT_TRUE(Synchronize());
    EXPECT_TRUE(CFEqual(nested(Int(2).get()).get(), Copy("deep").get()));
    EXPECT_FALSE(CFEqual(nested(Int(1).get()).get(), Copy("deep").get()));

    std::string list = "<plist><dict><key>a</key>";
    for (const char* tag : { "<array>", "</array>" }) {
        for (int i = 0; i < kDepth; ++i)
            list += tag;
        WriteFile(file, list + "</dict></plist>");
        EXPECT_EQ(tag[1] == '/', Copy("a") != nullptr);
    }
    EXPECT_TRUE(Save("b", 1));
    EXPECT_NE(nullptr, Copy("a"));
}

TEST_F(CFPreferences, NestingTakesNoStack)
{
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10); // whatever the stack of the process
    pthread_setattr_default_np(&attributes);
    std::thread(NestAndSave, m_file).join();
}

TEST_F(CFPreferences, EveryFailingSystemCallFailsCleanly)
{
    EXPECT_TRUE(Save("a", 0) && Save("b", 7));
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
                EXPECT_EQ(n, Number("a"));
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
                EXPECT_EQ(before == good ? 7 : -1, Number("b"));
                std::filesystem::remove(m_file + ".damaged-1");
                EXPECT_EQ(2, CountFiles(m_folder)) << "file and lock";
            });
#ifdef HAS_FAILING_CALLS
        for (int error : FailingCalls::kErrors)
            for (const char* name : { "fchmod", "open", "rename", "stat" })
                EXPECT_EQ(error != FailingCalls::kShortWrite, failed.contains({ error, name }))
                    << name << ", " << strerror(error);
#endif
    }
    sIsLater = false;
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

TEST_F(CFPreferences, TheLockIsNotInheritedAndWaitedForWithABound)
{
    static pid_t sChild;
    sOnFlush = [] { // while we hold the lock
        if ((sChild = fork()) == 0)
            for (;;)
                pause();
    };
    EXPECT_TRUE(Save("a", 1));
    sPauses = 0;
    EXPECT_TRUE(Save("a", 2));
    EXPECT_EQ(0, sPauses);
    EXPECT_EQ(0, kill(sChild, SIGKILL));
    waitpid(sChild, nullptr, 0);

    const int held = open((m_file + ".lock").c_str(), O_RDONLY);
    EXPECT_EQ(0, flock(held, LOCK_EX));
    EXPECT_FALSE(Save("a", 3));
    EXPECT_EQ(5000, std::exchange(sPauses, -1)) << "milliseconds";
    close(held);
    EXPECT_TRUE(Synchronize());
    EXPECT_EQ(3, Number("a"));
}

TEST_F(CFPreferences, APrivilegedProcessTakesNoFoldersFromItsUser)
{
    const auto synchronize
        = [] { return CFPreferencesSynchronize(kApplication, kCFPreferencesCurrentUser, kHost); };
    EXPECT_TRUE(synchronize());
    sIsPrivileged = true;
    EXPECT_FALSE(synchronize());
    sIsPrivileged = false;
}

// --- several processes ---

// Sizes and numbers of replaced files come round again, within one tick of the clock that stamps them.
TEST_F(CFPreferences, WritersLoseNothing)
{
    constexpr int kProcesses = 6;
    const int nSets = FromEnvironment("VELTRANO_SETS", 15);
    for (bool isCoarse : { false, true }) {
        sHasCoarseStamps = isCoarse;
        std::filesystem::remove_all(m_folder); // the first ones make it
        EXPECT_TRUE(Synchronize());
        const int nBad = InProcesses(kProcesses, [&](int process) {
            std::vector<long> seen(kProcesses, -1);
            int nLost = 0;
            for (int i = 0; i < nSets; ++i) {
                // Its own counter, of one length, and an entry in a dictionary of all.
                Set(std::to_string(process), Int(100000 + i).get());
                const auto old = Copy("all");
                auto all = old != nullptr ? Own(CFDictionaryCreateMutableCopy(
                               nullptr, 0, static_cast<CFDictionaryRef>(old.get())))
                                          : Dict();
                const auto key = Str(std::to_string(process) + "-" + std::to_string(i));
                CFDictionarySetValue(all.get(), key.get(), kCFBooleanTrue);
                Set("all", all.get());
                nLost += !Synchronize();
                for (size_t other = 0; other < kProcesses; ++other) {
                    const long count = Number(std::to_string(other));
                    nLost += count < std::exchange(seen[other], count);
                }
                nLost += seen[size_t(process)] != 100000 + i;
            }
            return nLost == 0;
        });
        EXPECT_EQ(0, nBad);
        EXPECT_TRUE(Synchronize());
        const auto all = Copy("all");
        ASSERT_NE(nullptr, all);
        const CFIndex nFound = CFDictionaryGetCount(static_cast<CFDictionaryRef>(all.get()));
        EXPECT_EQ(kProcesses * nSets, nFound);
        printf("%s stamps: %d of %d lost sets, lost %ld of %d\n", isCoarse ? "coarse" : "fine",
               nBad, kProcesses, kProcesses * nSets - nFound, kProcesses * nSets);
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
        nKills, [](int i) { return Save("count", i); },
        [&](int first, int last) {
            EXPECT_TRUE(Synchronize());
            const auto keys = Own(CFPreferencesCopyKeyList(kApplication, kUser, kHost));
            nBroken += CFArrayGetCount(keys.get()) < 100 || !Contents().ends_with("</plist>\n");
            nLost += last >= first && Number("count") < last;
        });
    EXPECT_EQ(0, nBroken);
    EXPECT_EQ(0, nLost) << "a set that had returned";
    int nStray = CountFiles(m_folder) - 1;
    EXPECT_LE(nStray, 2);
    printf("%d kills: broken %d, lost %d, stray files %d\n", nKills, nBroken, nLost, nStray);
}
