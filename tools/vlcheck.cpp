// SPDX-License-Identifier: MIT
// vlcheck.cpp - examines a module bundle as a host meets it, and says what is wrong.
#include "module/EntryTable.h"
#include "tools/CommandLine.h"

#include <CoreFoundation/CoreFoundation.h>
#include <mach-o/dyld.h>

#include <cstring>
#include <elf.h>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

const char kHelp[]
    = "usage: vlcheck BUNDLE\n"
      "\n"
      "Loads a module bundle, looks at its table and unloads it. Checks that it exports "
      "GetEntryTable and\n"
      "nothing else, gives the same table each time with the About entries at positions 0 and 10, "
      "writes\n"
      "nothing, and leaves the process.\n"
      "exit codes: 0 all is well, 1 something is wrong (a line each), 2 wrong arguments\n";

int sFaults = 0;

void Report(bool isWell, const char* what)
{
    printf("%s %s\n", isWell ? "ok   " : "WRONG", what);
    sFaults += isWell ? 0 : 1;
}

/// Whether `size` bytes from `offset` on lie inside.
bool Holds(const std::string& file, uint64_t offset, uint64_t size)
{
    return offset <= file.size() && size <= file.size() - offset;
}

#if UINTPTR_MAX > 0xFFFFFFFF
using ElfHeader = Elf64_Ehdr;
using ElfSection = Elf64_Shdr;
using ElfSymbol = Elf64_Sym;
#else
using ElfHeader = Elf32_Ehdr;
using ElfSection = Elf32_Shdr;
using ElfSymbol = Elf32_Sym;
#endif

template <typename Record> Record ReadAt(const std::string& file, uint64_t offset)
{
    Record record = {};
    if (!Holds(file, offset, sizeof record))
        Fail("the executable is damaged");
    memcpy(&record, file.data() + offset, sizeof record);
    return record;
}

/// The dynamic symbols that an executable defines for others.
std::vector<std::string> ExportedSymbols(const std::string& path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string file(std::istreambuf_iterator<char>(stream), {});
    const auto header = ReadAt<ElfHeader>(file, 0);
    if (memcmp(header.e_ident, ELFMAG, SELFMAG) != 0)
        Fail("no executable: " + path);
    std::vector<std::string> names;
    for (unsigned i = 0; i < header.e_shnum; ++i) {
        const auto section
            = ReadAt<ElfSection>(file, header.e_shoff + uint64_t { i } * header.e_shentsize);
        if (section.sh_type != SHT_DYNSYM || section.sh_entsize == 0)
            continue;
        const auto strings = ReadAt<ElfSection>(
            file, header.e_shoff + uint64_t { section.sh_link } * header.e_shentsize);
        for (uint64_t at = 0; at < section.sh_size; at += section.sh_entsize) {
            const auto symbol = ReadAt<ElfSymbol>(file, section.sh_offset + at);
            if (symbol.st_shndx == SHN_UNDEF || symbol.st_name == 0)
                continue;
            const uint64_t name = strings.sh_offset + symbol.st_name;
            if (!Holds(file, name, 1))
                Fail("the executable is damaged");
            names.emplace_back(file.c_str() + name);
        }
    }
    return names;
}

/// Sends what is written to both standard streams into a file without a name while it lives.
class Silence
{
public:
    Silence()
        : m_file(tmpfile())
    {
        fflush(nullptr);
        for (const int fd : { STDOUT_FILENO, STDERR_FILENO }) {
            m_kept[fd - 1] = dup(fd);
            dup2(fileno(m_file), fd);
        }
    }
    ~Silence() { End(); }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;

    /// The bytes written; the streams are back.
    long End()
    {
        if (m_file == nullptr)
            return m_written;
        fflush(nullptr);
        for (const int fd : { STDOUT_FILENO, STDERR_FILENO }) {
            dup2(m_kept[fd - 1], fd);
            close(m_kept[fd - 1]);
        }
        struct stat info = {};
        fstat(fileno(m_file), &info);
        m_written = static_cast<long>(info.st_size);
        fclose(m_file);
        m_file = nullptr;
        return m_written;
    }

private:
    FILE* m_file;
    int m_kept[2] = {};
    long m_written = 0;
};

bool IsMapped(const std::string& path)
{
    for (uint32_t i = 0; i < _dyld_image_count(); ++i) {
        const char* name = _dyld_get_image_name(i);
        if (name != nullptr && path == name)
            return true;
    }
    return false;
}

std::string ExecutableOf(const std::string& bundlePath, CFBundleRef bundle)
{
    const CFTypeRef name
        = CFBundleGetValueForInfoDictionaryKey(bundle, CFSTR("CFBundleExecutable"));
    if (name == nullptr || CFGetTypeID(name) != CFStringGetTypeID())
        Fail("no CFBundleExecutable in " + bundlePath + "/Contents/Info.plist");
    return bundlePath + "/Contents/MacOS/"
        + CFStringGetCStringPtr(static_cast<CFStringRef>(name), kCFStringEncodingUTF8);
}

void CheckTable(CFBundleRef bundle)
{
    const auto get = reinterpret_cast<GetEntryTableProc>(
        CFBundleGetFunctionPointerForName(bundle, CFSTR("GetEntryTable")));
    Report(get != nullptr, "loads and gives GetEntryTable");
    if (get == nullptr)
        return;
    const EntryPoint* table = get();
    Report(table != nullptr && table == get(), "gives the same table each time");
    if (table == nullptr)
        return;
    Report(table[kEntryShowAboutBoxSimple] != nullptr && table[kEntryShowAboutBox] != nullptr,
           "has the About entries at positions 0 and 10");
    bool othersAreEmpty = true;
    for (int i = kEntryShowAboutBoxSimple + 1; i < kEntryShowAboutBox; ++i)
        othersAreEmpty = othersAreEmpty && table[i] == nullptr;
    Report(othersAreEmpty, "keeps positions 1 to 9 empty");
}

int Run(int argc, char** argv)
{
    if (argc == 2 && (strcmp(argv[1], "--help") == 0 || strcmp(argv[1], "-h") == 0)) {
        fputs(kHelp, stdout);
        return kDone;
    }
    if (argc != 2)
        FailUsage("one bundle, please");
    char resolved[4096];
    if (realpath(argv[1], resolved) == nullptr)
        Fail(std::string("no bundle at ") + argv[1]);
    const std::string path = resolved;
    const CFURLRef url = CFURLCreateFromFileSystemRepresentation(
        kCFAllocatorDefault, reinterpret_cast<const UInt8*>(path.data()),
        static_cast<CFIndex>(path.size()), true);
    const CFBundleRef bundle = CFBundleCreate(kCFAllocatorDefault, url);
    CFRelease(url);
    if (bundle == nullptr)
        Fail("no bundle at " + path);
    const std::string executable = ExecutableOf(path, bundle);
    const std::vector<std::string> symbols = ExportedSymbols(executable);
    Report(symbols == std::vector<std::string> { "GetEntryTable" },
           "exports GetEntryTable and nothing else");

    Silence silence;
    const bool isLoaded = CFBundleLoadExecutable(bundle);
    CFBundleUnloadExecutable(bundle);
    const long written = silence.End();
    Report(isLoaded && written == 0, "loads and unloads without a word");

    CheckTable(bundle);
    CFBundleUnloadExecutable(bundle);
    CFRelease(bundle);
    Report(!IsMapped(executable), "leaves the process when it is unloaded");
    return sFaults == 0 ? kDone : kFailed;
}

} // namespace

int main(int argc, char** argv)
{
    return RunTool("vlcheck", [&] { return Run(argc, argv); });
}
