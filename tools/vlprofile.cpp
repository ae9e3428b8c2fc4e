// SPDX-License-Identifier: MIT
// vlprofile.cpp - reads and edits profile files (INI form) from the command line.
#include "System/vlProfileFile.h"
#include "tools/CommandLine.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace Veltrano;

namespace {

const char kHelp[]
    = "usage: vlprofile get FILE SECTION KEY\n"
      "       vlprofile set FILE SECTION KEY VALUE\n"
      "       vlprofile add-line FILE SECTION LINE\n"
      "       vlprofile remove-line FILE SECTION LINE\n"
      "       vlprofile sections FILE\n"
      "       vlprofile keys FILE SECTION\n"
      "       vlprofile lines FILE SECTION\n"
      "\n"
      "get          prints the value; exit code 1 if it is absent\n"
      "set          replaces or adds an entry; an empty VALUE removes it. Creates a "
      "missing\n"
      "             file or section\n"
      "add-line     adds a line to a section unless an equal one is there\n"
      "remove-line  removes the first equal line of a section; exit code 1 if it is absent\n"
      "sections     prints the section names, one per line\n"
      "keys, lines  print a section's keys, or its lines that are not blank\n"
      "These three and get read standard input for \"-\".\n"
      "\n"
      "Comments, blank lines and order stay as they are; line ends become line feeds. Names are "
      "compared exactly.\n"
      "A file that an edit would damage is refused before it is written: one with lines of more "
      "than 1022\n"
      "characters, or with \"[name]\" within a line of the section.\n"
      "exit codes: 0 done, 1 absent, or the file cannot be read or edited, 2 wrong arguments\n";

const size_t kLongestLine = 1022; // with its line feed

/// Opens a file, or standard input for "-".
void OpenForReading(ProfileFile& file, const char* path)
{
    if (!file.Open(strcmp(path, "-") == 0 ? "/dev/stdin" : path, "r"))
        Fail(std::string("cannot read ") + path + ": " + strerror(errno));
}

/// Called before a file to edit is read: reading a device may never end.
void RefuseDevice(const char* path)
{
    struct stat status;
    if (strcmp(path, "-") == 0)
        FailUsage("standard input can only be read");
    if (stat(path, &status) == 0 && S_ISCHR(status.st_mode))
        Fail(std::string("cannot write ") + path + ": it is a device");
}

/// Opens a file for an edit. Fails if it is not writable.
void OpenForWriting(ProfileFile& file, const char* path)
{
    if (!file.Open(path, "a+"))
        Fail(std::string("cannot write ") + path + ": " + strerror(errno));
}

/// Finds a section header as ProfileFile does: anywhere in a line.
bool FindHeader(const std::string& line, size_t& open, std::string& name)
{
    open = line.find('[');
    const size_t close = line.find(']', open);
    if (open == line.npos || close == line.npos)
        return false;
    name = line.substr(open + 1, close - open - 1);
    return true;
}

/// Refuses an edit that would damage the file: one where ProfileFile sees other lines or sections than other
/// INI readers do.
///   isFound  the entry or line to change exists, so nothing is inserted
void RequireHarmless(const char* path, const char* section, bool isFound)
{
    std::ifstream file(path, std::ios::binary);
    bool isInside = false; // in the section as other readers see it
    bool isSeen = false;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        const std::string where = std::string(path) + ", line " + std::to_string(++number) + ": ";
        if (line.size() + (file.eof() ? 0 : 1) > kLongestLine)
            Fail(where + "longer than 1022 characters, it would be split");
        size_t open = 0;
        std::string name;
        if (!FindHeader(line, open, name))
            continue;
        const bool isWithin = line.find_first_not_of(" \t") != open;
        if (isWithin && (isInside ? !isFound : !isSeen && name == section))
            Fail(where + "\"[" + name + "]\" within a line would count as a section header");
        isInside = isWithin ? isInside : !isSeen && name == section;
        isSeen = isSeen || name == section;
    }
}

/// An empty file for a trial of the edit: an impossible entry must not damage the user's file.
class TrialFile
{
public:
    TrialFile()
    {
        const int descriptor = mkstemp(m_path);
        if (descriptor < 0)
            Fail(std::string("cannot write ") + m_path + ": " + strerror(errno));
        close(descriptor);
    }
    ~TrialFile() { unlink(m_path); }
    TrialFile(const TrialFile&) = delete;
    TrialFile& operator=(const TrialFile&) = delete;

    const char* Path() const { return m_path; }

private:
    char m_path[32] = "/tmp/vlprofile.XXXXXX";
};

