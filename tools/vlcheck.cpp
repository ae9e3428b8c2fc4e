// SPDX-License-Identifier: MIT
// vlcheck.cpp - checks a module bundle the way a host uses it.
#include "support/BundleAt.h"
#include "tools/CommandLine.h"

#include <Carbon/Carbon.h>
#include <veltrano/EntryTable.h>

#include <algorithm>
#include <cstdio>
#include <dlfcn.h>
#include <link.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

const char kHelp[] = R"(usage: vlcheck BUNDLE

Loads and unloads a module bundle. Checks that it loads without output, has its interface
file, exports only GetEntryTable, always returns the same table with the About entries at
positions 0 and 10, and leaves the process.
exit codes: 0 no faults, 1 faults (one line each), 2 wrong arguments
)";

int sFaults = 0;

void Report(bool isWell, const char* what)
{
    printf("%s %s\n", isWell ? "ok   " : "WRONG", what);
    sFaults += isWell ? 0 : 1;
}

// Loads and unloads a bundle in a child process, because a faulty one may crash. True if nothing was printed.
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

// Counts the symbols that a loaded executable exports: those in its hash table.
uint32_t CountExports(const link_map& executable)
{
    const ElfW(Dyn)* entry = executable.l_ld;
    while (entry->d_tag != DT_GNU_HASH && entry->d_tag != DT_NULL)
        ++entry;
    if (entry->d_tag == DT_NULL)
        Fail("no GNU hash table in the executable");
    // The header: bucket count, first symbol, filter words, shift.
    const auto* hash = reinterpret_cast<const uint32_t*>(entry->d_un.d_ptr);
    const uint32_t* const buckets = hash + 4 + hash[2] * (sizeof(ElfW(Addr)) / sizeof *hash);
    const uint32_t* const chains = buckets + hash[0];
    uint32_t last = *std::max_element(buckets, chains) - hash[1]; // the start of the last chain
    while ((chains[last] & 1) == 0) // an odd hash ends a chain
        ++last;
    return last + 1;
}

void CheckTable(GetEntryTableProc get)
{
    const EntryPoint* table = get();
    Report(table != nullptr && table == get(), "returns the same table each time");
    if (table == nullptr)
        return;
    Report(table[kEntryShowAboutBoxSimple] != nullptr && table[kEntryShowAboutBox] != nullptr,
           "has the About entries at positions 0 and 10");
    Report(std::count(table + 1, table + 10, nullptr) == 9, "keeps positions 1 to 9 empty");
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
    const auto bundle = BundleAt(arguments[0]);
    if (!bundle)
        Fail(std::string("no bundle at ") + arguments[0]);
    Report(LoadsQuietly(bundle.get()), "loads and unloads without output");
    Report(HasInterfaceFile(bundle.get()), "has its interface file");
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(bundle.get(), CFSTR("GetEntryTable")));
    Dl_info info = {};
    link_map* executable = nullptr;
    const bool isFound = get != nullptr
        && dladdr1(reinterpret_cast<void*>(get), &info, reinterpret_cast<void**>(&executable),
                   RTLD_DL_LINKMAP);
    Report(isFound, "loads and exports GetEntryTable");
    if (isFound) {
        Report(CountExports(*executable) == 1, "exports nothing but GetEntryTable");
        CheckTable(get);
        const std::string path = executable->l_name;
        CFBundleUnloadExecutable(bundle.get());
        Report(dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD) == nullptr,
               "leaves the process when it is unloaded");
    }
    if (sFaults != 0)
        Fail(std::string("faults: ") + std::to_string(sFaults));
}

} // namespace

int main(int, char** argv)
{
    return RunTool("vlcheck", kHelp, { { "a bundle", 1, {}, Check } }, argv);
}
