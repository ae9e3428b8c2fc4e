// SPDX-License-Identifier: MIT
// TestModule.cpp - a module that tells where it is and when it goes.
#include <mach-o/dyld.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

static int* sGone;

struct Watch
{
    ~Watch()
    {
        if (sGone != nullptr)
            ++*sGone;
    }
};
static Watch sWatch;

// The image list as this module's static initialisers see it: its own index, 0 for none.
static unsigned sIndexAtLoad = [] {
    for (unsigned i = 1; i < _dyld_image_count(); ++i)
        if (_dyld_get_image_header(i) == &_mh_image_header)
            return i;
    return 0u;
}();

EXPORTED void TestCountUnloads(int* gone)
{
    sGone = gone;
}

EXPORTED const void* TestHeader()
{
    return &_mh_image_header;
}

EXPORTED unsigned TestIndexAtLoad()
{
    return sIndexAtLoad;
}
