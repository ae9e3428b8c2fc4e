// SPDX-License-Identifier: MIT
// vlProfileFile_model.cpp - random operations on a profile beside a plain list of its lines: results, and the
// bytes of the file after each close. VELTRANO_OPERATIONS sets how many, VELTRANO_SEED which.

#include "System/vlProfileFile.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <cstring>
#include <optional>

using namespace Veltrano;

namespace {

using Text = std::string;
using Lines = std::vector<Text>;

Lines Load(const Text& text)
{
    Lines loaded;
    Text piece;
    for (size_t i = 0; i < text.size(); ++i) {
        piece += text[i];
        if (text[i] == '\n' || piece.size() == 1022 || i + 1 == text.size()) {
            loaded.push_back(piece.substr(0, piece.find_last_not_of("\r\n") + 1));
            piece.clear();
        }
    }
    return loaded;
}

Text Trim(Text text)
{
    text.resize(text.find_last_not_of(" \t\n\v\f\r") + 1);
    return text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
}

std::optional<Text> Header(const Text& line)
{
    const size_t nOpen = line.find('[');
    const size_t nClose = line.find(']', nOpen);
    if (nOpen == line.npos || nClose == line.npos)
        return {};
    return line.substr(nOpen + 1, nClose - nOpen - 1);
}

/// Empty when the line is no entry.
Text Key(const Text& line)
{
    return line.find('=') == line.npos ? "" : Trim(line.substr(0, line.find('=')));
}

struct Model
{
    Lines lines;
    bool isDirty = false;

    /// The index of a section's header, and the one behind its last line; both the count without the section.
    std::pair<size_t, size_t> Section(const Text& name) const
    {
        size_t first = 0;
        while (first < lines.size() && Header(lines[first]) != name)
            ++first;
        size_t end = first;
        while (end < lines.size() && (end == first || !Header(lines[end])))
            ++end;
        return { first, end };
    }
    /// The first line of a section that passes a test, or the section's end.
    template <class Test> size_t Find(const Text& section, Test test) const
    {
        const auto [first, end] = Section(section);
        size_t i = std::min(first + 1, end);
        while (i < end && !test(lines[i]))
            ++i;
        return i;
    }
    size_t FindEntry(const Text& section, const Text& key) const
    {
        return Find(section, [&](const Text& line) { return Key(line) == key; });
    }
    size_t FindLine(const Text& section, const Text& text) const
    {
        return Find(section, [&](const Text& line) { return line == text; });
    }
    bool Has(const Text& section) const { return Section(section).first < lines.size(); }
    void Insert(size_t at, const Text& line)
    {
        lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(at), line);
        isDirty = true;
    }
    void Erase(size_t at)
    {
        lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(at));
        isDirty = true;
    }
    void Make(const Text& section)
    {
        if (!Has(section))
            Insert(lines.size(), '[' + section + ']');
    }

    std::optional<Text> GetValue(const Text& section, const Text& key) const
    {
        const size_t at = FindEntry(section, key);
        if (section.empty() || key.empty() || at == Section(section).second)
            return {};
        return Trim(lines[at].substr(lines[at].find('=') + 1));
    }
    void SetValue(const Text& section, const Text& key, const Text& value)
    {
        if (section.empty() || key.empty() || (!Has(section) && value.empty()))
            return;
        Make(section);
        const size_t at = FindEntry(section, key);
        const bool isThere = at != Section(section).second;
        if (isThere)
            Erase(at);
        if (!isThere || !value.empty())
            Insert(isThere ? at : lines.size(), key + '=' + value);
    }
    void AddLine(const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        Make(section);
        const size_t end = Section(section).second;
        if (!text.empty() && FindLine(section, text) == end)
            Insert(end, text);
    }
    void RemoveLine(const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        Make(section);
        const size_t at = FindLine(section, text);
        if (!text.empty() && at != Section(section).second)
            Erase(at);
    }
    /// What the enumerations give: section names, keys of a section, or all lines behind its header.
    Lines List(size_t nKind, const Text& section) const
    {
        Lines found;
        const auto [first, end] = Section(section);
        for (size_t i = 0; i < lines.size(); ++i) {
            if (nKind == 0 && Header(lines[i]))
                found.push_back(*Header(lines[i]));
            else if (nKind == 1 && i >= first && i < end && !Key(lines[i]).empty())
                found.push_back(Key(lines[i]));
            else if (nKind == 2 && i > first && !Trim(lines[i]).empty())
                found.push_back(Trim(lines[i]));
        }
        return nKind > 0 && section.empty() ? Lines() : found;
    }
};

