// SPDX-License-Identifier: MIT
// preferences_fuzz.cpp - any bytes as a preferences file: it is read, or set aside and never overwritten; what
// was read survives a write.
#include <CoreFoundation/CoreFoundation.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

std::string sFolder;
std::string sFile;
CFStringRef sApplication = nullptr;

CFIndex CountKeys()
{
    const CFArrayRef keys
        = CFPreferencesCopyKeyList(sApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
    if (keys == nullptr)
        return 0;
    const CFIndex count = CFArrayGetCount(keys);
    CFRelease(keys);
    return count;
}

bool Synchronize()
{
    return CFPreferencesSynchronize(sApplication, kCFPreferencesAnyUser, kCFPreferencesCurrentHost);
}

void Set(CFTypeRef value)
{
    CFPreferencesSetValue(CFSTR("fuzz key"), value, sApplication, kCFPreferencesAnyUser,
                          kCFPreferencesCurrentHost);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char pattern[] = "/tmp/preferences_fuzz.XXXXXX";
    sFolder = mkdtemp(pattern);
    setenv("XDG_CONFIG_DIRS", sFolder.c_str(), 1);
    sApplication = CFSTR("com.veltrano.fuzz");
    std::filesystem::create_directories(sFolder + "/preferences");
    sFile = sFolder + "/preferences/com.veltrano.fuzz.plist";
    atexit([] { std::filesystem::remove_all(sFolder); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::filesystem::remove_all(sFolder + "/preferences");
    std::filesystem::create_directories(sFolder + "/preferences");
    std::ofstream(sFile, std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    if (!Synchronize())
        abort();
    const CFIndex before = CountKeys();
    Set(kCFBooleanTrue);
    if (!Synchronize() || CountKeys() < before || CountKeys() > before + 1)
        abort();
    Set(nullptr);
    Synchronize();
    Synchronize(); // forgets what was read
    if (CountKeys() > before || CountKeys() < before - 1)
        abort();
    return 0;
}
