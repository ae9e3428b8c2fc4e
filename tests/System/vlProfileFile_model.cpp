// SPDX-License-Identifier: MIT
// vlProfileFile_model.cpp - random operations on two profiles over the same few files, each beside its model: results,
// and after each operation the bytes of every file. VELTRANO_OPERATIONS sets how many, VELTRANO_SEED which.

#include "System/vlProfileFile.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <cstring>
#include <map>
#include <memory>
#include <optional>

using namespace Veltrano;

namespace {

using Text = std::string;
using Lines = std::vector<Text>;

Text Trim(Text text)
{
    const char* lpszSpace = " \t\n\v\f\r";
    text.resize(text.find_last_not_of(lpszSpace) + 1);
    return text.erase(0, text.find_first_not_of(lpszSpace));
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

/// The lines of a profile and what is done to them, as plainly as possible. Null arguments are empty ones here.
struct Model
{
    using Line = Lines::iterator;

    Lines lines;
    bool isDirty = false;

    void Load(const Text& text)
    {
        Text piece;
        for (size_t i = 0; i < text.size(); ++i) {
            piece += text[i];
            if (text[i] == '\n' || piece.size() == 1022 || i + 1 == text.size()) {
                piece.resize(piece.find_last_not_of("\r\n") + 1);
                lines.push_back(std::exchange(piece, ""));
            }
        }
    }
    Text Written() const
    {
        Text text;
        for (const Text& line : lines)
            text += line + '\n';
        return text;
    }

    /// The header of a section, or the end.
    Line Find(const Text& section)
    {
        return std::find_if(lines.begin(), lines.end(),
                            [&](const Text& line) { return Header(line) == section; });
    }
    /// The line behind a section's body.
    Line End(Line header)
    {
        const auto from = header == lines.end() ? header : header + 1;
        return std::find_if(from, lines.end(), [](const Text& line) { return Header(line); });
    }
    /// The first line of a section's body that passes a test, or the end of the body.
    template <class Test> Line FindIn(Line header, Test test)
    {
        const Line end = End(header);
        return std::find_if(header == end ? end : header + 1, end, test);
    }
    Line FindEntry(Line header, const Text& key)
    {
        return FindIn(header, [&](const Text& line) { return Key(line) == key; });
    }
    Line FindLine(Line header, const Text& text)
    {
        return FindIn(header, [&](const Text& line) { return line.c_str() == Text(text.c_str()); });
    }
    Line Make(const Text& section)
    {
        isDirty = true;
        return lines.insert(lines.end(), '[' + section + ']');
    }

    std::optional<Text> GetValue(const Text& section, const Text& key)
    {
        const Line header = Find(section);
        const Line p = FindEntry(header, key);
        if (section.empty() || key.empty() || p == End(header))
            return {};
        return Trim(p->substr(p->find('=') + 1));
    }
    void SetValue(const Text& section, const Text& key, const Text& value)
    {
        Line header = Find(section);
        if (section.empty() || key.empty() || (header == lines.end() && value.empty()))
            return;
        header = header == lines.end() ? Make(section) : header;
        const Line p = FindEntry(header, key);
        isDirty = true;
        if (p == End(header))
            lines.push_back(key + '=' + value);
        else if (value.empty())
            lines.erase(p);
        else
            *p = key + '=' + value;
    }
    void AddLine(const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        const Line header = Find(section) == lines.end() ? Make(section) : Find(section);
        if (text.empty() || FindLine(header, text) != End(header))
            return;
        lines.insert(End(header), text);
        isDirty = true;
    }
    void RemoveLine(const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        const Line header = Find(section) == lines.end() ? Make(section) : Find(section);
        const Line p = FindLine(header, text);
        if (text.empty() || p == End(header))
            return;
        lines.erase(p);
        isDirty = true;
    }

    Lines GetSections() const
    {
        Lines names;
        for (const Text& line : lines)
            if (const auto name = Header(line))
                names.push_back(*name);
        return names;
    }
    Lines GetKeys(const Text& section)
    {
        Lines keys;
        const Line header = Find(section);
        for (Line p = header; !section.empty() && p != End(header); ++p)
            if (!Key(*p).empty())
                keys.push_back(Key(*p));
        return keys;
    }
    Lines GetLines(const Text& section)
    {
        Lines found;
        for (Line p = Find(section); !section.empty() && p != lines.end() && ++p != lines.end();)
            if (!Trim(*p).empty())
                found.push_back(Trim(*p));
        return found;
    }
};

Lines Texts(const ProfileLineList& list)
{
    Lines texts;
    const ProfileLine* pPrevious = nullptr;
    for (const ProfileLine* p = list.head; p != nullptr; pPrevious = p, p = p->next) {
        EXPECT_EQ(p->previous, pPrevious);
        texts.push_back(TextOf(p->text));
    }
    EXPECT_EQ(list.tail, pPrevious);
    EXPECT_EQ(list.GetCount(), static_cast<int>(texts.size()));
    return texts;
}

// The texts are few, so that sections, keys and lines are met again.
// clang-format off
const char* const kSections[] = { "a", "a", "a", "b", "b", "A", " a", "x]y", "a[", "", nullptr };
const char* const kKeys[] = { "k", "k", "k", "l", " k", "k ", "=", "[b]", "#c", "", nullptr };
const char* const kModes[] = { "r", "r+", "r", "a+", "rb", "w+", "a", "?", nullptr };
const Lines kValues = { "", "", "v", " w\t", "=", "x]", "[a]", "two\nlines", Text("\0z", 2) };
const Lines kLines = { "k=v", "k=v", " k = w ", "; c", "", " ", "[a]", "[b]", "\t[A]x", "n=[ a]", "[", "][", "=x", "[]" };
const Lines kEnds = { "\n", "\n", "\n", "\r\n", "\r", "" };
const Lines kNames = { "plain", "link", "hard1", "hard2", "none/x" };
// clang-format on

class ProfileFileModel : public testing::Test
{
protected:
    ProfileFileModel()
    {
        WriteFile(At("hard1"), m_files["hard1"]);
        std::filesystem::create_hard_link(At("hard1"), At("hard2"));
        std::filesystem::create_symlink("plain", At("link"));
    }
    void Step();

private:
    struct Profile
    {
        std::unique_ptr<ProfileFile> real = std::make_unique<ProfileFile>();
        Model model;
        Text name;
        bool isOpen = false;
    };

    size_t Below(size_t n) { return m_random() % n; }
    template <class Range> const auto& OneOf(const Range& range)
    {
        return range[Below(std::size(range))];
    }
    Text At(const Text& name) const { return m_folder.Path(name); }
    static Text Target(const Text& name)
    {
        return name == "link" ? "plain" : name == "hard2" ? "hard1" : name;
    }
    Text RandomLine()
    {
        if (Below(30) == 0)
            return Text(1018 + Below(8), 'l') + Text(Below(2) * 1022, 'm');
        return Below(30) == 0 ? Text(1, static_cast<char>(m_random())) : OneOf(kLines);
    }
    void ChangeOutside();
    void Open(Profile& profile);
    void ExpectClose(Profile& profile);
    void Read(Profile& profile, const char* lpszSection, const char* lpszKey);

    TemporaryFolder m_folder;
    std::mt19937 m_random { static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)) };
    std::map<Text, Text> m_files; // what stands on the disk
    Profile m_profiles[2];
    ProfileLineList m_list;
};

