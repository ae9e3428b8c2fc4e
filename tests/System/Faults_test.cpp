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
#include "tests/support/TemporaryFolder.h"

using namespace Veltrano;

namespace {

struct FaultsTest : testing::Test, TemporaryHome
{
};

TEST_F(FaultsTest, Streams)
{
    const std::string path = Path("digits");
    SInt32 last = 0;
    FailingCalls::ForEach(
        { "open", "read", "close" },
        [&] { WriteFile(path, std::string(10000, '0') + "\n78563412"); },
        [&] {
            char bytes[5000];
            DataInputFile input(path.c_str());
            try {
                input.read(bytes, sizeof(bytes));
                last = input.readInt32();
            } catch (const EOFException&) {
                last = -1;
            }
        },
        [&](const std::string& call, int) { // an error does not end a read
            EXPECT_EQ(std::exchange(last, 0), call == "open" ? -1 : 0x12345678);
        });
}

TEST_F(FaultsTest, Profile)
{
    const std::string path = Path("test.ini");
    const std::string start = "; kept\n[a]\nk=", end = '\n' + std::string(1000, 'x') + "\n";
    Bool32 isOpen = 0;
    FailingCalls::ForEach(
        { "open", "read", "write", "fchmod", "fsync", "rename", "close" },
        [&] { WriteFile(path, start + "v" + end); },
        [&] {
            ProfileFile file;
            isOpen = file.Open(path.c_str(), "r+");
            file.SetValue("a", "k", "new value");
        },
        [&](const std::string& call, int error) {
            const std::string text = ReadFile(path);
            const std::set<std::string> writes = { "open", "write", "fsync", "rename" };
            const bool mayFail = error != EINTR && error != FailingCalls::kShortWrite;
            EXPECT_TRUE(
                text == start + "new value" + end
                || (text == start + "v" + end && (!isOpen || (writes.contains(call) && mayFail))));
            EXPECT_EQ(CountFiles(Path("")), 1) << "a new file is left";
        });
}

TEST_F(FaultsTest, Log)
{
    const std::string path = Path("logfile.log");
    int results[2] = {};
    int fd = 0;
    const auto prepare = [&] {
        WriteFile(path, "old\n");
        testing::internal::CaptureStdout();
    };
    const auto work = [&] {
        ModuleLog::open("[x] ", "Host", kLogNew, path.c_str());
        fd = moduleLog_.fd;
        results[0] = LogPrint("first line\n");
        results[1] = LogPrint("second\n");
        ModuleLog::close();
        moduleLog_.fd = -1;
    };
    FailingCalls::ForEach(
        { "open", "flock", "ftruncate", "fchmod", "write", "close" }, prepare, work,
        [&](const std::string& call, int error) {
            const std::string printed = testing::internal::GetCapturedStdout();
            const std::string text = fd == 1 ? printed : ReadFile(path);
            int nFailed = 0, i = 0;
            for (const std::string line : { "[x] first line\n", "[x] second\n" }) {
                const int result = results[i++];
                const bool isWhole = result == static_cast<int>(line.size());
                EXPECT_EQ(text.find(line) != std::string::npos, isWhole) << text;
                EXPECT_TRUE(isWhole || error == FailingCalls::kShortWrite || result == -1);
                nFailed += !isWhole;
            }
            EXPECT_LE(nFailed, call == "write" ? 1 : 0);
            // A file that may be written but not be opened with O_CREAT belongs to another user: it is kept.
            const bool isKept = call == "open" && error == EACCES;
            const std::string start = isKept ? "old\n[x] Host" : "[x] Host; loaded at ";
            EXPECT_TRUE(fd == 1 ? printed.size() <= 26 : call == "write" || text.starts_with(start))
                << text;
            EXPECT_TRUE(fd == 1 ? ReadFile(path) == "old\n" || call != "open" : printed.empty());
        });
    FailingNew::ForEach(prepare, work, [&](bool isFailed) {
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
        EXPECT_EQ(ReadFile(path).starts_with("Host; loaded at "), isFailed);
    });
}

// One value of each type, below dictionaries too: sets them, and tells for each whether it was set.
std::vector<bool> SetAll(SInt32 n, const std::string& text)
{
    PreferenceStore store("faults", 1);
    return { store.SetInt("int", store.m_user, &n) != 0,
             store.SetString("text", store.m_user, text.c_str()) != 0,
             store.SetBinary("D/E/bytes", store.m_user, text.data(), 40) != 0 };
}

// Gets them: what was set must be there, unless something fails now, which gives the default.
void GetAll(SInt32 n, const std::string& text, const std::vector<bool>& isSet, bool mayFail)
{
    PreferenceStore store("faults", 1);
    char bytes[40];
    UInt32 nSize = sizeof(bytes);
    const SInt32 number = store.GetInt("int", store.m_user, -1);
    const String got = store.GetString("text", store.m_user, "none");
    const bool isGot = store.GetBinary("D/?E/bytes", store.m_user, bytes, &nSize) != 0;
    EXPECT_TRUE(!isSet[0] || number == n || (mayFail && number == -1)) << number;
    EXPECT_TRUE(!isSet[1] || got == text.c_str() || (mayFail && got == "none"));
    EXPECT_TRUE(!isSet[2] || (isGot ? text.starts_with(std::string(bytes, 40)) : mayFail));
}

TEST_F(FaultsTest, Store)
{
    const std::string path = Path("etc/preferences/faults.plist");
    const std::vector<bool> all(3, true);
    SInt32 n = 0;
    std::string text(40, 'a');
    std::vector<bool> isSet;
    SetAll(n, text);
    FailingNew::ForEach(
        [&] {
            text = std::string(81 - text.size(), static_cast<char>('a' + ++n % 26));
            isSet.assign(3, false);
            PreferenceStore store("faults", 1);
            store.SetString("D", store.m_user, nullptr); // the dictionaries are made anew
            WriteFile(path, ReadFile(path)); // by another writer: it is read again
        },
        [&] {
            try {
                isSet = SetAll(n, text);
                GetAll(n, text, isSet, true);
            } catch (const std::bad_alloc&) {
            }
        },
        [&](bool isFailed) {
            EXPECT_TRUE(isFailed || isSet == all);
            EXPECT_TRUE(ReadFile(path).ends_with("</plist>\n"));
            GetAll(n, text, isSet, false);
            EXPECT_EQ(SetAll(n, text), all) << "the next try";
        });
}

TEST_F(FaultsTest, ModuleEnvironment)
{
    const std::string module = Path("A/B/X.bundle/Contents/MacOS/X");
    std::filesystem::create_directories(Path("A/B/X.bundle/Contents/MacOS"));
    WriteFile(module, "");
    String folder;
    const auto usePlaces = [&] {
        StartModuleEnvironment();
        ModuleInitWithPath(module.c_str(), "Product", "Component");
        String name;
        GetModuleBundleName(name);
        GetModuleParentFolder(name);
        GetFolderPathWith(name, kFolderModule, "a/b");
        GetProductFolderPath(name);
        folder.Clear();
        GetSupportFolderPath(folder, kFolderLocalSupport, "one/two");
    };
    FailingNew::ForEach([] {},
                        [&] {
                            try {
                                usePlaces();
                                String value;
                                SetModuleStringPref("key", "value", false);
                                GetModuleStringPref(value, "key", "default", false);
                                EXPECT_TRUE(value == "value" || value == "default") << value;
                                SetModuleIntPref("n", GetModuleIntPref("n", 0, false) + 1, false);
                            } catch (const std::bad_alloc&) {
                            }
                        },
                        [&](bool) {
                            usePlaces(); // the next try
                            EXPECT_EQ(GetModuleIdentifier(), "com.veltrano.Product.Component");
                            EXPECT_EQ(GetModulePath(), module.substr(0, module.size() - 1).c_str());
                            EXPECT_EQ(folder, Path("share/one/two/").c_str());
                            ReleaseModuleStrings();
                        });
}

} // namespace
