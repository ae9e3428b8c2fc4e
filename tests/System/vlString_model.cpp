// SPDX-License-Identifier: MIT
// vlString_model.cpp - String beside a plain second implementation, on random operations. After each one
// all strings are compared: text, capacity, count, which of them share a block, where the blocks are, and
// how many live. An argument may be null, empty, or lie in any string's text, also the target's.
// VELTRANO_OPERATIONS sets the number of operations, VELTRANO_SEED another run.

#include "System/vlString.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Processes.h"

#include <algorithm>
#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>

using Veltrano::String;
using Veltrano::StringData;

namespace {

struct Block
{
    Block() { ++nLive; }
    ~Block() { --nLive; }

    static inline int nLive = 0;
    std::string text;
    int nCapacity = 0;
    bool isLocked = false;
    const char* address = nullptr; // the real characters, once they were seen
};

class Model
{
public:
    Model() = default;
    explicit Model(const std::string& text) { Allocate(text); }
    Model(const Model& other)
    {
        other.Refs() >= 0 ? void(m_block = other.m_block) : Assign(other.Piece(0));
    }
    Model(Model&&) = default;
    Model& operator=(Model&&) = default;

    std::string Text() const { return m_block ? m_block->text : ""; }
    /// From n up to the first zero.
    std::string Piece(int n) const { return Text().c_str() + std::max(n, 0); }
    int Length() const { return static_cast<int>(Text().size()); }
    int Capacity() const { return m_block ? m_block->nCapacity : 0; }
    long Refs() const { return m_block && !m_block->isLocked ? m_block.use_count() : -1; }
    const std::shared_ptr<Block>& GetBlock() const { return m_block; }

    void Assign(const Model& other)
    {
        if (m_block != other.m_block)
            other.Refs() >= 0 ? void(m_block = other.m_block) : Assign(other.Text());
    }
    void Assign(const std::string& text)
    {
        if (Refs() > 1 || static_cast<int>(text.size()) > Capacity())
            Allocate(text);
        else if (m_block)
            m_block->text = text;
    }
    void Append(const std::string& text) { text.empty() ? void() : Assign(Text() + text); }
    void MakeUnique() { Refs() > 1 ? Allocate(Text()) : void(); }
    /// A change in place, which makes the block private and grows to exactly what it needs.
    void Edit(const std::string& text)
    {
        MakeUnique();
        Assign(text);
    }
    /// The capacity after OpenBuffer.
    int Opened(int n) const
    {
        return Refs() > 1 || n > Capacity() ? std::max(n, Length()) : Capacity();
    }
    void OpenBuffer(int n)
    {
        if (Refs() > 1 || n > Capacity())
            Allocate(Text(), n);
    }
    void TrimCapacity() { Length() != Capacity() ? Allocate(Text()) : void(); }
    void Clear()
    {
        if (Length() != 0)
            m_block->isLocked ? Assign("") : void(m_block = nullptr);
    }
    Model Part(int nFirst, int nCount) const
    {
        nFirst = std::clamp(nFirst, 0, Length());
        nCount = std::clamp(nCount, 0, Length() - nFirst);
        return nCount == Length() ? *this : Model(Text().substr(size_t(nFirst), size_t(nCount)));
    }

private:
    void Allocate(const std::string& text, int nCapacity = 0)
    {
        nCapacity = std::max(nCapacity, static_cast<int>(text.size()));
        m_block = nCapacity != 0 ? std::make_shared<Block>() : nullptr;
        if (m_block) {
            m_block->nCapacity = nCapacity;
            m_block->text = text;
        }
    }

    std::shared_ptr<Block> m_block; // null: the one that all empty strings share
};

struct Pair
{
    std::unique_ptr<String> real = std::make_unique<String>();
    Model model;
};

struct Argument
{
    const char* lpsz; // what String gets
    std::string text; // what it says
};

/// One conversion of a format, as it is written and as the C library has it.
struct Conversion
{
    std::string flags = {};
    int nWidth = 0;
    int nPrecision = -1; // -1: none
    int nStars = 0; // 1: width, 2: width and precision come as arguments
    std::string modifier = {};
    char type;

