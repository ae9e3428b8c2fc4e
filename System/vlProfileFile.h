// SPDX-License-Identifier: MIT
// vlProfileFile.h - an INI file as the list of its lines: read whole, changed, written back whole.
// Order: Open -> any number of reads and changes -> Close, which writes if something changed.
// Lines that are not touched, of whatever kind, come back byte for byte; line ends become line feeds.
// Sections and keys compare exactly, case and all. What a line is is decided when it is looked at:
//   section header   holds a "[" and a "]" after it, wherever; the name between them is not trimmed
//   entry            text in front of the first "="; key and value are trimmed of white space
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
    ~ProfileLineList();
    ProfileLineList(const ProfileLineList&) = delete;
    ProfileLineList& operator=(const ProfileLineList&) = delete;

    void Append(const String& text);
    void RemoveHead();
    /// At the tail when the position is null.
    void InsertBefore(ProfileLine* pPosition, const String& text);
    /// Frees the line.
    void Remove(ProfileLine* pLine);
    void Clear();
    int GetCount() const;
    /// Moves all lines of the other list behind the own ones.
    void Join(ProfileLineList& other);

    ProfileLine* head = nullptr;
    ProfileLine* tail = nullptr;
};

class ProfileFile
{
public:
    ProfileFile() = default;
    /// Closes the file, which may write it.
    ~ProfileFile();
    ProfileFile(const ProfileFile&) = delete;
    ProfileFile& operator=(const ProfileFile&) = delete;

    /// Closes what is open, then opens and reads a file. Lines from before stay in front of the
    /// read ones.
    ///   path     [in]  null: the path of the Open before
    ///   mode     [in]  as for fopen; "a+" creates a missing file
    ///   returns  0 when it cannot be opened or read; nothing is open then
    Bool32 Open(const char* path, const char* mode);
    /// Writes the lines back if any were changed, and frees them. A file that cannot be opened for
    /// writing is as it was, and so is one that has no lines left.
    void Close();

    ///   value    [out]  trimmed; empty when the result is 0
    ///   example  "[a]" and "  k = v  ": GetValue("a", "k", value) is 1, value "v"
    Bool32 GetValue(const char* section, const char* key, String& value);
    /// Replaces, adds or, by an empty value, removes an entry. The section is made when need be.
    /// KEPT: a new entry of an existing section goes to the end of the file, whatever section that is.
    void SetValue(const char* section, const char* key, const String& value);
    /// Adds a line at the end of a section, unless an equal one is there. Makes a missing section.
    void AddLine(const char* section, const char* line);
    /// Removes the first equal line. KEPT: makes a missing section.
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
