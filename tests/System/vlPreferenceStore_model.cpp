// SPDX-License-Identifier: MIT
// vlPreferenceStore_model.cpp - the store beside a plain second implementation of it and of the service
// below: random operations on several stores in two processes, on files that others write, damage and
// block. Results, log lines, calls of the service in their order, and files must agree.
// VELTRANO_OPERATIONS sets the number of operations, VELTRANO_SEED another run.
#include "System/vlModuleLog.h"
#include "System/vlPreferenceStore.h"
#include "tests/support/KeptLeaks.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <set>
#include <sys/socket.h>
#include <sys/stat.h>
#include <variant>

using namespace Veltrano;

// --- the calls of the service: a line each in the log, among the store's own ---

template <class... Arguments> static void Note(const char* format, Arguments... arguments)
{
    LogPrintRaw(format, CFStringGetCStringPtr(arguments, kCFStringEncodingUTF8)...);
}

#define REAL(routine) reinterpret_cast<decltype(&routine)>(dlsym(RTLD_NEXT, "vlp_" #routine))
const CFStringRef kAny = kCFPreferencesAnyUser;
const CFStringRef kHost = kCFPreferencesCurrentHost;

CFTypeRef
CFPreferencesCopyValue(CFStringRef key, CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("copy %s, %s, %s\n", key, app, user);
    return REAL(CFPreferencesCopyValue)(key, app, user, host);
}

void CFPreferencesSetValue(
    CFStringRef key, CFTypeRef value, CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("set %s, %s, %s\n", key, app, user);
    REAL(CFPreferencesSetValue)(key, value, app, user, host);
}

Boolean CFPreferencesSynchronize(CFStringRef app, CFStringRef user, CFStringRef host)
{
    Note("synchronize %s, %s\n", app, user);
    return REAL(CFPreferencesSynchronize)(app, user, host);
}

CFMutableDictionaryRef
CFDictionaryCreateMutableCopy(CFAllocatorRef allocator, CFIndex capacity, CFDictionaryRef dict)
{
    LogPrintRaw("copy dictionary, room for %ld\n", capacity);
    return REAL(CFDictionaryCreateMutableCopy)(allocator, capacity, dict);
}

namespace {

template <class... Parts> std::string Join(const Parts&... parts)
{
    std::ostringstream text;
    (text << ... << parts);
    return text.str();
}

// --- values ---

// Bytes and how a file holds them.
const struct Data
{
    const char *bytes, *base64;
} kData[] = { { "x", "eA==" },
              { "\xff\1\2~", "/wECfg==" },
              { "forty bytes of data, forty bytes of data",
                "Zm9ydHkgYnl0ZXMgb2YgZGF0YSwgZm9ydHkgYnl0ZXMgb2YgZGF0YQ==" } };

struct Value
{
    using Dict = std::map<std::string, Value>;
    std::variant<SInt64, double, bool, std::string, const Data*, Dict> is;
    friend bool operator==(const Value& a, const Value& b) { return a.is == b.is; }
};
using Dict = Value::Dict;
using Slot = std::optional<Value>; // or none

const Dict* AsDict(const Slot& slot)
{
    return slot ? std::get_if<Dict>(&slot->is) : nullptr;
}

Slot Find(const Dict* dict, const std::string& key)
{
    return dict != nullptr && dict->count(key) != 0 ? Slot(dict->at(key)) : Slot();
}

CFTypeID TypeOf(const Value& value)
{
    const CFTypeID types[] = { CFNumberGetTypeID(), CFNumberGetTypeID(), CFBooleanGetTypeID(),
                               CFStringGetTypeID(), CFDataGetTypeID(),   CFDictionaryGetTypeID() };
    return types[value.is.index()];
}

struct Xml
{
    // clang-format off
    std::string operator()(SInt64 n) { return Join("<integer>", n, "</integer>\n"); }
    std::string operator()(double x) { return Join("<real>", x, "</real>\n"); }
    std::string operator()(bool b) { return b ? "<true/>\n" : "<false/>\n"; }
    std::string operator()(const std::string& text) { return "<string>" + text + "</string>\n"; }
    std::string operator()(const Data* data) { return Join("<data>", data->base64, "</data>\n"); }
    std::string operator()(const Value& value) { return std::visit(*this, value.is); }
    // clang-format on
    std::string operator()(const Dict& dict)
    {
        std::string xml = "<dict>\n";
        for (const auto& [key, value] : dict)
            xml += "<key>" + key + "</key>\n" + (*this)(value);
        return xml + "</dict>\n";
    }
};

// The elements of a file, each with its key in front, whatever their order.
std::multiset<std::string> Elements(const std::string& xml)
{
    std::istringstream lines(xml.substr(std::min(xml.find("<dict>"), xml.size())));
    std::multiset<std::string> elements;
    std::string key;
    for (std::string line; getline(lines, line) && line != "</plist>";) {
        line.erase(0, line.find('<'));
        if (line.starts_with("<key>"))
            key = line;
        else
            elements.insert(std::exchange(key, "") + line);
    }
    return elements;
}

// --- the service, as one process sees it ---

struct File
{
    enum { kMissing, kGood, kDamaged, kUnreadable } state = kMissing;
    Dict values; // of a good one
    bool isBlocked = false; // cannot be written
    int nWrites = 0; // by anybody
    int nAside = 0; // damaged ones that a write moved aside
};
using Domain = std::pair<std::string, CFStringRef>; // application, user
std::map<Domain, File> sFiles;

std::string NameOf(const Domain& domain)
{
    const bool isAny = domain.second == kAny;
    return domain.first + (isAny ? ", kCFPreferencesAnyUser\n" : ", kCFPreferencesCurrentUser\n");
}

struct Service
{
    struct View
    {
        Dict base, ours; // as last read; as to be written
        std::map<std::string, Slot>
            plain; // set since the last synchronize, other than dictionaries
        bool mustLook = true;
    };
    std::map<Domain, View> views;
    std::string lines; // of the log

