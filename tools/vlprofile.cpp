// SPDX-License-Identifier: MIT
// vlprofile.cpp - reads and edits profile files (INI form) from the command line.
#include "System/vlProfileFile.h"
#include "tools/CommandLine.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
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
      "get          prints the value; exit code 1 when there is none\n"
      "set          replaces or adds an entry; an empty VALUE removes it. The file and the section "
      "are made\n"
      "             when they are missing\n"
      "add-line     adds a line to a section unless an equal one is there\n"
      "remove-line  removes the first equal line of a section; exit code 1 when there is none\n"
      "sections     prints the section names, one a line\n"
      "keys, lines  print a section's keys, or its lines that are not blank\n"
      "\n"
      "Comments, blank lines and order stay as they are. Names are compared exactly.\n"
      "exit codes: 0 done, 1 not there, or it could not be read, written or kept, 2 wrong "
      "arguments\n";

using Words = std::vector<const char*>;

void OpenForReading(ProfileFile& file, const char* path)
{
    if (!file.Open(path, "r"))
        Fail(std::string("cannot read ") + path + ": " + strerror(errno));
}

/// Opens a file for an edit; says so at once when it could not be written back.
void OpenForWriting(ProfileFile& file, const char* path)
{
    struct stat status;
    if (stat(path, &status) == 0 && S_ISCHR(status.st_mode))
        Fail(std::string("cannot write ") + path + ": it is a device");
    if (!file.Open(path, "a+"))
        Fail(std::string("cannot write ") + path + ": " + strerror(errno));
}

/// An empty file to try an edit on: what a profile cannot hold must not harm the user's file.
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

/// A section's own lines, without blank ones: GetLines reaches to the end of the file.
std::vector<String> LinesOf(const char* path, const char* section)
{
    ProfileFile file;
    OpenForReading(file, path);
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
    for (const String& text : LinesOf(path, section))
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

void Get(const Words& words)
{
    String value;
    if (!GetValue(words[0], words[1], words[2], value))
        Fail(std::string("no entry ") + words[2] + " in section " + words[1]);
    puts(value);
}

/// Writes an entry and looks whether it is there.
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

void Set(const Words& words)
{
    const String value(words[3]);
    if (!SetEntry(TrialFile().Path(), words[1], words[2], value))
        Fail("a profile file cannot hold this entry");
    if (!SetEntry(words[0], words[1], words[2], value))
        Fail(std::string("the entry cannot be kept in ") + words[0]);
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

void AddLine(const Words& words)
{
    if (!AddLineTo(TrialFile().Path(), words[1], words[2]))
        Fail("a profile file cannot hold this line");
    if (!AddLineTo(words[0], words[1], words[2]))
        Fail(std::string("the line cannot be kept in ") + words[0]);
}

void RemoveLine(const Words& words)
{
    if (!HasLine(words[0], words[1], words[2]))
        Fail(std::string("no such line in section ") + words[1]);
    ProfileFile file;
    OpenForWriting(file, words[0]);
    file.RemoveLine(words[1], words[2]);
}

void Print(const ProfileLineList& list)
{
    for (const ProfileLine* p = list.head; p != nullptr; p = p->next)
        puts(p->text);
}

void Sections(const Words& words)
{
    ProfileFile file;
    OpenForReading(file, words[0]);
    ProfileLineList list;
    file.GetSections(list);
    Print(list);
}

void Keys(const Words& words)
{
    ProfileFile file;
    OpenForReading(file, words[0]);
    if (!HasSection(file, words[1]))
        Fail(std::string("no section ") + words[1]);
    ProfileLineList list;
    file.GetKeys(list, words[1]);
    Print(list);
}

void Lines(const Words& words)
{
    {
        ProfileFile file;
        OpenForReading(file, words[0]);
        if (!HasSection(file, words[1]))
            Fail(std::string("no section ") + words[1]);
    }
    for (const String& line : LinesOf(words[0], words[1]))
        puts(line);
}

struct Command
{
    const char* name;
    size_t words;
    void (*run)(const Words&);
};

const Command kCommands[] = {
    { "get", 3, Get },           { "set", 4, Set },
    { "add-line", 3, AddLine },  { "remove-line", 3, RemoveLine },
    { "sections", 1, Sections }, { "keys", 2, Keys },
    { "lines", 2, Lines },
};

int Run(const Words& words)
{
    if (words.empty())
        FailUsage("no command");
    if (strcmp(words[0], "--help") == 0 || strcmp(words[0], "-h") == 0) {
        fputs(kHelp, stdout);
        return kDone;
    }
    for (const Command& command : kCommands) {
        if (strcmp(words[0], command.name) != 0)
            continue;
        if (words.size() != command.words + 1)
            FailUsage(std::string("wrong number of arguments for ") + command.name);
        command.run(Words(words.begin() + 1, words.end()));
        return kDone;
    }
    FailUsage(std::string("no command ") + words[0]);
}

} // namespace

int main(int argc, char** argv)
{
    return RunTool("vlprofile", [&] { return Run(Words(argv + 1, argv + argc)); });
}
