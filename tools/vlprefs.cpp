// SPDX-License-Identifier: MIT
// vlprefs.cpp - reads and writes preference entries from the command line.
#include "support/BaseFolders.h"
#include "support/Ref.h"
#include "tools/CommandLine.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <iomanip>
#include <sstream>
#include <string_view>

namespace fs = std::filesystem;

namespace {

const char kHelp[] = R"(usage: vlprefs get APPLICATION ENTRY
       vlprefs set APPLICATION ENTRY --int N | --bool true|false | --string TEXT | --data HEX
       vlprefs delete APPLICATION ENTRY
       vlprefs list APPLICATION
       vlprefs clear APPLICATION
       vlprefs export APPLICATION
       vlprefs import APPLICATION FILE
       vlprefs domains
each with --all-users for the entries of all users

ENTRY is a path of keys, "View/Main/Left": each component but the last is a dictionary.
get      prints the value; exit code 1 if it is absent or a dictionary
list     prints one line per entry: path, type and value between tabs. In paths and strings
         \n, \r, \t and \\ stand for the characters
clear    deletes all entries
export   prints the entries as an XML property list
import   sets the entries of such a list, "-" for standard input; others stay
domains  prints the applications that have entries
exit codes: 0 done, 1 no such entry, or a file cannot be read or written, 2 wrong arguments
)";

Ref<CFStringRef> MakeString(const std::string& text)
{
    Ref<CFStringRef> string(
        CFStringCreateWithCString(kCFAllocatorDefault, text.c_str(), kCFStringEncodingUTF8));
    if (!string)
        Fail("not UTF-8: " + text, kUsage);
    return string;
}

std::string TextOf(CFTypeRef string)
{
    return CFStringGetCStringPtr(static_cast<CFStringRef>(string), kCFStringEncodingUTF8);
}

CFStringRef UserOf(const Arguments& arguments)
{
    return arguments.Has("all-users") ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
}

// The application identifier, which every command but domains takes first.
Ref<CFStringRef> ApplicationOf(const Arguments& arguments)
{
    const std::string name = arguments[0];
    if (name.empty() || name.find('/') != name.npos)
        Fail("not an application identifier: " + name, kUsage);
    return MakeString(name);
}

// --- values as text ----------------------------------------------------------------------------

struct Value
{
    const char* type;
    std::string text;
};

Value DescribeNumber(CFNumberRef number)
{
    SInt64 integer = 0;
    double real = 0;
    if (!CFNumberIsFloatType(number) && CFNumberGetValue(number, kCFNumberSInt64Type, &integer))
        return { "int", std::to_string(integer) };
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    std::ostringstream text;
    text << std::setprecision(17) << real;
    return { "real", text.str() };
}

Value Describe(CFTypeRef object)
{
    const CFTypeID type = CFGetTypeID(object);
    std::ostringstream text;
    if (type == CFStringGetTypeID())
        return { "string", TextOf(object) };
    if (type == CFBooleanGetTypeID())
        return { "bool", CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "true" : "false" };
    if (type == CFNumberGetTypeID())
        return DescribeNumber(static_cast<CFNumberRef>(object));
    if (type == CFDataGetTypeID()) {
        const auto data = static_cast<CFDataRef>(object);
        text << std::hex << std::uppercase << std::setfill('0');
        for (CFIndex i = 0; i < CFDataGetLength(data); ++i)
            text << std::setw(2) << unsigned { CFDataGetBytePtr(data)[i] };
        return { "data", text.str() };
    }
    if (type == CFDateGetTypeID()) {
        const double from2001 = CFDateGetAbsoluteTime(static_cast<CFDateRef>(object));
        const auto seconds = static_cast<time_t>(from2001) + 978307200; // from 1970
        text << std::put_time(gmtime(&seconds), "%Y-%m-%dT%H:%M:%SZ");
        return { "date", text.str() };
    }
    if (type == CFArrayGetTypeID())
        return { "array", std::to_string(CFArrayGetCount(static_cast<CFArrayRef>(object))) };
    return { "dict", std::to_string(CFDictionaryGetCount(static_cast<CFDictionaryRef>(object))) };
}

std::string Escape(const std::string& text)
{
    constexpr std::string_view kSpecial = "\n\r\t\\";
    std::string escaped;
    for (const char c : text) {
        const size_t found = kSpecial.find(c);
        escaped += found != kSpecial.npos ? std::string("\\") + "nrt\\"[found] : std::string(1, c);
    }
    return escaped;
}

// --- files -------------------------------------------------------------------------------------

