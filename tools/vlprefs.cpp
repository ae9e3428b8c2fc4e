// SPDX-License-Identifier: MIT
// vlprefs.cpp - reads and writes preference entries from the command line.
#include "support/BaseFolders.h"
#include "support/Ref.h"
#include "tools/CommandLine.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>
#include <set>
#include <string_view>

namespace fs = std::filesystem;

namespace {

const char kHelp[]
    = "usage: vlprefs get APPLICATION ENTRY\n"
      "       vlprefs set APPLICATION ENTRY --int N | --bool true|false | --string TEXT | --data "
      "HEX\n"
      "       vlprefs delete APPLICATION ENTRY\n"
      "       vlprefs list APPLICATION\n"
      "       vlprefs clear APPLICATION\n"
      "       vlprefs export APPLICATION\n"
      "       vlprefs import APPLICATION FILE\n"
      "       vlprefs domains\n"
      "each with --all-users for the entries of all users\n"
      "\n"
      "ENTRY is a path of keys, \"View/Main/Left\": each component but the last is a dictionary.\n"
      "get      prints the value; exit code 1 if it is absent or a dictionary\n"
      "list     prints one line per entry: path, type and value between tabs. In paths and "
      "strings\n"
      "         \\n, \\r, \\t and \\\\ stand for the characters\n"
      "clear    deletes all entries\n"
      "export   prints the entries as an XML property list\n"
      "import   sets the entries of such a list, \"-\" for standard input; others stay\n"
      "domains  prints the applications that have entries\n"
      "exit codes: 0 done, 1 no such entry, or a file cannot be read or written, 2 wrong "
      "arguments\n";

Ref<CFStringRef> MakeString(const std::string& text)
{
    const CFStringRef string
        = CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                  static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
    if (string == nullptr)
        FailUsage("not UTF-8: " + text);
    return Ref<CFStringRef>(string);
}

std::string TextOf(CFTypeRef string)
{
    const char* text
        = CFStringGetCStringPtr(static_cast<CFStringRef>(string), kCFStringEncodingUTF8);
    return text != nullptr ? text : "";
}

CFStringRef UserOf(const Arguments& arguments)
{
    return arguments.Has("all-users") ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
}

/// The application identifier, which every command but domains takes first.
Ref<CFStringRef> ApplicationOf(const Arguments& arguments)
{
    const std::string name = arguments[0];
    if (name.empty() || name.find('/') != name.npos)
        FailUsage("not an application identifier: " + name);
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
    if (!CFNumberIsFloatType(number)) {
        SInt64 integer = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
        return { "int", std::to_string(integer) };
    }
    char text[64];
    double real = 0;
    CFNumberGetValue(number, kCFNumberDoubleType, &real);
    snprintf(text, sizeof text, "%.17g", real);
    return { "real", text };
}

std::string FormatData(CFDataRef data)
{
    std::string text;
    const UInt8* bytes = CFDataGetBytePtr(data);
    for (CFIndex i = 0; i < CFDataGetLength(data); ++i) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", bytes[i]);
        text += digits;
    }
    return text;
}