    static Slot Merge(const Slot& base, const Slot& ours, const Slot& disk)
    {
        if (ours == base)
            return disk;
        if (!AsDict(ours) || (!AsDict(base) && !AsDict(disk)))
            return ours;
        Dict merged = AsDict(disk) ? *AsDict(disk) : Dict();
        for (const Dict* dict : { AsDict(base), AsDict(ours) }) {
            for (const auto& [key, value] : dict ? *dict : Dict()) {
                const Slot onDisk = Find(AsDict(disk), key);
                if (const Slot entry
                    = Merge(Find(AsDict(base), key), Find(AsDict(ours), key), onDisk))
                    merged[key] = *entry;
                else
                    merged.erase(key);
            }
        }
        return Value { merged };
    }

    static void SetIn(Dict& dict, const std::string& key, const Slot& value)
    {
        dict.erase(key);
        if (value)
            dict[key] = *value;
    }

    View& Look(const Domain& domain)
    {
        View& view = views[domain];
        const File& file = sFiles[domain];
        view.mustLook = false;
        const bool isPending = view.base != view.ours || !view.plain.empty();
        if (isPending && file.state == File::kUnreadable)
            return view;
        view.ours = *AsDict(Merge(Value { view.base }, Value { view.ours }, Value { file.values }));
        view.base = file.values;
        for (const auto& [key, value] : view.plain)
            SetIn(view.ours, key, value);
        return view;
    }

    Slot Copy(const std::string& key, const Domain& domain)
    {
        lines += "copy " + key + ", " + NameOf(domain);
        return Find(&Look(domain).ours, key);
    }

    void Set(const std::string& key, const Slot& value, const Domain& domain)
    {
        lines += "set " + key + ", " + NameOf(domain);
        View& view = views[domain].mustLook ? Look(domain) : views[domain];
        SetIn(view.ours, key, value);
        view.plain.erase(key);
        if (!AsDict(value))
            view.plain[key] = value;
    }

    std::unique_ptr<struct ModelStore> Make(const char* name, Bool32 anyUser);
    void Transfer(const std::string& key, const Domain& from, const Domain& to)
    {
        Set("A", Copy(key, from), to);
    }

