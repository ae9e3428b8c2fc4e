// SPDX-License-Identifier: MIT
// vlString_test.cpp - sharing, block sizes, editing, formatting, and the text of every check.

#include "System/vlString.h"
#include "tests/support/CountedNew.h"
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

TEST(String, EmptyStringsShareTheNilBufferAndNeverAllocate)
{
    const int nBefore = CountedNew::nCount;
    const char* const lpszNull = nullptr;
    const String strings[] = { String(),       String(""),       String(lpszNull),
                               String('x', 0), String("abc", 0), String() + "" };
    String copy(strings[0]);
    copy = "";
    copy = strings[1];
    copy.Clear();
    for (const String& string : strings) {
        EXPECT_TEXT("", string);
        EXPECT_EQ(string.GetString(), copy.GetString());
        EXPECT_EQ(string.GetAllocLength(), 0);
        EXPECT_EQ(Refs(string), -1);
    }
    EXPECT_EQ(CountedNew::nCount, nBefore);
}

TEST(String, BlocksAreExactlyAsLongAsTheText)
{
    const int nLive = CountedNew::nLive;
    {
        String s("abc");
        EXPECT_EQ(CountedNew::nLastSize, sizeof(StringData) + 3 + 1);
        s += 'd';
        EXPECT_EQ(CountedNew::nLastSize, sizeof(StringData) + 4 + 1);
        EXPECT_TEXT("abcd", s);
        EXPECT_EQ(s.GetAllocLength(), 4);
        const int nBefore = CountedNew::nCount;
        EXPECT_TEXT("abcd, 0, abcd", s + ", 0, " + s);
        EXPECT_EQ(CountedNew::nCount, nBefore + 2);
        s.RemoveRange(1, 2);
        s += "xy"; // into the room that the removal left
        EXPECT_TEXT("adxy", s);
        EXPECT_EQ(CountedNew::nCount, nBefore + 2);
        EXPECT_TEXT(std::string("a\0b", 3), String("a\0b", 3));
        EXPECT_TEXT("xxx", String('x', 3));
        EXPECT_TEXT("<b>", '<' + String("b") + '>');
    }
    EXPECT_EQ(CountedNew::nLive, nLive);
}

TEST(String, CopiesShareAndSelfAssignmentLeavesTheCountAlone)
{
    String s("abc");
    String other;
    other = s;
    s = *&s;
    s = other;
    EXPECT_EQ(s.GetString(), other.GetString());
    EXPECT_EQ(Refs(s), 2);
}

TEST(String, KeptUnlockLeavesTheBlockLocked)
{
    const int nLive = CountedNew::nLive;
    char* lpchLocked;
    {
        String s("abc");
        const String other(s);
        lpchLocked = s.Lock();
        EXPECT_EQ(Refs(other), 1);
        const String copy(s);
        EXPECT_NE(copy.GetString(), s.GetString());
        EXPECT_TEXT("abc", copy);
        s.Unlock();
        EXPECT_EQ(Refs(s), -1);
        s.Clear();
        EXPECT_EQ(s.GetString(), lpchLocked);
        EXPECT_TEXT("", s);
        EXPECT_EQ(s.GetAllocLength(), 3);
        s = "xy";
        EXPECT_EQ(s.GetString(), lpchLocked);
    }
    EXPECT_STREQ(lpchLocked, "xy") << "the block outlives its string";
    EXPECT_EQ(CountedNew::nLive, nLive + 1);
    delete[](lpchLocked - sizeof(StringData));
}

TEST(String, BufferAccess)
{
    String s;
    char* p = s.OpenBuffer(10);
    memcpy(p, "xy", 3);
    s.CloseBuffer();
    EXPECT_TEXT("xy", s);
    EXPECT_EQ(s.GetAllocLength(), 10);
    s.OpenBuffer(4);
    EXPECT_EQ(s.GetString(), p) << "there was room";
    s.TrimCapacity();
    EXPECT_TEXT("xy", s);
    EXPECT_EQ(s.GetAllocLength(), 2);
    memset(s.OpenBufferWithLength(5), 'z', 5);
    EXPECT_TEXT("zzzzz", s);
    s.CloseBuffer(1);
    EXPECT_TEXT("z", s);
}

