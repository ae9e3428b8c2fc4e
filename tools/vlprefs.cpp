// SPDX-License-Identifier: MIT
// vlprefs.cpp - reads and writes preference entries from the command line.
#include "System/vlPreferenceStore.h"
#include "tools/CommandLine.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

using namespace Veltrano;

namespace {

const char kHelp[]
    = "usage: vlprefs get APPLICATION ENTRY [--all-users]\n"
      "       vlprefs set APPLICATION ENTRY --int N | --bool true|false | --string TEXT | --data "
      "HEX\n"
      "               [--all-users]\n"
      "       vlprefs delete APPLICATION ENTRY [--all-users]\n"
      "       vlprefs list APPLICATION [--all-users]\n"
      "\n"
      "ENTRY is a path of keys, \"View/Main/Left\": each component but the last is a dictionary.\n"
      "get     prints the value; exit code 1 when there is none, or a dictionary\n"
      "list    prints a line an entry: path, type and value between tabs. Types are int, real, "
      "bool, string,\n"
      "        data (hexadecimal), date (UTC), array (number of its values), dict (only when "
      "empty). In paths\n"
      "        and strings \\n, \\r, \\t and \\\\ stand for the characters.\n"
      "exit codes: 0 done, 1 no such entry, or it could not be written, 2 wrong arguments\n";

/// One reference to a Core Foundation object.
struct ReleaseObject
{
    void operator()(const void* object) const { CFRelease(object); }
};
template <typename Ref> using Owned = std::unique_ptr<std::remove_pointer_t<Ref>, ReleaseObject>;

Owned<CFStringRef> MakeString(const std::string& text)
{
    CFStringRef string
        = CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(text.data()),
                                  static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
    if (string == nullptr)
        FailUsage("not UTF-8: " + text);
    return Owned<CFStringRef>(string);
}

std::string TextOf(CFTypeRef string)
{
    const char* text
        = CFStringGetCStringPtr(static_cast<CFStringRef>(string), kCFStringEncodingUTF8);
    return text != nullptr ? text : "";
}

struct Arguments
{
    std::vector<std::string> words;
    std::string option; // of set: "--int" and its like
    std::string value;
    bool allUsers = false;

