// SPDX-License-Identifier: MIT
// vlProfileFile_model.cpp - random operations on several profiles over the same few files, each beside its
// model: results, and after each operation the bytes of every file. VELTRANO_OPERATIONS sets how
// many, VELTRANO_SEED which.

#include "System/vlProfileFile.h"
#include "tests/support/Processes.h"
#include "tests/support/StringChecks.h"
#include "tests/support/TemporaryFolder.h"

#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sys/resource.h>

using namespace Veltrano;

namespace {

/// The lines of a profile and what is done to them, as plainly as possible. Null arguments are empty ones here.
struct ProfileModel
{
    using Text = std::string;
    using Lines = std::vector<Text>;
    using Line = Lines::iterator;

    Lines lines;
    bool isDirty = false;

    static Lines Load(const Text& text)
    {
        Lines loaded;
        Text piece;
        for (size_t i = 0; i < text.size(); ++i) {
            piece += text[i];
            if (text[i] == '\n' || piece.size() == 1022 || i + 1 == text.size()) {
                piece.resize(piece.find_last_not_of("\r\n") + 1);
                loaded.push_back(piece);
                piece.clear();
            }
        }
        return loaded;
    }

    Text Written() const
    {
        Text text;
        for (const Text& line : lines)
            text += line + '\n';
        return text;
    }

    static Text Trim(Text text)
    {
        const char* lpszSpace = " \t\n\v\f\r";
        text.resize(text.find_last_not_of(lpszSpace) + 1);
        return text.erase(0, text.find_first_not_of(lpszSpace));
    }

    static std::optional<Text> Header(const Text& line)
    {
        const size_t nOpen = line.find('[');
        const size_t nClose = line.find(']', nOpen);
        if (nOpen == line.npos || nClose == line.npos)
            return {};
        return line.substr(nOpen + 1, nClose - nOpen - 1);
    }

    /// Empty when the line is no entry.
    static Text Key(const Text& line)
    {
        return line.find('=') == line.npos ? "" : Trim(line.substr(0, line.find('=')));
    }

    /// The header of a section, or the end.
    Line Find(const Text& section)
    {
        Line p = lines.begin();
        while (p != lines.end() && Header(*p) != section)
            ++p;
        return p;
    }

    /// The line behind a section's body.
    Line End(Line p)
    {
        while (p != lines.end() && ++p != lines.end() && !Header(*p)) { }
        return p;
    }

    /// The first line of a section's body that passes a test, or the end of the body.
    template <class Test> Line FindIn(Line header, Test test)
    {
        const Line end = End(header);
        Line p = header == end ? end : header + 1;
        while (p != end && !test(*p))
            ++p;
        return p;
    }

    /// The header, with whether it was there before.
    std::pair<Line, bool> Make(const Text& section)
    {
        const Line found = Find(section);
        if (found != lines.end())
            return { found, true };
        isDirty = true;
        return { lines.insert(lines.end(), '[' + section + ']'), false };
    }

    std::optional<Text> GetValue(const Text& section, const Text& key)
    {
        const Line header = Find(section);
        const Line p = FindIn(header, [&](const Text& line) { return Key(line) == key; });
        if (section.empty() || key.empty() || p == End(header))
            return {};
        return Trim(p->substr(p->find('=') + 1));
    }

    void SetValue(const Text& section, const Text& key, const Text& value)
    {
        if (section.empty() || key.empty() || (Find(section) == lines.end() && value.empty()))
            return;
        const Line header = Make(section).first;
        const Line p = FindIn(header, [&](const Text& line) { return Key(line) == key; });
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
        const Line header = Make(section).first;
        const auto isEqual
            = [&](const Text& line) { return strcmp(line.c_str(), text.c_str()) == 0; };
        if (!text.empty() && FindIn(header, isEqual) == End(header)) {
            lines.insert(End(header), text);
            isDirty = true;
        }
    }

