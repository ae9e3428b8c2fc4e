// SPDX-License-Identifier: MIT
// Conversations_test.cpp - formats and checks of the string, the log, the module environment, profiles and the trace
// of the preferences store, by recorded conversations: most commands are a routine of the API. They run in a temporary
// folder, "~". What a command prints is shown behind "out:" and "err:", lines of the log "trace" behind "|".

#include "System/vlModule.h"
#include "System/vlModuleLog.h"
#include "System/vlPreferenceStore.h"
#include "System/vlProfileFile.h"
#include "tests/support/Conversation.h"
#include "tests/support/Foundation.h"
#include "tests/support/Processes.h"

#include <mach-o/dyld.h>

#include <dlfcn.h>
#include <memory>
#include <regex>
#include <sys/stat.h>

using namespace Veltrano;

// --- the platform: images and bundles as a test says, and a line in the log for each call for a preference ---

static std::vector<std::string> sImages; // names; "other" has another header than this program

#define REAL(routine) reinterpret_cast<decltype(&routine)>(dlsym(RTLD_NEXT, "vlp_" #routine))

uint32_t _dyld_image_count() { return static_cast<uint32_t>(sImages.size()); }

const mach_header* _dyld_get_image_header(uint32_t i)
{
    return sImages[i] == "other" ? nullptr : &_mh_image_header;
}

const char* _dyld_get_image_name(uint32_t i)
{
    return sImages[i] == "null" ? nullptr : sImages[i].c_str();
}

template <class... Texts> static void Note(const char* format, Texts... texts)
{
    LogPrintRaw(format, CFStringGetCStringPtr(texts, kCFStringEncodingUTF8)...);
}

CFTypeRef
CFPreferencesCopyValue(CFStringRef key, CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("copy %s, %s, %s, %s\n", key, app, user, host);
    return REAL(CFPreferencesCopyValue)(key, app, user, host);
}

void CFPreferencesSetValue(
    CFStringRef key, CFTypeRef value, CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("set %s, %s, %s, %s\n", key, app, user, host);
    REAL(CFPreferencesSetValue)(key, value, app, user, host);
}

Boolean CFPreferencesSynchronize(CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("synchronize %s, %s, %s\n", app, user, host);
    return REAL(CFPreferencesSynchronize)(app, user, host);
}

namespace {

// Reaches the building blocks, and breaks the invariants that they check.
class OpenString : public String
{
public:
    using String::AllocateExact;
    using String::m_pchData;
    using String::ReleaseData;
    using String::operator=;
};

class Conversations : public testing::TestWithParam<const char*>, protected Conversation
{
protected:
    Conversations()
        : Conversation(GetParam())
    {
        m_place = m_home.Path("");
        std::filesystem::current_path(m_place);
    }
    ~Conversations() override
    {
        Reset();
        ReleaseModuleStrings();
        std::filesystem::current_path(m_before);
    }

    void Do(const std::string& line) override
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Conversation::Do(line);
        SayLines("out: ", testing::internal::GetCapturedStdout());
        SayLines("err: ", testing::internal::GetCapturedStderr());
        SayLines("| ", ReadFile("trace"));
        if (std::filesystem::exists("trace"))
            std::filesystem::resize_file("trace", 0);
    }

private:
    /// Without what an emulator adds to them.
    void SayLines(const char* mark, std::string text)
    {
        for (const auto& [part, mask] : { std::pair("qemu: .*\n", ""),
                                          { "\\w{3} \\w{3} [ \\d]\\d [\\d:]{8} \\d{4}", "TIME" },
                                          { "0x[0-9a-f]+", "#" },
                                          { " ID \\d+", " ID #" } })
            text = std::regex_replace(text, std::regex(part), mask);
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            Say(mark, Escaped(line.substr(0, 120)),
                line.size() > 120 ? " ... " + std::to_string(line.size()) : "",
                lines.eof() ? " (no line end)" : "");
    }
    std::string Result() const
    {
        return { m_string, static_cast<std::size_t>(m_string.GetLength()) };
    }
    void SayString() { Say('\'', Escaped(Result()), '\''); }
    void SayFormatted() { Say(Shown(Result()), ", room for ", m_string.GetAllocLength()); }
    void SayLog()
    {
        const char* const states[] = { "closed", "", "on standard output", "open" };
        Say(states[std::min<SInt32>(moduleLog_.fd + 1, 3)], ", prefix ", Shown(moduleLog_.prefix));
    }
    /// Null for a word that is missing or "null".
    const char* Text(std::size_t at) const
    {
        return at < m_words.size() && m_words[at] != "null" ? m_words[at].c_str() : nullptr;
    }

