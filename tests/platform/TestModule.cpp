// SPDX-License-Identifier: MIT
// TestModule.cpp - a module that tells where it is and when it goes.
#include <mach-o/dyld.h>

#define EXPORTED extern "C" __attribute__((visibility("default")))

static int* sGone;
static const struct Watch
{
    ~Watch() { *sGone += 1; }
} sWatch;

EXPORTED void TestCountUnloads(int* gone) { sGone = gone; }

// The image list as this module's static initialisers see it: its own index, 0 for none.
EXPORTED unsigned testIndexAtLoad;
unsigned testIndexAtLoad = [] {
    static int sNobody;
    sGone = &sNobody;
    for (unsigned i = 1; i < _dyld_image_count(); ++i)
        if (_dyld_get_image_header(i) == &_mh_image_header)
            return i;
    return 0u;
}();