void ProfileFileModel::ChangeOutside()
{
    Text text;
    for (size_t n = Below(60) == 0 ? Below(4000) : Below(20); n-- > 0;)
        text += RandomLine() + OneOf(kEnds);
    const Text name = Target(OneOf(kNames));
    if (name != "none/x")
        return WriteFile(At(name), m_files[name] = text);
    std::filesystem::remove(At("plain"));
    m_files.erase("plain");
}

void ProfileFileModel::Open(Profile& profile)
{
    const char* lpszMode = OneOf(kModes);
    const bool isAgain = Below(6) == 0;
    ExpectClose(profile);
    if (!isAgain)
        profile.name = OneOf(kNames);
    const Bool32 bOpen = profile.real->Open(isAgain ? nullptr : At(profile.name).c_str(), lpszMode);
    const Text target = Target(profile.name);
    const Text mode = lpszMode ? lpszMode : "?";
    profile.isOpen = target != "" && target != "none/x" && mode != "?"
        && (m_files.contains(target) || mode[0] != 'r');
    EXPECT_EQ(bOpen, profile.isOpen) << profile.name << ' ' << mode;
    if (!profile.isOpen)
        return;
    Text& text = m_files[target];
    if (mode[0] == 'w')
        text.clear();
    if (mode[0] == 'r' || mode.ends_with('+'))
        profile.model.Load(text);
}

