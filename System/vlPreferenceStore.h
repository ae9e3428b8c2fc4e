// SPDX-License-Identifier: MIT
// vlPreferenceStore.h - typed values under entry paths, over CFPreferences.
// Order: construct (initializes) -> any number of gets and sets -> destroy. No cache: the preferences
// service is the only state, and every set is on disk when it returns.
// An entry path is "A/B/C": key A of the application, in it a dictionary with a dictionary B, in it C.
// The components are split at "/" and used as they are, empty ones too.
// Unless said otherwise: main thread; pointers are borrowed; `user` is kCFPreferencesCurrentUser or
// kCFPreferencesAnyUser, mostly m_user; only memory throws; failure is 0 and one line in the log.
#pragma once

#include "System/vlString.h"

#include <CoreFoundation/CoreFoundation.h>

namespace Veltrano {

class PreferenceStore
{
public:
    /// Initializes the store, unless the application is null.
    PreferenceStore(const char* application, Bool32 anyUser);
    ~PreferenceStore();
    PreferenceStore(const PreferenceStore&) = delete;
    PreferenceStore& operator=(const PreferenceStore&) = delete;

    /// Selects the application identifier.
    ///   returns  the new m_valid
    ///   fails    null, or invalid in m_encoding: nothing is changed
    Bool32 Initialize(const char* application, Bool32 anyUser);

    /// Set a value and write it to disk. Null, or no bytes, removes a top-level key.
    ///   returns  1 when it was written; after a failed write the value stays in memory
    ///   fails    below the top level a null value is refused
    ///   example  SetInt("View/Left", store.m_user, &left)
    Bool32 SetBinary(const char* entry, CFStringRef user, const void* bytes, SInt32 nLength);
    Bool32 SetString(const char* entry, CFStringRef user, const char* lpsz);
    Bool32 SetInt(const char* entry, CFStringRef user, const SInt32* value);
    Bool32 SetBool(const char* entry, CFStringRef user, const Bool32* value);

    /// The object at an entry path.
    ///   type     [in]  checked for a path of one component only
    ///   returns  null when it is absent
    ///   owns     one reference; the caller gives it to CFRelease
    /// KEPT: getters skip the first character of the second component: a value set at "A/B" is found at
    /// "A/?B" with any character, and not at "A/B". A path that ends in "/" is absent.
    CFTypeRef GetObjectOfType(const char* entry, CFTypeID type, CFStringRef user);
    /// Copies the bytes stored under an entry path into the caller's buffer.
    ///   buffer   [out]     at least *size bytes; null asks for the length
    ///   size     [in,out]  capacity in bytes; becomes the stored length
    ///   returns  1 copied; 0 absent (*size untouched) or too small (*size is the length)
    ///   example  4 bytes stored, *size 3: returns 0, *size 4, buffer untouched
    Bool32 GetBinary(const char* entry, CFStringRef user, void* buffer, UInt32* size);
    /// The other getters return the default if the entry is absent or of another type.
    /// KEPT: the length of a converted text includes its zero.
    String GetString(const char* entry, CFStringRef user, const char* lpszDefault);
    Bool32 GetBool(const char* entry, CFStringRef user, Bool32 bDefault);
    SInt32 GetInt(const char* entry, CFStringRef user, SInt32 nDefault);

    CFStringRef m_application; // owned; null until initialized
    CFStringRef m_user; // not owned
    Bool32 m_valid; // the last Initialize synchronized
    Bool32 m_verbose; // writes trace lines to the log; 1 from the start
    CFStringEncoding m_encoding; // of all plain strings; the system's from the start

private:
    Bool32 PutObject(const char* entry, CFTypeRef value, CFStringRef user, Bool32 release);
    Bool32
    SetSynchronizeProperty(CFStringRef key, CFTypeRef value, CFStringRef user, Bool32 release);
    static Bool32 SetDictEntryValue(Bool32 verbose,
                                    CFMutableDictionaryRef dict,
                                    char* path,
                                    CFTypeRef value,
                                    PreferenceStore* store);
    static CFTypeRef GetDictEntryValue(Bool32 verbose,
                                       CFDictionaryRef dict,
                                       const char* path,
                                       PreferenceStore* store);
    CFStringRef GetEntryString(const char* text);
    CFStringRef GetEntryKey(const char* entry);
    static const char* NextEntry(const char* path);
    void TraceEntry(Bool32 verbose, const char* operation, CFStringRef key);
};

} // namespace Veltrano
