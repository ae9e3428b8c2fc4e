/* SPDX-License-Identifier: MIT */
/* Cycles.h - loads and unloads the module as often as a host is told, and says what stays behind. */
#pragma once

#include "examples/Module.h"

#include <dirent.h>
#include <stdlib.h>

static inline int CountDescriptors(void)
{
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (folder != NULL && readdir(folder) != NULL)
        ++count;
    if (folder != NULL)
        closedir(folder);
    return count;
}

static inline long ResidentKilobytes(void)
{
    char line[256];
    long kilobytes = 0;
    FILE* status = fopen("/proc/self/status", "r");
    while (status != NULL && fgets(line, sizeof line, status) != NULL)
        if (strncmp(line, "VmRSS:", 6) == 0)
            kilobytes = strtol(line + 6, NULL, 10);
    if (status != NULL)
        fclose(status);
    return kilobytes;
}

/* Opens the bundle, takes the table, unloads; what went wrong, or null. */
static inline const char* Cycle(const char* path)
{
    CFBundleRef module = OpenBundle(path);
    const EntryPoint* table = LoadModule(module);
    if (table == NULL)
        return "no table";
    for (int i = 0; i < kEntryCount; ++i)
        if ((table[i] != NULL) != (i == kEntryShowAboutBoxSimple || i == kEntryShowAboutBox))
            return "wrong positions";
    if (!IsModuleMapped())
        return "not mapped";
    UnloadModule(module);
    return IsModuleMapped() ? "still mapped" : NULL;
}

/* Returns an exit code: 0 when each cycle left no image and all together no descriptor. */
static inline int RunCycles(const char* path, int cycles)
{
    const int descriptors = CountDescriptors();
    long kilobytes = 0;
    for (int i = 0; i < cycles; ++i) {
        const char* fault = Cycle(path);
        if (fault != NULL) {
            printf("cycle %d: %s\n", i, fault);
            return 1;
        }
        if (i == 0) /* the first one fills the caches */
            kilobytes = ResidentKilobytes();
    }
    const int more = CountDescriptors() - descriptors;
    if (cycles > 0)
        printf("%d cycles, %d descriptors and %ld KiB more\n", cycles, more,
               ResidentKilobytes() - kilobytes);
    return more != 0;
}
