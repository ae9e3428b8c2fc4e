// SPDX-License-Identifier: MIT
// CFPreferences.h - property-list values under keys, one file an application, user and host scope.
// Sets stay in memory until a synchronize writes them. Gets see this process's own sets at once, and all
// else as the file holds it now.
//   current user, current host   $XDG_CONFIG_HOME/preferences/ByHost/<application>.<machine id>.plist
//   current user, any host       $XDG_CONFIG_HOME/preferences/<application>.plist
//   any user,     current host   <first of $XDG_CONFIG_DIRS>/preferences/<application>.plist
//   any user,     any host       <first of $XDG_CONFIG_DIRS>/preferences/Network/<application>.plist
// An application identifier with a "/" has no location: every synchronize of it fails.
#pragma once

#include <CoreFoundation/CFBase.h>

__BEGIN_DECLS

// Compared by address; any other string is no known user or host.
extern const CFStringRef kCFPreferencesAnyUser VL_SYMBOL(kCFPreferencesAnyUser);
extern const CFStringRef kCFPreferencesCurrentUser VL_SYMBOL(kCFPreferencesCurrentUser);
extern const CFStringRef kCFPreferencesCurrentHost VL_SYMBOL(kCFPreferencesCurrentHost);

/// Sets a value in memory, deep-copied, so it may be released or changed at once. Null removes the key.
/// A value that a property list cannot hold is not kept, and the next synchronize returns false. Setting
/// what the file holds now is no change.
void CFPreferencesSetValue(CFStringRef key, CFPropertyListRef value, CFStringRef application,
                           CFStringRef user, CFStringRef host) VL_SYMBOL(CFPreferencesSetValue);

/// The value in exactly that scope: one reference, immutable; null when absent.
CFPropertyListRef CFPreferencesCopyValue(CFStringRef key, CFStringRef application, CFStringRef user,
                                         CFStringRef host) VL_SYMBOL(CFPreferencesCopyValue);

/// The keys of that scope, one reference; null when there are none.
CFArrayRef CFPreferencesCopyKeyList(CFStringRef application, CFStringRef user, CFStringRef host)
    VL_SYMBOL(CFPreferencesCopyKeyList);

/// Merges what was set into what is on disk now and writes it durably. Without changes it does nothing.
/// It waits for other processes that write, five seconds at most.
///   returns  false when that failed: the changes stay in memory and the next call tries again, unless
///            they are withdrawn; the file is as it was
Boolean CFPreferencesSynchronize(CFStringRef application, CFStringRef user, CFStringRef host)
    VL_SYMBOL(CFPreferencesSynchronize);

__END_DECLS
