// SPDX-License-Identifier: MIT
// Faults_test.cpp - each allocation and each system call of an operation fails once, in turn: the
// documented answer, nothing lost, nothing kept open, and the next try succeeds.

#include "System/vlDataStream.h"
#include "System/vlModule.h"
#include "System/vlModuleLog.h"
#include "System/vlPreferenceStore.h"
#include "System/vlProfileFile.h"
#include "tests/support/FailingCalls.h"
#include "tests/support/FailingNew.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <functional>

using namespace Veltrano;

namespace {

enum Outcome { kDone, kBadAlloc, kOutOfMemory, kEndOfFile };

// `work`, with what came of it noted.
template <class Work> auto Noting(Outcome& outcome, Work work)
{
    return [&outcome, work] {
        outcome = kDone;
        try {
            work();
        } catch (const std::bad_alloc&) {
            outcome = kBadAlloc;
        } catch (const OutOfMemoryException&) {
            outcome = kOutOfMemory;
        } catch (const EOFException&) {
            outcome = kEndOfFile;
        }
    };
}

class FaultsTest : public testing::Test
{
protected:
    FaultsTest()
    {
        std::filesystem::create_directories(Path("A/B/X.bundle/Contents/MacOS"));
        WriteFile(Module(), "");
    }
    ~FaultsTest() override { ReleaseModuleStrings(); }

    std::string Path(const std::string& name) const { return m_folder.Path(name); }
    std::string Module() const { return Path("A/B/X.bundle/Contents/MacOS/X"); }