    bool Synchronize(const Domain& domain)
    {
        lines += "synchronize " + NameOf(domain);
        if (domain.first.find('/') != std::string::npos)
            return false;
        File& file = sFiles[domain];
        View& view = views[domain];
        const bool isPending = view.base != view.ours || !view.plain.empty();
        if (isPending)
            Look(domain);
        view.mustLook = true;
        if (isPending && file.state == File::kUnreadable)
            return false;
        if (view.ours != view.base && file.isBlocked)
            return false;
        view.plain.clear();
        if (view.ours == view.base)
            return true;
        const int nAside = file.nAside + (file.state == File::kDamaged);
        const bool isEmpty = view.ours.empty(); // then the file is removed
        file = { isEmpty ? File::kMissing : File::kGood, view.ours, false, file.nWrites + 1,
                 nAside };
        view.base = view.ours;
        return true;
    }
};

// --- the store ---

// What passing over the first byte of a character leaves is no text, nor is a byte 255.
bool IsText(const std::string& text)
{
    return text.find('\xff') == text.npos && (text.empty() || (text[0] & 0xC0) != 0x80);
}

struct ModelStore
{
    ModelStore(Service* model, const char* name, Bool32 anyUser)
        : service(model)
        , m_user(anyUser ? kAny : kCFPreferencesCurrentUser)
    {
        Initialize(name, anyUser);
    }

    Service* service;
    CFStringRef m_user;
    std::string application;
    Bool32 m_valid = 0, m_verbose = 1;

    template <class... Parts> void Print(const Parts&... parts)
    {
        service->lines += Join("> ", parts...).substr(0, 258);
    }
    template <class... Parts> void Trace(const Parts&... parts)
    {
        if (m_verbose)
            Print(parts...);
    }
    bool IsEntry(const std::string& text)
    {
        if (!IsText(text))
            Print("GetEntryString: CFString NULL\n");
        return IsText(text);
    }
    bool IsRefused(const char* operation, const char* entry)
    {
        if (!m_valid || entry == nullptr)
            Print(operation, "Not initialized or invalid Entry (", entry ? "#" : "(nil)", ").\n");
        return !m_valid || entry == nullptr;
    }
    // The first component, and what follows its "/" or null.
    static std::pair<std::string, const char*> Split(const char* path)
    {
        const char* slash = strchr(path, '/');
        return { std::string(path, slash ? slash : path + strlen(path)),
                 slash ? slash + 1 : slash };
    }

    Bool32 Initialize(const char* name, Bool32 anyUser)
    {
        if (name == nullptr)
            return 0;
        Trace("Initialize: App '", name, "'\n");
        if (!IsEntry(name))
            return 0;
        application = name;
        m_user = anyUser ? kAny : kCFPreferencesCurrentUser;
        m_valid = service->Synchronize({ application, m_user });
        Trace("Initialize: Synchronizing ", m_valid, "\n");
        return m_valid;
    }

