// SPDX-License-Identifier: MIT
// vlprofile.cpp - reads and edits profile files (INI form) from the command line.
#include "System/vlProfileFile.h"
#include "tools/CommandLine.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <optional>
#include <unistd.h>

using namespace Veltrano;

namespace {

const char kHelp[] = R"(usage: vlprofile get FILE SECTION KEY
       vlprofile set FILE SECTION KEY VALUE
       vlprofile add-line FILE SECTION LINE
       vlprofile remove-line FILE SECTION LINE
       vlprofile sections FILE
       vlprofile keys FILE SECTION
       vlprofile lines FILE SECTION

get          prints the value; exit code 1 if it is absent
set          replaces or adds an entry; an empty VALUE removes it. Creates a missing
             file or section
add-line     adds a line to a section unless an equal one is there
remove-line  removes the first equal line of a section; exit code 1 if it is absent
sections     prints the section names, one per line
keys, lines  print a section's keys, or its lines that are not blank
These three and get read standard input for "-".

Comments, blank lines and order stay as they are; line ends become line feeds. Names are compared exactly.
A file that an edit would damage is refused before it is written: one with lines of more than 1022
characters, or with "[name]" within a line of the section.
exit codes: 0 done, 1 absent, or the file cannot be read or edited, 2 wrong arguments
)";

using Lines = std::vector<std::string>;

// An open profile file; standard input for "-", which is only read. Fails if it cannot be opened.
struct Profile : ProfileFile
{
    explicit Profile(const char* path, const char* mode = "r")
    {
        if (!Open(strcmp(path, "-") == 0 ? "/dev/stdin" : path, mode)) {
            Fail(std::string(*mode == 'r' ? "cannot read " : "cannot write ") + path + ": "
                 + strerror(errno));
        }
    }
};

// Called before a file to edit is read: reading a device may never end.
void RefuseDevice(const char* path)
{
    std::error_code error;
    if (strcmp(path, "-") == 0)
        Fail("standard input can only be read", kUsage);
    if (std::filesystem::is_character_file(path, error))
        Fail(std::string("cannot write ") + path + ": it is a device");
}

// The name in a section header as ProfileFile finds it: anywhere in a line.
std::optional<std::string> HeaderIn(const std::string& line)
{
    const size_t open = line.find('[');
    const size_t close = line.find(']', open);
    return close != line.npos ? std::optional(line.substr(open + 1, close - open - 1))
                              : std::nullopt;
}

// Refuses an edit that would damage the file: one where ProfileFile sees other lines or sections than other
// INI readers do.
//   isFound  the entry or line to change exists, so nothing is inserted
void RequireHarmless(const char* path, const char* section, bool isFound)
{
    std::ifstream file(path, std::ios::binary);
    bool isInside = false; // in the section as other readers see it
    bool isSeen = false;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        const std::string where = std::string(path) + ", line " + std::to_string(++number) + ": ";
        if (line.size() + (file.eof() ? 0 : 1) > 1022)
            Fail(where + "longer than 1022 characters, it would be split");
        const auto name = HeaderIn(line);
        if (!name)
            continue;
        const bool isWithin = line[line.find_first_not_of(" \t")] != '[';
        const bool isFirst = !isSeen && name == section;
        if (isWithin && (isInside ? !isFound : isFirst))
            Fail(where + "\"[" + *name + "]\" within a line would count as a section header");
        isInside = isWithin ? isInside : isFirst;
        isSeen = isSeen || isFirst;
    }
}

// The texts that an enumeration of a profile file gives.
template <typename... Section>
Lines Enumerate(ProfileFile& file,
                int (ProfileFile::*get)(ProfileLineList&, Section...),
                Section... section)
{
    ProfileLineList list;
    (file.*get)(list, section...);
    Lines texts;
    for (const ProfileLine* p = list.head; p != nullptr; p = p->next)
        texts.emplace_back(p->text.GetString());
    return texts;
}

// The lines of one section that are not blank: GetLines continues to the end of the file.
Lines LinesOf(ProfileFile& file, const char* section)
{
    Lines lines = Enumerate(file, &ProfileFile::GetLines, section);
    const auto isHeader = [](const std::string& line) { return HeaderIn(line).has_value(); };
    lines.erase(std::ranges::find_if(lines, isHeader), lines.end());
    return lines;
}

