// SPDX-License-Identifier: MIT
// CFObject.h - what the Core Foundation references point to.
// Every object starts with its class and its count; constants carry a count that nothing changes and
// need no construction at load nor destruction at exit. Null is checked by the caller, as documented.
#pragma once

#include <CoreFoundation/CFBase.h>

#include <atomic>
#include <string>
#include <string_view>
#include <vector>

struct CFObject;

struct CFClass
{
    CFTypeID id;
    void (*end)(CFObject* object) noexcept; // frees it
    bool (*equal)(const CFObject* a, const CFObject* b) noexcept; // both of this class
    CFHashCode (*hash)(const CFObject* object) noexcept; // equal objects have equal ones
};

enum : CFTypeID {
    kTypeString = 1,
    kTypeNumber,
    kTypeBoolean,
    kTypeData,
    kTypeDate,
    kTypeArray,
    kTypeDictionary,
    kTypeURL,
    kTypeBundle
};

constexpr SInt32 kConstantRefs = 0x7FFFFFFF; // the count of a constant

struct CFObject
{
    constexpr explicit CFObject(const CFClass& objectClass, SInt32 refs = 1)
        : isa(&objectClass)
        , nRefs(refs)
    {
    }
    CFObject(const CFObject&) = delete;
    CFObject& operator=(const CFObject&) = delete;

    const CFClass* isa;
    mutable std::atomic<SInt32> nRefs;
};

inline const CFObject* CFObject_From(CFTypeRef object)
{
    return static_cast<const CFObject*>(object);
}

/// The hash of an object's value.
inline CFHashCode CFObject_Hash(CFTypeRef object)
{
    return CFObject_From(object)->isa->hash(CFObject_From(object));
}

/// The hash of an object that equals nothing but itself.
CFHashCode CFObject_HashAddress(const CFObject* object) noexcept;
CFHashCode CFObject_HashBytes(const void* bytes, size_t n) noexcept;

/// A constructed object, or null without memory.
template <typename Object, typename... Arguments>
Object* CFObject_New(Arguments&&... arguments) noexcept
{
    try {
        return new Object(static_cast<Arguments&&>(arguments)...);
    } catch (...) {
        return nullptr;
    }
}

extern const CFClass kStringClass;

struct __CFString : CFObject
{
    constexpr __CFString(const char* text, size_t n, CFIndex units, SInt32 refs)
        : CFObject(kStringClass, refs)
        , bytes(text)
        , nBytes(n)
        , nUnits(units)
    {
    }
    /// A constant of 7-bit characters.
    template <size_t n>
    constexpr explicit __CFString(const char (&literal)[n])
        : __CFString(literal, n - 1, n - 1, kConstantRefs)
    {
    }
    std::string_view Text() const { return { bytes, nBytes }; }
    bool IsASCII() const { return static_cast<size_t>(nUnits) == nBytes; }

    const char* bytes; // UTF-8 and a zero, right behind the object but for constants
    size_t nBytes; // without the zero
    CFIndex nUnits; // 16-bit units
};

/// A string from valid UTF-8; null when it is not valid or without memory.
CFStringRef CFString_Create(std::string_view text) noexcept;

struct __CFNumber : CFObject
{
    enum Kind : UInt8 {
        kSigned,
        kUnsigned,
        kReal
    }; // kUnsigned: only values beyond the signed range

    explicit __CFNumber(SInt64 value);
    explicit __CFNumber(UInt64 value);
    explicit __CFNumber(double value);

    Kind kind;
    union {
        SInt64 asSigned;
        UInt64 asUnsigned;
        double asReal;
    };
};

struct __CFData : CFObject
{
    enum Owner : UInt8 { kBorrowed, kMalloc };

    __CFData(const UInt8* block, CFIndex n, Owner blockOwner);

    const UInt8* bytes;
    CFIndex nBytes;
    Owner owner;
};

struct __CFArray : CFObject
{
    __CFArray(const void** first, CFIndex n, bool ofObjects);

    std::vector<const void*> values;
    bool isOfObjects; // retained
};

struct __CFDictionary : CFObject
{
    struct Entry
    {
        CFTypeRef key;
        CFTypeRef value;
        CFHashCode hash; // of the key
    };

    __CFDictionary();
    __CFDictionary(const __CFDictionary& other);

    const Entry* Find(CFTypeRef key) const;
    const Entry* Find(CFTypeRef key, CFHashCode hash) const;
    void Set(CFTypeRef key, CFTypeRef value); // throws bad_alloc, unchanged then
    void Remove(CFTypeRef key);

    std::vector<Entry> entries; // in order of insertion

private:
    size_t FreeSlot(CFHashCode hash) const;
    void Index(size_t nSlots);

    std::vector<UInt32>
        m_slots; // open addressing: entry number + 1, 0 free; empty while few entries
};

struct __CFURL : CFObject
{
    __CFURL(std::string urlBase, std::string urlPath, bool ofFolder);

    std::string Absolute() const; // throws bad_alloc

    std::string base; // folder that a relative path is bound to; empty for an absolute one
    std::string path; // without a "/" at its end but for the root; empty: the base itself
    bool isFolder;
};
