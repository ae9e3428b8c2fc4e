// SPDX-License-Identifier: MIT
// vlProfileFile.cpp - loading, looking up, changing and writing the lines of a profile.

#include "System/vlProfileFile.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <copyfile.h>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <new>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Veltrano {

namespace {

const size_t kMaxPiece = 1022; // as fgets with a buffer of 1,023 characters
const char kNewSuffix[] = ".vlnew"; // of the new file that replaces a profile

bool IsGiven(const char* lpsz) { return lpsz != nullptr && *lpsz != '\0'; }

std::string_view TextOf(const String& string)
{
    return { string.GetString(), static_cast<size_t>(string.GetLength()) };
}

String MakeString(std::string_view text)
{
    return String(text.data(), static_cast<int>(text.size()));
}

bool IsSpace(char ch) { return ch == ' ' || (ch >= '\t' && ch <= '\r'); }

bool IsLineEnd(char ch) { return ch == '\r' || ch == '\n'; }

std::string_view TrimEnd(std::string_view text, bool (*isCut)(char))
{
    while (!text.empty() && isCut(text.back()))
        text.remove_suffix(1);
    return text;
}

std::string_view TrimStart(std::string_view text)
{
    while (!text.empty() && IsSpace(text.front()))
        text.remove_prefix(1);
    return text;
}

std::string_view Trim(std::string_view text) { return TrimEnd(TrimStart(text), IsSpace); }

// Compares eight characters at a time: faster than memchr for typical short lines.
inline bool Holds(std::string_view text, char ch)
{
    if (text.size() < 8 || text.size() > 64)
        return text.find(ch) != text.npos;
    constexpr uint64_t kOnes = 0x0101010101010101;
    uint64_t found = 0;
    const auto look = [&found, ch](const char* pch) {
        uint64_t eight = 0;
        memcpy(&eight, pch, sizeof(eight));
        eight ^= kOnes * static_cast<unsigned char>(ch); // a match becomes a zero byte
        found |= (eight - kOnes) & ~eight & kOnes << 7; // nonzero if there was a match
    };
    for (size_t at = 0; at + 8 < text.size(); at += 8)
        look(&text[at]);
    look(&text[text.size() - 8]);
    return found != 0;
}

// Reads a stream to its end. A line of more than 1,022 characters arrives in several pieces.
//   returns  false after a read error
bool Load(FILE* file, ProfileLineList& lines)
{
    char buffer[65536];
    size_t nKept = 0; // bytes of a piece that is not complete yet
    for (bool bEnd = false; !bEnd;) {
        const size_t nWanted = sizeof(buffer) - nKept;
        const size_t nRead = fread(buffer + nKept, 1, nWanted, file);
        bEnd = nRead < nWanted;
        std::string_view rest(buffer, nKept + nRead);
        while (!rest.empty()) {
            const std::string_view most = rest.substr(0, kMaxPiece);
            const size_t nLineFeed = most.find('\n');
            if (nLineFeed == most.npos && most.size() < kMaxPiece && !bEnd)
                break;
            const std::string_view piece = most.substr(0, std::min(nLineFeed, kMaxPiece - 1) + 1);
            lines.Append(MakeString(TrimEnd(piece, IsLineEnd)));
            rest.remove_prefix(piece.size());
        }
        nKept = rest.size();
        memmove(buffer, rest.data(), nKept);
    }
    return !ferror(file) || errno == EBADF; // opened for writing only: no lines
}

// Moves the lines of one list to the end of another.
void Join(ProfileLineList& list, ProfileLineList& other)
{
    if (other.head != nullptr) {
        other.head->previous = list.tail;
        (list.tail ? list.tail->next : list.head) = other.head;
        list.tail = other.tail;
        other.head = nullptr;
        other.tail = nullptr;
    }
}

struct Descriptor
{
    explicit Descriptor(int nDescriptor)
        : fd(nDescriptor)
    {
    }
    ~Descriptor()
    {
        if (fd >= 0)
            close(fd);
    }
    Descriptor(const Descriptor&) = delete;

    const int fd;
};

bool WriteText(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t n = write(fd, text.data(), text.size());
        if (n < 0 && errno != EINTR)
            return false;
        text.remove_prefix(n > 0 ? static_cast<size_t>(n) : 0);
    }
    return true;
}

