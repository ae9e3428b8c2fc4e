// SPDX-License-Identifier: MIT
// vlString.h - String, a byte string whose characters are shared between copies until one is written.
// A String is one pointer to zero-terminated characters; a StringData header stands in front of them,
// in one heap block of exactly header + length + 1 bytes. Empty strings share one static block.
// Unless said otherwise: lengths, indexes and results are in characters; a null plain string counts as empty;
// arguments may point into the string itself; running out of memory throws std::bad_alloc.
// Thread: one String belongs to one thread at a time; Strings that share a block may live on several.
#pragma once

#include "System/vlAssert.h"

#include <CoreServices/DriverSynchronization.h>
#include <CoreServices/MacTypes.h>

#include <atomic>
#include <cctype>
#include <climits>
#include <cstdarg>
#include <cstring>
#include <string_view>

namespace Veltrano {

using Bool32 = SInt32; // a 32-bit truth value that keeps other values than 0 and 1

inline bool gIsValidString(const char* lpsz) { return lpsz != nullptr; }

inline bool gIsValidAddress(const void* p, SInt32 /*n*/, bool /*write*/) { return p != nullptr; }

/// The header in front of the characters.
class StringData final
{
public:
    /// A new private block for n characters: count 1, length and capacity n, zero at n.
    static StringData* Create(SInt32 n);

    constexpr StringData(SInt32 nInitialRefs, SInt32 nLength)
        : nRefs(nInitialRefs)
        , nDataLength(nLength)
        , nAllocLength(nLength)
    {
    }

    /// Releases the block that Create made.
    virtual void Free() { delete[] reinterpret_cast<char*>(this); }
    /// True when the block is counted. KEPT: false for a locked block as for the nil buffer.
    virtual bool IsNotNil() const { return GetRefs() != -1; }

    char* GetChars() { return reinterpret_cast<char*>(this + 1); }
    /// Loads the count with acquire order: a holder that reads 1 sees all writes of former holders. Counts
    /// change by atomic adds; the holder that takes it to 0 or below frees the block.
    SInt32 GetRefs() const
    {
        return std::atomic_ref(const_cast<SInt32&>(nRefs)).load(std::memory_order_acquire);
    }

    SInt32 nRefs; // Strings that share the block; -1: never shared, never counted (nil or locked)
    SInt32 nDataLength; // characters in use, without the zero
    SInt32 nAllocLength; // capacity, without the zero
};
static_assert(sizeof(StringData) == (sizeof(void*) == 8 ? 24 : 16));

class String
{
public:
    String();
    /// Shares the block of a counted string; a locked one is copied.
    String(const String& stringSrc);
    String(const char* lpsz)
        : String(lpsz, Measure(lpsz))
    {
    }
    /// Copies nLength bytes, which may include zeros.
    String(const char* lpch, int nLength);
    /// nRepeat times ch; empty if nRepeat is below 1.
    String(char ch, int nRepeat);
    ~String();

    String& operator=(const String& stringSrc);
    String& operator=(const char* lpsz);
    String& operator=(char ch) { return CopyFrom(1, &ch); }
    /// Appends; the capacity becomes exactly the sum unless OpenBuffer or a shortening left more.
    String& operator+=(const String& s) { return AppendInPlace(s.GetLength(), s.m_pchData); }
    String& operator+=(const char* lpsz) { return AppendInPlace(Measure(lpsz), lpsz); }
    String& operator+=(char ch);
    friend String operator+(const String& a, const String& b) { return Join(View(a), View(b)); }
    friend String operator+(const String& a, const char* b) { return Join(View(a), View(b)); }
    friend String operator+(const char* a, const String& b) { return Join(View(a), View(b)); }
    friend String operator+(const String& a, char b) { return Join(View(a), { &b, 1 }); }
    friend String operator+(char a, const String& b) { return Join({ &a, 1 }, View(b)); }

    /// Comparison as strcmp; a null plain string counts as empty.
    friend bool operator==(const String& a, const String& b) { return strcmp(a, b) == 0; }
    friend bool operator==(const String& a, const char* b) { return strcmp(a, b ? b : "") == 0; }
    friend bool operator<(const String& a, const String& b) { return strcmp(a, b) < 0; }
    friend bool operator<(const String& a, const char* b) { return strcmp(a, b ? b : "") < 0; }
    friend bool operator<(const char* a, const String& b) { return strcmp(a ? a : "", b) < 0; }

    int GetLength() const { return GetData()->nDataLength; }
    bool IsEmpty() const { return GetData()->nDataLength == 0; }
    int GetAllocLength() const { return GetData()->nAllocLength; }
    char GetAt(int nIndex) const { return m_pchData[nIndex]; }
    char operator[](int nIndex) const { return m_pchData[nIndex]; }
    operator const char*() const { return m_pchData; }
    const char* GetString() const { return m_pchData; }
    StringData* GetData() const;

