// SPDX-License-Identifier: MIT
// vlString_test.cpp - block sizes, failing allocations, threads, and the text of every check.
// What the operations do is compared with a model in vlString_model.cpp.

#include "System/vlString.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"

#include <cmath>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

using Veltrano::String;
using Veltrano::StringData;

namespace {

// Reaches the building blocks, and breaks the invariants that they check.
class OpenString : public String
{
public:
    using String::AllocateExact;
    using String::m_pchData;
    using String::ReleaseData;
    using String::String;
};

int Refs(const String& string)
{
    return string.GetData()->nRefs;
}

// A printf format that the compiler does not check.
String Formatted(const char* lpszFormat, ...)
{
    String result;
    va_list args;
    va_start(args, lpszFormat);
    result.FormatArgs(lpszFormat, args);
    va_end(args);
    return result;
}

TEST(String, BlocksAreExactlyAsLongAsTheText)
{
    const int nLive = FailingNew::nLiveArrays;
    const int nBefore = FailingNew::nArrays;
    {
        const String strings[]
            = { String(), String(""), String('x', 0), String("abc", 0), String() + "" };
        String copy(strings[0]);
        copy = "";
        EXPECT_EQ(FailingNew::nArrays, nBefore) << "an empty string does not allocate";
        String s("abc");
        EXPECT_EQ(FailingNew::nLastSize, sizeof(StringData) + 3 + 1);
        s += 'd';
        EXPECT_EQ(FailingNew::nLastSize, sizeof(StringData) + 4 + 1);
        EXPECT_TEXT("abcd, 0, abcd", s + ", 0, " + s);
        EXPECT_EQ(FailingNew::nArrays, nBefore + 4);
    }
    EXPECT_EQ(FailingNew::nLiveArrays, nLive);
}

TEST(String, ReplaceTextAllocatesOnce)
{
    String many;
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        many += "--<>";
        expected += "--[=]";
    }
    const int nBefore = FailingNew::nArrays;
    EXPECT_EQ(many.ReplaceText("<>", "[=]"), 500);
    EXPECT_TEXT(expected, many);
    EXPECT_EQ(many.ReplaceText("[=]", "<>"), 500);
    EXPECT_EQ(FailingNew::nArrays, nBefore + 1) << "a shorter text stays in its block";
}

TEST(String, FormatsWhatHasLimits)
{
    const char unterminated[3] = { 'x', 'y', 'z' };
    EXPECT_TEXT("xyz", Formatted("%.3s", unterminated));
    int nWritten = 0;
    EXPECT_TEXT("abc", Formatted("ab%nc", &nWritten));
    EXPECT_EQ(nWritten, 2);
    nWritten = 0;
    EXPECT_TEXT("a text", Formatted("%n%s", &nWritten, "a text"));
    EXPECT_TEXT("-inf", Formatted("%f", -HUGE_VAL));
    EXPECT_EQ(Formatted("%400f", 1.0).GetAllocLength(), 400);
    const int nBefore = FailingNew::nArrays;
    EXPECT_TEXT("n=7", Formatted("%s=%d", "n", 7));
    EXPECT_EQ(FailingNew::nArrays, nBefore + 1);
}

// An operation that gives its block up first leaves the string empty, others leave it unchanged.
TEST(String, FailedAllocations)
{
    const std::pair<const char*, void (*)(String&)> rows[] = {
        { "", [](String& s) { s = "much longer text"; } },
        { "abc", [](String& s) { s += "x"; } },
        { "abc", [](String& s) { s.OpenBuffer(10); } },
        { "abc", [](String& s) { s.InsertText(0, "x"); } },
        { "abc", [](String& s) { s.ReplaceText("b", "xyz"); } },
        { "abc", [](String& s) { s.Format("%d", 1); } },
    };
    const int nLive = FailingNew::nLiveArrays;
    for (const auto& [left, edit] : rows) {
        String s("abc");
        FailingNew::Fail(1);
        EXPECT_THROW(edit(s), std::bad_alloc);
        FailingNew::Stop();
        EXPECT_TEXT(left, s);
    }
    String first("abc");
    String second(first);
    FailingNew::Fail(1);
    EXPECT_THROW(second.SetCharAt(0, 'x'), std::bad_alloc);
    FailingNew::Stop();
    EXPECT_TEXT("", second);
    EXPECT_EQ(Refs(first), 1);
    first.Clear();
    EXPECT_EQ(FailingNew::nLiveArrays, nLive);
}

