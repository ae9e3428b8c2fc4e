// SPDX-License-Identifier: MIT
// vlcheck.cpp - checks a module bundle the way a host uses it.
#include "tools/CommandLine.h"

#include <Carbon/Carbon.h>
#include <veltrano/EntryTable.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char kHelp[]
    = "usage: vlcheck BUNDLE\n"
      "\n"
      "Loads and unloads a module bundle. Checks that it loads without output, has its interface\n"
      "file, exports only GetEntryTable, always returns the same table with the About entries at\n"
      "positions 0 and 10, and leaves the process.\n"
      "exit codes: 0 no faults, 1 faults (one line each), 2 wrong arguments\n";

int sFaults = 0;

void Report(bool isWell, const char* what)
{
    printf("%s %s\n", isWell ? "ok   " : "WRONG", what);
    sFaults += isWell ? 0 : 1;
}

/// Loads and unloads a bundle in a child process, because a faulty one may crash. True if nothing was printed.
bool LoadsQuietly(CFBundleRef bundle)
{
    FILE* output = tmpfile();
    if (output == nullptr)
        Fail("cannot write a temporary file");
    fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(fileno(output), STDOUT_FILENO);
        dup2(fileno(output), STDERR_FILENO);
        const bool isLoaded = CFBundleLoadExecutable(bundle);
        CFBundleUnloadExecutable(bundle);
        fflush(nullptr);
        _exit(isLoaded ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    const bool isQuiet = lseek(fileno(output), 0, SEEK_END) == 0;
    fclose(output);
    return status == 0 && isQuiet;
}

/// The symbols that a loaded executable exports: those in its hash table.
std::vector<std::string> ExportedSymbols(const link_map& executable)
{
    const char* strings = nullptr;
    const ElfW(Sym)* symbols = nullptr;
    const uint32_t* hash = nullptr;
    for (const ElfW(Dyn)* entry = executable.l_ld; entry->d_tag != DT_NULL; ++entry) {
        const auto* table = reinterpret_cast<const void*>(entry->d_un.d_ptr);
        if (entry->d_tag == DT_STRTAB)
            strings = static_cast<const char*>(table);
        else if (entry->d_tag == DT_SYMTAB)
            symbols = static_cast<const ElfW(Sym)*>(table);
        else if (entry->d_tag == DT_GNU_HASH)
            hash = static_cast<const uint32_t*>(table);
    }
    if (hash == nullptr)
        Fail("no GNU hash table in the executable");
    const uint32_t first = hash[1]; // header: bucket count, first symbol, filter words, shift
    const uint32_t* const buckets = hash + 4 + hash[2] * (sizeof(ElfW(Addr)) / sizeof *hash);
    const uint32_t* const chains = buckets + hash[0];
    std::vector<std::string> names;
    for (const uint32_t* bucket = buckets; bucket != chains; ++bucket) {
        uint32_t i
            = std::max(*bucket, first); // start of a chain, whose last hash is odd; 0 if empty
        for (bool isLast = *bucket == 0; !isLast; ++i) {
            names.emplace_back(strings + symbols[i].st_name);
            isLast = (chains[i - first] & 1) != 0;
        }
    }
    return names;
}

void CheckTable(GetEntryTableProc get)
{
    const EntryPoint* table = get();
    Report(table != nullptr && table == get(), "returns the same table each time");
    if (table == nullptr)
        return;
    Report(table[kEntryShowAboutBoxSimple] != nullptr && table[kEntryShowAboutBox] != nullptr,
           "has the About entries at positions 0 and 10");
    bool othersAreEmpty = true;
    for (int i = kEntryShowAboutBoxSimple + 1; i < kEntryShowAboutBox; ++i)
        othersAreEmpty = othersAreEmpty && table[i] == nullptr;
    Report(othersAreEmpty, "keeps positions 1 to 9 empty");
}

bool HasInterfaceFile(CFBundleRef bundle)
{
    IBNibRef nib = nullptr;
    const bool isFound = CreateNibReferenceWithCFBundle(bundle, CFSTR("about"), &nib) == noErr;
    DisposeNibReference(nib);
    return isFound;
}

void Check(const Arguments& arguments)
{
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(arguments[0]),
        static_cast<CFIndex>(strlen(arguments[0])), true);
    const CFBundleRef bundle = url != nullptr ? CFBundleCreate(kCFAllocatorDefault, url) : nullptr;
    if (url != nullptr)
        CFRelease(url);
    if (bundle == nullptr)
        Fail(std::string("no bundle at ") + arguments[0]);
    Report(LoadsQuietly(bundle), "loads and unloads without output");
    Report(HasInterfaceFile(bundle), "has its interface file");
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(bundle, CFSTR("GetEntryTable")));
    Dl_info info = {};
    link_map* executable = nullptr;
    const bool isFound = get != nullptr
        && dladdr1(reinterpret_cast<void*>(get), &info, reinterpret_cast<void**>(&executable),
                   RTLD_DL_LINKMAP);
    Report(isFound, "loads and exports GetEntryTable");
    if (isFound) {
        Report(ExportedSymbols(*executable) == std::vector<std::string> { "GetEntryTable" },
               "exports nothing but GetEntryTable");
        CheckTable(get);
        const std::string path = executable->l_name;
        CFBundleUnloadExecutable(bundle);
        Report(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD) == nullptr,
               "leaves the process when it is unloaded");
    }
    CFRelease(bundle);
    if (sFaults != 0)
        Fail(std::string("faults: ") + std::to_string(sFaults));
}

} // namespace

int main(int, char** argv)
{
    return RunTool("vlcheck", kHelp, { { "a bundle", 1, {}, Check } }, argv);
}