    Bool32 SetSynchronize(const std::string& key, const Slot& value, CFStringRef user)
    {
        service->Set(key, value, { application, user });
        const Bool32 ok = service->Synchronize({ application, user });
        Trace("SetSynchronizeProperty: Synchronizing ", ok, "\n");
        return ok;
    }
    Dict CopyDict(const Slot& slot)
    {
        if (AsDict(slot))
            service->lines += Join("copy dictionary, room for ", AsDict(slot)->size() + 1, "\n");
        return AsDict(slot) ? *AsDict(slot) : Dict();
    }
    bool SetInDict(Dict& dict, const char* path, const Slot& value)
    {
        Trace("GetDictEntryValue: Setting Entry '", path, "'\n");
        const auto [key, rest] = Split(path);
        if (!IsEntry(key) || (rest == nullptr && !value))
            return false;
        if (rest == nullptr)
            return dict[key] = *value, true;
        Dict inner = CopyDict(Find(&dict, key));
        const bool isSet = SetInDict(inner, rest, value);
        dict[key] = { inner };
        return isSet;
    }
    Bool32 Put(const char* entry, const Slot& value, CFStringRef user)
    {
        if (IsRefused("PutObject: ", entry))
            return 0;
        Trace("PutObject: Setting Entry '", entry, "'\n");
        const auto [key, rest] = Split(entry);
        if (!IsEntry(key) || rest == nullptr)
            return IsText(key) ? SetSynchronize(key, value, user) : 0;
        Dict dict = CopyDict(service->Copy(key, { application, user }));
        if (SetInDict(dict, rest, value))
            return SetSynchronize(key, Value { dict }, user);
        Print("PutObject: Out of memory.");
        return 0;
    }
    Bool32 SetBinary(const char* entry, CFStringRef user, const void* bytes, SInt32 n)
    {
        if (bytes != nullptr && n < 0)
            return Print("SetBinary: CFData NULL\n"), 0;
        Slot value;
        for (const Data& data : kData)
            if (bytes != nullptr && static_cast<size_t>(n) == strlen(data.bytes))
                value = Value { &data };
        return Put(entry, value, user);
    }
    Bool32 SetString(const char* entry, CFStringRef user, const char* text)
    {
        if (text != nullptr && !IsText(text))
            return Print("SetString: CFString NULL\n"), 0;
        return Put(entry, text != nullptr ? Slot(Value { std::string(text) }) : Slot(), user);
    }
    Bool32 SetInt(const char* entry, CFStringRef user, const SInt32* value)
    {
        return Put(entry, value != nullptr ? Slot(Value { SInt64(*value) }) : Slot(), user);
    }
    Bool32 SetBool(const char* entry, CFStringRef user, const Bool32* value)
    {
        return Put(entry, value != nullptr ? Slot(Value { *value != 0 }) : Slot(), user);
    }