// The file of an application's entries.
std::string FileOf(const Arguments& arguments)
{
    return BaseFolders_Preferences(TextOf(ApplicationOf(arguments).get()),
                                   arguments.Has("all-users"));
}

bool IsDictionary(CFTypeRef value)
{
    return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

// The entries in an XML property list.
Ref<> ReadList(const std::string& path)
{
    const std::string xml = ReadInput(path);
    const Ref<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                           reinterpret_cast<const UInt8*>(xml.data()),
                                           static_cast<CFIndex>(xml.size())));
    Ref<> entries(CFPropertyListCreateFromXMLData(kCFAllocatorDefault, data.get(),
                                                  kCFPropertyListImmutable, nullptr));
    if (!IsDictionary(entries.get()))
        Fail(path + " is not an XML property list with entries");
    return entries;
}

// All entries of an application; null without a file.
Ref<> ReadEntries(const Arguments& arguments)
{
    const std::string file = FileOf(arguments);
    std::error_code error;
    return fs::exists(file, error) || error ? ReadList(file) : nullptr;
}

// Writes what was set, and says so if a damaged file had to make way.
void Write(const Arguments& arguments)
{
    std::string aside;
    std::error_code error;
    for (int n = 1; aside.empty() || fs::exists(fs::symlink_status(aside, error)); ++n)
        aside = FileOf(arguments) + ".damaged-" + std::to_string(n);
    errno = 0;
    if (!CFPreferencesSynchronize(ApplicationOf(arguments).get(), UserOf(arguments),
                                  kCFPreferencesCurrentHost)) {
        const std::string reason = errno != 0 ? std::string(": ") + strerror(errno) : "";
        Fail("cannot write " + FileOf(arguments) + reason);
    }
    if (fs::exists(aside, error))
        fprintf(stderr, "vlprefs: the old file was damaged and is now %s\n", aside.c_str());
}

// --- entries -----------------------------------------------------------------------------------

std::vector<std::string> SplitEntry(const std::string& entry)
{
    std::vector<std::string> keys;
    std::istringstream rest(entry + "/");
    for (std::string key; std::getline(rest, key, '/');)
        keys.push_back(key);
    return keys;
}

// The value of the entry; borrowed. Fails if there is none.
CFTypeRef FindEntry(CFTypeRef entries, const char* entry)
{
    CFTypeRef value = entries;
    for (const std::string& key : SplitEntry(entry)) {
        value = IsDictionary(value)
            ? CFDictionaryGetValue(static_cast<CFDictionaryRef>(value), MakeString(key).get())
            : nullptr;
    }
    if (value == nullptr)
        Fail(std::string("no entry ") + entry);
    return value;
}

void Get(const Arguments& arguments)
{
    const auto entries = ReadEntries(arguments);
    const CFTypeRef value = FindEntry(entries.get(), arguments[1]);
    if (IsDictionary(value))
        Fail(std::string(arguments[1]) + " is a dictionary; 'vlprefs list' shows what is in it");
    puts(Describe(value).text.c_str());
}

// Calls a function with each key and value of a dictionary, which may be null.
template <typename Function> void ForEach(CFTypeRef value, Function function)
{
    const auto dictionary = static_cast<CFDictionaryRef>(value);
    const size_t count
        = value != nullptr ? static_cast<size_t>(CFDictionaryGetCount(dictionary)) : 0;
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    if (count != 0)
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (size_t i = 0; i < count; ++i)
        function(static_cast<CFStringRef>(keys[i]), values[i]);
}

void ListValue(const std::string& path, CFTypeRef value)
{
    const Value described = Describe(value);
    if (IsDictionary(value) && described.text != "0") {
        ForEach(value, [&](CFStringRef key, CFTypeRef inner) {
            ListValue(path + "/" + TextOf(key), inner);
        });
        return;
    }
    printf("%s\t%s\t%s\n", Escape(path).c_str(), described.type, Escape(described.text).c_str());
}

void List(const Arguments& arguments)
{
    ForEach(ReadEntries(arguments).get(),
            [](CFStringRef key, CFTypeRef value) { ListValue(TextOf(key), value); });
}

