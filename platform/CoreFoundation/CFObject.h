// SPDX-License-Identifier: MIT
// CFObject.h - the objects behind the Core Foundation references.
// Every object has a type and a reference count. Constants are constant-initialised, never freed, and have
// the count kConstantRefs. Null is accepted only where the API says so.
#pragma once

#include <CoreFoundation/CFDate.h>

#include <atomic>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

enum : UInt32 {
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

struct CFContainer;

/// Pairs of containers whose contents remain to be compared.
using CFContainerPairs = std::vector<std::pair<const CFContainer*, const CFContainer*>>;

struct CFObject
{
    constexpr explicit CFObject(UInt32 objectType, SInt32 refs = 1)
        : type(objectType)
        , nRefs(refs)
    {
    }
    CFObject(const CFObject&) = delete;
    CFObject& operator=(const CFObject&) = delete;

    /// Frees the object, whose count is zero.
    virtual void End() noexcept = 0;
    /// Compares with another object of the same type; unequal by default. Nested containers are not compared
    /// but appended to `later`, which may throw bad_alloc.
    virtual bool Equals(const CFObject&, CFContainerPairs&) const { return false; }
    /// Equal objects have equal hashes. Only strings are expected as keys, so only they have good ones.
    virtual CFHashCode Hash() const noexcept { return type; }

    const UInt32 type; // kTypeString and its like
    mutable std::atomic<SInt32> nRefs;

protected:
    ~CFObject() = default; // not virtual: constants must not be destroyed at exit
};

/// An array or a dictionary. Comparing and freeing nested containers does not recurse.
struct CFContainer : CFObject
{
    using CFObject::CFObject;

    void End() noexcept final;
    /// Releases the contents and deletes the object.
    virtual void Free() noexcept = 0;

    CFContainer* nextToFree = nullptr;

protected:
    ~CFContainer() = default;
};

inline const CFObject* CFObject_From(CFTypeRef object)
{
    return static_cast<const CFObject*>(object);
}

inline bool CFObject_IsContainer(CFTypeRef object)
{
    const UInt32 type = CFObject_From(object)->type;
    return type == kTypeArray || type == kTypeDictionary;
}

/// As CFEqual, but throws bad_alloc.
bool CFObject_Equal(CFTypeRef a, CFTypeRef b);
/// As CFObject_Equal, but appends containers to `later` instead of comparing their contents.
bool CFObject_EqualSoFar(CFTypeRef a, CFTypeRef b, CFContainerPairs& later);

/// Creates an object; null without memory.
template <typename Object, typename... Arguments>
Object* CFObject_New(Arguments&&... arguments) noexcept
{
    try {
        return new Object(static_cast<Arguments&&>(arguments)...);
    } catch (...) {
        return nullptr;
    }
}

struct __CFString final : CFObject
{
    constexpr __CFString(const char* text, size_t n, CFIndex units, SInt32 refs)
        : CFObject(kTypeString, refs)
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
    void End() noexcept override;
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;
    CFHashCode Hash() const noexcept override;
    std::string_view Text() const { return { bytes, nBytes }; }
    bool IsASCII() const { return static_cast<size_t>(nUnits) == nBytes; }

    const char* bytes; // UTF-8 and a zero, directly behind the object unless it is a constant
    size_t nBytes; // without the zero
    CFIndex nUnits; // 16-bit units
};

/// Creates a string from UTF-8; null if the text is invalid or without memory.
CFStringRef CFString_Create(std::string_view text) noexcept;

struct __CFNumber final : CFObject
{
    using Value
        = std::variant<SInt64, UInt64, double>; // UInt64: only values beyond the signed range

    explicit __CFNumber(Value number)
        : CFObject(kTypeNumber)
        , value(number)
    {
    }

    void End() noexcept override { delete this; }
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;

    const Value value;
};

struct __CFDate final : CFObject
{
    explicit __CFDate(CFAbsoluteTime time)
        : CFObject(kTypeDate)
        , at(time)
    {
    }

    void End() noexcept override { delete this; }
    bool Equals(const CFObject& other, CFContainerPairs&) const override
    {
        return at == static_cast<const __CFDate&>(other).at;
    }

    CFAbsoluteTime at;
};

struct __CFData final : CFObject
{
    enum Owner : UInt8 { kBorrowed, kMalloc };

    __CFData(const UInt8* block, CFIndex n, Owner blockOwner);

    void End() noexcept override;
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;

    const UInt8* bytes;
    CFIndex nBytes;
    Owner owner;
};

struct __CFArray final : CFContainer
{
    __CFArray()
        : CFContainer(kTypeArray)
    {
    }

    void Free() noexcept override;
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;

    std::vector<CFTypeRef> values; // retained
};

struct __CFDictionary final : CFContainer
{
    struct Entry
    {
        CFTypeRef key;
        CFTypeRef value;
        CFHashCode hash; // of the key
    };

    __CFDictionary();
    __CFDictionary(const __CFDictionary& other);

    void Free() noexcept override;
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;

    const Entry* Find(CFTypeRef key) const;
    const Entry* Find(CFTypeRef key, CFHashCode hash) const;
    void Set(CFTypeRef key, CFTypeRef value); // throws bad_alloc and is unchanged then
    void Remove(CFTypeRef key);

    std::vector<Entry> entries; // in order of insertion

private:
    size_t FreeSlot(CFHashCode hash) const;
    void Index(size_t nSlots);

    std::vector<UInt32>
        m_slots; // open addressing: index of the entry + 1, or 0; empty with few entries
};

struct __CFURL final : CFObject
{
    __CFURL(std::string urlBase, std::string urlPath, bool ofFolder)
        : CFObject(kTypeURL)
        , base(std::move(urlBase))
        , path(std::move(urlPath))
        , isFolder(ofFolder)
    {
    }

    void End() noexcept override { delete this; }
    bool Equals(const CFObject& other, CFContainerPairs& later) const override;

    std::string Absolute() const; // throws bad_alloc

    std::string base; // base folder of a relative path; empty for an absolute one
    std::string path; // without a final "/" except for the root; empty: the base
    bool isFolder;
};
