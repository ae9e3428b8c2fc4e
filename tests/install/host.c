/* SPDX-License-Identifier: MIT */
/* host.c - a host that knows the entry table alone. */
#include <module/EntryTable.h>
#include <stdio.h>
#include <string.h>

int main(int argc, char** argv)
{
    if (argc != 2)
        return 2;
    CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, (const UInt8*)argv[1], (CFIndex)strlen(argv[1]), 1);
    CFBundleRef module = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    void* symbol = CFBundleGetFunctionPointerForName(module, CFSTR("GetEntryTable"));
    GetEntryTableProc get = NULL;
    memcpy(&get, &symbol, sizeof get);
    if (get == NULL || get()[kEntryShowAboutBox] == NULL) {
        fprintf(stderr, "no table in %s\n", argv[1]);
        return 1;
    }
    CFBundleUnloadExecutable(module);
    CFRelease(module);
    return 0;
}