    /// Does commands, with "; " between them, in a process that they should end.
    void Die()
    {
        const auto live = [this](int) {
            std::string rest = m_line.substr(m_line.find(' ') + 1) + "; ";
            for (std::size_t n; (n = rest.find("; ")) != rest.npos; rest.erase(0, n + 2))
                Conversation::Do(rest.substr(0, n));
            return true;
        };
        if (InProcesses(1, live) == 0)
            Say("lives");
    }

    /// A format, a value and up to two numbers for its stars; behind them a text and a number.
    template <class Value> void Format(Value value)
    {
        m_string.Clear();
        if (m_words.size() > 4)
            m_string.Format(Text(1), Int(3), Int(4), value, "text", 7);
        else if (m_words.size() > 3)
            m_string.Format(Text(1), Int(3), value, "text", 7);
        else
            m_string.Format(Text(1), value, "text", 7);
        SayFormatted();
    }

    void Reset()
    {
        if (moduleLog_.prefix != m_log.prefix)
            free(const_cast<char*>(moduleLog_.prefix));
        moduleLog_ = m_log;
    }

    void SayBundle()
    {
        const bool isSame = std::exchange(m_bundle, GetModuleBundle()) == m_bundle;
        Say(PathOf(Own(CFBundleCopyBundleURL(m_bundle)).get()), isSame ? ", the same, " : ", ",
            CFGetRetainCount(m_bundle), " held");
    }

    void SayPart(unsigned (*part)(const char*, char*, unsigned))
    {
        char out[10] = "untouched";
        const int nSize = Int(2);
        const unsigned nNeeded
            = part(Text(1), nSize < 0 ? nullptr : out, static_cast<unsigned>(std::abs(nSize)));
        Say(nNeeded, ' ', Shown(out));
    }

    void GetBinary()
    {
        std::string bytes(10, '.');
        UInt32 nSize = static_cast<UInt32>(Int(2));
        const Bool32 isGot = m_store->GetBinary(Text(1), m_store->m_user,
                                                Word(3) == "nobuffer" ? nullptr : bytes.data(),
                                                Word(3) == "nosize" ? nullptr : &nSize);
        Say(isGot, ", size ", nSize, ", ", Shown(bytes));
    }
    void GetObject()
    {
        const CFTypeID type = Int(2) != 0 ? CFDictionaryGetTypeID() : CFNumberGetTypeID();
        const CFTypeRef found = m_store->GetObjectOfType(Text(1), type, m_store->m_user);
        Say(!found ? "none" : CFGetTypeID(found) == type ? "found" : "another");
        if (found)
            CFRelease(found);
    }
    const SInt32* Number(std::size_t at) { return Text(at) ? &(m_number = Int(at)) : nullptr; }

