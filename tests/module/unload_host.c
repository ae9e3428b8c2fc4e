/* SPDX-License-Identifier: MIT */
/* unload_host.c - loads a module bundle, looks at its table and unloads it, as often as it is told, and says
 * what stays behind. Plain C, so that the language's run time comes with the module alone. */
#include "module/EntryTable.h"

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int IsMapped(const char* ending)
{
    char line[4096];
    int found = 0;
    FILE* maps = fopen("/proc/self/maps", "r");
    while (maps != NULL && fgets(line, sizeof line, maps) != NULL) {
        line[strcspn(line, "\n")] = 0;
        const size_t length = strlen(line);
        if (length >= strlen(ending) && strcmp(line + length - strlen(ending), ending) == 0)
            found = 1;
    }
    if (maps != NULL)
        fclose(maps);
    return found;
}

static int CountDescriptors(void)
{
    int count = 0;
    DIR* folder = opendir("/proc/self/fd");
    while (folder != NULL && readdir(folder) != NULL)
        ++count;
    if (folder != NULL)
        closedir(folder);
    return count;
}

static long ResidentKilobytes(void)
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

static const char* Cycle(const char* path)
{
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(kCFAllocatorDefault, (const UInt8*)path,
                                                           (CFIndex)strlen(path), 1);
    CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    if (bundle == NULL)
        return "no bundle";
    GetEntryTableProc get = NULL;
    void* symbol = CFBundleGetFunctionPointerForName(bundle, CFSTR("GetEntryTable"));
    memcpy(&get, &symbol, sizeof get); /* ISO C has no cast for it */
    if (get == NULL)
        return "no GetEntryTable";
    const EntryPoint* table = get();
    if (table != get())
        return "another table";
    for (int i = 0; i < kEntryCount; ++i)
        if ((table[i] != NULL) != (i == kEntryShowAboutBoxSimple || i == kEntryShowAboutBox))
            return "wrong positions";
    CFBundleUnloadExecutable(bundle);
    CFRelease(bundle);
    return IsMapped("/Contents/MacOS/Veltrano") ? "still mapped" : NULL;
}

int main(int argc, char** argv)
{
    const int cycles = argc > 2 ? atoi(argv[2]) : 1;
    int descriptors = 0;
    long kilobytes = 0;
    if (argc < 2)
        return 2;
    for (int i = 0; i < cycles; ++i) {
        const char* fault = Cycle(argv[1]);
        if (fault != NULL) {
            printf("cycle %d: %s\n", i, fault);
            return 1;
        }
        if (i == 0) {
            descriptors = CountDescriptors();
            kilobytes = ResidentKilobytes();
        }
    }
    kilobytes = ResidentKilobytes() - kilobytes;
    printf("%d cycles, %ld KiB more\n", cycles, kilobytes);
    return CountDescriptors() != descriptors;
}
