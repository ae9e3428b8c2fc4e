// SPDX-License-Identifier: MIT
// vlString.cpp - String: blocks, assignment, editing and formatting.

#include "System/vlString.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <new>

namespace Veltrano {

namespace {

// The block that all empty strings share. Writable, because an empty text may be stored into it. Initialised
// at compile time, so the first use needs no guard.
struct NilBuffer
{
    StringData header { -1, 0 };
    char chars[sizeof(void*)] = {};
};
constinit NilBuffer sNilBuffer;

void CopyChars(char* lpchDest, const char* lpchSrc, int n)
{
    if (n > 0)
        memmove(lpchDest, lpchSrc, static_cast<size_t>(n));
}

bool IsSpace(char ch)
{
    const unsigned char code = static_cast<unsigned char>(ch);
    return code <= 127 ? code == ' ' || (code >= '\t' && code <= '\r') : isspace(code) != 0;
}

// Finds the next occurrence in a text that may contain zeros; null if absent.
const char* FindNext(const char* p, const char* pEnd, const char* lpszSub)
{
    for (; p < pEnd; p += strlen(p) + 1) {
        if (const char* lpszHit = strstr(p, lpszSub))
            return lpszHit;
    }
    return nullptr;
}

// The length of the value as "%f" with six more digits than requested.
SInt64 MeasureFixed(double value, int nWidth, int nPrecision)
{
    if (nPrecision > INT_MAX - 6)
        return INT_MAX;
    const int nLength = snprintf(nullptr, 0, "%*.*f", nWidth, nPrecision + 6, value);
    return nLength < 0 ? INT_MAX : nLength;
}

} // namespace

constinit StringData* String::nil_ = &sNilBuffer.header;

// Blocks

StringData* StringData::Create(SInt32 n)
{
    char* block = new char[sizeof(StringData) + static_cast<size_t>(n) + 1];
    StringData* pData = new (block) StringData(1, n);
    pData->GetChars()[n] = '\0';
    return pData;
}

void String::AllocateExact(UInt32 nLen)
{
    VL_ASSERT(144, nLen <= INT_MAX - 1);
    m_pchData = (nLen == 0 ? GetNil() : StringData::Create(static_cast<SInt32>(nLen)))->GetChars();
}

void String::ReleaseData(StringData* pData)
{
    if (pData->IsNotNil()) {
        VL_CHECK(pData->GetRefs() != 0, SourceName(__FILE__), 175, "pData->nRefs != 0");
        if (AddAtomic(-1, &pData->nRefs) <= 1)
            pData->Free();
    }
}

void String::MakeUnique()
{
    if (IsShared()) {
        String old; // keeps the block alive while it is copied
        std::swap(m_pchData, old.m_pchData);
        old.CopyRange(*this, old.GetLength(), 0, 0);
    }
    VL_CHECK(GetData()->GetRefs() <= 1, SourceName(__FILE__), 203, "GetData()->nRefs <= 1");
}

void String::PrepareOverwrite(int nLen)
{
    if (IsShared() || nLen > GetAllocLength()) {
        ReleaseData();
        AllocateExact(static_cast<UInt32>(nLen));
    }
    VL_CHECK(GetData()->GetRefs() <= 1, SourceName(__FILE__), 213, "GetData()->nRefs <= 1");
}

// Moves the text to a private block with room for nCapacity characters.
void String::Reallocate(UInt32 nCapacity)
{
    StringData* pOldData = GetData();
    AllocateExact(nCapacity);
    CopyChars(m_pchData, pOldData->GetChars(), pOldData->nDataLength);
    SetLength(pOldData->nDataLength);
    ReleaseData(pOldData);
}

String& String::CopyFrom(int nSrcLen, const char* lpchSrc)
{
    String old; // keeps characters of this string alive while they are copied
    if (IsShared() && Contains(lpchSrc))
        std::swap(m_pchData, old.m_pchData);
    PrepareOverwrite(nSrcLen);
    CopyChars(m_pchData, lpchSrc, nSrcLen);
    SetLength(nSrcLen);
    return *this;
}

void String::JoinCopy(int nLen1, const char* lpchSrc1, int nLen2, const char* lpchSrc2)
{
    const UInt32 nLen = static_cast<UInt32>(nLen1) + static_cast<UInt32>(nLen2);
    if (nLen != 0) {
        AllocateExact(nLen);
        CopyChars(m_pchData, lpchSrc1, nLen1);
        CopyChars(m_pchData + nLen1, lpchSrc2, nLen2);
    }
}

String& String::AppendInPlace(int nSrcLen, const char* lpchSrc)
{
    if (nSrcLen == 0)
        return *this;
    const int nLen = GetLength();
    if (!IsShared() && nSrcLen <= GetAllocLength() - nLen) {
        CopyChars(m_pchData + nLen, lpchSrc, nSrcLen);
        GetData()->nDataLength += nSrcLen;
        VL_ASSERT(399, GetData()->nDataLength <= GetData()->nAllocLength);
        m_pchData[GetData()->nDataLength] = '\0';
    } else {
        // KEPT: no growth factor: each append allocates an exact block and copies.
        StringData* pOldData = GetData();
        JoinCopy(nLen, m_pchData, nSrcLen, lpchSrc);
        VL_ASSERT(391, pOldData != 0);
        ReleaseData(pOldData);
    }
    return *this;
}

// By value: lets a loop of appends keep its character in a register.
void String::AppendChar(char ch) { AppendInPlace(1, &ch); }

void String::CopyRange(String& dest, int nCopyLen, int nCopyIndex, int nExtraLen) const
{
    dest.AllocateExact(static_cast<UInt32>(nCopyLen) + static_cast<UInt32>(nExtraLen));
    CopyChars(dest.m_pchData, m_pchData + nCopyIndex, nCopyLen);
}

// True if an argument lies in this string's block. False for the nil buffer, whose text never changes.
bool String::Contains(const char* lpch) const
{
    const std::less<const char*> before;
    return lpch != nullptr && GetAllocLength() != 0 && !before(lpch, m_pchData)
        && !before(m_pchData + GetAllocLength(), lpch);
}

// Sets the length and the final zero. Does not write unchanged values: threads share the nil buffer.
void String::SetLength(int nLen)
{
    StringData* pData = GetData();
    if (pData->nDataLength != nLen)
        pData->nDataLength = nLen;
    if (pData != GetNil() || m_pchData[nLen] != '\0')
        m_pchData[nLen] = '\0';
}

// Construction and concatenation

String::String(const char* lpch, int nLength)
{
    if (nLength != 0)
        VL_ASSERT(586, gIsValidAddress(lpch, nLength, false));
    AllocateExact(static_cast<UInt32>(nLength));
    CopyChars(m_pchData, lpch, nLength);
}

String::String(char ch, int nRepeat)
{
    const UInt32 nLength = static_cast<UInt32>(std::max(nRepeat, 0));
    AllocateExact(nLength);
    memset(m_pchData, ch, nLength);
}

String String::Join(std::string_view a, std::string_view b)
{
    String result;
    result.JoinCopy(static_cast<int>(a.size()), a.data(), static_cast<int>(b.size()), b.data());
    return result;
}

// Buffer access

char* String::OpenBuffer(int nMinBufLength)
{
    VL_ASSERT(428, nMinBufLength >= 0);
    if (IsShared() || nMinBufLength > GetAllocLength())
        Reallocate(static_cast<UInt32>(std::max(nMinBufLength, GetLength())));
    VL_CHECK(GetData()->GetRefs() <= 1, SourceName(__FILE__), 447, "GetData()->nRefs <= 1");
    return m_pchData;
}

void String::CloseBuffer(int nNewLength)
{
    MakeUnique();
    if (nNewLength < 0) {
        // The writer may have run over the zero: the search ends with the block, and the check sees it.
        const UInt32 nSize = static_cast<UInt32>(GetAllocLength()) + 1;
        nNewLength = static_cast<int>(strnlen(m_pchData, nSize));
    }
    VL_ASSERT(461, nNewLength <= (int)(GetData()->nAllocLength));
    SetLength(nNewLength);
}

char* String::OpenBufferWithLength(int nNewLength)
{
    VL_ASSERT(468, nNewLength >= 0);
    OpenBuffer(nNewLength);
    SetLength(nNewLength);
    return m_pchData;
}

void String::TrimCapacity()
{
    VL_ASSERT(478, GetData()->nDataLength <= GetData()->nAllocLength);
    if (GetLength() != GetAllocLength()) {
        Reallocate(static_cast<UInt32>(GetLength()));
        VL_ASSERT(484, m_pchData[GetData()->nDataLength] == '\0');
    }
    VL_ASSERT(487, GetData() != 0);
}

char* String::Lock()
{
    OpenBuffer(0);
    GetData()->nRefs = -1;
    return m_pchData;
}

void String::Unlock()
{
    VL_CHECK(GetData()->GetRefs() == -1, SourceName(__FILE__), 499, "GetData()->nRefs == -1");
    // KEPT: Unlock leaves nRefs at -1, for a locked block is not told from the nil buffer: a
    // pointer that Lock gave stays valid for the life of the process.
    if (GetData()->IsNotNil())
        GetData()->nRefs = 1;
}

void String::Clear()
{
    if (IsEmpty())
        return;
    if (GetData()->GetRefs() < 0)
        *this = "";
    else
        ReleaseData();
    VL_ASSERT(190, GetData()->nDataLength == 0);
    VL_CHECK(GetData()->GetRefs() < 0 || GetData()->nAllocLength == 0, SourceName(__FILE__), 191,
             "GetData()->nRefs < 0 || GetData()->nAllocLength == 0");
}

// Extraction

String String::Part(int nFirst, int nCount) const
{
    nFirst = std::min(std::max(nFirst, 0), GetLength());
    nCount = std::min(std::max(nCount, 0), GetLength() - nFirst);
    VL_ASSERT(843, nFirst >= 0);
    VL_ASSERT(844, nFirst + nCount <= (int)(GetData()->nDataLength));
    if (nCount == GetLength())
        return *this;
    return String(m_pchData + nFirst, nCount);
}

String String::Tail(int nCount) const
{
    nCount = std::min(std::max(nCount, 0), GetLength());
    return Substring(GetLength() - nCount, nCount);
}

String String::HeadOutside(const char* lpszCharSet) const
{
    VL_ASSERT(889, gIsValidString(lpszCharSet));
    return Head(static_cast<int>(strcspn(m_pchData, lpszCharSet)));
}

String String::HeadWithin(const char* lpszCharSet) const
{
    VL_ASSERT(882, gIsValidString(lpszCharSet));
    return Head(static_cast<int>(strspn(m_pchData, lpszCharSet)));
}

// Search

int String::FindChar(char ch, int nStart) const
{
    return nStart >= GetLength() ? -1 : IndexOf(strchr(m_pchData + std::max(nStart, 0), ch));
}

int String::FindAnyOf(const char* lpszCharSet) const
{
    VL_ASSERT(527, gIsValidString(lpszCharSet));
    return IndexOf(strpbrk(m_pchData, lpszCharSet));
}

int String::FindText(const char* lpszSub, int nStart) const
{
    VL_ASSERT(913, gIsValidString(lpszSub));
    return nStart > GetLength() ? -1 : IndexOf(strstr(m_pchData + std::max(nStart, 0), lpszSub));
}

// In-place editing

void String::SetCharAt(int nIndex, char ch)
{
    VL_ASSERT(560, nIndex >= 0);
    VL_ASSERT(561, nIndex < (int)(GetData()->nDataLength));
    MakeUnique();
    m_pchData[nIndex] = ch;
}

int String::RemoveRange(int nIndex, int nCount)
{
    nIndex = std::max(nIndex, 0);
    const int nLength = GetLength();
    if (nCount > 0 && nIndex < nLength) {
        MakeUnique();
        nCount = std::min(nCount, nLength - nIndex);
        CopyChars(m_pchData + nIndex, m_pchData + nIndex + nCount, nLength - nIndex - nCount + 1);
        GetData()->nDataLength = nLength - nCount;
    }
    return nLength; // KEPT: RemoveRange returns the length before
}

int String::InsertText(int nIndex, const char* lpsz)
{
    if (Contains(lpsz))
        return InsertText(nIndex, String(lpsz).GetString());
    const int nCount = Measure(lpsz);
    return nCount == 0 ? GetLength() : InsertChars(nIndex, lpsz, nCount);
}

int String::InsertChars(int nIndex, const char* lpch, int nCount)
{
    MakeUnique();
    const int nLength = GetLength();
    const UInt32 nNewLength = static_cast<UInt32>(nLength) + static_cast<UInt32>(nCount);
    nIndex = std::clamp(nIndex, 0, nLength);
    if (nNewLength > static_cast<UInt32>(GetAllocLength()))
        Reallocate(nNewLength);
    CopyChars(m_pchData + nIndex + nCount, m_pchData + nIndex, nLength - nIndex);
    CopyChars(m_pchData + nIndex, lpch, nCount);
    SetLength(static_cast<int>(nNewLength));
    return GetLength();
}

int String::ReplaceChar(char chOld, char chNew)
{
    if (chOld == chNew)
        return 0;
    MakeUnique();
    char* pEnd = m_pchData + GetLength();
    const int nCount = static_cast<int>(std::count(m_pchData, pEnd, chOld));
    std::replace(m_pchData, pEnd, chOld, chNew);
    return nCount;
}

// Counts the hits once and builds the text once: linear, with at most one allocation.
int String::ReplaceText(const char* lpszOld, const char* lpszNew)
{
    const int nSourceLen = Measure(lpszOld);
    if (nSourceLen == 0)
        return 0;
    if (Contains(lpszOld) || Contains(lpszNew))
        return ReplaceText(String(lpszOld).GetString(), String(lpszNew).GetString());
    const int nReplacementLen = Measure(lpszNew);
    const int nOldLength = GetLength();

    int notes[128]; // where the first hits are, so that few texts are searched twice
    int nCount = 0;
    const char* pEnd = m_pchData + nOldLength;
    for (const char* p = m_pchData; (p = FindNext(p, pEnd, lpszOld)); p += nSourceLen) {
        if (nCount < std::ssize(notes))
            notes[nCount] = static_cast<int>(p - m_pchData);
        ++nCount;
    }
    if (nCount == 0)
        return 0;
    const SInt64 nGrowth = static_cast<SInt64>(nReplacementLen - nSourceLen) * nCount;
    const int nNewLength = static_cast<int>(std::min<SInt64>(nOldLength + nGrowth, INT_MAX));

    // The text is read from pSrc, which lies in another block or never before what is written.
    String old;
    const char* pSrc;
    if (IsShared()) {
        std::swap(m_pchData, old.m_pchData);
        AllocateExact(static_cast<UInt32>(std::max(nOldLength, nNewLength)));
        pSrc = old.m_pchData;
    } else if (nNewLength > GetAllocLength()) {
        old.AllocateExact(static_cast<UInt32>(nNewLength));
        std::swap(m_pchData, old.m_pchData);
        pSrc = old.m_pchData;
    } else {
        const int nShift = std::max(nNewLength - nOldLength, 0);
        CopyChars(m_pchData + nShift, m_pchData, nOldLength + 1);
        pSrc = m_pchData + nShift;
    }

    char* pDest = m_pchData;
    const char* const pText = pSrc;
    pEnd = pText + nOldLength;
    for (int i = 0; i < nCount; ++i) {
        const char* lpszHit
            = i < std::ssize(notes) ? pText + notes[i] : FindNext(pSrc, pEnd, lpszOld);
        const int nBefore = static_cast<int>(lpszHit - pSrc);
        CopyChars(pDest, pSrc, nBefore);
        CopyChars(pDest + nBefore, lpszNew, nReplacementLen);
        pSrc = lpszHit + nSourceLen;
        pDest += nBefore + nReplacementLen;
    }
    CopyChars(pDest, pSrc, static_cast<int>(pEnd - pSrc) + 1);
    VL_ASSERT(789, m_pchData[nNewLength] == '\0');
    GetData()->nDataLength = nNewLength;
    return nCount;
}

int String::RemoveChar(char chRemove)
{
    MakeUnique();
    char* pEnd = m_pchData + GetLength();
    const int nCount = static_cast<int>(pEnd - std::remove(m_pchData, pEnd, chRemove));
    SetLength(GetLength() - nCount);
    return nCount;
}

void String::MapChars(int (*map)(int))
{
    MakeUnique();
    for (char* p = m_pchData; *p != '\0'; ++p)
        *p = static_cast<char>(map(static_cast<unsigned char>(*p)));
}

template <class Test> void String::TrimEndWhile(Test test)
{
    MakeUnique();
    int nLength = GetLength();
    while (nLength > 0 && test(m_pchData[nLength - 1]))
        --nLength;
    SetLength(nLength);
}

template <class Test> void String::TrimStartWhile(Test test)
{
    MakeUnique();
    int nFirst = 0;
    while (nFirst < GetLength() && test(m_pchData[nFirst]))
        ++nFirst;
    RemoveRange(0, nFirst);
}

void String::TrimEnd() { TrimEndWhile(IsSpace); }

void String::TrimEnd(char ch)
{
    TrimEndWhile([ch](char c) { return c == ch; });
}

void String::TrimEnd(const char* lpszTargets)
{
    if (Contains(lpszTargets)) {
        TrimEnd(String(lpszTargets).GetString());
        return;
    }
    const char* lpszSet = lpszTargets ? lpszTargets : "";
    TrimEndWhile([=](char c) { return c != '\0' && strchr(lpszSet, c) != nullptr; });
}

void String::TrimStart() { TrimStartWhile(IsSpace); }

void String::TrimStart(char ch)
{
    TrimStartWhile([ch](char c) { return c == ch; });
}

void String::TrimStart(const char* lpszTargets)
{
    if (Contains(lpszTargets))
        TrimStart(String(lpszTargets).GetString());
    else if (Measure(lpszTargets) != 0)
        TrimStartWhile([=](char c) { return c != '\0' && strchr(lpszTargets, c) != nullptr; });
}

// Formatting

void String::Format(const char* lpszFormat, ...)
{
    VL_ASSERT(1219, gIsValidString(lpszFormat));
    va_list argList;
    va_start(argList, lpszFormat);
    FormatArgs(lpszFormat, argList);
    va_end(argList);
}

// One pass over a format, which takes the arguments as the conversions do: estimates the length of the
// text, and notes what the C library would read otherwise.
class String::FormatScan
{
public:
    FormatScan(const String& target, const char* lpszFormat, va_list argList)
        : m_target(target)
        , m_lpszFormat(lpszFormat)
        , m_p(lpszFormat)
    {
        va_copy(m_args, argList);
        const char* const pEnd = lpszFormat + strlen(lpszFormat);
        for (; *m_p != '\0'; ++m_p) {
            // KEPT: plain text counts with all that follows it, so that the block is never too small.
            if (*m_p != '%' || *++m_p == '%') {
                m_nLength += pEnd - m_p;
            } else {
                ScanWidths();
                ScanModifier();
                m_nLength += MeasureItem();
            }
        }
        va_end(m_args);
    }