    // clang-format off
    const Commands m_commands = {
        { "dies", [this] { Die(); } },
        // Files and the process
        { "file", [this] { WriteFile(Text(1), Word(2)); } },
        { "cat", [this] { SayLines("", ReadFile(Text(1))); } },
        { "folder", [this] { std::filesystem::create_directories(Text(1)); } },
        { "remove", [this] { std::filesystem::remove_all(Text(1)); } },
        { "symlink", [this] { std::filesystem::create_symlink(Text(1), Text(2)); } },
        { "hardlink", [this] { std::filesystem::create_hard_link(Text(1), Text(2)); } },
        { "mode", [this] { struct stat info {}; Say(stat(Text(1), &info) == 0 ? "" : "none ", std::oct, info.st_mode); } },
        { "env", [this] { setenv(Text(1), Text(2), 1); } },
        { "umask", [this] { umask(static_cast<mode_t>(Int(1))); } },
        // The log; flags: 2 new, 4 append, 0x4000 in /tmp, 0x8000 off
        { "log", [this] { ModuleLog::open(Text(1), Text(2), Int(3), Text(4)); SayLog(); } },
        { "close", [this] { ModuleLog::close(); SayLog(); } },
        { "reset", [this] { Reset(); } },
        { "print", [this] { Say(LogPrint(Text(1), Text(2), 7)); } },
        { "raw", [this] { Say(LogPrintRaw(Text(1), Text(2), 7)); } },
        { "printif", [this] { LogPrintIf(Int(1), Text(2), Text(3), 7); } },
        { "rawif", [this] { LogPrintRawIf(Int(1), Text(2), Text(3), 7); } },
        // One string
        { "int", [this] { Format(Int(2)); } },
        { "long", [this] { Format(std::stol(Word(2))); } },
        { "double", [this] { Format(std::stod(Word(2))); } },
        { "longdouble", [this] { Format(std::stold(Word(2))); } },
        { "pointer", [this] { Format(reinterpret_cast<void*>(std::intptr_t { Int(2) })); } },
        { "text", [this] { Format(Text(2)); } },
        // The hardened C library takes %n from constant formats alone.
        { "count", [this] { int n = 0; m_string.Clear(); m_string.Format("abcd%n%s", &n, "text"); SayFormatted(); Say(n); } },
        { "own", [this] { m_string.Clear(); m_string = Text(1); m_string.Format(Text(2), m_string.GetString(), "text", 7); SayFormatted(); } },
        { "ownshared", [this] { m_string.Clear(); m_string = Text(1); const String copy(m_string); m_string.Format(Text(2), m_string.GetString(), "text", 7); SayFormatted(); } },
        { "ownformat", [this] { m_string.Clear(); m_string = Text(1); m_string.Format(m_string, 1, "text", 7); SayFormatted(); } },
        { "formatargs", [this] { static va_list args; m_string.FormatArgs(Text(1), args); } },
        { "=", [this] { m_string = Text(1); } },
        { "refs", [this] { m_string.GetData()->nRefs = Int(1); } },
        { "length", [this] { m_string.GetData()->nDataLength = Int(1); } },
        { "capacity", [this] { m_string.GetData()->nAllocLength = Int(1); } },
        { "nodata", [this] { m_string.m_pchData = nullptr; m_string.GetLength(); } },
        { "copy", [this] { String copy(m_string); } },
        { "release", [this] { m_string.ReleaseData(); } },
        { "releasedata", [this] { OpenString::ReleaseData(m_string.GetData()); } },
        { "allocate", [this] { m_string.AllocateExact(static_cast<UInt32>(Int(1))); } },
        { "new", [this] { String s(Text(2), Int(1)); } },
        { "open", [this] { m_string.OpenBuffer(Int(1)); } },
        { "fill", [this] { memset(m_string.m_pchData, 'x', static_cast<size_t>(Int(1))); } },
        { "closebuffer", [this] { m_string.CloseBuffer(Int(1)); } },
        { "openlength", [this] { m_string.OpenBufferWithLength(Int(1)); } },
        { "trim", [this] { m_string.TrimCapacity(); } },
        { "unlock", [this] { m_string.Unlock(); } },
        { "substring", [this] { m_string.Substring(0, 2); } },
        { "findany", [this] { m_string.FindAnyOf(Text(1)); } },
        { "find", [this] { m_string.FindText(Text(1)); } },
        { "within", [this] { m_string.HeadWithin(Text(1)); } },
        { "outside", [this] { m_string.HeadOutside(Text(1)); } },
        { "setchar", [this] { m_string.SetCharAt(Int(1), 'x'); } },
        // The module environment
        { "images", [this] { sImages.assign(m_words.begin() + 1, m_words.end()); } },
        { "start", [] { StartModuleEnvironment(); } },
        { "locate", [this] { Say(LocateModuleImage()); } },
        { "init", [this] { ModuleInit(Text(1), Text(2)); } },
        { "initagain", [this] { ModuleInit("a much longer name", GetModuleProductName()); } },
        { "initpath", [this] { Say(ModuleInitWithPath(Text(1), Text(2), Text(3))); } },
        { "checkinited", [this] { Say(CheckInited()); } },
        { "releasestrings", [] { ReleaseModuleStrings(); } },
        { "names", [this] { Say(Shown(GetModuleProductName().GetString()), ' ', Shown(GetModuleComponentName().GetString()), ' ', GetModuleIdentifier().GetString()); } },
        { "productname", [this] { Say(Shown(GetModuleProductName().GetString())); } },
        { "componentname", [this] { Say(Shown(GetModuleComponentName().GetString())); } },
        { "path", [this] { m_string = GetModulePath(); SayString(); } },
        { "parent", [this] { GetModuleParentFolder(m_string); SayString(); } },
        { "bundlename", [this] { GetModuleBundleName(m_string); SayString(); } },
        { "record", [this] { const auto& name = GetModuleFolder().name; Say(Shown({ name + 1, name + 1 + name[0] })); } },
        { "maker", [this] { GetMakerFolderPath(m_string); SayString(); } },
        { "product", [this] { GetProductFolderPath(m_string); SayString(); } },
        { "kind", [this] { GetFolderPath(m_string, Int(1)); SayString(); } },
        { "with", [this] { GetFolderPathWith(m_string, Int(1), Text(2)); SayString(); } },
        { "withresult", [this] { GetFolderPathWith(m_string, Int(1), m_string); SayString(); } },
        { "support", [this] { GetSupportFolderPath(m_string, Int(1), Text(2)); SayString(); } },
        { "makedirectories", [this] { Say(MakeDirectories(Text(1))); } },
        { "directory", [this] { SayPart(GetDirectoryPart); } },
        { "filename", [this] { SayPart(GetFileNamePart); } },
        { "bundle", [this] { SayBundle(); } },
        { "hold", [this] { CFRetain(m_bundle); } },
        { "drop", [this] { CFRelease(m_bundle); } },
        { "releasebundle", [this] { ReleaseModuleBundle(); Say(CFGetRetainCount(m_bundle), " held"); } },
        { "hostbundle", [this] { Say(GetHostMainBundle() ? "one" : "none"); } },
        { "getintpref", [this] { Say(GetModuleIntPref(Text(1), Int(2), Int(3) != 0)); } },
        { "setintpref", [this] { Say(SetModuleIntPref(Text(1), Int(2), Int(3) != 0)); } },
        { "getstringpref", [this] { GetModuleStringPref(m_string, Text(1), Text(2), Int(3) != 0); SayString(); } },
        { "setstringpref", [this] { Say(SetModuleStringPref(Text(1), Text(2), Int(3) != 0)); } },
        // A profile; "" for no value
        { "profile", [this] { Say(m_profile->Open(Text(1), Text(2))); } },
        { "write", [this] { m_profile->Close(); } },
        { "endprofile", [this] { m_profile = std::make_unique<ProfileFile>(); } },
        { "get", [this] { m_string = "before"; const Bool32 isFound = m_profile->GetValue(Text(1), Text(2), m_string); Say(isFound, ' ', Shown(Result())); } },
        { "set", [this] { m_profile->SetValue(Text(1), Text(2), Text(3)); } },
        { "add", [this] { m_profile->AddLine(Text(1), Text(2)); } },
        { "take", [this] { m_profile->RemoveLine(Text(1), Text(2)); } },
        // One store
        { "store", [this] { m_store = std::make_unique<PreferenceStore>(Text(1), Int(2)); Say(m_store->m_valid); } },
        { "initialize", [this] { Say(m_store->Initialize(Text(1), Int(2)), ", valid ", m_store->m_valid); } },
        { "verbose", [this] { m_store->m_verbose = Int(1); } },
        { "roman", [this] { m_store->m_encoding = kCFStringEncodingMacRoman; } },
        { "anyuser", [this] { m_store->m_user = kCFPreferencesAnyUser; } },
        { "setint", [this] { Say(m_store->SetInt(Text(1), m_store->m_user, Number(2))); } },
        { "setbool", [this] { Say(m_store->SetBool(Text(1), m_store->m_user, Number(2))); } },
        { "setstring", [this] { Say(m_store->SetString(Text(1), m_store->m_user, Text(2))); } },
        { "setbinary", [this] { Say(m_store->SetBinary(Text(1), m_store->m_user, Text(2), Int(3))); } },
        { "getint", [this] { Say(m_store->GetInt(Text(1), m_store->m_user, Int(2))); } },
        { "getbool", [this] { Say(m_store->GetBool(Text(1), m_store->m_user, Int(2))); } },
        { "getstring", [this] { m_string.Clear(); m_string = m_store->GetString(Text(1), m_store->m_user, Text(2)); SayString(); } },
        { "getbinary", [this] { GetBinary(); } },
        { "getobject", [this] { GetObject(); } },
    };
    // clang-format on
    const ModuleLog m_log = moduleLog_; // as it is loaded
    const std::filesystem::path m_before = std::filesystem::current_path();
    TemporaryHome m_home;
    OpenString m_string;
    std::unique_ptr<ProfileFile> m_profile = std::make_unique<ProfileFile>();
    std::unique_ptr<PreferenceStore> m_store;
    CFBundleRef m_bundle = nullptr;
    SInt32 m_number = 0;

    friend class Conversations_GoAsRecorded_Test;
};

TEST_P(Conversations, GoAsRecorded)
{
    Play(m_commands, std::string(TEST_FOLDER "/conversations/") + GetParam() + ".txt");
}

INSTANTIATE_TEST_SUITE_P(
    ,
    Conversations,
    testing::Values("formats", "checks", "log", "module", "profile", "preferences"),
    [](const auto& name) { return std::string(name.param); });

} // namespace