TEST(ProfileModel, RandomOperations)
{
    // The texts are few, so that sections, keys and lines are met again.
    const Lines kSections = { "a", "b", "A", " a", "x]y", "a[", "" };
    const Lines kKeys = { "k", "l", " k", "k ", "=", "[b]", "#c", "" };
    const Lines kTexts = { "k=v", " k = w ", "; c", "",  " ",  "[a]", "[b]", "\t[A]x", "n=[ a]",
                           "[",   "][",      "=x",  "w", "[]", "é",   "v",   "x]" };
    const Lines kEnds = { "\n", "\n", "\r\n", "\r", "" };
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 20000);
    std::mt19937 random(static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)));
    const auto oneOf = [&](const Lines& texts) { return texts[random() % texts.size()]; };
    const TemporaryFolder folder;
    const Text path = folder.Path("test.ini");
    ProfileFile file;
    Model model;
    Text written;
    WriteFile(path, written);
    for (int i = 0; i < nOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const Text section = oneOf(kSections), key = oneOf(kKeys), text = oneOf(kTexts);
        const char* lpszSection = section.empty() ? nullptr : section.c_str();
        switch (random() % (i % 20 == 0 ? 1 : 8)) {
        case 0: { // closes, and at times another program writes
            file.Close();
            if (Text lines; model.isDirty && !model.lines.empty()) {
                for (const Text& line : model.lines)
                    lines += line + '\n';
                written = lines;
            }
            EXPECT_EQ(ReadFile(path), written);
            if (random() % 2 == 0) {
                written = Text(random() % 20 == 0 ? 1016 + random() % 1030 : 0, 'l');
                for (size_t n = random() % 20; n-- > 0;)
                    written += oneOf(kTexts) + oneOf(kEnds);
                WriteFile(path, written);
            }
            EXPECT_EQ(file.Open(path.c_str(), "r"), 1);
            model = { Load(written) };
            break;
        }
        case 1:
            file.AddLine(lpszSection, text.c_str());
            model.AddLine(section, text);
            break;
        case 2:
            file.RemoveLine(lpszSection, text.c_str());
            model.RemoveLine(section, text);
            break;
        case 3: { // one text for all three
            const String all(key.c_str());
            file.SetValue(all, all, all);
            model.SetValue(key, key, key);
            break;
        }
        case 4: {
            String value(key.c_str()); // the key lies in the result
            const auto expected = model.GetValue(section, key);
            EXPECT_EQ(file.GetValue(lpszSection, value, value), expected.has_value());
            EXPECT_EQ(TextOf(value), expected.value_or(""));
            break;
        }
        case 5: {
            const size_t nKind = random() % 3;
            ProfileLineList list;
            const int nFound = nKind == 0 ? file.GetSections(list)
                : nKind == 1              ? file.GetKeys(list, lpszSection)
                                          : file.GetLines(list, lpszSection);
            Lines found;
            for (const ProfileLine* p = list.head; p != nullptr; p = p->next)
                found.push_back(TextOf(p->text));
            EXPECT_EQ(found, model.List(nKind, section));
            EXPECT_EQ(static_cast<size_t>(nFound), found.size());
            break;
        }
        default:
            file.SetValue(lpszSection, key.c_str(), text.c_str());
            model.SetValue(section, key, text);
        }
    }
}

} // namespace
