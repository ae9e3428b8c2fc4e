// SPDX-License-Identifier: MIT
// vlString_test.cpp - sharing, block sizes, editing, formatting, and the text of every check.

#include "System/vlString.h"
#include "tests/support/CountedNew.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"

#include <cmath>
#include <functional>
#include <gmock/gmock.h>
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
    using String::AppendInPlace;
    using String::CopyFrom;
    using String::CopyRange;
    using String::m_pchData;
    using String::MakeUnique;
    using String::PrepareOverwrite;
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
    const String strings[]
        = { String(),       String(""),       String(static_cast<const char*>(nullptr)),
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

TEST(String, CopiesShareUntilOneIsWritten)
{
    const std::function<void(String&)> writers[] = {
        [](String& s) { s.SetCharAt(0, 'X'); },
        [](String& s) { s += "!"; },
        [](String& s) { s.InsertChar(0, 'X'); },
        [](String& s) { s.ReplaceText("a", "b"); },
        [](String& s) { s = "other"; },
        [](String& s) { s.OpenBuffer(0)[0] = 'X'; },
        [](String& s) { s.RemoveRange(0); },
        [](String& s) { s.ToUpper(); },
        [](String& s) { s.ReplaceChar('a', 'b'); },
        [](String& s) { s.TrimEnd(); },
        [](String& s) { s.RemoveChar('a'); },
        [](String& s) { s.Format("%d", 1); },
        [](String& s) { s.Clear(); },
    };
    int row = 0;
    for (const auto& write : writers) {
        SCOPED_TRACE(row++);
        String first("abcdef");
        String second(first);
        second = first;
        EXPECT_EQ(first.GetString(), second.GetString());
        EXPECT_EQ(Refs(first), 2);
        write(second);
        EXPECT_NE(first.GetString(), second.GetString());
        EXPECT_TEXT("abcdef", first);
        EXPECT_EQ(Refs(first), 1);
    }
}

TEST(String, SelfAssignmentLeavesTheCountAlone)
{
    String s("abc");
    String other(s);
    s = *&s;
    s = other;
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
    const struct
    {
        String result;
        const char* expected;
    } rows[] = {
        { s.Substring(2, 2), "cd" },
        { s.Substring(10, 2), "" },
        { s.Substring(-1, 2), "ab" },
        { s.Substring(4, 99), "ef" },
        { s.Substring(3), "def" },
        { s.Substring(INT_MIN), "abcdef" },
        { s.Substring(1, INT_MAX), "bcdef" },
        { s.Substring(2, -5), "" },
        { s.Head(2), "ab" },
        { s.Head(-1), "" },
        { s.Tail(2), "ef" },
        { s.Tail(-1), "" },
        { s.HeadOutside("dc"), "ab" },
        { s.HeadWithin("ba"), "ab" },
        { s.HeadOutside(""), "abcdef" },
    };
    for (const auto& row : rows) {
        EXPECT_TEXT(row.expected, row.result);
        EXPECT_EQ(row.result.GetAllocLength(), row.result.GetLength());
    }
    for (const String& whole :
         { s.Substring(0, 6), s.Head(6), s.Head(9), s.Tail(9), s.Substring(-3) }) {
        EXPECT_EQ(whole.GetString(), s.GetString()) << "the whole text shares the block";
    }
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
    for (size_t i = 0; i < std::size(rows); ++i) {
        EXPECT_EQ(rows[i][0], rows[i][1]) << "row " << i;
    }
}

TEST(String, Editing)
{
    struct Row
    {
        const char* name;
        const char* text;
        std::function<int(String&)> edit;
        int result;
        const char* expected;
    };
    const Row rows[] = {
        // clang-format off
        { "remove", "hello", [](String& s) { return s.RemoveRange(1, 2); }, 5, "hlo" },
        { "remove past the end", "hello", [](String& s) { return s.RemoveRange(3, INT_MAX); }, 5, "hel" },
        { "remove from below 0", "hello", [](String& s) { return s.RemoveRange(-4, 1); }, 5, "ello" },
        { "remove behind", "hello", [](String& s) { return s.RemoveRange(5, 1); }, 5, "hello" },
        { "insert below 0", "ab", [](String& s) { return s.InsertChar(-3, 'x'); }, 3, "xab" },
        { "insert behind", "ab", [](String& s) { return s.InsertChar(99, 'x'); }, 3, "abx" },
        { "insert text", "ab", [](String& s) { return s.InsertText(1, "xyz"); }, 5, "axyzb" },
        { "insert null", "ab", [](String& s) { return s.InsertText(1, nullptr); }, 2, "ab" },
        { "replace char", "abab", [](String& s) { return s.ReplaceChar('a', 'x'); }, 2, "xbxb" },
        { "replace same", "abab", [](String& s) { return s.ReplaceChar('a', 'a'); }, 0, "abab" },
        { "longer", "abcab", [](String& s) { return s.ReplaceText("ab", "xyz"); }, 2, "xyzcxyz" },
        { "shorter", "abcab", [](String& s) { return s.ReplaceText("ab", "x"); }, 2, "xcx" },
        { "to nothing", "abab", [](String& s) { return s.ReplaceText("ab", nullptr); }, 2, "" },
        { "no overlap", "aaaa", [](String& s) { return s.ReplaceText("aa", "a"); }, 2, "aa" },
        { "no hit", "abc", [](String& s) { return s.ReplaceText("x", "y"); }, 0, "abc" },
        { "null search", "abc", [](String& s) { return s.ReplaceText(nullptr, "y"); }, 0, "abc" },
        { "remove char", "banana", [](String& s) { return s.RemoveChar('a'); }, 3, "bnn" },
        // clang-format on
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        String alone(row.text);
        EXPECT_EQ(row.edit(alone), row.result);
        EXPECT_TEXT(row.expected, alone);
        const String source(row.text);
        String shared(source);
        EXPECT_EQ(row.edit(shared), row.result);
        EXPECT_TEXT(row.expected, shared);
        EXPECT_TEXT(row.text, source);
        String roomy(row.text);
        roomy.OpenBuffer(40);
        EXPECT_EQ(row.edit(roomy), row.result);
        EXPECT_TEXT(row.expected, roomy);
        EXPECT_EQ(roomy.GetAllocLength(), 40);
    }
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

TEST(String, TrimsAndCase)
{
    struct Row
    {
        const char* name;
        const char* text;
        void (*edit)(String&);
        const char* expected;
    };
    const Row rows[] = {
        { "end", "  ab \t", [](String& s) { s.TrimEnd(); }, "  ab" },
        { "start", "  ab \t", [](String& s) { s.TrimStart(); }, "ab \t" },
        { "all blank", " \t\r\n\v\f", [](String& s) { s.TrimEnd(); }, "" },
        { "all blank from the start", " \t\r\n\v\f", [](String& s) { s.TrimStart(); }, "" },
        { "no blank but high", "\xc3\x85", [](String& s) { s.TrimEnd(); }, "\xc3\x85" },
        { "end, character", "axbxx", [](String& s) { s.TrimEnd('x'); }, "axb" },
        { "end, set", "axbyx", [](String& s) { s.TrimEnd("xy"); }, "axb" },
        { "end, empty set", "ab", [](String& s) { s.TrimEnd(""); }, "ab" },
        { "start, character", "xxaxb", [](String& s) { s.TrimStart('x'); }, "axb" },
        { "start, set", "yxaxb", [](String& s) { s.TrimStart("xy"); }, "axb" },
        { "start, null set", " ab", [](String& s) { s.TrimStart(nullptr); }, " ab" },
        { "own set", "abcab", [](String& s) { s.TrimEnd(s.GetString() + 3); }, "abc" },
        { "lower", "AbC-\xc3\x84", [](String& s) { s.ToLower(); }, "abc-\xc3\x84" },
        { "upper", "AbC-\xc3\xa4", [](String& s) { s.ToUpper(); }, "ABC-\xc3\xa4" },
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        String s(row.text);
        row.edit(s);
        EXPECT_TEXT(row.expected, s);
    }
    String counted("abc\0", 4); // as a getter with a counted zero leaves it
    counted.TrimEnd('\0');
    EXPECT_TEXT("abc", counted);
    const String source(" ab");
    String copy(source);
    copy.TrimStart("");
    EXPECT_EQ(copy.GetString(), source.GetString()) << "an empty set does not even unshare";
}

// Every operation with arguments that point into the string, in its three kinds of block.
TEST(String, ArgumentsMayLieInTheStringItself)
{
    String trimmed("aab");
    trimmed.TrimStart(trimmed.GetString() + 1);
    EXPECT_TEXT("", trimmed);
    trimmed = 'c';
    EXPECT_TEXT("c", trimmed);
    struct Row
    {
        const char* name;
        void (*edit)(String&);
        const char* expected;
    };
    const Row rows[] = {
        // clang-format off
        { "assign", [](String& s) { s = s.GetString() + 1; }, "bcd" },
        { "append", [](String& s) { s += s; }, "abcdabcd" },
        { "append tail", [](String& s) { s += s.GetString() + 2; }, "abcdcd" },
        { "insert", [](String& s) { s.InsertText(2, s); }, "ababcdcd" },
        { "replace", [](String& s) { s.ReplaceText("b", s); }, "aabcdcd" },
        { "replace own", [](String& s) { s.ReplaceText(s.GetString() + 3, "xyz"); }, "abcxyz" },
        { "argument", [](String& s) { s.Format("<%s|%s>", "x", s.GetString()); }, "<x|abcd>" },
        { "format", [](String& s) { s.InsertChar(4, '%'); s.InsertChar(5, '%'); s = Formatted(s); }, "abcd%" },
        { "own format", [](String& s) { s.ReplaceChar('d', '%'); s += 'd'; const char* f = s; s.Format(f, 7); }, "abc7" },
        // clang-format on
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        String alone("abcd");
        row.edit(alone);
        EXPECT_TEXT(row.expected, alone);
        String roomy("abcd");
        roomy.OpenBuffer(100);
        row.edit(roomy);
        EXPECT_TEXT(row.expected, roomy);
        const String source("abcd");
        String shared(source);
        row.edit(shared);
        EXPECT_TEXT(row.expected, shared);
        EXPECT_TEXT("abcd", source);
    }
}

TEST(String, FormatEstimatesItsBlock)
{
    const char* const lpszNull = nullptr;
    const char unterminated[3] = { 'x', 'y', 'z' };
    const struct
    {
        String result;
        int nCapacity;
        std::string expected;
    } rows[] = {
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
    const struct
    {
        const char* name;
        std::function<void(String&)> edit;
        const char* left;
    } rows[] = {
        { "assign", [](String& s) { s = "much longer text"; }, "" },
        { "append", [](String& s) { s += "x"; }, "abc" },
        { "open", [](String& s) { s.OpenBuffer(10); }, "abc" },
        { "insert", [](String& s) { s.InsertText(0, "x"); }, "abc" },
        { "replace", [](String& s) { s.ReplaceText("b", "xyz"); }, "abc" },
        { "format", [](String& s) { s.Format("%d", 1); }, "abc" },
    };
    const int nLive = CountedNew::nLive;
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        String s("abc");
        CountedNew::nFailAfter = 0;
        EXPECT_THROW(row.edit(s), std::bad_alloc);
        CountedNew::nFailAfter = -1;
        EXPECT_TEXT(row.left, s);
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
            if (i % 16 == 0) {
                copy.SetCharAt(0, 'S');
            }
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i) {
        threads.emplace_back(work, source);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(Refs(source), 1);
    EXPECT_TEXT("shared between threads", source);
    printf("%d copies on %d threads: count %d\n", nThreads * nCopies, nThreads, Refs(source));
}

TEST(StringDeathTest, EveryCheckReportsItsFileLineAndText)
{

    const struct
    {
        const char* file;
        int line;
        const char* text;
        std::function<void()> call;
    } rows[] = {
        // clang-format off
        { "h", 314, "m_pchData != 0", [] { OpenString s; s.m_pchData = nullptr; s.GetLength(); } },
        { "cpp", 112, "stringSrc.GetData()->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; String copy(s); } },
        { "cpp", 144, "nLen <= INT_MAX - 1", [] { OpenString().AllocateExact(INT_MAX); } },
        { "cpp", 144, "nLen <= INT_MAX - 1", [] { String s("abc", -3); } },
        { "cpp", 144, "nLen <= INT_MAX - 1", [] { String().OpenBuffer(INT_MAX); } },
        { "cpp", 144, "nLen <= INT_MAX - 1", [] { Formatted("%2000000000d%2000000000d", 1, 1); } },
        { "cpp", 164, "GetData()->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; s.ReleaseData(); } },
        { "cpp", 175, "pData->nRefs != 0", [] { OpenString s("a"); s.GetData()->nRefs = 0; OpenString::ReleaseData(s.GetData()); } },
        { "cpp", 428, "nMinBufLength >= 0", [] { String("a").OpenBuffer(-1); } },
        { "cpp", 461, "nNewLength <= (int)(GetData()->nAllocLength)", [] { String("a").CloseBuffer(2); } },
        { "cpp", 461, "nNewLength <= (int)(GetData()->nAllocLength)", [] { String s("a"); memset(s.OpenBuffer(2), 'x', 3); s.CloseBuffer(); } },
        { "cpp", 468, "nNewLength >= 0", [] { String("a").OpenBufferWithLength(-1); } },
        { "cpp", 478, "GetData()->nDataLength <= GetData()->nAllocLength", [] { OpenString s("abc"); s.GetData()->nAllocLength = 2; s.TrimCapacity(); } },
        { "cpp", 499, "GetData()->nRefs == -1", [] { String("a").Unlock(); } },
        { "cpp", 527, "gIsValidString(lpszCharSet)", [] { String("a").FindAnyOf(nullptr); } },
        { "cpp", 882, "gIsValidString(lpszCharSet)", [] { String("a").HeadWithin(nullptr); } },
        { "cpp", 889, "gIsValidString(lpszCharSet)", [] { String("a").HeadOutside(nullptr); } },
        { "cpp", 560, "nIndex >= 0", [] { String("a").SetCharAt(-1, 'x'); } },
        { "cpp", 561, "nIndex < (int)(GetData()->nDataLength)", [] { String("a").SetCharAt(1, 'x'); } },
        { "cpp", 586, "gIsValidAddress(lpch, nLength, false)", [] { String s(nullptr, 3); } },
        { "cpp", 913, "gIsValidString(lpszSub)", [] { String("a").FindText(nullptr); } },
        { "cpp", 947, "gIsValidString(lpszFormat)", [] { Formatted(nullptr); } },
        { "cpp", 1219, "gIsValidString(lpszFormat)", [] { const char* lpsz = nullptr; String().Format(lpsz, 0); } },
        { "cpp", 992, "nWidth >= 0", [] { Formatted("%*d", -1, 0); } },
        { "cpp", 1012, "nPrecision >= 0", [] { Formatted("%.*d", -1, 0); } },
        { "cpp", 1023, "false", [] { Formatted("%I64d", 0LL); } },
        { "cpp", 1200, "false", [] { Formatted("%E", 1.0); } },
        { "cpp", 1200, "false", [] { Formatted("%S", L"x"); } },
        { "cpp", 1200, "false", [] { Formatted("%ls", L"x"); } },
        { "cpp", 1200, "false", [] { Formatted("%lld", 1LL); } },
        { "cpp", 1200, "false", [] { Formatted("ends in %"); } },
        { "cpp", 1210, "r <= GetAllocLength()", [] { Formatted("%.200e", 1.0); } },
        // clang-format on
    };
    for (const auto& row : rows) {
        const std::string report = std::string("System/vlString.") + row.file + ":"
            + std::to_string(row.line) + ": failed assertion `" + row.text + "'\n";
        // The report stands at the start of the line, so an absolute path would fail the match.
        EXPECT_EXIT(row.call(), testing::KilledBySignal(SIGABRT), testing::StartsWith(report))
            << report;
    }
}

} // namespace
