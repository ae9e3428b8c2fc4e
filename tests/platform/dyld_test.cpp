// SPDX-License-Identifier: MIT
// dyld_test.cpp - the image list, with a module that comes and goes.
#include "tests/support/TemporaryFolder.h"

#include <mach-o/dyld.h>

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

TEST(dyld, MainProgramIsFirstAndTheEndIsNull)
{
    EXPECT_EQ(&_mh_image_header, _dyld_get_image_header(0));
    EXPECT_EQ(std::filesystem::canonical("/proc/self/exe").string(), _dyld_get_image_name(0));
    EXPECT_EQ(0, memcmp(_dyld_get_image_header(0), "\177ELF", 4));
    const uint32_t n = _dyld_image_count();
    for (uint32_t i = 0; i <= n; ++i) {
        EXPECT_EQ(i < n, _dyld_get_image_header(i) != nullptr) << i;
        EXPECT_EQ(i < n, _dyld_get_image_name(i) != nullptr) << i;
    }
}

TEST(dyld, ModuleHasItsAbsoluteNameWhereverTheProcessGoes)
{
    TemporaryFolder folder;
    std::string before = std::filesystem::current_path();
    std::filesystem::create_directory(folder.Path("sp ace"));
    std::filesystem::create_symlink("sp ace", folder.Path("link"));
    std::filesystem::copy_file(TEST_BUNDLE "/Contents/MacOS/Tester", folder.Path("sp ace/Module"));
    uint32_t n = _dyld_image_count();
    ASSERT_EQ(0, chdir(folder.Path("").c_str()));
    void* image = dlopen("link/../link/Module", RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ(0, chdir(before.c_str()));
    ASSERT_NE(nullptr, image) << dlerror();

    const auto indexAtLoad = *static_cast<unsigned*>(dlsym(image, "testIndexAtLoad"));
    EXPECT_EQ(n + 1, _dyld_image_count());
    ASSERT_NE(0u, indexAtLoad) << "not listed while its initialisers ran";
    const std::string name = _dyld_get_image_name(indexAtLoad);
    EXPECT_TRUE(name == folder.Path("link/Module") || name == folder.Path("link/../link/Module"))
        << name;
    dlclose(image);
    EXPECT_EQ(n, _dyld_image_count()) << "still mapped";
}