bool Flush(int fd)
{
    while (fsync(fd) != 0) {
        if (errno != EINTR)
            return errno == EINVAL; // the file system has nothing to flush
    }
    return true;
}

bool IsDiskError(int nError) { return nError == ENOSPC || nError == EDQUOT || nError == EIO; }

// Opens and locks the new file of a profile. The name is fixed, so a file left by a killed process is reused.
//   returns  a descriptor of an empty file; -1 with errno, EBUSY if another process holds it for 2 s
int OpenNewFile(const char* path)
{
    for (int nTry = 0; nTry < 400; ++nTry) {
        const int fd = open(path, O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
        if (fd < 0)
            return -1;
        int nError = lockf(fd, F_TLOCK, 0) == 0 ? 0 : errno;
        struct stat opened;
        struct stat named;
        if (nError == 0 && fstat(fd, &opened) == 0 && lstat(path, &named) == 0
            && opened.st_dev == named.st_dev && opened.st_ino == named.st_ino) {
            const bool bOwn
                = S_ISREG(opened.st_mode) && opened.st_nlink == 1 && opened.st_uid == geteuid();
            if (bOwn && (opened.st_size == 0 || ftruncate(fd, 0) == 0))
                return fd;
            // Not locked: left by a killed process of another user.
            nError = !bOwn && unlink(path) == 0 ? 0 : errno;
        }
        close(fd);
        if (nError != 0 && nError != EACCES && nError != EAGAIN) {
            errno = nError;
            return -1;
        }
        poll(nullptr, 0, 5); // another process holds or has just renamed it
    }
    errno = EBUSY;
    return -1;
}

// Copies owner, mode, access list and extended attributes from one file to another.
bool CopyAttributes(int nFrom, const struct stat& from, int nTo)
{
    struct stat to;
    return fstat(nTo, &to) == 0
        && ((to.st_uid == from.st_uid && to.st_gid == from.st_gid)
            || fchown(nTo, from.st_uid, from.st_gid) == 0)
        && fchmod(nTo, from.st_mode & 07777) == 0
        && fcopyfile(nFrom, nTo, nullptr, COPYFILE_ACL | COPYFILE_XATTR) == 0
        && fstat(nTo, &to) == 0 && to.st_mode == from.st_mode && to.st_uid == from.st_uid
        && to.st_gid == from.st_gid;
}

// Writes a new file beside an existing one and renames it over the old one. A killed process leaves the old
// file intact.
//   returns  true   replaced, or a write failed and the old file is unchanged
//            false  cannot be replaced: write in place instead
bool ReplaceFile(const char* lpszPath, std::string_view text)
{
    char path[PATH_MAX]; // of the file, with all links resolved
    if (realpath(lpszPath, path) == nullptr)
        return false;
    struct stat info;
    const Descriptor old(open(path, O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (old.fd < 0 || fstat(old.fd, &info) != 0 || !S_ISREG(info.st_mode) || info.st_nlink != 1)
        return false;
    char newPath[PATH_MAX + sizeof(kNewSuffix)];
    snprintf(newPath, sizeof(newPath), "%s%s", path, kNewSuffix);
    const Descriptor fresh(OpenNewFile(newPath));
    if (fresh.fd < 0)
        return IsDiskError(errno);
    bool bSettled = true;
    if (WriteText(fresh.fd, text)) {
        bSettled = CopyAttributes(old.fd, info, fresh.fd);
        if (bSettled && Flush(fresh.fd)) {
            if (rename(newPath, path) == 0)
                return true;
            bSettled = IsDiskError(errno);
        }
    }
    unlink(newPath);
    return bSettled;
}

} // namespace

// ProfileLineList

void ProfileLineList::InsertBefore(ProfileLine* pPosition, const String& text)
{
    ProfileLine* pPrevious = pPosition ? pPosition->previous : tail;
    ProfileLine* pLine = new ProfileLine { pPosition, pPrevious, text };
    (pPrevious ? pPrevious->next : head) = pLine;
    (pPosition ? pPosition->previous : tail) = pLine;
}

void ProfileLineList::Remove(ProfileLine* pLine)
{
    if (pLine != nullptr) {
        (pLine->previous ? pLine->previous->next : head) = pLine->next;
        (pLine->next ? pLine->next->previous : tail) = pLine->previous;
        delete pLine;
    }
}

void ProfileLineList::Clear()
{
    while (head != nullptr)
        RemoveHead();
}

int ProfileLineList::GetCount() const
{
    int nCount = 0;
    for (const ProfileLine* p = head; p != nullptr; p = p->next)
        ++nCount;
    return nCount;
}

// Opening and closing

Bool32 ProfileFile::Open(const char* path, const char* mode)
{
    Close();
    if (path != nullptr)
        m_path = path;
    std::unique_ptr<FILE, int (*)(FILE*)> file(mode ? fopen(m_path, mode) : nullptr, fclose);
    if (!file)
        return 0;
    rewind(file.get());
    ProfileLineList lines;
    if (!Load(file.get(), lines))
        return 0; // lines that were not read could not be written back
    Join(m_lines, lines);
    m_file = file.release();
    return 1;
}

void ProfileFile::Close()
{
    if (m_file == nullptr)
        return;
    if (m_dirty) {
        if (m_lines.head != nullptr)
            Write();
        m_dirty = 0;
    }
    m_lines.Clear();
    fclose(m_file);
    m_file = nullptr;
}

// Also empties the list.
void ProfileFile::Write()
{
    size_t nLength = 0;
    for (const ProfileLine* p = m_lines.head; p != nullptr; p = p->next)
        nLength += TextOf(p->text).size() + 1;
    const std::unique_ptr<char[]> text(new (std::nothrow) char[nLength]);
    char* pEnd = text.get();
    for (; m_lines.head != nullptr && text != nullptr; m_lines.RemoveHead()) {
        const std::string_view line = TextOf(m_lines.head->text);
        pEnd = std::copy(line.begin(), line.end(), pEnd);
        *pEnd++ = '\n';
    }
    if (text != nullptr && ReplaceFile(m_path, { text.get(), nLength }))
        return;
    // On failure the stream is closed, but the caller must still call fclose.
    if (freopen(m_path, "w", m_file) == nullptr)
        return;
    if (text != nullptr)
        WriteText(fileno(m_file), { text.get(), nLength });
    for (; m_lines.head != nullptr; m_lines.RemoveHead()) { // no memory for the whole text
        const std::string_view line = TextOf(m_lines.head->text);
        fwrite(line.data(), 1, line.size(), m_file);
        putc('\n', m_file);
    }
}

// Kinds of lines

inline bool ProfileFile::ParseHeader(const String& line, std::string_view& name)
{
    const std::string_view text = TextOf(line);
    if (text.size() <= 1 || !Holds(text, '['))
        return false;
    const size_t nOpen = text.find('[');
    const size_t nClose = text.find(']', nOpen);
    if (nClose == text.npos)
        return false;
    name = text.substr(nOpen + 1, nClose - nOpen - 1);
    return true;
}

inline bool
ProfileFile::ParseLine(const String& line, std::string_view& key, std::string_view& value)
{
    const std::string_view text = TextOf(line);
    const size_t nEquals = text.find('=');
    if (nEquals == text.npos)
        return false;
    key = Trim(text.substr(0, nEquals));
    value = Trim(text.substr(nEquals + 1));
    return !key.empty();
}

// Moves on to the next header (the position included) with that name, or any name if null; null without one.
bool ProfileFile::FindSection(ProfileLine*& pPosition,
                              std::string_view& name,
                              const char* lpszWanted) const
{
    ProfileLine* p = pPosition;
    while (p != nullptr && !(ParseHeader(p->text, name) && (!lpszWanted || name == lpszWanted)))
        p = p->next;
    pPosition = p;
    return p != nullptr;
}

// Finds the first header of a section. Null if it is absent, or the name is null or empty.
ProfileLine* ProfileFile::GetSection(const char* lpszSection) const
{
    ProfileLine* pPosition = IsGiven(lpszSection) ? m_lines.head : nullptr;
    std::string_view name;
    FindSection(pPosition, name, lpszSection);
    return pPosition;
}

// The next line of the section, or null at its end.
ProfileLine* ProfileFile::GetNextInSection(ProfileLine* pLine) const
{
    std::string_view name;
    return pLine->next && !ParseHeader(pLine->next->text, name) ? pLine->next : nullptr;
}

// Finds the entry of a key after a header, and its value. Null if it is absent or the header is null.
ProfileLine*
ProfileFile::FindEntry(ProfileLine* pHeader, std::string_view wanted, std::string_view& value) const
{
    for (ProfileLine* p = pHeader; p != nullptr && (p = GetNextInSection(p)) != nullptr;) {
        // Fast rejection: most lines differ in the key's last character.
        const std::string_view start = TrimStart(TextOf(p->text)).substr(0, wanted.size());
        std::string_view key;
        if (start.size() == wanted.size() && start.back() == wanted.back()
            && ParseLine(p->text, key, value) && key == wanted)
            return p;
    }
    return nullptr;
}

void ProfileFile::AppendHeader(const char* lpszSection)
{
    m_lines.Append('[' + String(lpszSection) + ']');
    m_dirty = 1;
}

// Entries

Bool32 ProfileFile::GetValue(const char* section, const char* key, String& value)
{
    const String before(value); // section and key may alias the value
    value.Clear();
    std::string_view text;
    if (!IsGiven(key) || FindEntry(GetSection(section), key, text) == nullptr)
        return 0;
    value = MakeString(text);
    return 1;
}

void ProfileFile::SetValue(const char* section, const char* key, const String& value)
{
    if (!IsGiven(section) || !IsGiven(key))
        return;
    const String text = String(key) + '=' + value;
    ProfileLine* p = GetSection(section);
    if (p == nullptr) {
        if (value.IsEmpty())
            return;
        AppendHeader(section);
    }
    std::string_view old;
    p = FindEntry(p, key, old);
    if (p == nullptr) {
        // KEPT: appended at the end of the file, not of the section, even if the value is empty.
        m_lines.Append(text);
    } else if (value.IsEmpty()) {
        m_lines.Remove(p);
    } else {
        p->text = text;
    }
    m_dirty = 1;
}

void ProfileFile::AddLine(const char* section, const char* line)
{
    if (!IsGiven(section))
        return;
    ProfileLine* pLast = GetSection(section);
    if (pLast == nullptr) {
        AppendHeader(section);
        pLast = m_lines.tail;
    }
    if (!IsGiven(line))
        return;
    while (ProfileLine* p = GetNextInSection(pLast)) {
        if (p->text == line)
            return;
        pLast = p;
    }
    m_lines.InsertBefore(pLast->next, line);
    m_dirty = 1;
}

void ProfileFile::RemoveLine(const char* section, const char* line)
{
    if (!IsGiven(section))
        return;
    ProfileLine* p = GetSection(section);
    if (p == nullptr) {
        AppendHeader(section); // KEPT: removing from a missing section creates the section
        return;
    }
    while (IsGiven(line) && (p = GetNextInSection(p)) != nullptr) {
        if (p->text == line) {
            m_lines.Remove(p);
            m_dirty = 1;
            return;
        }
    }
}

// Enumerations

int ProfileFile::GetSections(ProfileLineList& names)
{
    names.Clear();
    std::string_view name;
    for (ProfileLine* p = m_lines.head; FindSection(p, name, nullptr); p = p->next)
        names.Append(MakeString(name));
    return names.GetCount();
}

int ProfileFile::GetKeys(ProfileLineList& keys, const char* section)
{
    const String wanted(section); // may alias a line of the list
    keys.Clear();
    // KEPT: a header may also be an entry.
    for (ProfileLine* p = GetSection(wanted); p != nullptr; p = GetNextInSection(p)) {
        std::string_view key;
        std::string_view value;
        if (ParseLine(p->text, key, value))
            keys.Append(MakeString(key));
    }
    return keys.GetCount();
}

int ProfileFile::GetLines(ProfileLineList& lines, const char* section)
{
    const String wanted(section); // may alias a line of the list
    lines.Clear();
    ProfileLine* p = GetSection(wanted);
    while (p != nullptr && (p = p->next) != nullptr) { // KEPT: past the section's end
        const std::string_view text = Trim(TextOf(p->text));
        if (!text.empty())
            lines.Append(MakeString(text));
    }
    return lines.GetCount();
}

} // namespace Veltrano
