// SPDX-License-Identifier: MIT
// CFPreferences_test.cpp - what the file of a domain survives: failures, hostile neighbours, and several processes.
// VELTRANO_SETS=n and VELTRANO_KILLS=n make the tests with several processes longer.
#include "tests/support/FailingCalls.h"
#include "tests/support/Foundation.h"

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
static bool sIsPrivileged = false; // as a set-user-id process

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

char* secure_getenv(const char* name) noexcept { return sIsPrivileged ? nullptr : getenv(name); }

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

static bool Synchronize() { return CFPreferencesSynchronize(kApplication, kUser, kHost); }

static bool Save(const std::string& key, SInt64 value)
{
    Set(key, Int(value).get());
    return Synchronize();
}

// -1 for another type, too.
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
    const auto zero = Own(CFStringCreateWithBytes(nullptr, reinterpret_cast<const UInt8*>("a\0b"),
                                                  3, kCFStringEncodingUTF8, false));
    const auto byNumber = Dict();
    const auto inItself = Dict();
    const auto place = FolderURL("/");
    CFDictionarySetValue(byNumber.get(), Int(1).get(), kCFBooleanTrue);
    CFDictionarySetValue(inItself.get(), CFSTR("in"), inItself.get());
    ASSERT_TRUE(Save("v", 1));
    const std::string before = Contents();
    for (CFTypeRef value : std::initializer_list<CFTypeRef> { zero.get(), byNumber.get(),
                                                              inItself.get(), place.get() }) {
        SCOPED_TRACE(CFGetTypeID(value));
        Set("v", value);
        EXPECT_EQ(1, Number("v"));
        EXPECT_FALSE(Synchronize());
        EXPECT_EQ(before, Contents());
        EXPECT_TRUE(Synchronize()) << "told once";
    }
    CFDictionaryRemoveValue(inItself.get(), CFSTR("in"));
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
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    pthread_attr_setstacksize(&attributes, 256 << 10); // whatever the stack of the process
    pthread_setattr_default_np(&attributes);
    std::thread([&] {
        Set("deep", nested(Int(1).get()).get());
        EXPECT_TRUE(Synchronize());
        const std::string deep = Contents();
        EXPECT_LT(deep.size(), kDepth * 80u) << "its indentation is bounded";
        Set("deep", nested(Int(2).get()).get());
        WriteFile(m_file, deep); // by another writer: it is merged
        EXPECT_TRUE(Synchronize());
        EXPECT_TRUE(CFEqual(nested(Int(2).get()).get(), Copy("deep").get()));
        EXPECT_FALSE(CFEqual(nested(Int(1).get()).get(), Copy("deep").get()));
    }).join();
}

// On a file system with stamps of whole seconds, equal stamps prove nothing for two seconds.
TEST_F(CFPreferences, AChangeWithinACoarseStampIsSeen)
{
    using Clock = std::filesystem::file_time_type::clock;
    EXPECT_TRUE(Save("a", 1));
    for (bool isInTime = false; !isInTime;) {
        const auto before = Clock::now() - std::chrono::milliseconds(100);
        const auto stamp = std::chrono::floor<std::chrono::seconds>(before);
        for (int n : { 1, 2 }) {
            std::string text = Contents();
            WriteFile(m_file, text.replace(text.find("<integer>") + 9, 1, std::to_string(n)));
            std::filesystem::last_write_time(m_file, stamp);
            isInTime = Clock::now() - stamp < std::chrono::milliseconds(1900);
            EXPECT_TRUE(!isInTime || Number("a") == n);
        }
    }
}

TEST_F(CFPreferences, EveryFailingSystemCallFailsCleanly)
{
    EXPECT_TRUE(Save("a", 0) && Save("b", 7));
    const std::string good = Contents();
    for (const std::string& before : { good, std::string("damaged") }) {
        std::set<std::pair<int, std::string>> failed;
        SInt64 n = 0;
        bool isDone = false;
        const auto write = [&] { // as another writer, so long ago that the stamp proves the version
            WriteFile(m_file, before);
            const auto now = std::filesystem::file_time_type::clock::now();
            std::filesystem::last_write_time(m_file, now - std::chrono::hours(1));
        };
        FailingCalls::ForEach(
            { "fchmod", "open", "read", "rename", "stat" },
            [&] {
                write();
                EXPECT_TRUE(Synchronize());
                Set("a", Int(++n).get());
                write(); // it must be read again
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

TEST_F(CFPreferences, WritersLoseNothing)
{
    const int nSets = FromEnvironment("VELTRANO_SETS", 20);
    std::filesystem::remove_all(m_folder); // the first ones make it
    EXPECT_TRUE(Synchronize());
    const int nBad = InProcesses(6, [&](int process) {
        bool isGood = true;
        for (int i = 0; i < nSets; ++i) {
            const std::string key = std::to_string(process) + "-" + std::to_string(i);
            isGood &= Save(key, i) && Number(key) == i;
        }
        return isGood;
    });
    EXPECT_EQ(0, nBad);
    const auto keys = Own(CFPreferencesCopyKeyList(kApplication, kUser, kHost));
    EXPECT_EQ(6 * nSets, CFArrayGetCount(keys.get()));
}

TEST_F(CFPreferences, KilledWritersLeaveAWholeFile)
{
    const int nKills = FromEnvironment("VELTRANO_KILLS", 40);
    Set("long", Str(std::string(4000, 'x')).get());
    ASSERT_TRUE(Synchronize());
    for (int kill = 0; kill < nKills; ++kill) {
        int report[2];
        ASSERT_EQ(0, pipe(report));
        const pid_t child = fork();
        for (int i = 1000 * kill; child == 0; ++i)
            if (!Save("count", i) || write(report[1], &i, sizeof(i)) < 0)
                _exit(1);
        close(report[1]);
        int last = -1;
        EXPECT_EQ(ssize_t { sizeof last }, read(report[0], &last, sizeof(last))); // in full swing
        usleep(static_cast<useconds_t>(kill * 97 % 4000));
        ::kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        while (read(report[0], &last, sizeof(last)) > 0) { }
        close(report[0]);
        EXPECT_TRUE(Synchronize());
        EXPECT_EQ(std::string(4000, 'x'), TextOf(Copy("long").get()));
        EXPECT_GE(Number("count"), last) << "a set that had returned";
    }
    EXPECT_LE(CountFiles(m_folder), 3);
}