    /// Makes the block private, with room for at least nMinBufLength characters and for the present text.
    ///   nMinBufLength  [in]  characters, without the zero
    ///   returns        at least nMinBufLength + 1 bytes, until the next change; CloseBuffer ends it
    ///   example        strcpy(s.OpenBuffer(10), "xy"); s.CloseBuffer(): length 2, capacity 10
    char* OpenBuffer(int nMinBufLength);
    /// Sets the length; -1 measures up to the first zero.
    void CloseBuffer(int nNewLength = -1);
    /// OpenBuffer that also sets the length.
    char* OpenBufferWithLength(int nNewLength);
    /// Frees unused capacity.
    void TrimCapacity();
    /// Makes the block private and excludes it from sharing, for the rest of the process.
    ///   returns  the characters; the pointer outlives the string
    char* Lock();
    void Unlock();
    void Clear();

    /// Ranges are clamped to the text. The whole text shares the block.
    String Substring(int nFirst, int nCount) const;
    String Substring(int nFirst) const { return Substring(nFirst, GetLength()); }
    String Head(int nCount) const { return Substring(0, nCount); }
    String Tail(int nCount) const;
    /// The leading characters that are not in, or are in, a set.
    String HeadOutside(const char* lpszCharSet) const;
    String HeadWithin(const char* lpszCharSet) const;

    /// Searches give an index or -1, and end at the first zero character.
    int FindChar(char ch, int nStart = 0) const;
    int FindLastChar(char ch) const { return IndexOf(strrchr(m_pchData, ch)); }
    int FindAnyOf(const char* lpszCharSet) const;
    int FindText(const char* lpszSub, int nStart = 0) const;

    void SetCharAt(int nIndex, char ch);
    ///   returns  the length before
    ///   example  "hello", RemoveRange(1, 2): "hlo", returns 5
    int RemoveRange(int nIndex, int nCount = 1);
    /// Inserts in front of nIndex, which is clamped to the text.
    ///   returns  the new length
    int InsertChar(int nIndex, char ch) { return InsertChars(nIndex, &ch, 1); }
    int InsertText(int nIndex, const char* lpsz);
    ///   returns  how many were replaced, or removed
    int ReplaceChar(char chOld, char chNew);
    int ReplaceText(const char* lpszOld, const char* lpszNew);
    int RemoveChar(char chRemove);
    /// Up to the first zero character.
    void ToLower() { MapChars(tolower); }
    void ToUpper() { MapChars(toupper); }
    /// Remove white space, one character or a set of characters from one end.
    void TrimEnd();
    void TrimEnd(char ch);
    void TrimEnd(const char* lpszTargets);
    void TrimStart();
    void TrimStart(char ch);
    void TrimStart(const char* lpszTargets);

    /// Replaces the text by a formatted one, with one allocation of an estimated length.
    ///   lpszFormat  [in]  printf's: d i u o x X e f g G p n c s, and C as c, hS as s; h and l apply
    ///                     to integers, L to reals; F, N and any other h or L have no effect
    ///   asserts     any other conversion, "I64", a negative width or precision
    ///   example     s.Format("%s=%d", "n", 7): "n=7"
    void Format(const char* lpszFormat, ...) __attribute__((__format__(__printf__, 2, 3)));
    void FormatArgs(const char* lpszFormat, va_list argList)
        __attribute__((__format__(__printf__, 2, 0)));

protected:
    static StringData* GetNil();
    static void ReleaseData(StringData* pData);
    void AttachNil();
    /// Does not release the old block. Asserts on lengths beyond INT_MAX - 1, so on negative ones.
    void AllocateExact(UInt32 nLen);
    void ReleaseData();
    void MakeUnique();
    void PrepareOverwrite(int nLen);
    String& CopyFrom(int nSrcLen, const char* lpchSrc);
    void JoinCopy(int nLen1, const char* lpchSrc1, int nLen2, const char* lpchSrc2);
    String& AppendInPlace(int nSrcLen, const char* lpchSrc);
    void CopyRange(String& dest, int nCopyLen, int nCopyIndex, int nExtraLen) const;

    char* m_pchData; // never null

private:
    class FormatScan;