    Slot GetObjectOfType(const char* entry, CFTypeID type, CFStringRef user)
    {
        if (IsRefused("GetObjectOfType: ", entry))
            return {};
        const auto [key, rest] = Split(entry);
        if (!IsEntry(key))
            return {};
        Trace("GetObjectOfType: Getting Entry '", key, "'\n");
        const Slot value = service->Copy(key, { application, user });
        if (!value)
            return {};
        Trace("GetObjectOfType: Found CFType # ID #\n");
        if (rest == nullptr)
            return TypeOf(*value) == type ? value : Slot();
        if (!AsDict(value))
            return {};
        Trace("GetObjectOfType: Entering Dictionary #\n");
        return *rest != 0 ? GetInDict(*AsDict(value), rest + 1) : Slot();
    }
    Slot GetInDict(const Dict& dict, const char* path)
    {
        if (path == nullptr)
            return Print("GetDictEntryValue: Attempt to get Dictionary as value\n"), Slot();
        const auto [key, rest] = Split(path);
        if (!IsEntry(key))
            return {};
        Trace("GetDictEntryValue: Getting Entry '", key, "'\n");
        Slot result = Find(&dict, key);
        if (result)
            Trace("GetDictEntryValue: Found CFType # ID #\n");
        if (AsDict(result)) {
            Trace("GetDictEntryValue: Entering Dictionary #\n");
            result = GetInDict(Dict(*AsDict(result)), rest);
        }
        if (result)
            Trace("GetDictEntryValue: Returning CFType # ID #\n");
        else
            Print("GetDictEntryValue: Returning NULL CFType\n");
        return result;
    }
    template <class Type>
    std::optional<Type> Get(const char* entry, CFTypeID type, CFStringRef user)
    {
        const Slot found = GetObjectOfType(entry, type, user);
        const Type* value = found ? std::get_if<Type>(&found->is) : nullptr;
        return value != nullptr ? std::optional(*value) : std::nullopt;
    }
    Bool32 GetBinary(const char* entry, CFStringRef user, void* buffer, UInt32* size)
    {
        const auto data = Get<const Data*>(entry, CFDataGetTypeID(), user);
        if (!data)
            return 0;
        const UInt32 nRoom = std::exchange(*size, static_cast<UInt32>(strlen((*data)->bytes)));
        if (buffer == nullptr || nRoom < *size) {
            Print("GetBinary: buffer null or overflow (", *size, " > ", nRoom, ")\n");
            return 0;
        }
        memcpy(buffer, (*data)->bytes, *size);
        Trace("GetBinary: ", *size, " bytes copied\n");
        return 1;
    }
    std::string GetString(const char* entry, CFStringRef user, const char* lpszDefault)
    {
        const auto text = Get<std::string>(entry, CFStringGetTypeID(), user);
        Trace("GetString: result '", text.value_or(lpszDefault), "'\n");
        return text.value_or(lpszDefault);
    }
    Bool32 GetBool(const char* entry, CFStringRef user, Bool32 bDefault)
    {
        const auto found = Get<bool>(entry, CFBooleanGetTypeID(), user);
        const Bool32 result = found ? *found : bDefault;
        Trace("GetBool: result '", result ? "Yes" : "No", "'\n");
        return result;
    }
    SInt32 GetInt(const char* entry, CFStringRef user, SInt32 nDefault)
    {
        const Slot found = GetObjectOfType(entry, CFNumberGetTypeID(), user);
        SInt64 result = nDefault;
        if (found && found->is.index() == 0)
            result = std::clamp<SInt64>(std::get<SInt64>(found->is), INT32_MIN, INT32_MAX);
        else if (found && found->is.index() == 1)
            result = static_cast<SInt32>(std::get<double>(found->is));
        Trace("GetInt: result ", result, "\n");
        return static_cast<SInt32>(result);
    }
};

std::unique_ptr<ModelStore> Service::Make(const char* name, Bool32 anyUser)
{
    return std::make_unique<ModelStore>(this, name, anyUser);
}

// --- operations ---

// The calls of the real service, as the model has them.
struct RealService
{
    static CFStringRef Str(const std::string& text)
    {
        return __CFStringMakeConstantString(text.c_str());
    }
    auto Make(const char* name, Bool32 anyUser)
    {
        return std::make_unique<PreferenceStore>(name, anyUser);
    }
    void Transfer(const std::string& key, const Domain& from, const Domain& to)
    {
        const CFTypeRef value
            = CFPreferencesCopyValue(Str(key), Str(from.first), from.second, kHost);
        CFPreferencesSetValue(Str("A"), value, Str(to.first), to.second, kHost);
        if (value != nullptr)
            CFRelease(value);
    }
    bool Synchronize(const Domain& domain)
    {
        return CFPreferencesSynchronize(Str(domain.first), domain.second, kHost);
    }
};

// clang-format off
enum Kind {
    kSetInt, kSetBool, kSetString, kSetBinary, kGetInt, kGetBool, kGetString, kGetBinary, kGetObject,
    kTwice, // all of these are counted twice: they come more often
    kInitialize = 2 * kTwice, kRemake, kVerbose,
    kTransfer, kSynchronize, // the service's own calls
    kWriteFile, kDamage, kUnreadable, kBlock, // what other programs do
    kKinds
};

std::string Text(const std::string& text) { return text; }
std::string Text(const String& text) { return TextOf(text); }
std::string TypeName(const Slot& found) { return found ? Join(TypeOf(*found)) : "none"; }
std::string TypeName(CFTypeRef found) { return found ? Join(CFGetTypeID(found)) : "none"; }
void Release(const Slot&) { }
void Release(CFTypeRef found) { if (found) CFRelease(found); }
// clang-format on

// What an operation needs, at random: the same from each copy.
struct Draw
{
    explicit Draw(unsigned seed)
        : random(seed)
        , kind(static_cast<int>(random() % kKinds))
        , process(OneIn(2))
        , store(random() % 3)
        , domain(NextDomain())
    {
    }

    bool OneIn(unsigned n) { return random() % n == 0; }
    template <class Item, size_t n> const Item& Pick(const Item (&items)[n])
    {
        return items[random() % n];
    }