    CFStringRef User() const
    {
        return allUsers ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
    }
};

// --- values as text ----------------------------------------------------------------------------

struct Value
{
    const char* type;
    std::string text;
};

std::string FormatNumber(CFNumberRef number)
{
    char text[64];
    if (CFNumberIsFloatType(number)) {
        double real = 0;
        CFNumberGetValue(number, kCFNumberDoubleType, &real);
        snprintf(text, sizeof text, "%.17g", real);
    } else {
        SInt64 integer = 0;
        CFNumberGetValue(number, kCFNumberSInt64Type, &integer);
        snprintf(text, sizeof text, "%lld", static_cast<long long>(integer));
    }
    return text;
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
    if (type == CFNumberGetTypeID()) {
        const auto number = static_cast<CFNumberRef>(object);
        return { CFNumberIsFloatType(number) ? "real" : "int", FormatNumber(number) };
    }
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
    std::string escaped;
    for (const char c : text) {
        switch (c) {
        case '\n':
            escaped += "\\n";
            break;
        case '\r':
            escaped += "\\r";
            break;
        case '\t':
            escaped += "\\t";
            break;
        case '\\':
            escaped += "\\\\";
            break;
        default:
            escaped += c;
            break;
        }
    }
    return escaped;
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

Owned<CFTypeRef> CopyTopValue(const Arguments& arguments, const std::string& key)
{
    const auto application = MakeString(arguments.words[1]);
    return Owned<CFTypeRef>(CFPreferencesCopyValue(MakeString(key).get(), application.get(),
                                                   arguments.User(), kCFPreferencesCurrentHost));
}

/// The value at the end of a path; borrowed from `top`, null when there is none.
CFTypeRef FindEntry(CFTypeRef top, const std::vector<std::string>& keys)
{
    CFTypeRef value = top;
    for (size_t i = 1; value != nullptr && i < keys.size(); ++i)
        value = CFGetTypeID(value) == CFDictionaryGetTypeID()
            ? CFDictionaryGetValue(static_cast<CFDictionaryRef>(value), MakeString(keys[i]).get())
            : nullptr;
    return value;
}

void Get(const Arguments& arguments)
{
    const auto keys = SplitEntry(arguments.words[2]);
    const auto top = CopyTopValue(arguments, keys[0]);
    const CFTypeRef value = FindEntry(top.get(), keys);
    if (value == nullptr)
        Fail("no entry " + arguments.words[2]);
    if (CFGetTypeID(value) == CFDictionaryGetTypeID())
        Fail(arguments.words[2] + " is a dictionary; 'vlprefs list' shows what is in it");
    puts(Describe(value).text.c_str());
}

void ListValue(const std::string& path, CFTypeRef value)
{
    if (CFGetTypeID(value) == CFDictionaryGetTypeID()) {
        const auto dictionary = static_cast<CFDictionaryRef>(value);
        const auto count = static_cast<size_t>(CFDictionaryGetCount(dictionary));
        std::vector<const void*> keys(count);
        std::vector<const void*> values(count);
        CFDictionaryGetKeysAndValues(dictionary, keys.data(), values.data());
        for (size_t i = 0; i < count; ++i)
            ListValue(path + "/" + TextOf(keys[i]), values[i]);
        if (count != 0)
            return;
    }
    const Value described = Describe(value);
    printf("%s\t%s\t%s\n", Escape(path).c_str(), described.type, Escape(described.text).c_str());
}

void List(const Arguments& arguments)
{
    const auto application = MakeString(arguments.words[1]);
    const Owned<CFArrayRef> keys(
        CFPreferencesCopyKeyList(application.get(), arguments.User(), kCFPreferencesCurrentHost));
    const CFIndex count = keys ? CFArrayGetCount(keys.get()) : 0;
    for (CFIndex i = 0; i < count; ++i) {
        const std::string key = TextOf(CFArrayGetValueAtIndex(keys.get(), i));
        if (const auto value = CopyTopValue(arguments, key))
            ListValue(key, value.get());
    }
}

std::vector<UInt8> ParseHex(const std::string& text)
{
    std::vector<UInt8> bytes;
    if (text.size() % 2 != 0
        || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        FailUsage("not pairs of hexadecimal digits: " + text);
    for (size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<UInt8>(std::stoul(text.substr(i, 2), nullptr, 16)));
    if (bytes.empty())
        FailUsage("data of no bytes cannot be stored");
    return bytes;
}

SInt32 ParseInt(const std::string& text)
{
    char* end = nullptr;
    errno = 0;
    const long value = strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || errno != 0 || value < INT_MIN || value > INT_MAX)
        FailUsage("not a number of 32 bits: " + text);
    return static_cast<SInt32>(value);
}

Bool32 Store(PreferenceStore& store, const Arguments& arguments)
{
    const char* entry = arguments.words[2].c_str();
    if (arguments.option == "--int") {
        const SInt32 value = ParseInt(arguments.value);
        return store.SetInt(entry, store.m_user, &value);
    }
    if (arguments.option == "--bool") {
        if (arguments.value != "true" && arguments.value != "false")
            FailUsage("neither true nor false: " + arguments.value);
        const Bool32 value = arguments.value == "true";
        return store.SetBool(entry, store.m_user, &value);
    }
    if (arguments.option == "--data") {
        const std::vector<UInt8> bytes = ParseHex(arguments.value);
        return store.SetBinary(entry, store.m_user, bytes.data(),
                               static_cast<SInt32>(bytes.size()));
    }
    if (arguments.option == "--string")
        return store.SetString(entry, store.m_user, arguments.value.c_str());
    FailUsage("set wants --int, --bool, --string or --data");
}

[[noreturn]] void FailWrite(const Arguments& arguments)
{
    const std::string reason = errno != 0 ? std::string(": ") + strerror(errno) : std::string();
    Fail("cannot write the preferences of " + arguments.words[1] + reason);
}

void Set(const Arguments& arguments)
{
    PreferenceStore store(arguments.words[1].c_str(), arguments.allUsers);
    errno = 0;
    if (!Store(store, arguments))
        FailWrite(arguments);
}

/// A copy of a dictionary without the entry at keys[depth...].
CFTypeRef CopyWithout(CFTypeRef value, const std::vector<std::string>& keys, size_t depth)
{
    const auto dictionary = static_cast<CFDictionaryRef>(value);
    CFMutableDictionaryRef copy = CFDictionaryCreateMutableCopy(kCFAllocatorDefault, 0, dictionary);
    const auto key = MakeString(keys[depth]);
    if (depth + 1 == keys.size()) {
        CFDictionaryRemoveValue(copy, key.get());
    } else {
        const Owned<CFTypeRef> inner(
            CopyWithout(CFDictionaryGetValue(dictionary, key.get()), keys, depth + 1));
        CFDictionarySetValue(copy, key.get(), inner.get());
    }
    return copy;
}

void Delete(const Arguments& arguments)
{
    const auto keys = SplitEntry(arguments.words[2]);
    const auto top = CopyTopValue(arguments, keys[0]);
    if (FindEntry(top.get(), keys) == nullptr)
        Fail("no entry " + arguments.words[2]);
    const Owned<CFTypeRef> rest(keys.size() == 1 ? nullptr : CopyWithout(top.get(), keys, 1));
    const auto application = MakeString(arguments.words[1]);
    CFPreferencesSetValue(MakeString(keys[0]).get(), rest.get(), application.get(),
                          arguments.User(), kCFPreferencesCurrentHost);
    errno = 0;
    if (!CFPreferencesSynchronize(application.get(), arguments.User(), kCFPreferencesCurrentHost))
        FailWrite(arguments);
}

struct Command
{
    const char* name;
    size_t words;
    void (*run)(const Arguments&);
};

const Command kCommands[]
    = { { "get", 3, Get }, { "set", 3, Set }, { "delete", 3, Delete }, { "list", 2, List } };

Arguments ParseArguments(const std::vector<std::string>& list)
{
    Arguments arguments;
    for (size_t i = 0; i < list.size(); ++i) {
        const std::string& word = list[i];
        if (word == "--all-users") {
            arguments.allUsers = true;
        } else if (word == "--int" || word == "--bool" || word == "--string" || word == "--data") {
            if (!arguments.option.empty() || i + 1 == list.size())
                FailUsage("one value, please: " + word);
            arguments.option = word;
            arguments.value = list[++i];
        } else if (word.starts_with("--")) {
            FailUsage("no option " + word);
        } else {
            arguments.words.push_back(word);
        }
    }
    return arguments;
}

int Run(const std::vector<std::string>& list)
{
    if (!list.empty() && (list[0] == "--help" || list[0] == "-h")) {
        fputs(kHelp, stdout);
        return kDone;
    }
    const Arguments arguments = ParseArguments(list);
    if (arguments.words.empty())
        FailUsage("no command");
    for (const Command& command : kCommands) {
        if (arguments.words[0] != command.name)
            continue;
        if (arguments.words.size() != command.words)
            FailUsage("wrong number of arguments for " + arguments.words[0]);
        if (!arguments.option.empty() && command.run != Set)
            FailUsage(arguments.option + " is for set");
        if (arguments.words[1].empty() || arguments.words[1].find('/') != std::string::npos)
            FailUsage("no application identifier: " + arguments.words[1]);
        command.run(arguments);
        return kDone;
    }
    FailUsage("no command " + arguments.words[0]);
}

} // namespace

int main(int argc, char** argv)
{
    return RunTool("vlprefs", [&] { return Run(std::vector<std::string>(argv + 1, argv + argc)); });
}
