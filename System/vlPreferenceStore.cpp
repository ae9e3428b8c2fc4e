// SPDX-License-Identifier: MIT
// vlPreferenceStore.cpp - entry paths, property-list values and the lines about them.

#include "System/vlPreferenceStore.h"

#include "System/vlModuleLog.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <type_traits>

namespace Veltrano {

namespace {

const char kGettingEntry[] = "%s Getting Entry '%@'\n"; // the object's text is shown

struct Release
{
    void operator()(CFTypeRef object) const { CFRelease(object); }
};

// Owns one reference, or null. Needed because String operations may throw.
template <class Reference> using Owned = std::unique_ptr<std::remove_pointer_t<Reference>, Release>;

bool IsDictionary(CFTypeRef value)
{
    return value != nullptr && CFGetTypeID(value) == CFDictionaryGetTypeID();
}

int TypeOf(CFTypeRef value) { return static_cast<int>(CFGetTypeID(value)); }

// Creates a mutable dictionary: a copy with room for one more entry, or an empty one if the value is not a
// dictionary.
CFMutableDictionaryRef CreateDictionary(CFTypeRef value)
{
    if (IsDictionary(value)) {
        const CFDictionaryRef dict = static_cast<CFDictionaryRef>(value);
        return CFDictionaryCreateMutableCopy(kCFAllocatorDefault, CFDictionaryGetCount(dict) + 1,
                                             dict);
    }
    return CFDictionaryCreateMutable(kCFAllocatorDefault, 1, &kCFTypeDictionaryKeyCallBacks,
                                     &kCFTypeDictionaryValueCallBacks);
}

CFTypeRef FindEntry(CFDictionaryRef dict, CFStringRef key)
{
    const void* entry = nullptr;
    CFDictionaryGetValueIfPresent(dict, key, &entry);
    return entry;
}

// Sets a value and checks it: without memory CFDictionarySetValue changes nothing and reports nothing.
bool SetEntry(CFMutableDictionaryRef dict, CFStringRef key, CFTypeRef value)
{
    CFDictionarySetValue(dict, key, value);
    return FindEntry(dict, key) == value;
}

// Replaces the value under a key by a mutable dictionary.
// KEPT: its creation reference is never released. Leak checkers suppress this function by name, so it must
// not be inlined.
[[gnu::noinline]] CFMutableDictionaryRef AddInnerDictionary(CFMutableDictionaryRef parent,
                                                            CFStringRef key)
{
    Owned<CFMutableDictionaryRef> dict(CreateDictionary(FindEntry(parent, key)));
    return dict != nullptr && SetEntry(parent, key, dict.get()) ? dict.release() : nullptr;
}

// As GetObjectOfType, but checks the type at every depth.
template <class Reference>
Owned<Reference>
GetTyped(PreferenceStore& store, const char* entry, CFTypeID type, CFStringRef user)
{
    Owned<CFTypeRef> value(store.GetObjectOfType(entry, type, user));
    const bool bFits = value != nullptr && CFGetTypeID(value.get()) == type;
    return Owned<Reference>(bFits ? static_cast<Reference>(value.release()) : nullptr);
}

} // namespace

// Life

PreferenceStore::PreferenceStore(const char* application, Bool32 anyUser)
    : m_application(nullptr)
    , m_user(anyUser ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser)
    , m_valid(0)
    , m_verbose(1)
    , m_encoding(CFStringGetSystemEncoding())
{
    if (application != nullptr)
        Initialize(application, anyUser);
}

PreferenceStore::~PreferenceStore() { Owned<CFStringRef>(m_application).reset(); }

Bool32 PreferenceStore::Initialize(const char* application, Bool32 anyUser)
{
    if (application == nullptr)
        return 0;
    LogPrintIf(m_verbose, "%s App '%s'\n", "Initialize:", application);
    const CFStringRef name = GetEntryString(application);
    if (name == nullptr)
        return 0;
    const Owned<CFStringRef> old(m_application);
    m_application = name;
    m_user = anyUser ? kCFPreferencesAnyUser : kCFPreferencesCurrentUser;
    m_valid = CFPreferencesSynchronize(m_application, m_user, kCFPreferencesCurrentHost) ? 1 : 0;
    LogPrintIf(m_verbose, "%s Synchronizing %d\n", "Initialize:", static_cast<int>(m_valid));
    return m_valid;
}

// Setters

Bool32
PreferenceStore::SetBinary(const char* entry, CFStringRef user, const void* bytes, SInt32 nLength)
{
    if (bytes == nullptr || nLength == 0)
        return PutObject(entry, nullptr, user, 1);
    // No copy: the service copies the bytes.
    const CFDataRef data = CFDataCreateWithBytesNoCopy(
        kCFAllocatorDefault, static_cast<const UInt8*>(bytes), nLength, kCFAllocatorNull);
    if (data != nullptr)
        return PutObject(entry, data, user, 1);
    LogPrint("SetBinary: CFData NULL\n");
    return 0;
}

Bool32 PreferenceStore::SetString(const char* entry, CFStringRef user, const char* lpsz)
{
    if (lpsz == nullptr)
        return PutObject(entry, nullptr, user, 1);
    if (const auto text = CFStringCreateWithCString(kCFAllocatorDefault, lpsz, m_encoding))
        return PutObject(entry, text, user, 1);
    LogPrint("SetString: CFString NULL\n");
    return 0;
}

Bool32 PreferenceStore::SetInt(const char* entry, CFStringRef user, const SInt32* value)
{
    if (value == nullptr)
        return PutObject(entry, nullptr, user, 1);
    const SInt32 copy = *value;
    if (const auto number = CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &copy))
        return PutObject(entry, number, user, 1);
    LogPrint("SetInt: CFNumber NULL\n");
    return 0;
}

