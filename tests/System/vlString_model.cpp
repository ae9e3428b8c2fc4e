// SPDX-License-Identifier: MIT
// vlString_model.cpp - String beside a plain second implementation, on random operations of which some get no memory.
// After each one all strings are compared: text, capacity, count, which of them share a block, and how many blocks
// live. An argument may be null, empty, or lie in any string's text, also the target's.
// VELTRANO_OPERATIONS sets the number of operations, VELTRANO_SEED another run.

#include "System/vlString.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Processes.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <thread>

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
    const char* locked = nullptr; // the real characters of a locked block
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
    long Refs() const { return m_block && !m_block->locked ? m_block.use_count() : -1; }
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
    /// A change in place, which makes the block private and grows to exactly what it needs.
    void Edit(const std::string& text)
    {
        if (Refs() > 1)
            Allocate(Text());
        Assign(text);
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
            m_block->locked ? Assign("") : void(m_block = nullptr);
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

// Without the characters in `cut` at its start or end.
std::string Trimmed(std::string text, const std::string& cut, bool isEnd)
{
    return isEnd ? text.erase(text.find_last_not_of(cut) + 1)
                 : text.erase(0, std::min(text.find_first_not_of(cut), text.size()));
}

int Found(size_t n, int nStart = 0)
{
    return n == std::string::npos ? -1 : static_cast<int>(n) + nStart;
}

int Replace(std::string& text, const std::string& from, const std::string& to)
{
    int nCount = 0;
    for (size_t n = 0; !from.empty() && (n = text.find(from, n)) != text.npos; n += to.size()) {
        text.replace(n, from.size(), to);
        ++nCount;
    }
    return nCount;
}

class Driver
{
public:
    ~Driver()
    {
        for (Pair& pair : m_pairs)
            pair = Pair();
        for (const auto& block : m_locked) {
            EXPECT_EQ(block->text, std::string(block->locked, block->text.size()))
                << "a locked block outlives its string";
            delete[](block->locked - sizeof(StringData));
        }
    }

    /// An operation on one of the strings; its number when something differs after it, or -1.
    int Step()
    {
        Pair& changed = *(m_target = &Any());
        Operate(changed, Any());
        if (changed.model.Length() > 300) {
            changed.real->CloseBuffer(5);
            changed.model.Edit(changed.model.Text().substr(0, 5));
        }
        bool isSame = m_result == m_expected && FailingNew::nArrays == Block::nLive;
        const char* const nil = String().GetString();
        for (const Pair& a : m_pairs) {
            const StringData* pData = a.real->GetData();
            isSame = isSame && pData->nDataLength == a.model.Length()
                && memcmp(*a.real, a.model.Text().c_str(), size_t(a.model.Length()) + 1) == 0
                && a.real->GetAllocLength() == a.model.Capacity() && pData->nRefs == a.model.Refs()
                && (a.real->GetString() == nil) == !a.model.GetBlock();
            for (const Pair& b : m_pairs)
                isSame = isSame
                    && (a.real->GetString() == b.real->GetString())
                        == (a.model.GetBlock() == b.model.GetBlock());
        }
        return isSame ? -1 : m_operation;
    }

    std::mt19937 m_random;

private:
    int Number(int first, int last) { return std::uniform_int_distribution(first, last)(m_random); }
    char Character() { return "aabbcAX \t\n\x01\xc4\xe4\0"[Number(0, 13)]; }
    Pair& Any() { return m_pairs[Number(0, 5)]; }
    std::string RandomText(int nMost)
    {
        std::string text(static_cast<size_t>(Number(0, nMost)), '\0');
        std::generate(text.begin(), text.end(), [this] { return Character(); });
        return text;
    }

    Argument Text()
    {
        const int n = Number(0, 9);
        if (n == 0)
            return { nullptr, "" };
        if (n < 5) {
            std::string& text = m_texts[m_nTexts++ % std::size(m_texts)];
            text = RandomText(n < 4 ? 3 : 60);
            return { text.c_str(), text.c_str() };
        }
        const Pair& b = Number(0, 1) == 0 ? *m_target : Any();
        const int nStart = Number(0, b.model.Length());
        return { b.real->GetString() + nStart, b.model.Piece(nStart) };
    }

    void Lock(Pair& a)
    {
        char* lpch = a.real->Lock();
        a.model.OpenBuffer(0);
        if (const std::shared_ptr<Block>& block = a.model.GetBlock(); block && !block->locked) {
            block->locked = lpch;
            m_locked.push_back(block);
        }
    }

    /// Both sides of an operation; without memory the string stays as it is, or is empty when it gave its block up first.
    template <class Real, class Change> void Do(Pair& a, Real real, Change change)
    {
        if (Number(0, 15) == 0)
            FailingNew::Fail(1);
        try {
            real();
            FailingNew::Stop();
            change();
        } catch (const std::bad_alloc&) {
            if (a.real->GetAllocLength() == 0)
                a.model = Model();
        }
    }

    void Operate(Pair& a, Pair& b)
    {
        String& s = *a.real;
        Model& m = a.model;
        const String& r = *b.real;
        const Model& o = b.model;
        const auto become = [&a](const String& real) { a.real.reset(new String(real)); };
        const auto index = [&] {
            const int edges[] = { INT_MIN, -2, 0, 1, m.Length(), o.Length(), INT_MAX };
            const int i = Number(0, 8);
            return i < 7 ? edges[i] : Number(0, i == 7 ? 9 : o.Length());
        };
        const int n = index(), k = index();
        const int nFrom = std::max(n, 0), nInside = std::clamp(n, 0, m.Length());
        const char c = Character(), e = Character();
        const Argument t = Text(), u = Text();
        const std::string text = m.Text(), own = RandomText(20);
        std::string changed = text;
        const bool isGiven = t.lpsz != nullptr;
        const std::string spaces = " \t\n\v\f\r";
        const auto cased = [&](int (*change)(int)) { // up to the first zero
            for (char* p = changed.data(); *p != '\0'; ++p)
                *p = static_cast<char>(change(static_cast<unsigned char>(*p)));
            return changed;
        };
        const int nOwn = static_cast<int>(own.size());
        m_result = m_expected = 0;
        // clang-format off
#define OP(real, change) return Do(a, [&] { real; }, [&] { change; })
        switch (m_operation = Number(0, 49)) {
        case 0: OP(become(String()), m = Model());
        case 1: OP(become(r), m = Model(o));
        case 2: OP(become(t.lpsz), m = Model(t.text));
        case 3: OP(become(String(own.data(), nOwn)), m = Model(own));
        case 4: OP(become(String(c, n % 10)), m = Model(std::string(size_t(std::max(n % 10, 0)), c)));
        case 5: OP(s = r, m.Assign(o));
        case 6: OP(s = t.lpsz, m.Assign(t.text));
        case 7: OP(s = c, m.Assign(std::string(1, c)));
        case 8: OP(s += r, m.Append(o.Text()));
        case 9: OP(s += t.lpsz, m.Append(t.text));
        case 10: OP(s += c, m.Append(std::string(1, c)));
        case 11: OP(become(s + r), m = Model(text + o.Text()));
        case 12: OP(become(r + t.lpsz), m = Model(o.Text() + t.text));
        case 13: OP(become(t.lpsz + r), m = Model(t.text + o.Text()));
        case 14: OP(become(r + c), m = Model(o.Text() + c));
        case 15: OP(become(c + r), m = Model(c + o.Text()));
        case 16: OP(m_result = (s == r) + 2 * (s != r) + 4 * (s < r), const int x = m.Piece(0).compare(o.Piece(0)); m_expected = (x == 0) + 2 * (x != 0) + 4 * (x < 0));
        case 17: OP(m_result = (s == t.lpsz) + 2 * (s < t.lpsz) + 4 * (t.lpsz < s), const int x = m.Piece(0).compare(t.text); m_expected = (x == 0) + 2 * (x < 0) + 4 * (x > 0));
        case 18: OP(strcpy(s.OpenBuffer(nOwn + 1), own.c_str()); s.CloseBuffer(), m.OpenBuffer(nOwn + 1); m.Assign(std::string(own.c_str())));
        case 19: OP(s.OpenBuffer(nOwn), m.OpenBuffer(nOwn));
        case 20: OP(memcpy(s.OpenBufferWithLength(nOwn), own.data(), own.size()), m.OpenBuffer(nOwn); m.Assign(own));
        case 21: OP(s.CloseBuffer(nInside), m.Edit(text.substr(0, size_t(nInside))));
        case 22: OP(s.CloseBuffer(), m.Edit(m.Piece(0)));
        case 23: OP(s.TrimCapacity(), m.TrimCapacity());
        case 24: return Number(0, 3) == 0 ? Lock(a) : void();
        case 25: return m.Refs() == -1 ? s.Unlock() : void();
        case 26: OP(s.Clear(), m.Clear());
        case 27: OP(become(r.Substring(n, k)), m = o.Part(n, k));
        case 28: OP(become(r.Substring(n)), m = o.Part(n, INT_MAX));
        case 29: OP(become(r.Head(n)), m = o.Part(0, n));
        case 30: OP(become(r.Tail(n)), m = o.Part(o.Length() - std::clamp(n, 0, o.Length()), INT_MAX));
        case 31: OP(isGiven ? become(r.HeadOutside(t.lpsz)) : void(), isGiven ? void(m = o.Part(0, static_cast<int>(std::min(o.Piece(0).find_first_of(t.text), o.Piece(0).size())))) : void());
        case 32: OP(isGiven ? become(r.HeadWithin(t.lpsz)) : void(), isGiven ? void(m = o.Part(0, static_cast<int>(std::min(o.Piece(0).find_first_not_of(t.text), o.Piece(0).size())))) : void());
        case 33: OP(m_result = s.FindChar(c, n), m_expected = n >= m.Length() ? -1 : Found((m.Piece(n) + '\0').find(c), nFrom));
        case 34: OP(m_result = s.FindLastChar(c), m_expected = Found((m.Piece(0) + '\0').rfind(c)));
        case 35: OP(m_result = isGiven ? s.FindText(t.lpsz, n) : -1, m_expected = !isGiven || n > m.Length() ? -1 : Found(m.Piece(n).find(t.text), nFrom));
        case 36: OP(m_result = isGiven ? s.FindAnyOf(t.lpsz) : -1, m_expected = Found(m.Piece(0).find_first_of(t.text)));
        case 37: return text.empty() ? void() : Do(a, [&] { s.SetCharAt(nFrom % m.Length(), c); }, [&] { changed[size_t(nFrom % m.Length())] = c; m.Edit(changed); });
        case 38: OP(m_result = s.RemoveRange(n, k), m_expected = m.Length(); k > 0 && nFrom < m.Length() ? m.Edit(changed.erase(size_t(nFrom), size_t(k))) : void());
        case 39: OP(m_result = s.InsertChar(n, c), m.Edit(changed.insert(size_t(nInside), 1, c)); m_expected = m.Length());
        case 40: OP(m_result = s.InsertText(n, t.lpsz), t.text.empty() ? void() : m.Edit(changed.insert(size_t(nInside), t.text)); m_expected = m.Length());
        case 41: OP(m_result = s.ReplaceChar(c, e), m_expected = c == e ? 0 : static_cast<int>(std::count(text.begin(), text.end(), c)); std::replace(changed.begin(), changed.end(), c, e); c != e ? m.Edit(changed) : void());
        case 42: OP(m_result = s.ReplaceText(t.lpsz, u.lpsz), m_expected = Replace(changed, t.text, u.text); m_expected != 0 ? m.Edit(changed) : void());
        case 43: OP(m_result = s.RemoveChar(c), m_expected = static_cast<int>(std::erase(changed, c)); m.Edit(changed));
        case 44: OP(s.ToLower(), m.Edit(cased(tolower)));
        case 45: OP(s.ToUpper(), m.Edit(cased(toupper)));
        case 46: OP(s.TrimStart(); s.TrimEnd(), m.Edit(Trimmed(Trimmed(text, spaces, false), spaces, true)));
        case 47: OP(s.TrimStart(c); s.TrimEnd(e), m.Edit(Trimmed(Trimmed(text, { c }, false), { e }, true)));
        case 48: OP(s.TrimStart(t.lpsz), t.text.empty() ? void() : m.Edit(Trimmed(text, t.text, false)));
        case 49: OP(s.TrimEnd(t.lpsz), m.Edit(Trimmed(text, t.text, true)));
        }
        // clang-format on
    }

    Pair m_pairs[6];
    Pair* m_target = nullptr; // of the operation
    std::string m_texts[4]; // of arguments
    size_t m_nTexts = 0;
    std::vector<std::shared_ptr<Block>> m_locked;
    int m_operation = 0, m_result = 0, m_expected = 0;
};

TEST(StringModel, RandomOperations)
{
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 200000);
    const int nSeed = FromEnvironment("VELTRANO_SEED", 1);
    const int nRun = 1000; // operations with the same six strings
    for (int i = 0; i < nOperations; i += nRun) {
        Driver driver;
        driver.m_random.seed(static_cast<unsigned>(nSeed + i));
        for (int n = 0; n < nRun; ++n)
            ASSERT_EQ(-1, driver.Step()) << n << " of VELTRANO_SEED=" << nSeed + i;
    }
}

TEST(String, CopiesLiveOnSeveralThreads)
{
    const int nThreads = 4;
    const int nCopies = FromEnvironment("VELTRANO_COPIES", 400000) / nThreads;
    const String source("shared between threads");
    std::vector<std::thread> threads;
    for (int i = 0; i < nThreads; ++i)
        threads.emplace_back([nCopies, mine = source] {
            for (int n = 0; n < nCopies; ++n) {
                String copy(mine);
                String() = "";
                if (n % 16 == 0)
                    copy.SetCharAt(0, 'S');
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    threads.clear();
    EXPECT_EQ(source.GetData()->nRefs, 1);
    EXPECT_EQ(source, "shared between threads");
}

} // namespace