    const char* Entry(bool isGetter)
    {
        static const char* const kComponents[] = { "A", "B", "B", "C", "", "é", "xA", "漢" };
        entry = Pick(kComponents);
        for (int i = Pick({ 0, 0, 1, 1, 1, 2, 3 }), n = i; i > 0; --i)
            entry += Join('/', i == n && isGetter && !OneIn(8) ? "?" : "", Pick(kComponents));
        entry += OneIn(50) ? "\xff" : OneIn(50) ? "/" : "";
        return OneIn(50) ? nullptr : entry.c_str();
    }
    CFStringRef User(CFStringRef own)
    {
        return Pick({ kAny, kCFPreferencesCurrentUser, own, own, own });
    }
    SInt32 Number() { return Pick<SInt32>({ INT32_MIN, -1, 0, 1, 2, 3, 4, 40, INT32_MAX }); }
    const char* Name()
    {
        return Pick<const char*>({ "one", "one", "two", "two", "no/place", nullptr, "bad \xff" });
    }
    Domain NextDomain()
    {
        return { OneIn(2) ? "one" : "two", OneIn(2) ? kAny : kCFPreferencesCurrentUser };
    }
    Slot NextValue(int depth)
    {
        static const std::string kPlain = "plain", kWide = "漢";
        static const Value kValues[] = { { SInt64(1) }, { SInt64(1) << 40 }, { 1.5 },  { true },
                                         { kData },     { kPlain },          { kWide } };
        Dict dict;
        for (int i = OneIn(3) ? 0 : 3; i > 0 && depth > 0; --i)
            dict[Pick({ "A", "B", "C" })] = *NextValue(depth - 1);
        return dict.empty() ? Pick(kValues) : Value { dict };
    }

    std::mt19937 random;
    int kind, process;
    size_t store;
    Domain domain;
    std::string entry;
};

// Performs an operation on the model or on the real thing; the result as text.
template <class Stores, class Services>
std::string Perform(Stores& stores, Services& service, Draw draw)
{
    auto& store = *stores[draw.store];
    const int kind = draw.kind < kInitialize ? draw.kind % kTwice : draw.kind;
    const bool isOther = draw.OneIn(5);
    const CFStringRef user = draw.User(store.m_user);
    const char* entry = draw.Entry(kind >= kGetInt);
    const SInt32 number = draw.Number();
    const Data& data = draw.Pick(kData);
    std::string bytes = data.bytes;
    UInt32 size = static_cast<UInt32>(std::clamp<SInt32>(number, 0, 64));
    std::string buffer(64, '.');
    SInt32 result = 0;
    switch (kind) {
    case kSetInt:
        return Join(store.SetInt(entry, user, isOther ? nullptr : &number));
    case kSetBool:
        return Join(store.SetBool(entry, user, isOther ? nullptr : &number));
    case kSetString:
        return Join(store.SetString(
            entry, user, draw.Pick<const char*>({ nullptr, "plain", "漢", "", "\xff" })));
    case kSetBinary:
        size = static_cast<UInt32>(bytes.size());
        result = store.SetBinary(
            entry, user, isOther ? nullptr : bytes.data(),
            draw.Pick<SInt32>({ -1, 0, static_cast<SInt32>(size), static_cast<SInt32>(size) }));
        bytes.assign(size, '#'); // the service has a copy
        return Join(result);
    case kGetInt:
        return Join(store.GetInt(entry, user, number));
    case kGetBool:
        return Join(store.GetBool(entry, user, number));
    case kGetString:
        return Text(store.GetString(entry, user, "default"));
    case kGetBinary:
        result = store.GetBinary(entry, user, isOther ? nullptr : buffer.data(), &size);
        return Join(result, ' ', size, buffer);
    case kGetObject: {
        const CFTypeID type
            = draw.Pick({ CFNumberGetTypeID(), CFDictionaryGetTypeID(), CFStringGetTypeID() });
        const auto found = store.GetObjectOfType(entry, type, user);
        const std::string name = TypeName(found);
        return Release(found), name;
    }
    case kInitialize:
        return Join(store.Initialize(draw.Name(), isOther));
    case kRemake:
        stores[draw.store] = service.Make(draw.Name(), isOther);
        return Join(stores[draw.store]->m_valid);
    case kVerbose:
        return Join(store.m_verbose = !isOther);
    case kTransfer:
        return service.Transfer(isOther ? "é" : "A", draw.NextDomain(), draw.domain), "";
    case kSynchronize:
        return Join(service.Synchronize(draw.domain));
    default:
        return "";
    }
}

// What another program does to a file, in the model.
void Change(File& file, Draw draw)
{
    if (draw.kind == kBlock) {
        file.isBlocked = !file.isBlocked;
        return;
    }
    file.state = draw.kind == kWriteFile ? File::kGood
        : draw.kind == kDamage           ? File::kDamaged
                                         : File::kUnreadable;
    ++file.nWrites;
    Service::SetIn(file.values, draw.Pick({ "A", "é" }),
                   draw.OneIn(4) ? Slot() : draw.NextValue(3));
    if (draw.kind != kWriteFile)
        file.values.clear();
}

// The same on disk, written in place.
void Change(const std::string& path, const File& file, int kind)
{
    const std::string changed = path + (kind == kBlock ? ".lock" : "");
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    if (kind == kBlock || kind == kUnreadable || std::filesystem::is_directory(path))
        std::filesystem::remove_all(changed);
    if (kind == kBlock ? file.isBlocked : kind == kUnreadable)
        std::filesystem::create_directories(changed + "/folder");
    if (kind == kWriteFile || kind == kDamage)
        WriteFile(path,
                  kind == kDamage ? "damaged" : "<plist>\n" + Xml()(file.values) + "</plist>\n");
}

// One of two processes. Both go through the same operations and models; each performs its own operations.
class Process
{
public:
    Process(const TemporaryHome& home, int number, int channel, std::string suffix)
        : m_home(home)
        , m_number(number)
        , m_channel(channel)
        , m_suffix(std::move(suffix))
    {
        for (int i = 0; i < 6; ++i) {
            m_models[i % 2][i / 2] = m_services[i % 2].Make(nullptr, 0);
            m_stores[i / 2] = m_service.Make(nullptr, 0);
        }
        ModuleLog::open("> ", nullptr, kLogAppend, LogPath().c_str());
        TakeLog();
    }
    ~Process() { ModuleLog::close(); }

