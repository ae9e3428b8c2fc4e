// SPDX-License-Identifier: MIT
// vlProfileFile_model.cpp - random operations on a profile, of which some get no memory, beside a plain list of its
// lines: results, and the bytes of the file after each close. VELTRANO_OPERATIONS sets how many, VELTRANO_SEED which.

#include "System/vlProfileFile.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <functional>
#include <optional>

using namespace Veltrano;

namespace {

using Text = std::string;
using Lines = std::vector<Text>;

Lines Load(const Text& text)
{
    Lines lines;
    for (size_t at = 0; at < text.size();) {
        const Text piece = text.substr(at, std::min<size_t>(text.find('\n', at) - at, 1021) + 1);
        lines.push_back(piece.substr(0, piece.find_last_not_of("\r\n") + 1));
        at += piece.size();
    }
    return lines;
}

Text Trim(Text text)
{
    text.resize(text.find_last_not_of(" \t\n\v\f\r") + 1);
    return text.erase(0, text.find_first_not_of(" \t\n\v\f\r"));
}

std::optional<Text> Header(const Text& line)
{
    const size_t nOpen = line.find('['), nClose = line.find(']', nOpen);
    if (nClose == line.npos)
        return {};
    return line.substr(nOpen + 1, nClose - nOpen - 1);
}

// Empty when the line is no entry.
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
    /// The first line of a section that passes a test and true, or the section's end.
    std::pair<size_t, bool> Find(const Text& section,
                                 const std::function<bool(const Text&)>& test) const
    {
        const auto [first, end] = Section(section);
        size_t i = std::min(first + 1, end);
        while (i < end && !test(lines[i]))
            ++i;
        return { i, i < end };
    }
    /// Puts lines at an index, in place of the one there or in front of it.
    void Put(size_t at, bool isReplaced, const Lines& added)
    {
        const auto place = lines.begin() + static_cast<std::ptrdiff_t>(at);
        lines.insert(lines.erase(place, place + isReplaced), added.begin(), added.end());
        isDirty = true;
    }
    void Make(const Text& section)
    {
        if (Section(section).first == lines.size())
            Put(lines.size(), false, { '[' + section + ']' });
    }

    void SetValue(const Text& section, const Text& key, const Text& value)
    {
        if (section.empty() || key.empty()
            || (Section(section).first == lines.size() && value.empty()))
            return;
        Make(section);
        const auto [at, isThere]
            = Find(section, [&](const Text& line) { return Key(line) == key; });
        Put(isThere ? at : lines.size(), isThere,
            isThere && value.empty() ? Lines() : Lines { key + '=' + value });
    }
    void AddOrRemoveLine(bool isAdded, const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        Make(section);
        const auto [at, isThere] = Find(section, [&](const Text& line) { return line == text; });
        if (!text.empty() && isThere != isAdded)
            Put(at, isThere, isAdded ? Lines { text } : Lines());
    }
    /// What is found of a kind: section names, keys of a section, lines behind its header, or the key's value.
    Lines List(size_t nKind, const Text& section, const Text& key) const
    {
        Lines found;
        const auto [first, end] = Section(section);
        for (size_t i = nKind == 0 ? 0 : first; i < lines.size(); ++i) {
            const Text& line = lines[i];
            if (nKind == 0 && Header(line))
                found.push_back(*Header(line));
            else if (nKind == 1 && i < end && !Key(line).empty())
                found.push_back(Key(line));
            else if (nKind == 2 && i > first && !Trim(line).empty())
                found.push_back(Trim(line));
            else if (nKind == 3 && i > first && i < end && Key(line) == key && found.empty())
                found.push_back(Trim(line.substr(line.find('=') + 1)));
        }
        return (nKind > 0 && section.empty()) || (nKind > 2 && key.empty()) ? Lines() : found;
    }
};