    std::string Written(bool isClean) const
    {
        std::string conversion = '%' + flags;
        const int stars = isClean ? 0 : nStars;
        conversion += stars > 0 ? "*" : nWidth != 0 ? std::to_string(nWidth) : "";
        conversion += stars > 1 ? ".*" : nPrecision >= 0 ? '.' + std::to_string(nPrecision) : "";
        if (!isClean)
            return conversion + modifier + type;
        const char* kept = strchr("diouxX", type) ? "hl" : strchr("efgG", type) ? "lL" : "";
        return conversion + (strpbrk(modifier.c_str(), kept) ? modifier : "")
            + (strchr("CS", type) ? static_cast<char>(tolower(type)) : type);
    }
    template <class Value> std::string Print(Value value) const
    {
        char text[4096];
        const int n = snprintf(text, sizeof(text), Written(true).c_str(), value);
        return std::string(text, static_cast<size_t>(n));
    }
    template <class Value> int Estimate(Value value) const
    {
        const int n = std::max(nPrecision, 0);
        int item = std::max(strchr("egG", type) ? 128 : 32, nWidth + n);
        if constexpr (std::is_same_v<Value, const char*>)
            item = value ? std::max(static_cast<int>(strlen(value)), 1) : 6;
        if constexpr (std::is_floating_point_v<Value>)
            if (type == 'f')
                item = snprintf(nullptr, 0, "%*.*f", nWidth, n + 6, static_cast<double>(value));
        if (strchr("cC", type))
            item = 2;
        if (strchr("cCsS", type))
            item = std::max(n != 0 ? std::min(item, n) : item, nWidth);
        return item + 2 * static_cast<int>(std::count(flags.begin(), flags.end(), '#'));
    }
};

class Driver
{
public:
    explicit Driver(unsigned seed)
        : m_random(seed)
    {
    }
    ~Driver();

