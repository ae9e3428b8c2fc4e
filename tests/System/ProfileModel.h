// SPDX-License-Identifier: MIT
// ProfileModel.h - the lines of a profile and what is done to them, written a second time as plainly as
// possible. Null arguments are empty ones here.
#pragma once

#include <cstring>
#include <optional>
#include <string>
#include <vector>

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