TEST(String, CopiesLiveOnSeveralThreads)
{
    const int nThreads = 4;
    const int nCopies = FromEnvironment("VELTRANO_COPIES", 400000) / nThreads;
    const String source("shared between threads");
    auto work = [nCopies](String mine) {
        for (int i = 0; i < nCopies; ++i) {
            String copy(mine);
            String empty;
            empty = "";
            if (i % 16 == 0)
                copy.SetCharAt(0, 'S');
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i)
        threads.emplace_back(work, source);
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(Refs(source), 1);
    EXPECT_TEXT("shared between threads", source);
    printf("%d copies on %d threads: count %d\n", nThreads * nCopies, nThreads, Refs(source));
}

TEST(StringDeathTest, EveryCheckReportsItsFileLineAndText)
{
    const ReportRow inHeader[] = {
        // clang-format off
        { 314, "m_pchData != 0", [] { OpenString s; s.m_pchData = nullptr; s.GetLength(); } },
    };
    ExpectReports("System/vlString.h", inHeader);
    const ReportRow rows[] = {
        { 112, "stringSrc.GetData()->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; String copy(s); } },
        { 144, "nLen <= INT_MAX - 1", [] { OpenString().AllocateExact(INT_MAX); } },
        { 144, "nLen <= INT_MAX - 1", [] { String s("abc", -3); } },
        { 144, "nLen <= INT_MAX - 1", [] { String().OpenBuffer(INT_MAX); } },
        { 144, "nLen <= INT_MAX - 1", [] { Formatted("%2000000000d%2000000000d", 1, 1); } },
        { 164, "GetData()->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; s.ReleaseData(); } },
        { 175, "pData->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; OpenString::ReleaseData(s.GetData()); } },
        { 428, "nMinBufLength >= 0", [] { String("a").OpenBuffer(-1); } },
        { 461, "nNewLength <= (int)(GetData()->nAllocLength)", [] { String("a").CloseBuffer(2); } },
        { 461, "nNewLength <= (int)(GetData()->nAllocLength)", [] { String s("a"); memset(s.OpenBuffer(2), 'x', 3); s.CloseBuffer(); } },
        { 468, "nNewLength >= 0", [] { String("a").OpenBufferWithLength(-1); } },
        { 478, "GetData()->nDataLength <= GetData()->nAllocLength", [] { OpenString s("abc"); s.GetData()->nAllocLength = 2; s.TrimCapacity(); } },
        { 499, "GetData()->nRefs == -1", [] { String("a").Unlock(); } },
        { 527, "gIsValidString(lpszCharSet)", [] { String("a").FindAnyOf(nullptr); } },
        { 882, "gIsValidString(lpszCharSet)", [] { String("a").HeadWithin(nullptr); } },
        { 889, "gIsValidString(lpszCharSet)", [] { String("a").HeadOutside(nullptr); } },
        { 560, "nIndex >= 0", [] { String("a").SetCharAt(-1, 'x'); } },
        { 561, "nIndex < (int)(GetData()->nDataLength)", [] { String("a").SetCharAt(1, 'x'); } },
        { 586, "gIsValidAddress(lpch, nLength, false)", [] { String s(nullptr, 3); } },
        { 913, "gIsValidString(lpszSub)", [] { String("a").FindText(nullptr); } },
        { 947, "gIsValidString(lpszFormat)", [] { Formatted(nullptr); } },
        { 1219, "gIsValidString(lpszFormat)", [] { const char* lpsz = nullptr; String().Format(lpsz, 0); } },
        { 992, "nWidth >= 0", [] { Formatted("%*d", -1, 0); } },
        { 1012, "nPrecision >= 0", [] { Formatted("%.*d", -1, 0); } },
        { 1023, "false", [] { Formatted("%I64d", 0LL); } },
        { 1200, "false", [] { Formatted("%E", 1.0); } },
        { 1200, "false", [] { Formatted("%S", L"x"); } },
        { 1200, "false", [] { Formatted("%ls", L"x"); } },
        { 1200, "false", [] { Formatted("%lld", 1LL); } },
        { 1200, "false", [] { Formatted("ends in %"); } },
        { 1200, "false", [] { Formatted("%*-d", 5, 1); } },
        { 1200, "false", [] { Formatted("%*5d", 0, 1); } },
        { 213, "GetData()->nRefs <= 1", [] { String s; s.GetData()->nRefs = 3; s = ""; } },
        { 843, "nFirst >= 0", [] { String s("abc"); s.GetData()->nDataLength = -1; s.Substring(0, 2); } },
        { 1210, "r <= GetAllocLength()", [] { Formatted("%.200e", 1.0); } },
        // clang-format on
    };
    ExpectReports("System/vlString.cpp", rows);
}

} // namespace