    TemporaryHome m_folder;
};

// --- streams ---

TEST_F(FaultsTest, Streams)
{
    const std::string path = Path("digits");
    Outcome outcome = kDone;
    int nBlocks = 0;
    FailingNew::ForEach([&] { nBlocks = FailingNew::nBlocks; },
                        Noting(outcome,
                               [] {
                                   DataOutputFile output;
                                   const char bytes[5000] = {};
                                   output.write(bytes, sizeof(bytes));
                                   for (int i = 0; i < 5000; ++i)
                                       output.writeByte(i);
                               }),
                        [&](bool isFailed) {
                            EXPECT_EQ(outcome, isFailed ? kOutOfMemory : kDone);
                            EXPECT_EQ(FailingNew::nBlocks, nBlocks);
                        });

    SInt32 last = 0;
    FailingCalls::ForEach(
        { "open", "read", "close" },
        [&] { WriteFile(path, std::string(10000, '0') + "\n78563412"); },
        Noting(outcome,
               [&] {
                   char bytes[5000];
                   DataInputFile input(path.c_str());
                   input.read(bytes, sizeof(bytes));
                   last = input.readInt32();
               }),
        [&](const std::string& call, int) {
            const bool isEnd = call == "open"; // an error does not end a read
            EXPECT_EQ(outcome, isEnd ? kEndOfFile : kDone);
            EXPECT_EQ(std::exchange(last, 0), isEnd ? 0 : 0x12345678);
        });
}

// --- profile ---

// Changes of every kind.
const std::function<void(ProfileFile&)> kEdits[] = {
    [](ProfileFile& file) { file.SetValue("a", "k", "new value"); },
    [](ProfileFile& file) { file.SetValue("a", "added", "x"); },
    [](ProfileFile& file) { file.AddLine("a", "; a line"); },
    [](ProfileFile& file) { file.RemoveLine("b", "gone"); },
    [](ProfileFile& file) { file.AddLine("c", nullptr); },
    [](ProfileFile& file) { file.AddLine("c", "; another"); },
    [](ProfileFile& file) { file.RemoveLine("d", "makes its section"); },
};

const std::string kProfile = "; kept\r\n[a]\nk=v\n" + std::string(3000, 'x') + "\n[b]\ngone\n";

void EditProfile(const std::string& path, size_t nEdits)
{
    ProfileFile file;
    file.Open(path.c_str(), "r+");
    for (size_t i = 0; i < nEdits; ++i)
        kEdits[i](file);
    String value;
    file.GetValue("b", "none", value);
    ProfileLineList list;
    file.GetSections(list);
    file.GetKeys(list, "a");
    file.GetLines(list, "a");
    file.Close();
}

TEST_F(FaultsTest, Profile)
{
    const std::string path = Path("test.ini");
    const size_t nEdits = std::size(kEdits);
    std::vector<std::string> states; // after so many changes
    for (size_t i = 0; i <= nEdits; ++i) {
        WriteFile(path, kProfile);
        EditProfile(path, i);
        states.push_back(ReadFile(path));
    }
    EXPECT_EQ(states.front(), kProfile);
    std::set<size_t> reached;
    Outcome outcome = kDone;
    FailingNew::ForEach([&] { WriteFile(path, kProfile); },
                        Noting(outcome, [&] { EditProfile(path, nEdits); }),
                        [&](bool isFailed) {
                            const std::string text = ReadFile(path);
                            const auto state = std::find(states.begin(), states.end(), text);
                            EXPECT_NE(state, states.end()) << "half a change: " << text;
                            reached.insert(static_cast<size_t>(state - states.begin()));
                            // Only the memory for the text as a whole can be done without.
                            EXPECT_TRUE(outcome == kBadAlloc || text == states.back());
                            EXPECT_TRUE(isFailed || outcome == kDone);
                        });
    EXPECT_EQ(reached.size(), nEdits) << "each change failed once, but for the removal";

    Bool32 isOpen = 0;
    const int nFiles = CountFiles(Path(""));
    FailingCalls::ForEach(
        { "open", "read", "write", "fchmod", "fsync", "rename", "close" },
        [&] { WriteFile(path, kProfile); },
        [&] {
            ProfileFile file;
            isOpen = file.Open(path.c_str(), "r+");
            for (const auto& edit : kEdits)
                edit(file);
        },
        [&](const std::string& call, int error) {
            const std::string text = ReadFile(path);
            const std::set<std::string> writes = { "open", "write", "fsync", "rename" };
            const bool mayFail = error != EINTR && error != FailingCalls::kShortWrite;
            EXPECT_TRUE(text == states.back()
                        || (text == kProfile && (!isOpen || (writes.contains(call) && mayFail))));
            EXPECT_EQ(CountFiles(Path("")), nFiles) << "a new file is left";
        });
}

// --- log ---

TEST_F(FaultsTest, LogLinesNeedNoMemory)
{
    const std::string path = Path("logfile.log");
    FailingNew::Fail(1, true);
    ModuleLog::open("[x] ", "Host", kLogNew, path.c_str());
    const int result = LogPrint("%s %d\n", "line", 1);
    LogPrintIf(1, "if\n");
    LogPrintRaw("raw %f\n", 0.5);
    LogPrintRawIf(1, "raw if\n");
    ModuleLog::close();
    EXPECT_TRUE(FailingNew::Stop());
    EXPECT_EQ(result, 7);
    const std::string text = ReadFile(path);
    EXPECT_TRUE(text.starts_with("Host; loaded at ")) << "without its prefix: " << text;
    EXPECT_NE(text.find("line 1\nif\nraw 0.500000\nraw if\nUnloaded at "), std::string::npos);
}

TEST_F(FaultsTest, Log)
{
    const std::string path = Path("logfile.log");
    int results[2];
    int fd;
    std::string printed;
    FailingCalls::ForEach(
        { "open", "flock", "ftruncate", "fchmod", "write", "close" },
        [&] {
            WriteFile(path, "old\n");
            testing::internal::CaptureStdout();
        },
        [&] {
            ModuleLog::open("[x] ", "Host", kLogNew, path.c_str());
            fd = moduleLog_.fd;
            results[0] = LogPrint("first line\n");
            results[1] = LogPrint("second\n");
            ModuleLog::close();
            moduleLog_.fd = -1;
        },
        [&](const std::string& call, int error) {
            printed = testing::internal::GetCapturedStdout();
            const std::string text = fd == 1 ? printed : ReadFile(path);
            int nFailed = 0;
            int i = 0;
            for (const std::string line : { "[x] first line\n", "[x] second\n" }) {
                const bool isWhole = results[i] == static_cast<int>(line.size());
                EXPECT_EQ(text.find(line) != std::string::npos, isWhole) << text;
                EXPECT_TRUE(isWhole || error == FailingCalls::kShortWrite || results[i] == -1);
                nFailed += !isWhole;
                ++i;
            }
            EXPECT_LE(nFailed, call == "write" ? 1 : 0);
            if (fd == 1) {
                EXPECT_TRUE(printed.size() <= 26u) << "no line about loading: " << printed;
                EXPECT_TRUE(ReadFile(path) == "old\n" || call != "open");
            } else {
                EXPECT_EQ(printed, "");
                // A file that may be written but not be opened with O_CREAT belongs to another user: it is kept.
                const bool isKept = call == "open" && error == EACCES;
                EXPECT_TRUE(call == "write"
                            || text.starts_with(isKept ? "old\n[x] Host" : "[x] Host; loaded at "));
                EXPECT_TRUE(call == "write" || text.find("[x] Unloaded at ") != std::string::npos);
            }
        });
}

// --- preferences ---

// One value of each type, below dictionaries too: sets them, and tells for each whether it was set.
void SetAll(SInt32 n, const std::string& text, bool (&isSet)[4])
{
    PreferenceStore store("faults", 1);
    const Bool32 isLong = text.size() > 40;
    isSet[0] = store.SetInt("int", store.m_user, &n) != 0;
    isSet[1] = store.SetString("text", store.m_user, text.c_str()) != 0;
    isSet[2] = store.SetBinary("D/bytes", store.m_user, text.data(), 40) != 0;
    isSet[3] = store.SetBool("D/E/long", store.m_user, &isLong) != 0;
}

// Gets them: what was set must be there, unless something fails now, which gives the default.
void GetAll(SInt32 n, const std::string& text, const bool (&isSet)[4], bool mayFail)
{
    PreferenceStore store("faults", 1);
    const SInt32 number = store.GetInt("int", store.m_user, -1);
    EXPECT_TRUE(!isSet[0] || number == n || (mayFail && number == -1)) << number;
    const String got = store.GetString("text", store.m_user, "none");
    EXPECT_TRUE(!isSet[1] || got == text.c_str() || (mayFail && got == "none"));
    char bytes[40];
    UInt32 nSize = sizeof(bytes);
    const bool isGot = store.GetBinary("D/?bytes", store.m_user, bytes, &nSize) != 0;
    EXPECT_TRUE(!isSet[2] || (isGot ? text.starts_with(std::string(bytes, 40)) : mayFail));
    const Bool32 isLong = store.GetBool("D/?E/long", store.m_user, 2);
    EXPECT_TRUE(!isSet[3] || isLong == (text.size() > 40) || (mayFail && isLong == 2));
}

TEST_F(FaultsTest, Store)
{
    const std::string path = Path("etc/preferences/faults.plist");
    SInt32 n = 0;
    std::string text(40, 'a');
    bool isSet[4] = {};
    Outcome outcome = kDone;
    const auto prepare = [&] {
        text = std::string(81 - text.size(), static_cast<char>('a' + ++n % 26));
        std::fill(std::begin(isSet), std::end(isSet), false);
        PreferenceStore store("faults", 1);
        store.SetString("D", store.m_user, nullptr); // the dictionaries are made anew
        WriteFile(path, ReadFile(path)); // by another writer: it is read again
    };
    const auto work = Noting(outcome, [&] {
        SetAll(n, text, isSet);
        GetAll(n, text, isSet, true);
    });
    const auto check = [&](bool isFailed) {
        EXPECT_TRUE(outcome == kDone || (outcome == kBadAlloc && isFailed));
        EXPECT_TRUE(isFailed || (isSet[0] && isSet[1] && isSet[2] && isSet[3]));
        EXPECT_TRUE(ReadFile(path).ends_with("</plist>\n"));
        GetAll(n, text, isSet, false);
        SetAll(n, text, isSet); // the next try
        EXPECT_TRUE(isSet[0] && isSet[1] && isSet[2] && isSet[3]);
    };
    SetAll(n, text, isSet);
    FailingNew::ForEach(prepare, work, check);
}

// --- module environment ---

TEST_F(FaultsTest, ModuleEnvironment)
{
    String folder;
    const auto usePlaces = [&] {
        StartModuleEnvironment();
        ModuleInitWithPath(Module().c_str(), "Product", "Component");
        String name;
        GetModuleBundleName(name);
        GetModuleParentFolder(name);
        GetFolderPathWith(name, kFolderModule, "a/b");
        GetProductFolderPath(name);
        folder.Clear();
        GetSupportFolderPath(folder, kFolderLocalSupport, "one/two");
    };
    const auto use = [&] {
        usePlaces();
        String value;
        SetModuleStringPref("key", "value", false);
        GetModuleStringPref(value, "key", "default", false);
        EXPECT_TRUE(value == "value" || value == "default") << value.GetString();
        SetModuleIntPref("n", GetModuleIntPref("n", 0, false) + 1, false);
    };
    const auto check = [&] {
        usePlaces(); // the next try
        EXPECT_TEXT("com.veltrano.Product.Component", GetModuleIdentifier());
        EXPECT_TEXT(Path("A/B/X.bundle/Contents/MacOS/"), GetModulePath());
        EXPECT_TEXT(Path("share/one/two/"), folder);
        ReleaseModuleStrings();
    };
    Outcome outcome = kDone;
    FailingNew::ForEach([] {}, Noting(outcome, use),
                        [&](bool isFailed) {
                            EXPECT_TRUE(outcome == kDone || (outcome == kBadAlloc && isFailed));
                            check();
                        });

    std::set<std::string> folders;
    FailingCalls::ForEach(
        { "mkdir" },
        [&] {
            for (const char* name : { "share", "data", "A/B/one" })
                std::filesystem::remove_all(Path(name));
            testing::internal::CaptureStderr();
        },
        usePlaces,
        [&](const std::string& call, int) {
            const std::string errors = testing::internal::GetCapturedStderr();
            const std::string path = TextOf(folder);
            EXPECT_TRUE(path.ends_with("/one/two/")) << path;
            EXPECT_TRUE(std::filesystem::is_directory(path)) << path;
            EXPECT_TRUE(errors.empty() || call == "mkdir") << errors;
            folders.insert(path.substr(Path("").size()));
            check();
        });
#ifdef HAS_FAILING_CALLS
    EXPECT_EQ(folders, (std::set<std::string> { "share/one/two/", "data/one/two/" }));
#endif
}

} // namespace