TEST(ProfileModel, RandomOperations)
{
    // The texts are few, so that sections, keys and lines are met again.
    const Lines kSections = { "a", "b", "A", " a", "x]y", "a[", "" };
    const Lines kKeys = { "k", "l", " k", "k ", "=", "[b]", "#c", "two words", "" };
    Lines texts = Load(
        "k=v\n k = w \n; c\n\n \n[a]\n[b]\n[\n\t[A]x\nn=[ a]\n][\n=x\nw\n[]\né\nv\nx]\nk=\n= y\n"
        "two words=a = b\n[[d]\n123456[b]\n12345678[a]\n\t\v\f\rl\t=\v\f\rw\t\n"
        + Text(60, 'i') + "[A]");
    texts.push_back("v\nl=two");
    const Lines kEnds = { "\n", "\n", "\r\n", "\r", "" };
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 20000);
    std::mt19937 random(static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)));
    const auto oneOf = [&](const Lines& all) { return all[random() % all.size()]; };
    const auto isDone = [&](const auto& work) { // else it got no memory
        FailingNew::Fail(random() % 8 == 0 ? 1 + static_cast<int>(random() % 4) : 0);
        try {
            work();
        } catch (const std::bad_alloc&) {
            return false;
        }
        FailingNew::Stop();
        return true;
    };
    const TemporaryFolder folder;
    const Text path = folder.Path("test.ini");
    ProfileFile file;
    ProfileLineList list;
    Model model;
    Text written;
    WriteFile(path, written);
    for (int i = 0; i < nOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(i);
        const auto kind = random() % (i % 20 == 0 ? 1 : 8);
        const Text key = oneOf(kKeys);
        const bool isSame = kind == 1; // one text for all three
        const bool isAlias = kind == 2 && list.head != nullptr && random() % 4 == 0;
        const Text section = isSame ? key : isAlias ? Text(list.head->text) : oneOf(kSections);
        const Text text = isSame ? key : oneOf(texts);
        const char* lpszSection = section.empty() ? nullptr
            : isAlias                             ? list.head->text.GetString()
                                                  : section.c_str();
        String all(key.c_str());
        int nResult = 0;
        if (kind == 0) { // closes, and at times another program writes
            EXPECT_TRUE(isDone([&] { file.Close(); }));
            if (model.isDirty && !model.lines.empty()) {
                written.clear();
                for (const Text& line : model.lines)
                    written += line + '\n';
            }
            EXPECT_EQ(ReadFile(path), written);
            if (random() % 2 == 0) {
                written = Text(random() % 20 == 0 ? 1016 + random() % 1030 : 0, 'l');
                for (size_t n = random() % 20; n-- > 0;)
                    written += oneOf(texts) + oneOf(kEnds);
                WriteFile(path, written);
            }
            while (!isDone([&] { EXPECT_TRUE(file.Open(path.c_str(), "r")); })) { }
            model = { Load(written) };
        } else if (kind < 4) {
            const size_t nKind = random() % 4;
            if (!isDone([&] {
                    nResult = nKind == 0 ? file.GetSections(list)
                        : nKind == 1     ? file.GetKeys(list, lpszSection)
                        : nKind == 2     ? file.GetLines(list, lpszSection)
                                         : file.GetValue(lpszSection, all, all);
                }))
                continue;
            Lines found(nKind == 3 && (nResult || !all.IsEmpty()), all.GetString());
            for (const ProfileLine* p = nKind < 3 ? list.tail : nullptr; p; p = p->previous)
                found.insert(found.begin(), p->text.GetString());
            EXPECT_EQ(found, model.List(nKind, section, key));
            EXPECT_EQ(static_cast<size_t>(nResult), found.size());
        } else if (!isDone([&] {
                       isSame          ? file.SetValue(all, all, all)
                           : kind == 4 ? file.AddLine(lpszSection, text.c_str())
                           : kind == 5 ? file.RemoveLine(lpszSection, text.c_str())
                                       : file.SetValue(lpszSection, key.c_str(), text.c_str());
                   })) {
            if (file.GetSections(list) > static_cast<int>(model.List(0, "", "").size()))
                model.Make(section); // that much was done
        } else if (kind == 4 || kind == 5) {
            model.AddOrRemoveLine(kind == 4, section, text);
        } else {
            model.SetValue(section, key, text);
        }
    }
}

} // namespace