std::string FormatDate(CFDateRef date)
{
    constexpr double kFrom1970 = 978307200;
    const auto seconds = static_cast<time_t>(std::floor(CFDateGetAbsoluteTime(date) + kFrom1970));
    tm parts = {};
    char text[64] = "";
    if (gmtime_r(&seconds, &parts) != nullptr)
        strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

Value Describe(CFTypeRef object)
{
    const CFTypeID type = CFGetTypeID(object);
    if (type == CFStringGetTypeID())
        return { "string", TextOf(object) };
    if (type == CFBooleanGetTypeID())
        return { "bool", CFBooleanGetValue(static_cast<CFBooleanRef>(object)) ? "true" : "false" };
    if (type == CFNumberGetTypeID())
        return DescribeNumber(static_cast<CFNumberRef>(object));
    if (type == CFDataGetTypeID())
        return { "data", FormatData(static_cast<CFDataRef>(object)) };
    if (type == CFDateGetTypeID())
        return { "date", FormatDate(static_cast<CFDateRef>(object)) };
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

/// The file of an application's entries.
std::string FileOf(const Arguments& arguments, const char* application)
{
    return BaseFolders_Preferences(application, arguments.Has("all-users"));
}

/// All entries of an application. Fails if there is a file that cannot be read.
Ref<CFMutableDictionaryRef> CopyEntries(const Arguments& arguments)
{
    Ref<CFMutableDictionaryRef> entries(CFDictionaryCreateMutable(
        kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks, &kCFTypeDictionaryValueCallBacks));
    const auto application = ApplicationOf(arguments);
    const CFStringRef user = UserOf(arguments);
    const Ref<CFArrayRef> keys(
        CFPreferencesCopyKeyList(application.get(), user, kCFPreferencesCurrentHost));
    for (CFIndex i = 0; keys && i < CFArrayGetCount(keys.get()); ++i) {
        const auto key = static_cast<CFStringRef>(CFArrayGetValueAtIndex(keys.get(), i));
        const Ref<CFTypeRef> value(
            CFPreferencesCopyValue(key, application.get(), user, kCFPreferencesCurrentHost));
        CFDictionarySetValue(entries.get(), key, value.get());
    }
    std::error_code error;
    if (!keys && (fs::exists(FileOf(arguments, arguments[0]), error) || error)) {
        ReadInput(FileOf(arguments, arguments[0]));
        Fail(FileOf(arguments, arguments[0]) + " is not an XML property list with entries");
    }
    return entries;
}

/// Writes what was set, and says so if a damaged file had to make way.
void Write(const Arguments& arguments)
{
    std::string aside;
    std::error_code error;
    for (int n = 1; aside.empty() || fs::exists(fs::symlink_status(aside, error)); ++n)
        aside = FileOf(arguments, arguments[0]) + ".damaged-" + std::to_string(n);
    errno = 0;
    if (!CFPreferencesSynchronize(ApplicationOf(arguments).get(), UserOf(arguments),
                                  kCFPreferencesCurrentHost)) {
        const std::string reason = errno != 0 ? std::string(": ") + strerror(errno) : "";
        Fail("cannot write " + FileOf(arguments, arguments[0]) + reason);
    }
    if (fs::exists(aside, error))
        fprintf(stderr, "vlprefs: the old file was damaged and is now %s\n", aside.c_str());
}

// --- entries -----------------------------------------------------------------------------------

std::vector<std::string> SplitEntry(const std::string& entry)
{
    std::vector<std::string> keys;
    size_t begin = 0;
    for (size_t end; (end = entry.find('/', begin)) != std::string::npos; begin = end + 1)
        keys.push_back(entry.substr(begin, end - begin));
    keys.push_back(entry.substr(begin));
    return keys;
}

bool IsDictionary(CFTypeRef value)
{
    return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

/// The value of the entry; borrowed. Fails if there is none.
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
    const auto entries = CopyEntries(arguments);
    const CFTypeRef value = FindEntry(entries.get(), arguments[1]);
    if (IsDictionary(value))
        Fail(std::string(arguments[1]) + " is a dictionary; 'vlprefs list' shows what is in it");
    puts(Describe(value).text.c_str());
}

/// Calls a function with each key and value of a dictionary.
template <typename Function> void ForEach(CFDictionaryRef dictionary, Function function)
{
    const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
    std::vector<const void*> keys(count);
    std::vector<const void*> values(count);
    CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
    for (size_t i = 0; i < count; ++i)
        function(static_cast<CFStringRef>(keys[i]), values[i]);
}

void ListValue(const std::string& path, CFTypeRef value)
{
    const Value described = Describe(value);
    if (IsDictionary(value) && described.text != "0") {
        ForEach(static_cast<CFDictionaryRef>(value), [&](CFStringRef key, CFTypeRef inner) {
            ListValue(path + "/" + TextOf(key), inner);
        });
        return;
    }
    printf("%s\t%s\t%s\n", Escape(path).c_str(), described.type, Escape(described.text).c_str());
}

void List(const Arguments& arguments)
{
    ForEach(CopyEntries(arguments).get(),
            [](CFStringRef key, CFTypeRef value) { ListValue(TextOf(key), value); });
}

std::vector<UInt8> ParseHex(std::string_view text)
{
    std::vector<UInt8> bytes(text.size() / 2);
    bool isHex = !text.empty() && text.size() % 2 == 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const char* digits = text.data() + 2 * i;
        isHex = isHex && std::from_chars(digits, digits + 2, bytes[i], 16).ptr == digits + 2;
    }
    if (!isHex)
        FailUsage("not pairs of hexadecimal digits: " + std::string(text));
    return bytes;
}

Ref<CFTypeRef> MakeValue(const Arguments& arguments)
{
    if (arguments.options.size() != (arguments.Has("all-users") ? 2 : 1))
        FailUsage("set wants one of --int, --bool, --string and --data");
    if (arguments.Has("int")) {
        const auto value
            = static_cast<SInt32>(arguments.GetInteger("int", 0, INT32_MIN, INT32_MAX));
        return Ref<CFTypeRef>(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &value));
    }
    if (arguments.Has("bool")) {
        const std::string text = arguments.Get("bool");
        if (text != "true" && text != "false")
            FailUsage("neither true nor false: " + text);
        return Ref<CFTypeRef>(CFRetain(text == "true" ? kCFBooleanTrue : kCFBooleanFalse));
    }
    if (arguments.Has("data")) {
        const std::vector<UInt8> bytes = ParseHex(arguments.Get("data"));
        return Ref<CFTypeRef>(
            CFDataCreate(kCFAllocatorDefault, bytes.data(), static_cast<CFIndex>(bytes.size())));
    }
    return Ref<CFTypeRef>(MakeString(arguments.Get("string")).release());
}