void ProfileFileModel::ExpectClose(Profile& profile)
{
    if (!profile.isOpen)
        return;
    if (profile.model.isDirty && !profile.model.lines.empty())
        m_files[Target(profile.name)] = profile.model.Written();
    profile.model = {};
    profile.isOpen = false;
}

void ProfileFileModel::Read(Profile& profile, const char* lpszSection, const char* lpszKey)
{
    Text section = lpszSection ? lpszSection : "";
    String value(lpszKey);
    const auto expected = profile.model.GetValue(section, lpszKey ? lpszKey : "");
    const char* lpszSame = Below(4) == 0 ? value.GetString() : lpszKey; // lies in the result
    EXPECT_EQ(profile.real->GetValue(lpszSection, lpszSame, value), expected.has_value());
    EXPECT_EQ(TextOf(value), expected.value_or(""));

    int nFound = profile.real->GetSections(m_list);
    EXPECT_EQ(Texts(m_list), profile.model.GetSections());
    EXPECT_EQ(nFound, m_list.GetCount());
    if (m_list.head != nullptr && Below(2) == 0) { // lies in the list that is filled
        lpszSection = m_list.head->text;
        section = lpszSection;
    }
    const bool bKeys = Below(2) == 0;
    nFound = bKeys ? profile.real->GetKeys(m_list, lpszSection)
                   : profile.real->GetLines(m_list, lpszSection);
    EXPECT_EQ(Texts(m_list),
              bKeys ? profile.model.GetKeys(section) : profile.model.GetLines(section));
    EXPECT_EQ(nFound, m_list.GetCount());
}

void ProfileFileModel::Step()
{
    Profile& profile = m_profiles[Below(2)];
    ProfileFile& real = *profile.real;
    const char* lpszSection = OneOf(kSections);
    const char* lpszKey = OneOf(kKeys);
    const Text section = lpszSection ? lpszSection : "";
    const Text key = lpszKey ? lpszKey : "";
    const Text value = OneOf(kValues);
    const Text line = RandomLine().c_str();
    const String all(lpszSection); // one text for all
    const size_t nKind = Below(20);
    if (nKind < 1) {
        ChangeOutside();
    } else if (nKind < 3) {
        Open(profile);
    } else if (nKind < 4) {
        ExpectClose(profile);
        Below(3) != 0 ? real.Close() : void(profile = Profile());
    } else if (nKind < 5) {
        real.SetValue(all, all, all);
        profile.model.SetValue(section, section, section);
    } else if (nKind < 7) {
        real.AddLine(lpszSection, line.c_str());
        profile.model.AddLine(section, line);
    } else if (nKind < 9) {
        real.RemoveLine(lpszSection, line.empty() ? nullptr : line.c_str());
        profile.model.RemoveLine(section, line);
    } else if (nKind < 12) {
        Read(profile, lpszSection, lpszKey);
    } else {
        real.SetValue(lpszSection, lpszKey, String(value.data(), static_cast<int>(value.size())));
        profile.model.SetValue(section, key, value);
    }
    for (const auto& [name, text] : m_files)
        EXPECT_EQ(ReadFile(At(name)), text) << name;
    EXPECT_EQ(ReadFile(At("hard2")), m_files["hard1"]);
    EXPECT_EQ(CountFiles(At("")), static_cast<int>(m_files.size()) + 2) << "with link and hard2";
}

TEST_F(ProfileFileModel, RandomOperations)
{
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 5000);
    for (int i = 0; i < nOperations; ++i) {
        Step();
        ASSERT_FALSE(HasFailure()) << i;
    }
    printf("%d operations on profiles, 0 differences\n", nOperations);
}

} // namespace