    int GetLength() const { return static_cast<int>(std::min<SInt64>(m_nLength, INT_MAX)); }
    /// True if an argument lies in the target's own block.
    bool HasOwnText() const { return m_bOwnText; }
    /// The format in which the C library reads each argument as it was read here.
    const char* GetFormat() const
    {
        return m_strFormat.IsEmpty() ? m_lpszFormat : m_strFormat.GetString();
    }

private:
    // Flags, width and precision.
    void ScanWidths()
    {
        m_nWidth = 0;
        m_nPrecision = 0;
        bool bStar = false;
        for (;; ++m_p) {
            if (*m_p == '*')
                m_nWidth = va_arg(m_args, int);
            else if (*m_p == '#')
                m_nLength += 2;
            else if (*m_p != '-' && *m_p != '+' && *m_p != '0' && *m_p != ' ')
                break;
            // The C library wants '*' last, and would take the next arguments for others.
            VL_CHECK(!bStar, SourceName(__FILE__), 1200, "false");
            bStar = *m_p == '*';
        }
        if (m_nWidth == 0 && !bStar)
            m_nWidth = ScanNumber();
        VL_CHECK(m_nWidth >= 0, SourceName(__FILE__), 992, "nWidth >= 0");
        if (*m_p == '.') {
            ++m_p;
            if (*m_p == '*') {
                m_nPrecision = va_arg(m_args, int);
                ++m_p;
            } else {
                m_nPrecision = ScanNumber();
            }
            VL_CHECK(m_nPrecision >= 0, SourceName(__FILE__), 1012, "nPrecision >= 0");
        }
    }