    /// A number from `first` to `last`.
    int Number(int first, int last)
    {
        return first + static_cast<int>(m_random() % static_cast<unsigned>(last - first + 1));
    }
    bool Coin() { return Number(0, 1) != 0; }
    template <size_t n> auto& One(const auto(&choices)[n]) { return choices[Number(0, n - 1)]; }
    int Index(const Pair& a)
    {
        return One({ INT_MIN, -2, 0, 1, a.model.Length(), INT_MAX, Number(0, 9),
                     Number(0, a.model.Length()) });
    }
    char Character() { return "aabbcAX \t\n\x01\xc4\xe4\0"[Number(0, 13)]; }
    Pair& Any() { return m_pairs[Number(0, 5)]; }
    std::string RandomText(int nMost)
    {
        std::string text(static_cast<size_t>(Number(0, nMost)), '\0');
        std::generate(text.begin(), text.end(), [this] { return Character(); });
        return text;
    }
    Argument Text();
    void Lock(Pair& a);
    void Format(Pair& a);
    template <class Value> void FormatValue(Pair& a, const Conversion& first, Value value);
    void Same(int real, int expected) { m_isSame = m_isSame && real == expected; }
    void Same(bool real, bool expected) { m_isSame = m_isSame && real == expected; }
    /// True when nothing differed so far.
    bool Compare();

private:
    std::mt19937 m_random;
    Pair m_pairs[6];
    std::string m_texts[4]; // of arguments
    size_t m_nTexts = 0;
    std::vector<std::shared_ptr<Block>> m_locked;
    bool m_isSame = true;
};

Driver::~Driver()
{
    for (Pair& pair : m_pairs)
        pair = Pair();
    for (const auto& block : m_locked) {
        EXPECT_EQ(block->text, std::string(block->address, block->text.size()))
            << "a locked block outlives its string";
        delete[](block->address - sizeof(StringData));
    }
}

Argument Driver::Text()
{
    const int n = Number(0, 9);
    if (n == 0)
        return { nullptr, "" };
    if (n < 5) {
        std::string& text = m_texts[m_nTexts++ % std::size(m_texts)];
        text = RandomText(n < 4 ? 3 : 60);
        return { text.c_str(), text.c_str() };
    }
    const Pair& b = Any();
    const int nStart = Number(0, b.model.Length());
    return { b.real->GetString() + nStart, b.model.Piece(nStart) };
}

void Driver::Lock(Pair& a)
{
    char* lpch = a.real->Lock();
    a.model.OpenBuffer(0);
    if (const std::shared_ptr<Block>& block = a.model.GetBlock(); block && !block->isLocked) {
        block->isLocked = true;
        block->address = lpch;
        m_locked.push_back(block);
    }
}

void Driver::Format(Pair& a)
{
    Conversion c { .type = One("diouxXcCsseegGffp") };
    c.type = c.type != '\0' ? c.type : 'S';
    const bool isText = strchr("sS", c.type);
    const bool isReal = strchr("efgG", c.type);
    c.flags = std::string(One({ "", "", "-", "+", "0", " ", "#", "-#" }));
    c.nWidth = One({ 0, 0, 1, 5, 40, Number(0, 500) });
    c.nPrecision = One({ -1, -1, 0, 1, 7, 40, Number(0, 300) });
    c.nStars = std::min(Number(0, 2), c.nPrecision >= 0 ? 2 : 1);
    c.modifier = One({ "", "", "h", "l", "L", "F", "N" });
    if (c.type == 'S')
        c.modifier = "h";
    else if (c.modifier == "l" && !isReal && !strchr("diouxX", c.type))
        c.modifier = "";

    const int number = One({ 0, -7, 65, 228, 70000, INT_MIN });
    const double real = One({ 0.0, -1.5, 1e300, -1.7976931348623157e308, 1.0 / 3 });
    if (isText)
        FormatValue(a, c, Text().lpsz);
    else if (isReal)
        c.modifier == "L" ? FormatValue(a, c, static_cast<long double>(real))
                          : FormatValue(a, c, real);
    else if (c.type == 'p')
        FormatValue(a, c, reinterpret_cast<const void*>(static_cast<intptr_t>(number)));
    else if (c.modifier == "l")
        FormatValue(a, c, Coin() ? LONG_MIN : long { number });
    else
        FormatValue(a, c, number);
}

// A format of up to three conversions with text between them; the arguments of all are passed always.
template <class Value> void Driver::FormatValue(Pair& a, const Conversion& first, Value value)
{
    const Argument string = Text();
    const int number = Number(-9, 999);
    const Conversion second { .modifier = One({ "", "h", "L", "F", "N" }), .type = 's' };
    const Conversion third { .modifier = One({ "", "L", "F", "N" }), .type = One({ 'd', 'C' }) };
    const int nConversions = Number(1, 3);
    std::string format;
    std::string text;
    int nEstimate = 0;
    std::vector<size_t> literals; // where their characters are
    for (int i = 0; i <= nConversions; ++i) {
        for (const char* p = One({ "", "", "x", "%", "ab%", "\xe4 c" }); *p != '\0'; ++p) {
            format += *p == '%' ? "%%" : std::string(1, *p);
            text += *p;
            literals.push_back(format.size() - 1);
        }
        const Conversion& c = i == 0 ? first : i == 1 ? second : third;
        if (i == nConversions)
            break;
        format += c.Written(false);
        text += i == 0 ? c.Print(value) : i == 1 ? c.Print(string.lpsz) : c.Print(number);
        nEstimate += i == 0 ? c.Estimate(value)
            : i == 1        ? c.Estimate(string.lpsz)
                            : c.Estimate(number);
    }
    for (size_t at : literals)
        nEstimate += static_cast<int>(format.size() - at);

    if (static_cast<int>(text.size()) > a.model.Opened(nEstimate))
        return; // an assertion would end the process
    const char* lpszFormat = format.c_str();
    if (first.nStars == 2)
        a.real->Format(lpszFormat, first.nWidth, first.nPrecision, value, string.lpsz, number);
    else if (first.nStars == 1)
        a.real->Format(lpszFormat, first.nWidth, value, string.lpsz, number);
    else
        a.real->Format(lpszFormat, value, string.lpsz, number);
    a.model.OpenBuffer(nEstimate);
    a.model.Assign(std::string(text.c_str()));
}

bool Driver::Compare()
{
    const char* const nil = String().GetString();
    for (const Pair& a : m_pairs) {
        const StringData* pData = a.real->GetData();
        Same(pData->nDataLength, a.model.Length());
        Same(memcmp(*a.real, a.model.Text().c_str(), static_cast<size_t>(a.model.Length()) + 1), 0);
        Same(a.real->GetAllocLength(), a.model.Capacity());
        Same(pData->nRefs, static_cast<int>(a.model.Refs()));
        const auto& block = a.model.GetBlock();
        if (block && !block->address)
            block->address = a.real->GetString();
        Same(a.real->GetString() == (block ? block->address : nil), true);
        for (const Pair& b : m_pairs)
            Same(a.real->GetString() == b.real->GetString(),
                 a.model.GetBlock() == b.model.GetBlock());
    }
    Same(FailingNew::nLiveArrays, Block::nLive);
    return m_isSame;
}

template <class Test> std::string Trimmed(const std::string& text, bool atStart, Test test)
{
    const auto first = atStart ? std::find_if_not(text.begin(), text.end(), test) : text.begin();
    const auto last
        = atStart ? text.end() : std::find_if_not(text.rbegin(), text.rend(), test).base();
    return std::string(first, last);
}

bool IsSpace(char c)
{
    return c != '\0' && strchr(" \t\n\v\f\r", c);
}

auto IsIn(const std::string& set)
{
    return [set](char c) { return set.find(c) != std::string::npos; };
}

int Found(size_t n, int nStart = 0)
{
    return n == std::string::npos ? -1 : static_cast<int>(n) + nStart;
}

const struct
{
    const char* name;
    void (*run)(Driver& d, Pair& a);
} kOperations[] = {
    // clang-format off
    { "String()", [](Driver&, Pair& a) { a = Pair(); } },
    { "String(String)", [](Driver& d, Pair& a) { Pair& b = d.Any(); a.real.reset(new String(*b.real)); a.model = Model(b.model); } },
    { "String(lpsz)", [](Driver& d, Pair& a) { Argument t = d.Text(); a.real.reset(new String(t.lpsz)); a.model = Model(t.text); } },
    { "String(lpch, n)", [](Driver& d, Pair& a) {
        const std::string t = d.RandomText(12);
        a.real.reset(new String(t.data(), static_cast<int>(t.size())));
        a.model = Model(t); } },
    { "String(ch, n)", [](Driver& d, Pair& a) {
        const char c = d.Character(); const int n = d.Number(-2, 9);
        a.real.reset(new String(c, n));
        a.model = Model(std::string(static_cast<size_t>(std::max(n, 0)), c)); } },
    { "= String", [](Driver& d, Pair& a) { Pair& b = d.Any(); *a.real = *b.real; a.model.Assign(b.model); } },
    { "= lpsz", [](Driver& d, Pair& a) { Argument t = d.Text(); *a.real = t.lpsz; a.model.Assign(t.text); } },
    { "= ch", [](Driver& d, Pair& a) { const char c = d.Character(); *a.real = c; a.model.Assign(std::string(1, c)); } },
    { "+= String", [](Driver& d, Pair& a) { Pair& b = d.Any(); *a.real += *b.real; a.model.Append(b.model.Text()); } },
    { "+= lpsz", [](Driver& d, Pair& a) { Argument t = d.Text(); *a.real += t.lpsz; a.model.Append(t.text); } },
    { "+= ch", [](Driver& d, Pair& a) { const char c = d.Character(); *a.real += c; a.model.Append(std::string(1, c)); } },
    { "+", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); Pair& c = d.Any(); Argument t = d.Text(); const char ch = d.Character();
        const std::string l = b.model.Text(); const std::string r = c.model.Text();
        switch (d.Number(0, 4)) {
        case 0: a.real.reset(new String(*b.real + *c.real)); a.model = Model(l + r); break;
        case 1: a.real.reset(new String(*b.real + t.lpsz)); a.model = Model(l + t.text); break;
        case 2: a.real.reset(new String(t.lpsz + *b.real)); a.model = Model(t.text + l); break;
        case 3: a.real.reset(new String(*b.real + ch)); a.model = Model(l + ch); break;
        case 4: a.real.reset(new String(ch + *b.real)); a.model = Model(ch + l); break;
        } } },
    { "compare", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); Argument t = d.Text();
        const int n = a.model.Piece(0).compare(b.model.Piece(0)); const int m = a.model.Piece(0).compare(t.text);
        d.Same(*a.real == *b.real, n == 0); d.Same(*a.real != *b.real, n != 0); d.Same(*a.real < *b.real, n < 0);
        d.Same(*a.real == t.lpsz, m == 0); d.Same(*a.real < t.lpsz, m < 0); d.Same(t.lpsz < *a.real, m > 0); } },
    { "OpenBuffer, CloseBuffer(-1)", [](Driver& d, Pair& a) {
        const std::string t = d.RandomText(9); const int n = d.Number(static_cast<int>(t.size()), 30);
        memcpy(a.real->OpenBuffer(n), t.c_str(), t.empty() && n == 0 ? 0 : t.size() + 1);
        a.model.OpenBuffer(n);
        if (n == 0)
            return;
        a.real->CloseBuffer();
        a.model.Assign(std::string(t.c_str())); } },
    { "OpenBufferWithLength", [](Driver& d, Pair& a) {
        const std::string t = d.RandomText(20);
        memcpy(a.real->OpenBufferWithLength(static_cast<int>(t.size())), t.data(), t.size());
        a.model.OpenBuffer(static_cast<int>(t.size()));
        a.model.Assign(t); } },
    { "CloseBuffer", [](Driver& d, Pair& a) {
        const int n = d.Number(-1, a.model.Length());
        a.real->CloseBuffer(n);
        a.model.Edit(n < 0 ? a.model.Piece(0) : a.model.Text().substr(0, size_t(n))); } },
    { "TrimCapacity", [](Driver&, Pair& a) { a.real->TrimCapacity(); a.model.TrimCapacity(); } },
    { "Lock", [](Driver& d, Pair& a) { d.Number(0, 3) == 0 ? d.Lock(a) : void(); } },
    { "Unlock", [](Driver&, Pair& a) { a.model.Refs() == -1 ? a.real->Unlock() : void(); } },
    { "Clear", [](Driver&, Pair& a) { a.real->Clear(); a.model.Clear(); } },
    { "Substring", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); const int n = d.Index(b); const int m = d.Index(b);
        a.real.reset(new String(b.real->Substring(n, m))); a.model = b.model.Part(n, m); } },
    { "Substring to the end", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); const int n = d.Index(b);
        a.real.reset(new String(b.real->Substring(n))); a.model = b.model.Part(n, INT_MAX); } },
    { "Head", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); const int n = d.Index(b);
        a.real.reset(new String(b.real->Head(n))); a.model = b.model.Part(0, n); } },
    { "Tail", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); const int n = d.Index(b); const int nLength = b.model.Length();
        a.real.reset(new String(b.real->Tail(n))); a.model = b.model.Part(nLength - std::clamp(n, 0, nLength), INT_MAX); } },
    { "HeadOutside, HeadWithin", [](Driver& d, Pair& a) {
        Pair& b = d.Any(); Argument t = d.Text(); const std::string piece = b.model.Piece(0); const bool isOutside = d.Coin();
        if (t.lpsz == nullptr)
            return;
        const size_t n = std::min(isOutside ? piece.find_first_of(t.text) : piece.find_first_not_of(t.text), piece.size());
        a.real.reset(new String(isOutside ? b.real->HeadOutside(t.lpsz) : b.real->HeadWithin(t.lpsz)));
        a.model = b.model.Part(0, static_cast<int>(n)); } },
    { "FindChar", [](Driver& d, Pair& a) {
        const int nStart = d.Index(a); const char c = d.Character(); const int nFrom = std::max(nStart, 0);
        d.Same(a.real->FindChar(c, nStart), nStart >= a.model.Length() ? -1 : Found((a.model.Piece(nFrom) + '\0').find(c), nFrom));
        d.Same(a.real->FindLastChar(c), Found((a.model.Piece(0) + '\0').rfind(c))); } },
    { "FindText, FindAnyOf", [](Driver& d, Pair& a) {
        const int nStart = d.Index(a); Argument t = d.Text(); const int nFrom = std::max(nStart, 0);
        if (t.lpsz == nullptr)
            return;
        d.Same(a.real->FindText(t.lpsz, nStart), nStart > a.model.Length() ? -1 : Found(a.model.Piece(nFrom).find(t.text), nFrom));
        d.Same(a.real->FindAnyOf(t.lpsz), Found(a.model.Piece(0).find_first_of(t.text))); } },
    { "SetCharAt", [](Driver& d, Pair& a) {
        std::string t = a.model.Text(); const char c = d.Character();
        if (t.empty())
            return;
        const int n = d.Number(0, a.model.Length() - 1);
        a.real->SetCharAt(n, c); t[size_t(n)] = c; a.model.Edit(t); } },
    { "RemoveRange", [](Driver& d, Pair& a) {
        const int n = d.Index(a); const int m = d.Index(a); std::string t = a.model.Text();
        d.Same(a.real->RemoveRange(n, m), a.model.Length());
        if (m > 0 && std::max(n, 0) < a.model.Length())
            a.model.Edit(t.erase(size_t(std::max(n, 0)), size_t(m))); } },
    { "InsertChar", [](Driver& d, Pair& a) {
        const int n = d.Index(a); const char c = d.Character(); std::string t = a.model.Text();
        const int nResult = a.real->InsertChar(n, c);
        a.model.Edit(t.insert(size_t(std::clamp(n, 0, a.model.Length())), 1, c));
        d.Same(nResult, a.model.Length()); } },
    { "InsertText", [](Driver& d, Pair& a) {
        const int n = d.Index(a); Argument u = d.Text(); std::string t = a.model.Text();
        const int nResult = a.real->InsertText(n, u.lpsz);
        if (!u.text.empty())
            a.model.Edit(t.insert(size_t(std::clamp(n, 0, a.model.Length())), u.text));
        d.Same(nResult, a.model.Length()); } },
    { "ReplaceChar", [](Driver& d, Pair& a) {
        const char c = d.Character(); const char e = d.Character(); std::string t = a.model.Text();
        d.Same(a.real->ReplaceChar(c, e), c == e ? 0 : static_cast<int>(std::count(t.begin(), t.end(), c)));
        std::replace(t.begin(), t.end(), c, e);
        c != e ? a.model.Edit(t) : void(); } },
    { "ReplaceText", [](Driver& d, Pair& a) {
        Argument u = d.Text(); Argument v = d.Text(); std::string t = a.model.Text();
        const int nResult = a.real->ReplaceText(u.lpsz, v.lpsz);
        int nCount = 0;
        for (size_t n = 0; !u.text.empty() && (n = t.find(u.text, n)) != std::string::npos; n += v.text.size(), ++nCount)
            t.replace(n, u.text.size(), v.text);
        d.Same(nResult, nCount);
        nCount != 0 ? a.model.Edit(t) : void(); } },
    { "RemoveChar", [](Driver& d, Pair& a) {
        const char c = d.Character(); std::string t = a.model.Text();
        std::erase(t, c);
        d.Same(a.real->RemoveChar(c), a.model.Length() - static_cast<int>(t.size()));
        a.model.Edit(t); } },
    { "ToLower, ToUpper", [](Driver& d, Pair& a) {
        const bool isLower = d.Coin(); std::string t = a.model.Text();
        isLower ? a.real->ToLower() : a.real->ToUpper();
        for (size_t i = 0; i < a.model.Piece(0).size(); ++i)
            t[i] = static_cast<char>(isLower ? tolower(static_cast<unsigned char>(t[i])) : toupper(static_cast<unsigned char>(t[i])));
        a.model.Edit(t); } },
    { "trim white space", [](Driver& d, Pair& a) {
        const bool atStart = d.Coin();
        atStart ? a.real->TrimStart() : a.real->TrimEnd();
        a.model.Edit(Trimmed(a.model.Text(), atStart, IsSpace)); } },
    { "trim a character", [](Driver& d, Pair& a) {
        const bool atStart = d.Coin(); const char c = d.Character();
        atStart ? a.real->TrimStart(c) : a.real->TrimEnd(c);
        a.model.Edit(Trimmed(a.model.Text(), atStart, [c](char e) { return e == c; })); } },
    { "trim a set", [](Driver& d, Pair& a) {
        const bool atStart = d.Coin(); Argument t = d.Text();
        atStart ? a.real->TrimStart(t.lpsz) : a.real->TrimEnd(t.lpsz);
        if (!atStart || !t.text.empty())
            a.model.Edit(Trimmed(a.model.Text(), atStart, IsIn(t.text))); } },
    { "Format", [](Driver& d, Pair& a) { d.Format(a); } },
    { "Format of a text", [](Driver& d, Pair& a) {
        Argument t = d.Text(); const int n = static_cast<int>(t.text.size());
        if (t.lpsz == nullptr || IsIn(t.text)('%'))
            return;
        a.real->Format(t.lpsz, 0); a.model.OpenBuffer(n * (n + 1) / 2); a.model.Assign(t.text); } },
    // clang-format on
};

TEST(StringModel, RandomOperations)
{
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 20000);
    const int nSeed = FromEnvironment("VELTRANO_SEED", 1);
    const int nRun = 1000; // operations with the same six strings
    for (int i = 0; i < nOperations; i += nRun) {
        Driver driver(static_cast<unsigned>(nSeed + i));
        const char* lpszLast = "";
        for (int n = 0; n < nRun; ++n) {
            Pair& a = driver.Any();
            const auto& operation = driver.One(kOperations);
            operation.run(driver, a);
            if (a.model.Length() > 300) {
                a.real->CloseBuffer(5);
                a.model.Edit(a.model.Text().substr(0, 5));
            }
            ASSERT_TRUE(driver.Compare())
                << operation.name << " after " << lpszLast << ", operation " << n
                << " of VELTRANO_SEED=" << nSeed + i;
            lpszLast = operation.name;
        }
    }
    printf("%d operations: 0 differences\n", nOperations);
}

} // namespace
