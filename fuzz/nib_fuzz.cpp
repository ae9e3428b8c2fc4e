// SPDX-License-Identifier: MIT
// nib_fuzz.cpp - any bytes as the interface file of a bundle; a window that comes of it is shown and closed.
#include <Carbon/Carbon.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

CFBundleRef sBundle = nullptr;
std::string sFolder;

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    char pattern[] = "/tmp/nib_fuzz.XXXXXX";
    sFolder = mkdtemp(pattern);
    std::filesystem::create_directories(sFolder + "/Contents/Resources/about.nib");
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(sFolder.data()),
        static_cast<CFIndex>(sFolder.size()), true);
    sBundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    atexit([] { std::filesystem::remove_all(sFolder); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::ofstream(sFolder + "/Contents/Resources/about.nib/objects.xib", std::ios::binary)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    IBNibRef nib = nullptr;
    if (CreateNibReferenceWithCFBundle(sBundle, CFSTR("about"), &nib) != noErr)
        return 0;
    WindowRef window = nullptr;
    if (CreateWindowFromNib(nib, CFSTR("AboutDlg"), &window) == noErr) {
        DrawControls(window);
        DisposeWindow(window);
    }
    DisposeNibReference(nib);
    return 0;
}