std::vector<UInt8> ParseHex(const std::string& text)
{
    const bool isHex = text.find_first_not_of("0123456789ABCDEFabcdef") == text.npos;
    if (!isHex || text.empty() || text.size() % 2 != 0)
        Fail("not pairs of hexadecimal digits: " + text, kUsage);
    std::vector<UInt8> bytes;
    for (size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<UInt8>(std::stoi(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

Ref<> MakeValue(const Arguments& arguments)
{
    if (arguments.options.size() != (arguments.Has("all-users") ? 2 : 1))
        Fail("set wants one of --int, --bool, --string and --data", kUsage);
    if (arguments.Has("int")) {
        const auto value = arguments.GetInteger<SInt32>("int");
        return Ref<>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
    }
    if (arguments.Has("bool")) {
        const std::string text = arguments.Get("bool");
        if (text != "true" && text != "false")
            Fail("neither true nor false: " + text, kUsage);
        return Ref_Retained<CFTypeRef>(text == "true" ? kCFBooleanTrue : kCFBooleanFalse);
    }
    if (arguments.Has("data")) {
        const std::vector<UInt8> bytes = ParseHex(arguments.Get("data"));
        return Ref<>(
            CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
    }
    return MakeString(arguments.Get("string"));
}

// A copy of a dictionary, or of an empty one, with `value` at keys[depth...]; null removes what is there.
Ref<> CopyWith(CFTypeRef dictionary,
               const std::vector<std::string>& keys,
               size_t depth,
               CFTypeRef value)
{
    if (depth == keys.size())
        return Ref<>(value != nullptr ? CFRetain(value) : nullptr);
    if (dictionary != nullptr && !IsDictionary(dictionary))
        Fail(keys[depth - 1] + " is no dictionary");
    Ref<CFMutableDictionaryRef> copy(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    ForEach(dictionary,
            [&](CFStringRef key, CFTypeRef old) { CFDictionarySetValue(copy.get(), key, old); });
    const auto key = MakeString(keys[depth]);
    const auto inner
        = CopyWith(CFDictionaryGetValue(copy.get(), key.get()), keys, depth + 1, value);
    if (inner)
        CFDictionarySetValue(copy.get(), key.get(), inner.get());
    else
        CFDictionaryRemoveValue(copy.get(), key.get());
    return copy;
}

// Sets a top-level value in memory; null removes it.
void SetTopValue(const Arguments& arguments, CFStringRef key, CFTypeRef value)
{
    CFPreferencesSetValue(key, value, ApplicationOf(arguments).get(), UserOf(arguments),
                          kCFPreferencesCurrentHost);
}

// Sets the entry's value, null to remove it, and writes it.
void Put(const Arguments& arguments, CFTypeRef value)
{
    const auto keys = SplitEntry(arguments[1]);
    const auto key = MakeString(keys[0]);
    const Ref<> top(CFPreferencesCopyValue(key.get(), ApplicationOf(arguments).get(),
                                           UserOf(arguments), kCFPreferencesCurrentHost));
    SetTopValue(arguments, key.get(), CopyWith(top.get(), keys, 1, value).get());
    Write(arguments);
}

void Set(const Arguments& arguments) { Put(arguments, MakeValue(arguments).get()); }

void Delete(const Arguments& arguments)
{
    FindEntry(ReadEntries(arguments).get(), arguments[1]);
    Put(arguments, nullptr);
}

void Clear(const Arguments& arguments)
{
    ForEach(ReadEntries(arguments).get(),
            [&](CFStringRef key, CFTypeRef) { SetTopValue(arguments, key, nullptr); });
    Write(arguments);
}

// Prints the application's file as it is.
void Export(const Arguments& arguments)
{
    ReadList(FileOf(arguments)); // fails if it is damaged
    fputs(ReadInput(FileOf(arguments)).c_str(), stdout);
}

void Import(const Arguments& arguments)
{
    ForEach(ReadList(arguments[1]).get(),
            [&](CFStringRef key, CFTypeRef value) { SetTopValue(arguments, key, value); });
    Write(arguments);
}

void Domains(const Arguments& arguments)
{
    std::set<std::string> names;
    std::error_code error;
    const fs::path nameless = BaseFolders_Preferences("", arguments.Has("all-users"));
    const std::string suffix = nameless.filename();
    for (const auto& entry : fs::directory_iterator(nameless.parent_path(), error)) {
        const std::string name = entry.path().filename();
        if (name.ends_with(suffix))
            names.insert(name.substr(0, name.size() - suffix.size()));
    }
    for (const std::string& name : names)
        puts(name.c_str());
}

} // namespace

int main(int, char** argv)
{
    return RunTool("vlprefs", kHelp,
                   { { "get", 2, { "all-users" }, Get },
                     { "set", 2, { "all-users", "int=", "bool=", "string=", "data=" }, Set },
                     { "delete", 2, { "all-users" }, Delete },
                     { "list", 1, { "all-users" }, List },
                     { "clear", 1, { "all-users" }, Clear },
                     { "export", 1, { "all-users" }, Export },
                     { "import", 2, { "all-users" }, Import },
                     { "domains", 0, { "all-users" }, Domains } },
                   argv);
}