Bool32 PreferenceStore::SetBool(const char* entry, CFStringRef user, const Bool32* value)
{
    CFBooleanRef boolean = nullptr;
    if (value != nullptr)
        boolean = *value != 0 ? kCFBooleanTrue : kCFBooleanFalse;
    return PutObject(entry, boolean, user, 0);
}

// Sets the value (may be null) at an entry path. If `release` is set, the value is released in every case.
Bool32
PreferenceStore::PutObject(const char* entry, CFTypeRef value, CFStringRef user, Bool32 release)
{
    Owned<CFTypeRef> owned(release ? value : nullptr);
    if (!m_valid || entry == nullptr) {
        LogPrint("%s Not initialized or invalid Entry (%p).\n",
                 "PutObject:", static_cast<const void*>(entry));
        return 0;
    }
    String text(entry);
    char* path = text.OpenBuffer(0);
    char* slash = strchr(path, '/');
    LogPrintIf(m_verbose, "%s Setting Entry '%s'\n", "PutObject:", path);
    if (slash != nullptr)
        *slash = '\0';
    Owned<CFStringRef> key(GetEntryString(path));
    if (key == nullptr)
        return 0;
    if (slash == nullptr) {
        owned.release();
        return SetSynchronizeProperty(key.release(), value, user, release);
    }

    Owned<CFTypeRef> top(
        CFPreferencesCopyValue(key.get(), m_application, user, kCFPreferencesCurrentHost));
    Owned<CFMutableDictionaryRef> dict(
        CreateDictionary(top.get())); // a value of another type is replaced
    top.reset();
    if (dict == nullptr || !SetDictEntryValue(m_verbose, dict.get(), slash + 1, value, this)) {
        LogPrint("%s Out of memory.", "PutObject:"); // KEPT: no line end
        return 0;
    }
    owned.reset();
    return SetSynchronizeProperty(key.release(), dict.release(), user, 1);
}

// Sets or, with a null value, removes a top-level key and writes the domain. Releases the key and, with
// `release` set, the value.
Bool32 PreferenceStore::SetSynchronizeProperty(CFStringRef key,
                                               CFTypeRef value,
                                               CFStringRef user,
                                               Bool32 release)
{
    CFPreferencesSetValue(key, value, m_application, user, kCFPreferencesCurrentHost);
    CFRelease(key);
    Owned<CFTypeRef>(release ? value : nullptr).reset();
    const Bool32 ok
        = CFPreferencesSynchronize(m_application, user, kCFPreferencesCurrentHost) ? 1 : 0;
    LogPrintIf(m_verbose, "%s Synchronizing %d\n", "SetSynchronizeProperty:", static_cast<int>(ok));
    return ok;
}