    // As atoi, but saturates instead of overflowing.
    int ScanNumber()
    {
        if (*m_p >= 'A')
            return 0; // common case: no number before the conversion
        const long n = strtol(m_p, nullptr, 10);
        m_p += strspn(m_p, "0123456789");
        return static_cast<int>(std::clamp<long>(n, INT_MIN, INT_MAX));
    }

    void ScanModifier()
    {
        if (strncmp(m_p, "I64", 3) == 0)
            VL_ASSERT(1023, false);
        const char ch = *m_p;
        m_chModifier
            = ch == 'h' || ch == 'l' || ch == 'L' || ch == 'F' || ch == 'N' ? *m_p++ : '\0';
    }

    SInt64 MeasureItem()
    {
        const bool bWide = m_chModifier == 'l';
        const SInt64 nNumber = SInt64 { m_nWidth } + m_nPrecision;
        switch (*m_p) {
        case 'c':
        case 'C':
            VL_CHECK(!bWide, SourceName(__FILE__), 1200, "false");
            SetConversion("", 'c');
            va_arg(m_args, int);
            return FitItem(2);
        case 's':
        case 'S':
            VL_CHECK(*m_p == 's' ? !bWide : m_chModifier == 'h', SourceName(__FILE__), 1200,
                     "false");
            SetConversion("", 's');
            return MeasureText(va_arg(m_args, const char*));
        case 'd':
        case 'i':
        case 'u':
        case 'o':
        case 'x':
        case 'X':
            SetConversion("hl", *m_p);
            bWide ? static_cast<void>(va_arg(m_args, long))
                  : static_cast<void>(va_arg(m_args, int));
            return std::max<SInt64>(32, nNumber);
        case 'e':
        case 'g':
        case 'G':
        case 'f': {
            SetConversion("lL", *m_p);
            const double value = m_chModifier == 'L'
                ? static_cast<double>(va_arg(m_args, long double))
                : va_arg(m_args, double);
            return *m_p == 'f' ? MeasureFixed(value, m_nWidth, m_nPrecision)
                               : std::max<SInt64>(128, nNumber);
        }
        case 'p':
            SetConversion("", 'p');
            va_arg(m_args, void*);
            return std::max<SInt64>(32, nNumber);
        case 'n':
            SetConversion("hl", 'n');
            va_arg(m_args, void*);
            return 0;
        default:
            VL_ASSERT(1200, false);
        }
    }

