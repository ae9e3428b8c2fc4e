// SPDX-License-Identifier: MIT
// bundle_fuzz.cpp - a bundle of any names: the first line is the user's language, the second one lists the folders of
// the resources, the rest is Info.plist. What is found lies in the bundle, and is found if any language has it.
#include "tests/support/Foundation.h"

#include <CoreServices/Resources.h>

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const TemporaryFolder sFolder;
    const std::string resources = sFolder.Path("Contents/Resources/");
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    std::string language, names, info;
    std::getline(input, language);
    std::getline(input, names);
    std::getline(input, info, '\0');
    unsetenv("LC_ALL");
    unsetenv("LC_MESSAGES");
    setenv("LANG", language.c_str(), 1);
    setenv("LANGUAGE", language.c_str(), 1);
    fs::remove_all(sFolder.Path("Contents"));
    fs::create_directories(resources);
    WriteFile(sFolder.Path("Contents/Info.plist"), info);
    bool isAnywhere = false;
    std::istringstream list(names);
    for (std::string name; std::getline(list, name, ':');) {
        std::error_code error;
        if (name.find('/') == std::string::npos
            && fs::create_directory(resources + name.c_str(), error)) {
            WriteFile(resources + name.c_str() + "/about.nib", "x");
            isAnywhere = isAnywhere || std::string_view(name.c_str()).ends_with(".lproj");
        }
    }
    const auto bundle = Own(CFBundleCreate(nullptr, FolderURL(sFolder.Path("")).get()));
    const auto url
        = Own(CFBundleCopyResourceURL(bundle.get(), CFSTR("about"), CFSTR("nib"), nullptr));
    const bool isRight = (url != nullptr) == isAnywhere
        && (!url || (PathOf(url.get()).starts_with(resources) && fs::exists(PathOf(url.get()))))
        && CFBundleOpenBundleResourceMap(bundle.get()) == kResFileNotOpened
        && CurResFile() == kSystemResFile && !CFBundleLoadExecutable(bundle.get());
    return isRight ? 0 : (abort(), 0);
}
