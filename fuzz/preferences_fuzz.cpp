// SPDX-License-Identifier: MIT
// preferences_fuzz.cpp - any bytes as a preferences file: it is read, or set aside and never overwritten; what
// was read survives a write.
#include "tests/support/Foundation.h"

static const CFStringRef kApplication = CFSTR("fuzz");
static const CFStringRef kUser = kCFPreferencesAnyUser;
static const CFStringRef kHost = kCFPreferencesCurrentHost;

static CFIndex CountKeys()
{
    const auto keys = Own(CFPreferencesCopyKeyList(kApplication, kUser, kHost));
    return keys ? CFArrayGetCount(keys.get()) : 0;
}

static bool Save(CFTypeRef value)
{
    CFPreferencesSetValue(CFSTR("fuzz key"), value, kApplication, kUser, kHost);
    return CFPreferencesSynchronize(kApplication, kUser, kHost);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const TemporaryHome sHome;
    std::filesystem::remove_all(sHome.Path("etc/preferences"));
    std::filesystem::create_directories(sHome.Path("etc/preferences"));
    WriteFile(sHome.Path("etc/preferences/fuzz.plist"),
              { reinterpret_cast<const char*>(data), size });
    if (!CFPreferencesSynchronize(kApplication, kUser, kHost))
        abort();
    const CFIndex nBefore = CountKeys();
    if (!Save(kCFBooleanTrue) || CountKeys() < nBefore || CountKeys() > nBefore + 1)
        abort();
    Save(nullptr);
    CFPreferencesSynchronize(kApplication, kUser, kHost); // forgets what was read
    return CountKeys() > nBefore || CountKeys() < nBefore - 1 ? abort(), 0 : 0;
}