/// The lines of one section that are not blank: GetLines continues to the end of the file.
std::vector<String> LinesOf(ProfileFile& file, const char* section)
{
    ProfileLineList list;
    file.GetLines(list, section);
    std::vector<String> lines;
    for (const ProfileLine* p = list.head; p != nullptr; p = p->next) {
        const int open = p->text.FindChar('[');
        if (open >= 0 && p->text.FindChar(']', open + 1) >= 0)
            break; // the next section
        lines.push_back(p->text);
    }
    return lines;
}

bool HasLine(const char* path, const char* section, const char* line)
{
    String trimmed(line);
    trimmed.TrimStart();
    trimmed.TrimEnd();
    ProfileFile file;
    OpenForReading(file, path);
    for (const String& text : LinesOf(file, section))
        if (text == trimmed)
            return true;
    return trimmed.IsEmpty();
}

bool GetValue(const char* path, const char* section, const char* key, String& value)
{
    ProfileFile file;
    OpenForReading(file, path);
    return file.GetValue(section, key, value) != 0;
}

bool HasSection(ProfileFile& file, const char* section)
{
    ProfileLineList names;
    file.GetSections(names);
    for (const ProfileLine* p = names.head; p != nullptr; p = p->next)
        if (p->text == section)
            return true;
    return false;
}

bool HasEntry(const char* path, const char* section, const char* key)
{
    ProfileFile file;
    String value;
    return file.Open(path, "r") && file.GetValue(section, key, value);
}

void Get(const Arguments& words)
{
    String value;
    if (!GetValue(words[0], words[1], words[2], value))
        Fail(std::string("no entry ") + words[2] + " in section " + words[1]);
    puts(value);
}

/// Writes an entry and reads it back. True if it is stored.
bool SetEntry(const char* path, const char* section, const char* key, const String& value)
{
    {
        ProfileFile file;
        OpenForWriting(file, path);
        String old;
        const bool isThere = file.GetValue(section, key, old) != 0;
        if (isThere || !HasSection(file, section))
            file.SetValue(section, key, value);
        else if (!value.IsEmpty()) // SetValue would add it at the end of the file
            file.AddLine(section, String(key) + "=" + value);
    }
    String now;
    const bool isThere = GetValue(path, section, key, now);
    String wanted(value);
    wanted.TrimStart();
    wanted.TrimEnd();
    return value.IsEmpty() ? !isThere : isThere && now == wanted;
}

void Set(const Arguments& words)
{
    const String value(words[3]);
    if (!SetEntry(TrialFile().Path(), words[1], words[2], value))
        Fail("not possible as an entry of a profile file");
    RefuseDevice(words[0]);
    RequireHarmless(words[0], words[1], HasEntry(words[0], words[1], words[2]));
    if (!SetEntry(words[0], words[1], words[2], value))
        Fail(std::string("the entry cannot be stored in ") + words[0]);
}

bool AddLineTo(const char* path, const char* section, const char* line)
{
    {
        ProfileFile file;
        OpenForWriting(file, path);
        file.AddLine(section, line);
    }
    return HasLine(path, section, line);
}

void AddLine(const Arguments& words)
{
    if (!AddLineTo(TrialFile().Path(), words[1], words[2]))
        Fail("not possible as a line of a profile file");
    RefuseDevice(words[0]);
    RequireHarmless(words[0], words[1], false);
    if (!AddLineTo(words[0], words[1], words[2]))
        Fail(std::string("the line cannot be stored in ") + words[0]);
}

void RemoveLine(const Arguments& words)
{
    RefuseDevice(words[0]);
    if (!HasLine(words[0], words[1], words[2]))
        Fail(std::string("no such line in section ") + words[1]);
    RequireHarmless(words[0], words[1], true);
    ProfileFile file;
    OpenForWriting(file, words[0]);
    file.RemoveLine(words[1], words[2]);
}

void Print(const ProfileLineList& list)
{
    for (const ProfileLine* p = list.head; p != nullptr; p = p->next)
        puts(p->text);
}

void Sections(const Arguments& words)
{
    ProfileFile file;
    OpenForReading(file, words[0]);
    ProfileLineList list;
    file.GetSections(list);
    Print(list);
}

void Keys(const Arguments& words)
{
    ProfileFile file;
    OpenForReading(file, words[0]);
    if (!HasSection(file, words[1]))
        Fail(std::string("no section ") + words[1]);
    ProfileLineList list;
    file.GetKeys(list, words[1]);
    Print(list);
}

void Lines(const Arguments& words)
{
    ProfileFile file;
    OpenForReading(file, words[0]);
    if (!HasSection(file, words[1]))
        Fail(std::string("no section ") + words[1]);
    for (const String& line : LinesOf(file, words[1]))
        puts(line);
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
                     { "lines", 2, {}, Lines } },
                   argv);
}
