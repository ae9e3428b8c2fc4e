// SPDX-License-Identifier: MIT
// vlProfileFile.h - an INI file as the list of its lines: read whole, changed, written back whole.
// Order: Open -> any number of reads and changes -> Close, which writes if something changed.
// Lines that are not changed, of whatever kind, are written byte for byte. Line ends become line feeds:
// carriage returns in front of one are dropped, and the last line gets one. A line of more than 1,022
// characters, its line feed included, is read and written as several.
// Sections and keys are compared exactly. The kinds of lines:
//   section header   has a "[" and a "]" after it, anywhere; the name between them is not trimmed
//   entry            has text before the first "="; key and value are trimmed of white space
// Unless said otherwise: one thread at a time; a null or empty section or key does nothing; failure
// is 0.
#pragma once

#include "System/vlString.h"

#include <cstdio>
#include <string_view>

namespace Veltrano {

struct ProfileLine
{
    ProfileLine* next; // null at the end
    ProfileLine* previous; // null at the start
    String text; // without its line end
};

/// Lines in order. Owns them.
class ProfileLineList
{
public:
    ProfileLineList() = default;
    ~ProfileLineList() { Clear(); }
    ProfileLineList(const ProfileLineList&) = delete;
    ProfileLineList& operator=(const ProfileLineList&) = delete;

    void Append(const String& text) { InsertBefore(nullptr, text); }
    void RemoveHead() { Remove(head); }
    /// Inserts at the tail if the position is null.
    void InsertBefore(ProfileLine* pPosition, const String& text);
    /// Frees the line.
    void Remove(ProfileLine* pLine);
    void Clear();
    int GetCount() const;

    ProfileLine* head = nullptr;
    ProfileLine* tail = nullptr;
};

class ProfileFile
{
public:
    ProfileFile() = default;
    /// Closes the file; writes it if it was changed.
    ~ProfileFile() { Close(); }
    ProfileFile(const ProfileFile&) = delete;
    ProfileFile& operator=(const ProfileFile&) = delete;

    /// Closes what is open, then opens and reads a file. Lines from before stay in front of the
    /// read ones.
    ///   path     [in]  null: the path of the Open before
    ///   mode     [in]  as for fopen; "a+" creates a missing file
    ///   returns  0 when it cannot be opened or read; nothing is open then
    Bool32 Open(const char* path, const char* mode);
    /// Writes the lines back if any were changed, and frees them. A new file with the same owner, mode
    /// and access list replaces the old one in one step; a process that is killed leaves the old file or
    /// the new one, and at most one file "<path>.vlnew". Written in place, where a kill or a full disk can
    /// cut it: a file with several hard links, and one that cannot be replaced in its folder.
    ///   fails  a file that cannot be opened for writing, has no lines left, or whose new file does not fit
    ///          on the disk stays as it was; the changes are lost
    void Close();

    ///   value    [out]  trimmed; empty when the result is 0
    ///   example  "[a]" and "  k = v  ": GetValue("a", "k", value) is 1, value "v"
    Bool32 GetValue(const char* section, const char* key, String& value);
    /// Replaces or adds an entry; an empty value removes it. Creates a missing section.
    /// KEPT: a new entry of an existing section is appended to the file, whatever its last section is.
    void SetValue(const char* section, const char* key, const String& value);
    /// Adds a line at the end of a section, unless it has an equal line. Creates a missing section.
    void AddLine(const char* section, const char* line);
    /// Removes the first equal line. KEPT: creates a missing section.
    void RemoveLine(const char* section, const char* line);
    /// The enumerations empty the list, fill it and give its count. All sections, doubles too:
    int GetSections(ProfileLineList& names);
    int GetKeys(ProfileLineList& keys, const char* section);
    /// Trimmed lines that are not empty. KEPT: to the end of the file, later sections included.
    int GetLines(ProfileLineList& lines, const char* section);

private:
    static bool ParseHeader(const String& line, std::string_view& name);
    static bool ParseLine(const String& line, std::string_view& key, std::string_view& value);
    bool FindSection(ProfileLine*& pPosition, std::string_view& name, const char* lpszWanted) const;
    ProfileLine* GetSection(const char* lpszSection) const;
    ProfileLine* GetNextInSection(ProfileLine* pLine) const;
    ProfileLine*
    FindEntry(ProfileLine* pHeader, std::string_view wanted, std::string_view& value) const;
    void AppendHeader(const char* lpszSection);
    void Write();

    String m_path;
    ProfileLineList m_lines;
    FILE* m_file = nullptr; // open from Open to Close
    Bool32 m_dirty = 0; // m_lines was changed since Open
};

} // namespace Veltrano
