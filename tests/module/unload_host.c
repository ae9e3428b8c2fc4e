/* SPDX-License-Identifier: MIT */
/* unload_host.c - a host without windows that loads and unloads the module as often as it is told, and says what
 * stays behind. Plain C, so that the language's run time comes with the module. Exits with 0 when each cycle left no
 * image and all together no descriptor. */
#include <veltrano/Host.h>

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static int IsModuleMapped(void)
{
    char line[4096];
    int found = 0;
    FILE* maps = fopen("/proc/self/maps", "r");
    while (fgets(line, sizeof line, maps) != NULL)
        found |= strstr(line, "/Contents/MacOS/Veltrano\n") != NULL;
    fclose(maps);
    return found;
}

static int CountDescriptors(void)
{
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd)
        count += fcntl(fd, F_GETFD) != -1;
    return count;
}

int main(int argc, char** argv)
{
    const int cycles = argc == 3 ? atoi(argv[2]) : 0;
    const int descriptors = CountDescriptors();
    for (int i = 0; i < cycles; ++i) {
        VeltranoModuleRef module = VeltranoOpenModule(argv[1]);
        const int isMapped = IsModuleMapped();
        VeltranoCloseModule(module);
        if (module == NULL || !isMapped || IsModuleMapped()) {
            printf("cycle %d: %s\n", i, isMapped ? "still mapped" : "not loaded");
            return 1;
        }
    }
    const int more = CountDescriptors() - descriptors;
    printf("%d cycles, %d descriptors more\n", cycles, more);
    return more != 0 || cycles == 0;
}