// Sets a value in nested dictionaries. Cuts the path in place.
// KEPT: the trace lines name the getter.
Bool32 PreferenceStore::SetDictEntryValue(Bool32 verbose,
                                          CFMutableDictionaryRef dict,
                                          char* path,
                                          CFTypeRef value,
                                          PreferenceStore* store)
{
    for (;;) {
        if (dict == nullptr) {
            LogPrint("%s NULL Dictionary given.\n", "GetDictEntryValue:");
            return 0;
        }
        char* slash = strchr(path, '/');
        LogPrintIf(verbose, "%s Setting Entry '%s'\n", "GetDictEntryValue:", path);
        if (slash != nullptr)
            *slash = '\0';
        const Owned<CFStringRef> key(store->GetEntryString(path));
        if (key == nullptr)
            return 0;
        if (slash == nullptr)
            return value != nullptr && SetEntry(dict, key.get(), value) ? 1 : 0;
        dict = AddInnerDictionary(dict, key.get());
        if (dict == nullptr)
            return 0;
        path = slash + 1;
    }
}

// Getters

CFTypeRef PreferenceStore::GetObjectOfType(const char* entry, CFTypeID type, CFStringRef user)
{
    if (!m_valid || entry == nullptr) {
        LogPrint("%s Not initialized or invalid Entry (%p).\n",
                 "GetObjectOfType:", static_cast<const void*>(entry));
        return nullptr;
    }
    Owned<CFStringRef> key(GetEntryKey(entry));
    if (key == nullptr)
        return nullptr;
    TraceEntry(m_verbose, "GetObjectOfType:", key.get());
    Owned<CFTypeRef> value(
        CFPreferencesCopyValue(key.get(), m_application, user, kCFPreferencesCurrentHost));
    key.reset();
    if (value == nullptr)
        return nullptr;
    LogPrintIf(m_verbose, "%s Found CFType %p ID %d\n", "GetObjectOfType:", value.get(),
               TypeOf(value.get()));
    const char* rest = NextEntry(entry);
    if (rest == nullptr)
        return CFGetTypeID(value.get()) == type ? value.release() : nullptr;
    if (!IsDictionary(value.get()))
        return nullptr;
    LogPrintIf(m_verbose, "%s Entering Dictionary %p\n", "GetObjectOfType:", value.get());
    if (*rest == '\0')
        return nullptr;
    // KEPT: the first character of the second component is skipped, here only.
    return GetDictEntryValue(m_verbose, static_cast<CFDictionaryRef>(value.get()), rest + 1, this);
}

// Finds the value at a path in nested dictionaries. Returns one reference; null if the path is null or absent.
CFTypeRef PreferenceStore::GetDictEntryValue(Bool32 verbose,
                                             CFDictionaryRef dict,
                                             const char* path,
                                             PreferenceStore* store)
{
    const char* const operation = "GetDictEntryValue:";
    if (dict == nullptr) {
        LogPrint("%s NULL Dictionary given.\n", operation);
        return nullptr;
    }
    if (path == nullptr) {
        LogPrint("%s Attempt to get Dictionary as value\n", operation);
        return nullptr;
    }
    const Owned<CFStringRef> key(store->GetEntryKey(path));
    if (key == nullptr)
        return nullptr;
    store->TraceEntry(verbose, operation, key.get());
    Owned<CFTypeRef> result;
    if (const CFTypeRef found = FindEntry(dict, key.get())) {
        LogPrintIf(verbose, "%s Found CFType %p ID %d\n", operation, found, TypeOf(found));
        result.reset(CFRetain(found));
        if (IsDictionary(found)) {
            LogPrintIf(verbose, "%s Entering Dictionary %p\n", operation, found);
            result.reset(GetDictEntryValue(verbose, static_cast<CFDictionaryRef>(found),
                                           NextEntry(path), store));
        }
    }
    if (result != nullptr) {
        LogPrintIf(verbose, "%s Returning CFType %p ID %d\n", operation, result.get(),
                   TypeOf(result.get()));
    } else {
        LogPrint("%s Returning NULL CFType\n", operation);
    }
    return result.release();
}