    SInt64 MeasureText(const char* lpsz)
    {
        // With a precision the argument need not be terminated.
        const size_t nLimit = m_nPrecision != 0 ? static_cast<size_t>(m_nPrecision) : SIZE_MAX;
        m_bOwnText = m_bOwnText || m_target.Contains(lpsz);
        return FitItem(std::max<SInt64>(lpsz ? static_cast<SInt64>(strnlen(lpsz, nLimit)) : 6, 1));
    }

    // The length of characters in their field.
    SInt64 FitItem(SInt64 nItem) const
    {
        nItem = m_nPrecision != 0 ? std::min<SInt64>(nItem, m_nPrecision) : nItem;
        return std::max<SInt64>(nItem, m_nWidth);
    }

    // Drops the modifier unless it has a meaning for the conversion, and names the conversion.
    void SetConversion(const char* lpszModifiers, char chConversion)
    {
        const bool bDrop = m_chModifier != '\0' && strchr(lpszModifiers, m_chModifier) == nullptr;
        if (!bDrop && *m_p == chConversion)
            return;
        if (m_strFormat.IsEmpty())
            m_strFormat = m_lpszFormat;
        const int nIndex = static_cast<int>(m_p - m_lpszFormat) - m_nDropped;
        m_strFormat.SetCharAt(nIndex, chConversion);
        if (bDrop) {
            m_strFormat.RemoveRange(nIndex - 1);
            ++m_nDropped;
        }
    }