    void RemoveLine(const Text& section, const Text& text)
    {
        if (section.empty())
            return;
        const auto [header, isThere] = Make(section);
        const auto isEqual
            = [&](const Text& line) { return strcmp(line.c_str(), text.c_str()) == 0; };
        const Line p = FindIn(header, isEqual);
        if (isThere && !text.empty() && p != End(header)) {
            lines.erase(p);
            isDirty = true;
        }
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

using Lines = ProfileModel::Lines;

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

void LimitFiles(rlim_t nBytes)
{
    rlimit limit = {};
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = nBytes;
    setrlimit(RLIMIT_FSIZE, &limit);
}

// The texts are few, so that sections, keys and lines are met again.
const char* const kSections[] = { "a", "b", "A", " a", "x]y", "a[", "", nullptr };
const char* const kKeys[] = { "k", "l", " k", "k ", "=", "[b]", "#c", "", nullptr };
const char* const kModes[] = { "r", "r+", "rb", "a+", "w", "w+", "a", "?", nullptr };
const Lines kValues = { "", "v", " w\t", "=", "x]", "[a]", "two\nlines", std::string("\0z", 2) };
const Lines kLines
    = { "k=v", " k = w ", "; c", "", " ", "[a]", "[b]", "\t[A]x", "n=[ a]", "[", "][", "=x", "[]" };
const Lines kEnds = { "\n", "\n", "\n", "\r\n", "\r", "" };
const Lines kPaths = { "plain", "link", "hard1", "hard2", "sub/x", "folder", "none/x" };

struct Profile
{
    std::unique_ptr<ProfileFile> real = std::make_unique<ProfileFile>();
    ProfileModel model;
    std::string path;
    bool isOpen = false;
};

class World
{
public:
    World()
    {
        signal(SIGXFSZ, SIG_IGN);
        std::filesystem::create_directory(At("folder"));
        std::filesystem::create_directory(At("sub"));
        WriteFile(At("hard1"), m_files["hard1"]);
        std::filesystem::create_hard_link(At("hard1"), At("hard2"));
        std::filesystem::create_symlink("plain", At("link"));
    }

    void Step()
    {
        Profile& profile = m_profiles[Below(3)];
        if (Below(9) == 0)
            ChangeOutside();
        if (!profile.isOpen && Below(4) != 0)
            Open(profile);
        const size_t nKind = Below(12);
        if (nKind == 0) {
            Close(profile);
        } else if (nKind == 1 && Below(3) == 0) {
            ExpectClose(profile);
            profile = Profile();
        } else if (nKind < 4) {
            Read(profile);
        } else if (nKind == 4) {
            ChangeList();
        } else {
            Change(profile);
        }
        CheckFiles();
    }

private:
    size_t Below(size_t n) { return m_random() % n; }
    template <class Range> const auto& OneOf(const Range& range)
    {
        return range[Below(std::size(range))];
    }
    std::string At(const std::string& name) const { return m_folder.Path(name); }

    std::string RandomLine()
    {
        if (Below(30) == 0)
            return std::string(1018 + Below(8), 'l') + std::string(Below(2) * 1022, 'm');
        return Below(30) == 0 ? std::string(1, static_cast<char>(m_random())) : OneOf(kLines);
    }

    // --- files ---

    static std::string Target(const std::string& path)
    {
        return path == "link" ? "plain" : path == "hard2" ? "hard1" : path;
    }
    bool CanExist(const std::string& name) const
    {
        return name == "plain" || name == "hard1" || (name == "sub/x" && m_hasSubfolder);
    }

    void ChangeOutside()
    {
        const std::string name = Target(OneOf(kPaths));
        if (name == "folder") {
            std::filesystem::remove(At("plain"));
            m_files.erase("plain");
        } else if (name == "none/x") {
            m_hasSubfolder = !m_hasSubfolder;
            m_files.erase("sub/x");
            if (m_hasSubfolder)
                std::filesystem::create_directory(At("sub"));
            else
                std::filesystem::remove_all(At("sub"));
        } else if (CanExist(name)) {
            std::string& text = m_files[name];
            text.clear();
            for (size_t n = Below(60) == 0 ? Below(4000) : Below(20); n-- > 0;)
                text += RandomLine() + OneOf(kEnds);
            WriteFile(At(name), text);
        }
    }

    void CheckFiles()
    {
        for (const auto& [name, text] : m_files)
            EXPECT_EQ(ReadFile(At(name)), text) << name;
        EXPECT_EQ(ReadFile(At("hard2")), m_files["hard1"]);
        size_t nFiles = 0;
        for ([[maybe_unused]] const auto& entry :
             std::filesystem::recursive_directory_iterator(At("")))
            ++nFiles;
        EXPECT_EQ(nFiles, m_files.size() + m_hasSubfolder + 3) << "with folder, link and hard2";
    }

    // --- profiles ---

    void Open(Profile& profile)
    {
        const char* lpszMode = OneOf(kModes);
        const bool isAgain = Below(6) == 0;
        ExpectClose(profile);
        if (!isAgain)
            profile.path = OneOf(kPaths);
        const Bool32 bOpen
            = profile.real->Open(isAgain ? nullptr : At(profile.path).c_str(), lpszMode);
        const std::string target = Target(profile.path);
        const std::string mode = lpszMode ? lpszMode : "?";
        if (CanExist(target) && mode != "?" && (m_files.contains(target) || mode[0] != 'r')) {
            profile.isOpen = true;
            std::string& text = m_files[target];
            if (mode[0] == 'w')
                text.clear();
            if (mode[0] == 'r' || mode.ends_with('+'))
                for (const std::string& line : ProfileModel::Load(text))
                    profile.model.lines.push_back(line);
        }
        EXPECT_EQ(bOpen, profile.isOpen) << profile.path << ' ' << mode;
    }

    /// What closing writes. A full disk takes no more than so many bytes of a file.
    void ExpectClose(Profile& profile, size_t nLimit = SIZE_MAX)
    {
        if (!profile.isOpen)
            return;
        const std::string target = Target(profile.path);
        const std::string text = profile.model.Written();
        const bool isInPlace = target == "hard1" || !m_files.contains(target);
        if (profile.model.isDirty && !text.empty() && CanExist(target)
            && (isInPlace || text.size() <= nLimit))
            m_files[target] = text.substr(0, nLimit);
        profile.model = {};
        profile.isOpen = false;
    }

    void Close(Profile& profile)
    {
        const bool isFull = Below(6) == 0;
        ExpectClose(profile, isFull ? 100 : SIZE_MAX);
        LimitFiles(isFull ? 100 : RLIM_INFINITY);
        profile.real->Close();
        LimitFiles(RLIM_INFINITY);
    }

    void Change(Profile& profile)
    {
        const char* lpszSection = OneOf(kSections);
        const char* lpszKey = OneOf(kKeys);
        const std::string section = lpszSection ? lpszSection : "";
        const std::string key = lpszKey ? lpszKey : "";
        const std::string value = OneOf(kValues);
        const std::string line = RandomLine().c_str();
        switch (Below(5)) {
        case 0: { // one text for all three
            const String all(section.c_str());
            profile.real->SetValue(all, all, all);
            return profile.model.SetValue(section, section, section);
        }
        case 1:
            profile.real->AddLine(lpszSection, line.c_str());
            return profile.model.AddLine(section, line);
        case 2: {
            const bool isNull = Below(9) == 0;
            profile.real->RemoveLine(lpszSection, isNull ? nullptr : line.c_str());
            return profile.model.RemoveLine(section, isNull ? "" : line);
        }
        default:
            profile.real->SetValue(lpszSection, lpszKey,
                                   String(value.data(), static_cast<int>(value.size())));
            return profile.model.SetValue(section, key, value);
        }
    }

    void Read(Profile& profile)
    {
        const char* lpszSection = OneOf(kSections);
        const char* lpszKey = OneOf(kKeys);
        std::string section = lpszSection ? lpszSection : "";
        String value(lpszKey);
        const auto expected = profile.model.GetValue(section, lpszKey ? lpszKey : "");
        const char* lpszSame = Below(4) == 0 ? value.GetString() : lpszKey; // lies in the result
        EXPECT_EQ(profile.real->GetValue(lpszSection, lpszSame, value), expected.has_value());
        EXPECT_EQ(TextOf(value), expected.value_or(""));

        int nFound = profile.real->GetSections(m_list);
        EXPECT_EQ(nFound, m_list.GetCount());
        EXPECT_EQ(Texts(m_list), profile.model.GetSections());
        if (m_list.head != nullptr && Below(2) == 0) { // lies in the list that is filled
            lpszSection = m_list.head->text;
            section = lpszSection;
        }
        const bool bKeys = Below(2) == 0;
        nFound = bKeys ? profile.real->GetKeys(m_list, lpszSection)
                       : profile.real->GetLines(m_list, lpszSection);
        EXPECT_EQ(nFound, m_list.GetCount());
        EXPECT_EQ(Texts(m_list),
                  bKeys ? profile.model.GetKeys(section) : profile.model.GetLines(section));
    }

    /// The list that enumerations fill, by itself.
    void ChangeList()
    {
        Lines expected = Texts(m_list);
        const size_t nAt = Below(expected.size() + 1);
        ProfileLine* p = m_list.head;
        for (size_t n = nAt; n-- > 0;)
            p = p->next;
        const auto position = expected.begin() + static_cast<std::ptrdiff_t>(nAt);
        if (Below(2) == 0) {
            expected.insert(position, p != nullptr ? TextOf(p->text) : "new");
            m_list.InsertBefore(p, p != nullptr ? p->text : String("new"));
        } else {
            if (p != nullptr)
                expected.erase(position);
            nAt == 0 ? m_list.RemoveHead() : m_list.Remove(p);
        }
        EXPECT_EQ(Texts(m_list), expected);
    }

    TemporaryFolder m_folder;
    std::mt19937 m_random { static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)) };
    bool m_hasSubfolder = true;
    std::map<std::string, std::string> m_files; // what stands on the disk
    Profile m_profiles[3];
    ProfileLineList m_list;
};

TEST(ProfileModel, RandomOperations)
{
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 4000);
    World world;
    for (int i = 0; i < nOperations && !testing::Test::HasFailure(); ++i) {
        SCOPED_TRACE(i);
        world.Step();
    }
    if (!testing::Test::HasFailure())
        printf("%d operations on profiles, 0 differences\n", nOperations);
}

} // namespace