bool Contains(const Lines& lines, const char* line)
{
    return std::ranges::find(lines, line) != lines.end();
}

String Trimmed(const char* text)
{
    String trimmed(text);
    trimmed.TrimStart();
    trimmed.TrimEnd();
    return trimmed;
}

bool HasLine(const char* path, const char* section, const char* line)
{
    Profile file(path);
    return *Trimmed(line) == 0 || Contains(LinesOf(file, section), Trimmed(line));
}

// Reads an entry. False if it or the file is missing.
bool FindValue(const char* path, const char* section, const char* key, String& value)
{
    ProfileFile file;
    return file.Open(path, "r") && file.GetValue(section, key, value);
}

// Makes an edit, first of an empty file: an impossible one must not damage the user's file.
//   edit  changes the file with a path; true if a reader then finds the change
void Edit(const char* path, const std::string& what, const std::function<bool(const char*)>& edit)
{
    char trial[] = "/tmp/vlprofile.XXXXXX";
    const int descriptor = mkstemp(trial);
    if (descriptor < 0)
        Fail(std::string("cannot write ") + trial + ": " + strerror(errno));
    close(descriptor);
    const bool isPossible = edit(trial);
    unlink(trial);
    if (!isPossible)
        Fail("a profile file cannot hold this " + what);
    if (!edit(path))
        Fail("the " + what + " cannot be stored in " + path);
}

void Get(const Arguments& words)
{
    String value;
    if (!Profile(words[0]).GetValue(words[1], words[2], value))
        Fail(std::string("no entry ") + words[2] + " in section " + words[1]);
    puts(value);
}

bool SetEntry(const char* path, const char* section, const char* key, const String& value)
{
    String found;
    {
        Profile file(path, "a+");
        if (file.GetValue(section, key, found)
            || !Contains(Enumerate(file, &ProfileFile::GetSections), section))
            file.SetValue(section, key, value);
        else if (!value.IsEmpty()) // SetValue would add it at the end of the file
            file.AddLine(section, String(key) + "=" + value);
    }
    return FindValue(path, section, key, found) == !value.IsEmpty() && found == Trimmed(value);
}

void Set(const Arguments& words)
{
    String old;
    RefuseDevice(words[0]);
    RequireHarmless(words[0], words[1], FindValue(words[0], words[1], words[2], old));
    Edit(words[0], "entry",
         [&](const char* path) { return SetEntry(path, words[1], words[2], words[3]); });
}

void AddLine(const Arguments& words)
{
    RefuseDevice(words[0]);
    RequireHarmless(words[0], words[1], false);
    Edit(words[0], "line", [&](const char* path) {
        Profile(path, "a+").AddLine(words[1], words[2]);
        return HasLine(path, words[1], words[2]);
    });
}

void RemoveLine(const Arguments& words)
{
    RefuseDevice(words[0]);
    if (!HasLine(words[0], words[1], words[2]))
        Fail(std::string("no such line in section ") + words[1]);
    RequireHarmless(words[0], words[1], true);
    Profile(words[0], "a+").RemoveLine(words[1], words[2]);
}

void Print(const Lines& lines)
{
    for (const std::string& line : lines)
        puts(line.c_str());
}

void Sections(const Arguments& words)
{
    Profile file(words[0]);
    Print(Enumerate(file, &ProfileFile::GetSections));
}

void RequireSection(ProfileFile& file, const char* section)
{
    if (!Contains(Enumerate(file, &ProfileFile::GetSections), section))
        Fail(std::string("no section ") + section);
}

void Keys(const Arguments& words)
{
    Profile file(words[0]);
    RequireSection(file, words[1]);
    Print(Enumerate(file, &ProfileFile::GetKeys, words[1]));
}

void PrintLines(const Arguments& words)
{
    Profile file(words[0]);
    RequireSection(file, words[1]);
    Print(LinesOf(file, words[1]));
}

} // namespace

int main(int, char** argv)
{
    return RunTool("vlprofile", kHelp,
                   { { "get", 3, {}, Get },
                     { "set", 4, {}, Set },
                     { "add-line", 3, {}, AddLine },
                     { "remove-line", 3, {}, RemoveLine },
                     { "sections", 1, {}, Sections },
                     { "keys", 2, {}, Keys },
                     { "lines", 2, {}, PrintLines } },
                   argv);
}
