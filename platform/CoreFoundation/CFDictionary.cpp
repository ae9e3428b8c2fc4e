// SPDX-License-Identifier: MIT
// CFDictionary.cpp - a vector of entries in order of insertion, and a hash index if there are many.
#include "CoreFoundation/CFObject.h"

#include <CoreFoundation/CFDictionary.h>

#include <bit>

static CFHashCode HashObject(CFTypeRef object) { return CFObject_From(object)->Hash(); }

static constexpr auto kRetain = [](CFAllocatorRef, const void* value) { return CFRetain(value); };
static constexpr auto kRelease = [](CFAllocatorRef, const void* value) { CFRelease(value); };
const CFDictionaryKeyCallBacks kCFTypeDictionaryKeyCallBacks
    = { 0, kRetain, kRelease, nullptr, CFEqual, HashObject };
const CFDictionaryValueCallBacks kCFTypeDictionaryValueCallBacks
    = { 0, kRetain, kRelease, nullptr, CFEqual };

void __CFDictionary::Free() noexcept
{
    for (const Entry& entry : entries) {
        CFRelease(entry.key);
        CFRelease(entry.value);
    }
    delete this;
}

bool __CFDictionary::Equals(const CFObject& object, CFContainerPairs& later) const
{
    const auto& other = static_cast<const __CFDictionary&>(object);
    if (entries.size() != other.entries.size())
        return false;
    for (const Entry& entry : entries) {
        const Entry* found = other.Find(entry.key, entry.hash);
        if (found == nullptr || !CFObject_EqualSoFar(entry.value, found->value, later))
            return false;
    }
    return true;
}

constexpr size_t kFewEntries = 8; // searched linearly

__CFDictionary::__CFDictionary()
    : CFContainer(kTypeDictionary)
{
}

__CFDictionary::__CFDictionary(const __CFDictionary& other)
    : CFContainer(kTypeDictionary)
    , entries(other.entries)
    , m_slots(other.m_slots)
{
    for (const Entry& entry : entries) {
        CFRetain(entry.key);
        CFRetain(entry.value);
    }
}

const __CFDictionary::Entry* __CFDictionary::Find(CFTypeRef key) const
{
    return entries.empty() ? nullptr : Find(key, HashObject(key));
}

const __CFDictionary::Entry* __CFDictionary::Find(CFTypeRef key, CFHashCode hash) const
{
    auto isIt = [=](const Entry& entry) { return entry.hash == hash && CFEqual(entry.key, key); };
    if (m_slots.empty()) {
        for (const Entry& entry : entries) {
            if (isIt(entry))
                return &entry;
        }
        return nullptr;
    }
    size_t mask = m_slots.size() - 1;
    for (size_t slot = hash & mask; m_slots[slot] != 0; slot = (slot + 1) & mask) {
        const Entry& entry = entries[m_slots[slot] - 1];
        if (isIt(entry))
            return &entry;
    }
    return nullptr;
}

// The free slot for a new entry.
size_t __CFDictionary::FreeSlot(CFHashCode hash) const
{
    size_t slot = hash & (m_slots.size() - 1);
    while (m_slots[slot] != 0)
        slot = (slot + 1) & (m_slots.size() - 1);
    return slot;
}

// Rebuilds the index with at least twice as many slots as entries. No slots: no index.
void __CFDictionary::Index(size_t nSlots)
{
    m_slots.assign(nSlots, 0);
    for (size_t i = 0; nSlots > 0 && i < entries.size(); ++i)
        m_slots[FreeSlot(entries[i].hash)] = static_cast<UInt32>(i + 1);
}

void __CFDictionary::Set(CFTypeRef key, CFTypeRef value)
{
    CFHashCode hash = HashObject(key);
    if (const Entry* found = Find(key, hash)) {
        CFTypeRef old = found->value;
        const_cast<Entry*>(found)->value = CFRetain(value);
        CFRelease(old);
        return;
    }
    entries.push_back({ key, value, hash });
    if (entries.size() <= kFewEntries) {
        // no index yet
    } else if (entries.size() * 2 <= m_slots.size()) {
        m_slots[FreeSlot(hash)] = static_cast<UInt32>(entries.size());
    } else {
        try {
            Index(std::bit_ceil(entries.size() * 4));
        } catch (...) {
            entries.pop_back();
            throw;
        }
    }
    CFRetain(key);
    CFRetain(value);
}

void __CFDictionary::Remove(CFTypeRef key)
{
    const Entry* found = Find(key);
    if (found == nullptr)
        return;
    Entry gone = *found;
    entries.erase(entries.begin() + (found - entries.data()));
    Index(entries.size() <= kFewEntries ? 0 : m_slots.size());
    CFRelease(gone.key);
    CFRelease(gone.value);
}

CFTypeID CFDictionaryGetTypeID(void) { return kTypeDictionary; }

CFMutableDictionaryRef CFDictionaryCreateMutable(CFAllocatorRef,
                                                 CFIndex,
                                                 const CFDictionaryKeyCallBacks* keyCallBacks,
                                                 const CFDictionaryValueCallBacks* valueCallBacks)
{
    if (keyCallBacks != &kCFTypeDictionaryKeyCallBacks
        || valueCallBacks != &kCFTypeDictionaryValueCallBacks)
        return nullptr;
    return CFObject_New<__CFDictionary>();
}

CFMutableDictionaryRef
CFDictionaryCreateMutableCopy(CFAllocatorRef, CFIndex, CFDictionaryRef dictionary)
{
    return CFObject_New<__CFDictionary>(*dictionary);
}

CFIndex CFDictionaryGetCount(CFDictionaryRef dictionary)
{
    return static_cast<CFIndex>(dictionary->entries.size());
}

const void* CFDictionaryGetValue(CFDictionaryRef dictionary, const void* key)
{
    const auto* found = dictionary->Find(key);
    return found != nullptr ? found->value : nullptr;
}

Boolean
CFDictionaryGetValueIfPresent(CFDictionaryRef dictionary, const void* key, const void** value)
{
    const auto* found = dictionary->Find(key);
    if (found != nullptr && value != nullptr)
        *value = found->value;
    return found != nullptr;
}

void CFDictionaryGetKeysAndValues(CFDictionaryRef dictionary,
                                  const void** keys,
                                  const void** values)
{
    size_t i = 0;
    for (const auto& entry : dictionary->entries) {
        if (keys != nullptr)
            keys[i] = entry.key;
        if (values != nullptr)
            values[i] = entry.value;
        ++i;
    }
}

void CFDictionarySetValue(CFMutableDictionaryRef dictionary, const void* key, const void* value)
{
    try {
        if (key != nullptr && value != nullptr)
            dictionary->Set(key, value);
    } catch (...) { // no memory: the dictionary is unchanged
    }
}

void CFDictionaryRemoveValue(CFMutableDictionaryRef dictionary, const void* key)
{
    dictionary->Remove(key);
}