Bool32 PreferenceStore::GetBinary(const char* entry, CFStringRef user, void* buffer, UInt32* size)
{
    const auto data = GetTyped<CFDataRef>(*this, entry, CFDataGetTypeID(), user);
    if (data == nullptr)
        return 0;
    const UInt32 nLength = static_cast<UInt32>(CFDataGetLength(data.get()));
    const UInt32 nCapacity = size != nullptr ? *size : 0;
    const bool bFits = buffer != nullptr && size != nullptr && nLength <= nCapacity;
    if (size != nullptr)
        *size = nLength;
    if (bFits) {
        std::copy_n(CFDataGetBytePtr(data.get()), nLength, static_cast<UInt8*>(buffer));
        LogPrintIf(m_verbose, "%s %d bytes copied\n", "GetBinary:", static_cast<int>(nLength));
    } else {
        LogPrint("%s buffer null or overflow (%d > %d)\n", "GetBinary:", static_cast<int>(nLength),
                 static_cast<int>(nCapacity));
    }
    return bFits ? 1 : 0;
}

String PreferenceStore::GetString(const char* entry, CFStringRef user, const char* lpszDefault)
{
    String result(lpszDefault);
    const auto string = GetTyped<CFStringRef>(*this, entry, CFStringGetTypeID(), user);
    if (string != nullptr) {
        const CFIndex nLength = CFStringGetLength(string.get());
        if (const char* lpsz = CFStringGetCStringPtr(string.get(), m_encoding)) {
            result = lpsz;
        } else if (nLength > 0) {
            // KEPT: the length includes the zero.
            char* buffer = result.OpenBufferWithLength(static_cast<int>(nLength) + 1);
            if (!CFStringGetCString(string.get(), buffer, nLength + 1, m_encoding))
                result = lpszDefault; // not representable in this encoding
        }
    }
    LogPrintIf(m_verbose, "GetString: result '%s'\n", result.GetString());
    return result;
}

Bool32 PreferenceStore::GetBool(const char* entry, CFStringRef user, Bool32 bDefault)
{
    Bool32 result = bDefault;
    if (const auto boolean = GetTyped<CFBooleanRef>(*this, entry, CFBooleanGetTypeID(), user))
        result = CFBooleanGetValue(boolean.get()) ? 1 : 0;
    LogPrintIf(m_verbose, "GetBool: result '%s'\n", result ? "Yes" : "No");
    return result;
}

SInt32 PreferenceStore::GetInt(const char* entry, CFStringRef user, SInt32 nDefault)
{
    SInt32 result = nDefault;
    if (const auto number = GetTyped<CFNumberRef>(*this, entry, CFNumberGetTypeID(), user))
        CFNumberGetValue(number.get(), kCFNumberSInt32Type, &result);
    LogPrintIf(m_verbose, "GetInt: result %d\n", static_cast<int>(result));
    return result;
}

// Entry paths

// Converts a plain string; returns one reference. Null if the bytes are invalid in the encoding.
CFStringRef PreferenceStore::GetEntryString(const char* text)
{
    const CFStringRef string = CFStringCreateWithCString(kCFAllocatorDefault, text, m_encoding);
    if (string == nullptr)
        LogPrint("%s CFString NULL\n", "GetEntryString:");
    return string;
}

// The first component of a path.
CFStringRef PreferenceStore::GetEntryKey(const char* entry)
{
    const String path(entry);
    const int nSlash = path.FindChar('/');
    return GetEntryString(nSlash < 0 ? path : path.Head(nSlash));
}

// The part after the first "/"; null without a "/".
const char* PreferenceStore::NextEntry(const char* path)
{
    const char* slash = strchr(path, '/');
    return slash != nullptr ? slash + 1 : nullptr;
}

void PreferenceStore::TraceEntry(Bool32 verbose, const char* operation, CFStringRef key)
{
    if (!verbose || moduleLog_.fd == -1)
        return;
    char format[sizeof(kGettingEntry)];
    memcpy(format, kGettingEntry, sizeof(format));
    *strchr(format, '@') = 's';
    char buffer[260] = "";
    const char* text = CFStringGetCStringPtr(key, m_encoding);
    if (text == nullptr) {
        CFStringGetCString(key, buffer, sizeof(buffer), m_encoding);
        text = buffer;
    }
    LogPrintIf(verbose, format, operation, text);
}

} // namespace Veltrano