    static int Measure(const char* lpsz);
    static std::string_view View(const String& s) { return { s, size_t(s.GetLength()) }; }
    static std::string_view View(const char* p) { return { p, size_t(Measure(p)) }; }
    static String Join(std::string_view a, std::string_view b);
    String Part(int nFirst, int nCount) const;
    void AppendChar(char ch);
    bool IsShared() const { return GetData()->GetRefs() > 1; }
    bool Contains(const char* lpch) const;
    void SetLength(int nLen);
    void Reallocate(UInt32 nCapacity);
    int IndexOf(const char* p) const { return p ? static_cast<int>(p - m_pchData) : -1; }
    int InsertChars(int nIndex, const char* lpch, int nCount);
    void MapChars(int (*map)(int));
    template <class Test> void TrimEndWhile(Test test);
    template <class Test> void TrimStartWhile(Test test);

    static StringData* nil_;
};
static_assert(sizeof(String) == sizeof(void*));

// Copies are as cheap as a counter, so they are inline. Their checks are reported under the
// implementation file, and read the count atomically under the condition's usual text.

inline StringData* String::GetData() const
{
    VL_ASSERT(314, m_pchData != 0);
    return reinterpret_cast<StringData*>(m_pchData) - 1;
}

inline StringData* String::GetNil()
{
    VL_CHECK(nil_ != nullptr, "System/vlString.cpp", 50, "nil_ != 0");
    return nil_;
}

inline void String::AttachNil() { m_pchData = GetNil()->GetChars(); }

inline void String::ReleaseData()
{
    StringData* pData = GetData();
    if (pData->IsNotNil()) {
        VL_CHECK(pData->GetRefs() != 0, "System/vlString.cpp", 164, "GetData()->nRefs != 0");
        if (AddAtomic(-1, &pData->nRefs) <= 1)
            pData->Free();
        AttachNil();
    }
}

inline String::String() { AttachNil(); }

inline String::String(const String& stringSrc)
{
    StringData* pData = stringSrc.GetData();
    VL_CHECK(pData->GetRefs() != 0, "System/vlString.cpp", 112, "stringSrc.GetData()->nRefs != 0");
    if (pData->GetRefs() >= 0) {
        VL_CHECK(pData->IsNotNil(), "System/vlString.cpp", 115, "stringSrc.GetData()->IsNotNil()");
        m_pchData = stringSrc.m_pchData;
        AddAtomic(1, &pData->nRefs);
    } else {
        AttachNil();
        *this = stringSrc.m_pchData;
    }
}

inline String::~String()
{
    StringData* pData = GetData();
    if (pData->IsNotNil() && AddAtomic(-1, &pData->nRefs) <= 1)
        pData->Free();
}

inline String& String::operator=(const String& stringSrc)
{
    if (m_pchData != stringSrc.m_pchData) {
        StringData* pData = stringSrc.GetData();
        if (pData->GetRefs() < 0) {
            CopyFrom(pData->nDataLength, stringSrc.m_pchData);
        } else {
            ReleaseData();
            VL_CHECK(pData->IsNotNil(), "System/vlString.cpp", 306,
                     "stringSrc.GetData()->IsNotNil()");
            m_pchData = stringSrc.m_pchData;
            AddAtomic(1, &pData->nRefs);
        }
    }
    return *this;
}

// The length of a plain string, at most INT_MAX.
inline int String::Measure(const char* lpsz)
{
    const size_t n = lpsz ? strlen(lpsz) : 0;
    return n < INT_MAX ? static_cast<int>(n) : INT_MAX;
}

inline String& String::operator=(const char* lpsz)
{
    const int nLen = Measure(lpsz);
    StringData* pData = GetData();
    if (nLen != 0 && nLen <= pData->nAllocLength && pData->GetRefs() < 2) {
        VL_CHECK(pData->GetRefs() <= 1, "System/vlString.cpp", 213, "GetData()->nRefs <= 1");
        memmove(m_pchData, lpsz, static_cast<size_t>(nLen));
        m_pchData[nLen] = '\0';
        pData->nDataLength = nLen;
    } else {
        CopyFrom(nLen, lpsz);
    }
    return *this;
}

inline String& String::operator+=(char ch)
{
    StringData* pData = GetData();
    const int nLen = pData->nDataLength;
    if (pData->GetRefs() < 2 && nLen < pData->nAllocLength) {
        pData->nDataLength = nLen + 1; // before the characters, which could alias the header
        VL_CHECK(pData->nDataLength <= pData->nAllocLength, "System/vlString.cpp", 399,
                 "GetData()->nDataLength <= GetData()->nAllocLength");
        m_pchData[nLen] = ch;
        m_pchData[nLen + 1] = '\0';
    } else {
        AppendChar(ch);
    }
    return *this;
}

inline String String::Substring(int nFirst, int nCount) const
{
    const int nLength = GetLength();
    // A corrupted negative length must reach the checks in Part.
    return nFirst <= 0 && nCount >= nLength && nLength >= 0 ? *this : Part(nFirst, nCount);
}

} // namespace Veltrano