    // False after a difference, or when the other process has ended.
    bool Run(unsigned seed, unsigned nOperations)
    {
        char token = 0;
        for (unsigned i = 0; i < nOperations; ++i) {
            const Draw draw(seed + i);
            SCOPED_TRACE(Join("operation ", i, ", kind ", draw.kind, ", ", NameOf(draw.domain)));
            m_services[draw.process].lines.clear();
            if (draw.kind >= kWriteFile)
                Change(sFiles[draw.domain], draw);
            const std::string expected
                = Perform(m_models[draw.process], m_services[draw.process], draw);
            if (draw.process != m_number) {
                if (read(m_channel, &token, 1) != 1)
                    return false;
                continue;
            }
            if (draw.kind >= kWriteFile)
                Change(FilePath(draw.domain), sFiles[draw.domain], draw.kind);
            EXPECT_EQ(expected, Perform(m_stores, m_service, draw));
            EXPECT_EQ(m_services[m_number].lines, TakeLog());
            EXPECT_EQ(m_models[m_number][draw.store]->m_valid, m_stores[draw.store]->m_valid);
            EXPECT_EQ(m_models[m_number][draw.store]->m_user, m_stores[draw.store]->m_user);
            for (const auto& [domain, file] : sFiles)
                CompareFile(FilePath(domain), file);
            if (testing::Test::HasFailure() || write(m_channel, &token, 1) != 1)
                return false;
        }
        return true;
    }

private:
    std::string LogPath() const { return m_home.Path(Join("log", m_number)); }

    // The lines since the last call, with addresses and type numbers masked.
    std::string TakeLog() const
    {
        static const std::regex kAddress("0x[0-9a-f]+"), kType(" ID [0-9]+");
        const std::string text = std::regex_replace(ReadFile(LogPath()), kAddress, "#");
        std::filesystem::resize_file(LogPath(), 0);
        return std::regex_replace(text, kType, " ID #");
    }

    std::string FilePath(const Domain& domain) const
    {
        const bool isAny = domain.second == kAny;
        return m_home.Path(isAny ? "etc/preferences/" : "config/preferences/ByHost/") + domain.first
            + (isAny ? ".plist" : m_suffix);
    }

