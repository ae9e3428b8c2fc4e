// SPDX-License-Identifier: MIT
// nib_fuzz.cpp - any bytes as the interface file of a bundle; a window that comes of it is shown and closed.
#include "tests/support/Foundation.h"

#include <Carbon/Carbon.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const TemporaryFolder sFolder;
    static const std::string sNib = sFolder.Path("Contents/Resources/about.nib");
    static const auto sBundle = [] {
        setenv("QT_QPA_PLATFORM", "offscreen", 1);
        std::filesystem::create_directories(sNib);
        return Own(CFBundleCreate(nullptr, FolderURL(sFolder.Path("")).get()));
    }();
    WriteFile(sNib + "/objects.xib", { reinterpret_cast<const char*>(data), size });
    IBNibRef nib = nullptr;
    if (CreateNibReferenceWithCFBundle(sBundle.get(), CFSTR("about"), &nib) != noErr)
        return 0;
    WindowRef window = nullptr;
    if (CreateWindowFromNib(nib, CFSTR("AboutDlg"), &window) == noErr) {
        DrawControls(window);
        DisposeWindow(window);
    }
    DisposeNibReference(nib);
    return 0;
}