    const String& m_target;
    const char* const m_lpszFormat;
    const char* m_p; // the character that is looked at
    va_list m_args; // those not yet taken
    int m_nWidth = 0;
    int m_nPrecision = 0;
    char m_chModifier = '\0'; // 0: none
    SInt64 m_nLength = 0;
    bool m_bOwnText = false;
    String m_strFormat; // empty while nothing was changed
    int m_nDropped = 0; // characters of the format that are left out of it
};

void String::FormatArgs(const char* lpszFormat, va_list argList)
{
    VL_ASSERT(947, gIsValidString(lpszFormat));
    const FormatScan scan(*this, lpszFormat, argList);
    if (scan.HasOwnText() || Contains(lpszFormat)) {
        // Formatted elsewhere, with the room that this block will have.
        String result;
        result.OpenBuffer(IsShared() ? GetLength() : GetAllocLength());
        result.FormatArgs(lpszFormat, argList);
        memcpy(OpenBuffer(scan.GetLength()), result.m_pchData,
               static_cast<size_t>(result.GetLength()) + 1);
        CloseBuffer(result.GetLength());
        return;
    }
    OpenBuffer(scan.GetLength());
    va_list args;
    va_copy(args, argList);
    int r = vsnprintf(m_pchData, static_cast<size_t>(GetAllocLength()) + 1, scan.GetFormat(), args);
    va_end(args);
    VL_ASSERT(1210, r <= GetAllocLength());
    CloseBuffer(-1);
}

} // namespace Veltrano