    void CompareFile(const std::string& path, const File& file)
    {
        struct stat info = {};
        stat(path.c_str(), &info);
        auto& [nWrites, changed] = m_seen[path];
        EXPECT_TRUE(nWrites != file.nWrites || changed == info.st_mtim.tv_nsec) << "written twice";
        if (nWrites == file.nWrites)
            return;
        nWrites = file.nWrites;
        changed = info.st_mtim.tv_nsec;
        EXPECT_EQ(file.state != File::kMissing, info.st_ino != 0) << path;
        EXPECT_EQ(file.state == File::kUnreadable, S_ISDIR(info.st_mode)) << path;
        const std::string text = ReadFile(path);
        if (file.state == File::kGood)
            EXPECT_EQ(Elements(Xml()(file.values)), Elements(text)) << path;
        else
            EXPECT_EQ(file.state == File::kDamaged ? "damaged" : "", text) << path;
        const auto aside = [&](int n) { return Join(path, ".damaged-", n); };
        EXPECT_TRUE(file.nAside == 0 || ReadFile(aside(file.nAside)) == "damaged") << path;
        EXPECT_FALSE(std::filesystem::exists(aside(file.nAside + 1))) << path;
    }

    const TemporaryHome& m_home;
    const int m_number, m_channel;
    const std::string m_suffix; // of a current user's file
    Service m_services[2];
    std::unique_ptr<ModelStore> m_models[2][3];
    RealService m_service;
    std::unique_ptr<PreferenceStore> m_stores[3];
    std::map<std::string, std::pair<int, long>> m_seen; // writes and stamp of a file
};

// What follows the application in the name of a current user's file.
std::string FindSuffix(const TemporaryHome& home)
{
    PreferenceStore store("probe", 0);
    const SInt32 one = 1;
    EXPECT_EQ(1, store.SetInt("k", store.m_user, &one));
    std::string suffix;
    for (const auto& entry :
         std::filesystem::directory_iterator(home.Path("config/preferences/ByHost")))
        if (entry.path().extension() == ".plist")
            suffix = entry.path().filename().string().substr(strlen("probe"));
    return suffix;
}

TEST(PreferenceStore, AgreesWithTheModel)
{
    const auto nOperations = static_cast<unsigned>(FromEnvironment("VELTRANO_OPERATIONS", 5000));
    const auto nSeed = static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1));
    const TemporaryHome home;
    const std::string suffix = FindSuffix(home);
    int channels[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, channels));
    fflush(nullptr);
    const pid_t other = fork();
    const int number = other == 0 ? 1 : 0;
    close(channels[1 - number]);
    const bool isGood = Process(home, number, channels[number], suffix).Run(nSeed, nOperations);
    close(channels[number]);
    if (other == 0)
        _exit(isGood ? 0 : 1);
    int status = 0;
    EXPECT_EQ(other, waitpid(other, &status, 0));
    EXPECT_TRUE(isGood && status == 0);
    printf("%u operations, differences: %d\n", nOperations, !isGood || status != 0);
}

TEST(PreferenceStore, KeptAConvertedTextCountsItsZero)
{
    const TemporaryHome home;
    PreferenceStore store("roman", 0);
    store.SetString("converted", store.m_user, "\xc3\xa9t\xc3\xa9");
    store.SetString("unknown", store.m_user, "\xe6\xbc\xa2");
    store.m_encoding = kCFStringEncodingMacRoman;
    const auto get
        = [&store](const char* entry) { return store.GetString(entry, store.m_user, "x"); };
    EXPECT_TEXT(std::string("\x8et\x8e\0", 4), get("converted"));
    EXPECT_TEXT("x", get("unknown"));
}

TEST(PreferenceStore, APathOf5000Components)
{
    const TemporaryHome home;
    PreferenceStore store("deep", 0);
    std::string path = "deep";
    for (int i = 1; i < 5000; ++i)
        path += "/k";
    const SInt32 one = 1;
    EXPECT_EQ(store.SetInt(path.c_str(), store.m_user, &one), 1);
    EXPECT_EQ(store.GetInt(("deep/x" + path.substr(5)).c_str(), store.m_user, 0), 1);
}

} // namespace
