/* SPDX-License-Identifier: MIT */
/* unload_host.c - a host without windows that loads and unloads the module as often as it is told, and says what
 * stays behind. Plain C, so that the language's run time comes with the module. */
#include <veltrano/Host.h>

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int IsModuleMapped(void)
{
    char line[4096];
    int found = 0;
    FILE* maps = fopen("/proc/self/maps", "r");
    while (maps != NULL && fgets(line, sizeof line, maps) != NULL)
        found |= strstr(line, "/Contents/MacOS/Veltrano\n") != NULL;
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

/* Loads and unloads the module; what went wrong, or null. */
static const char* Cycle(const char* path)
{
    VeltranoModuleRef module = VeltranoOpenModule(path);
    if (module == NULL)
        return "not loaded";
    if (!IsModuleMapped())
        return "not mapped";
    VeltranoCloseModule(module);
    return IsModuleMapped() ? "still mapped" : NULL;
}

/* Returns an exit code: 0 when each cycle left no image and all together no descriptor. */
static int RunCycles(const char* path, int cycles)
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

int main(int argc, char** argv)
{
    return argc == 3 ? RunCycles(argv[1], atoi(argv[2])) : 2;
}