/// A copy of a dictionary, or of an empty one, with `value` at keys[depth...]; null removes what is there.
Ref<CFTypeRef>
CopyWith(CFTypeRef dictionary, const std::vector<std::string>& keys, size_t depth, CFTypeRef value)
{
    if (depth == keys.size())
        return Ref<CFTypeRef>(value != nullptr ? CFRetain(value) : nullptr);
    if (dictionary != nullptr && !IsDictionary(dictionary))
        Fail(keys[depth - 1] + " is no dictionary");
    const CFMutableDictionaryRef copy = dictionary != nullptr
        ? CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0,
                                        static_cast<CFDictionaryRef>(dictionary))
        : CFDictionaryCreateMutable(kCFAllocatorDefault, 0, &kCFTypeDictionaryKeyCallBacks,
                                    &kCFTypeDictionaryValueCallBacks);
    Ref<CFTypeRef> owner(copy);
    const auto key = MakeString(keys[depth]);
    const auto inner = CopyWith(CFDictionaryGetValue(copy, key.get()), keys, depth + 1, value);
    if (inner)
        CFDictionarySetValue(copy, key.get(), inner.get());
    else
        CFDictionaryRemoveValue(copy, key.get());
    return owner;
}

/// Sets a top-level value in memory; null removes it.
void SetTopValue(const Arguments& arguments, CFStringRef key, CFTypeRef value)
{
    CFPreferencesSetValue(key, value, ApplicationOf(arguments).get(), UserOf(arguments),
                          kCFPreferencesCurrentHost);
}

/// Sets the entry's value, null to remove it, and writes it.
void Put(const Arguments& arguments, CFTypeRef value)
{
    const auto keys = SplitEntry(arguments[1]);
    const auto key = MakeString(keys[0]);
    const Ref<CFTypeRef> top(CFPreferencesCopyValue(key.get(), ApplicationOf(arguments).get(),
                                                    UserOf(arguments), kCFPreferencesCurrentHost));
    SetTopValue(arguments, key.get(), CopyWith(top.get(), keys, 1, value).get());
    Write(arguments);
}

void Set(const Arguments& arguments)
{
    Put(arguments, MakeValue(arguments).get());
}

void Delete(const Arguments& arguments)
{
    FindEntry(CopyEntries(arguments).get(), arguments[1]);
    Put(arguments, nullptr);
}

void Clear(const Arguments& arguments)
{
    ForEach(CopyEntries(arguments).get(),
            [&](CFStringRef key, CFTypeRef) { SetTopValue(arguments, key, nullptr); });
    Write(arguments);
}

/// Prints the application's file as it is, after a check that it can be read.
void Export(const Arguments& arguments)
{
    CopyEntries(arguments);
    fputs(ReadInput(FileOf(arguments, arguments[0])).c_str(), stdout);
}

/// Sets the entries of a property list; others stay.
void Import(const Arguments& arguments)
{
    const std::string xml = ReadInput(arguments[1]);
    const Ref<CFDataRef> data(CFDataCreate(kCFAllocatorDefault,
                                           reinterpret_cast<const UInt8*>(xml.data()),
                                           static_cast<CFIndex>(xml.size())));
    const Ref<CFTypeRef> entries(CFPropertyListCreateFromXMLData(
        kCFAllocatorDefault, data.get(), kCFPropertyListImmutable, nullptr));
    if (!IsDictionary(entries.get()))
        Fail(std::string(arguments[1]) + " is not an XML property list with entries");
    ForEach(static_cast<CFDictionaryRef>(entries.get()),
            [&](CFStringRef key, CFTypeRef value) { SetTopValue(arguments, key, value); });
    Write(arguments);
}

void Domains(const Arguments& arguments)
{
    std::set<std::string> names;
    std::error_code error;
    const fs::path nameless = FileOf(arguments, "");
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