TEST(String, Extraction)
{
    const String s("abcdef");
    const std::pair<String, const char*> rows[] = {
        { s.Substring(2, 2), "cd" },
        { s.Substring(10, 2), "" },
        { s.Substring(-1, 2), "ab" },
        { s.Substring(4, 99), "ef" },
        { s.Substring(3), "def" },
        { s.Substring(INT_MIN), "abcdef" },
        { s.Substring(2, -5), "" },
        { s.Substring(1, INT_MAX), "bcdef" },
        { s.Head(2), "ab" },
        { s.Head(-1), "" },
        { s.Tail(2), "ef" },
        { s.Tail(-1), "" },
        { s.HeadOutside("dc"), "ab" },
        { s.HeadWithin("ba"), "ab" },
        { s.HeadOutside(""), "abcdef" },
    };
    for (const auto& [result, expected] : rows) {
        EXPECT_TEXT(expected, result);
        EXPECT_EQ(result.GetAllocLength(), result.GetLength());
    }
    for (const String& whole :
         { s.Substring(0, 6), s.Head(6), s.Head(9), s.Tail(9), s.Substring(-3) })
        EXPECT_EQ(whole.GetString(), s.GetString()) << "the whole text shares the block";
}

TEST(String, Searches)
{
    const String s("abcabc");
    const String zero("ab\0ab", 5);
    const int rows[][2] = {
        { s.FindChar('c'), 2 },       { s.FindChar('c', 3), 5 },     { s.FindChar('a', 6), -1 },
        { s.FindChar('x'), -1 },      { s.FindLastChar('b'), 4 },    { s.FindLastChar('x'), -1 },
        { s.FindAnyOf("xc"), 2 },     { s.FindAnyOf(""), -1 },       { s.FindText("bc"), 1 },
        { s.FindText("bc", 2), 4 },   { s.FindText("", 6), 6 },      { s.FindText("c", 7), -1 },
        { s.FindText("x"), -1 },      { zero.FindLastChar('a'), 0 }, { zero.FindText("ab", 1), -1 },
        { zero.FindChar('b', 3), 4 }, { s.FindText("abc", -2), 0 },  { s.FindChar('\xff'), -1 },
    };
    for (size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(rows[i][0], rows[i][1]) << "row " << i;
}

struct Edit
{
    const char* text;
    void (*edit)(String&);
    const char* expected;
};

// Each edit of a text that is alone in its block, has room there, or shares it: others keep theirs.
template <size_t n> void ExpectEdits(const Edit (&rows)[n], bool keepsRoom = true)
{
    for (const auto& [text, edit, expected] : rows) {
        SCOPED_TRACE(testing::Message() << text << " => " << expected);
        String alone(text);
        edit(alone);
        EXPECT_TEXT(expected, alone);
        const String source(text);
        String shared(source);
        edit(shared);
        EXPECT_TEXT(expected, shared);
        EXPECT_TEXT(text, source);
        EXPECT_TRUE(Refs(source) == 1 || std::string(text) == expected);
        String roomy(text);
        roomy.OpenBuffer(40);
        edit(roomy);
        EXPECT_TEXT(expected, roomy);
        EXPECT_TRUE(!keepsRoom || roomy.GetAllocLength() == 40);
    }
}

TEST(String, Editing)
{
    const Edit rows[] = {
        // clang-format off
        { "hello", [](String& s) { EXPECT_EQ(s.RemoveRange(1, 2), 5) << "KEPT: the length before"; }, "hlo" },
        { "hello", [](String& s) { EXPECT_EQ(s.RemoveRange(3, INT_MAX), 5); }, "hel" },
        { "hello", [](String& s) { EXPECT_EQ(s.RemoveRange(-4, 1), 5); }, "ello" },
        { "hello", [](String& s) { EXPECT_EQ(s.RemoveRange(5, 1), 5); }, "hello" },
        { "hello", [](String& s) { EXPECT_EQ(s.RemoveRange(0), 5); }, "ello" },
        { "ab", [](String& s) { EXPECT_EQ(s.InsertChar(-3, 'x'), 3); }, "xab" },
        { "ab", [](String& s) { EXPECT_EQ(s.InsertChar(99, 'x'), 3); }, "abx" },
        { "ab", [](String& s) { EXPECT_EQ(s.InsertText(1, "xyz"), 5); }, "axyzb" },
        { "ab", [](String& s) { EXPECT_EQ(s.InsertText(1, nullptr), 2); }, "ab" },
        { "abab", [](String& s) { EXPECT_EQ(s.ReplaceChar('a', 'x'), 2); }, "xbxb" },
        { "abab", [](String& s) { EXPECT_EQ(s.ReplaceChar('a', 'a'), 0); }, "abab" },
        { "abcab", [](String& s) { EXPECT_EQ(s.ReplaceText("ab", "xyz"), 2); }, "xyzcxyz" },
        { "abcab", [](String& s) { EXPECT_EQ(s.ReplaceText("ab", "x"), 2); }, "xcx" },
        { "abab", [](String& s) { EXPECT_EQ(s.ReplaceText("ab", nullptr), 2); }, "" },
        { "aaaa", [](String& s) { EXPECT_EQ(s.ReplaceText("aa", "a"), 2); }, "aa" },
        { "abc", [](String& s) { EXPECT_EQ(s.ReplaceText("x", "y"), 0); }, "abc" },
        { "abc", [](String& s) { EXPECT_EQ(s.ReplaceText(nullptr, "y"), 0); }, "abc" },
        { "banana", [](String& s) { EXPECT_EQ(s.RemoveChar('a'), 3); }, "bnn" },
        { "abc", [](String& s) { s.SetCharAt(0, 'X'); }, "Xbc" },
        { "abc", [](String& s) { s.OpenBuffer(0)[0] = 'X'; }, "Xbc" },
        { "abc", [](String& s) { s += "!"; }, "abc!" },
        { "abc", [](String& s) { s = "other"; }, "other" },
        { "abc", [](String& s) { s = 'c'; }, "c" },
        { "  ab \t", [](String& s) { s.TrimEnd(); }, "  ab" },
        { "  ab \t", [](String& s) { s.TrimStart(); }, "ab \t" },
        { " \t\r\n\v\f", [](String& s) { s.TrimEnd(); }, "" },
        { " \t\r\n\v\f", [](String& s) { s.TrimStart(); }, "" },
        { "\xc3\x85", [](String& s) { s.TrimEnd(); }, "\xc3\x85" },
        { "axbxx", [](String& s) { s.TrimEnd('x'); }, "axb" },
        { "axbyx", [](String& s) { s.TrimEnd("xy"); }, "axb" },
        { "ab", [](String& s) { s.TrimEnd(""); }, "ab" },
        { "xxaxb", [](String& s) { s.TrimStart('x'); }, "axb" },
        { "yxaxb", [](String& s) { s.TrimStart("xy"); }, "axb" },
        { " ab", [](String& s) { s.TrimStart(nullptr); }, " ab" },
        { "AbC-\xc3\x84", [](String& s) { s.ToLower(); }, "abc-\xc3\x84" },
        { "AbC-\xc3\xa4", [](String& s) { s.ToUpper(); }, "ABC-\xc3\xa4" },
        // arguments that point into the string
        { "abcab", [](String& s) { s.TrimEnd(s.GetString() + 3); }, "abc" },
        { "aab", [](String& s) { s.TrimStart(s.GetString() + 1); }, "" },
        { "abcd", [](String& s) { s = s.GetString() + 1; }, "bcd" },
        { "abcd", [](String& s) { s += s; }, "abcdabcd" },
        { "abcd", [](String& s) { s += s.GetString() + 2; }, "abcdcd" },
        { "abcd", [](String& s) { s.InsertText(2, s); }, "ababcdcd" },
        { "abcd", [](String& s) { s.ReplaceText("b", s); }, "aabcdcd" },
        { "abcd", [](String& s) { s.ReplaceText(s.GetString() + 3, "xyz"); }, "abcxyz" },
        // clang-format on
    };
    ExpectEdits(rows);
    const Edit formats[] = {
        { "abc", [](String& s) { s.Format("%d", 1); }, "1" },
        { "abcd", [](String& s) { s.Format("<%s|%s>", "x", s.GetString()); }, "<x|abcd>" },
        { "abc%d", [](String& s) { s.Format(s.GetString(), 7); }, "abc7" },
    };
    ExpectEdits(formats, false);
}

TEST(String, ReplaceTextSeesPastZerosAndAllocatesOnce)
{
    String s("ab\0ab", 5);
    EXPECT_EQ(s.ReplaceText("ab", "xyz"), 2);
    EXPECT_TEXT(std::string("xyz\0xyz", 7), s);

    String many;
    std::string expected;
    for (int i = 0; i < 500; ++i) {
        many += "--<>";
        expected += "--[=]";
    }
    const int nBefore = CountedNew::nCount;
    EXPECT_EQ(many.ReplaceText("<>", "[=]"), 500);
    EXPECT_TEXT(expected, many);
    EXPECT_EQ(many.GetAllocLength(), 2500);
    EXPECT_EQ(CountedNew::nCount, nBefore + 1);
    EXPECT_EQ(many.ReplaceText("[=]", "<>"), 500);
    EXPECT_EQ(CountedNew::nCount, nBefore + 1) << "a shorter text stays in its block";
}

TEST(String, TrimsCountTheZeroAndMayLeaveTheBlockShared)
{
    String counted("abc\0", 4); // as a getter with a counted zero leaves it
    counted.TrimEnd('\0');
    EXPECT_TEXT("abc", counted);
    const String source(" ab");
    String copy(source);
    copy.TrimStart("");
    EXPECT_EQ(copy.GetString(), source.GetString()) << "an empty set does not even unshare";
}

TEST(String, FormatEstimatesItsBlock)
{
    const char* const lpszNull = nullptr;
    const char unterminated[3] = { 'x', 'y', 'z' };
    const std::tuple<String, int, std::string> rows[] = {
        { Formatted("abc"), 6, "abc" },
        { Formatted("%d", -5), 32, "-5" },
        { Formatted("%-10.3s", "hello"), 10, "hel       " },
        { Formatted("%#x", 255), 34, "0xff" },
        { Formatted("%5.2e", 1.0), 128, "1.00e+00" },
        { Formatted("%c", 'x'), 2, "x" },
        { Formatted("%s", lpszNull), 6, "(null)" },
        { Formatted("%s", ""), 1, "" },
        { Formatted("%.3s", unterminated), 3, "xyz" },
        { Formatted("a%%b"), 4 + 2 + 1, "a%b" },
        { Formatted("%hS", "narrow"), 6, "narrow" },
        { Formatted("%40d", 1), 40, std::string(39, ' ') + "1" },
        { Formatted("%*.*d", 20, 30, 1), 50, std::string(29, '0') + "1" },
        { Formatted("%f", 1.5), 8, "1.500000" },
        { Formatted("%.2f", -1.5), 11, "-1.50" },
        { Formatted("%400f", 1.0), 400, std::string(392, ' ') + "1.000000" },
        { Formatted("%Lf", 2.5L), 8, "2.500000" },
        { Formatted("%s=%d", "n", 7), 1 + 3 + 32, "n=7" },
    };
    int row = 0;
    for (const auto& [result, nCapacity, expected] : rows) {
        SCOPED_TRACE(row++);
        EXPECT_TEXT(expected, result);
        EXPECT_EQ(result.GetAllocLength(), nCapacity);
    }
    String s("a long text that stays in its block");
    const char* lpchBlock = s;
    s.Format("%c", 'x');
    EXPECT_EQ(s.GetString(), lpchBlock);
    int nWritten = 0;
    EXPECT_TEXT("abc", Formatted("ab%nc", &nWritten));
    EXPECT_EQ(nWritten, 2);
    EXPECT_EQ(std::string(Formatted("%f", -HUGE_VAL)), "-inf");
    EXPECT_EQ(std::string(Formatted("%10p|", nullptr)), "     (nil)|");
    EXPECT_EQ(Formatted("%.20f", -1.7976931348623157e308).GetLength(), 1 + 309 + 1 + 20);
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
    const int nLive = CountedNew::nLive;
    for (const auto& [left, edit] : rows) {
        String s("abc");
        CountedNew::nFailAfter = 0;
        EXPECT_THROW(edit(s), std::bad_alloc);
        CountedNew::nFailAfter = -1;
        EXPECT_TEXT(left, s);
    }
    String first("abc");
    String second(first);
    CountedNew::nFailAfter = 0;
    EXPECT_THROW(second.SetCharAt(0, 'x'), std::bad_alloc);
    CountedNew::nFailAfter = -1;
    EXPECT_TEXT("", second);
    EXPECT_EQ(Refs(first), 1);
    first.Clear();
    EXPECT_EQ(CountedNew::nLive, nLive);
}

TEST(String, ComparesAsStrcmp)
{
    const String a("a"), b("b"), a2("a\0x", 3);
    EXPECT_TRUE(a == "a" && "a" == a && a == a2 && a != b && a != "b" && "b" != a);
    EXPECT_TRUE(a < b && a < "b" && "a" < b && !(b < a) && !(a < a2));
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
        { 1210, "r <= GetAllocLength()", [] { Formatted("%.200e", 1.0); } },
        // clang-format on
    };
    ExpectReports("System/vlString.cpp", rows);
}

} // namespace
