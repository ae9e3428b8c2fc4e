// SPDX-License-Identifier: MIT
// Conversation.h - tests by recorded conversations: a text file of commands, a line each, with what each answered
// indented below it. The commands are played and all must come out as recorded; empty lines and "#" are comments.
#pragma once

#include "tests/support/TemporaryFolder.h"

#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <vector>

/// The words of a line. Quotes (') hold blanks together, and \n, \r, \t, \q and \xHH stand for bytes.
inline std::vector<std::string> WordsOf(const std::string& line)
{
    std::vector<std::string> words;
    bool isQuoted = false;
    bool isInWord = false;
    for (std::size_t at = 0; at < line.size(); ++at) {
        char c = line[at];
        isInWord = isInWord && (isQuoted || c != ' ');
        if (!isInWord && c != ' ')
            words.emplace_back();
        isInWord = isInWord || c != ' ';
        isQuoted = isQuoted != (c == '\'');
        if (c == '\'' || (c == ' ' && !isQuoted))
            continue;
        if (c == '\\') {
            c = line[++at];
            const std::size_t kind = std::string("nrtqx").find(c);
            c = kind == 4  ? static_cast<char>(std::stoi(line.substr(at + 1, 2), nullptr, 16))
                : kind < 4 ? "\n\r\t'"[kind]
                           : c;
            at += kind == 4 ? 2 : 0;
        }
        words.back() += c;
    }
    return words;
}

/// {N*TEXT} stands for N times TEXT, with % for the number.
inline std::string Expanded(const std::string& text)
{
    const std::size_t open = text.find('{');
    const std::size_t star = text.find('*', open);
    const std::size_t close = text.find('}', open);
    if (open == text.npos || star == text.npos || close == text.npos)
        return text;
    std::string all = text.substr(0, open);
    for (int i = 0; i < std::stoi(text.substr(open + 1)); ++i)
        for (const char c : text.substr(star + 1, close - star - 1))
            all += c == '%' ? std::to_string(i) : std::string { c };
    return all + Expanded(text.substr(close + 1));
}

/// A text in quotes, with escapes, and cut at so many bytes.
inline std::string Shown(const std::string& text, std::size_t nMost = 40)
{
    std::string shown = "'";
    for (const char c : text.substr(0, nMost)) {
        char hex[5] = "";
        snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
        shown += c == '\n'        ? "\\n"
            : c == '\r'           ? "\\r"
            : c >= ' ' && c < 127 ? std::string { c }
                                  : hex;
    }
    return shown + (text.size() > nMost ? "' ... " + std::to_string(text.size()) : "'");
}

/// Base of a test that has commands.
class Conversation
{
protected:
    using Commands = std::map<std::string, std::function<void()>>;

    explicit Conversation(const std::string& name)
        : m_played(std::filesystem::absolute(name + ".played.txt"))
        , m_out(m_played)
    {
    }
    virtual ~Conversation() = default;

    /// Does the commands of a recording, and writes beside the test what comes out.
    void Play(const Commands& commands, const std::string& recording)
    {
        m_commands = &commands;
        const std::string recorded = ReadFile(recording);
        std::istringstream in(recorded);
        for (std::string line; std::getline(in, line);) {
            if (line.starts_with("  "))
                continue;
            m_out << line << std::endl;
            if (!line.empty() && line[0] != '#')
                Do(line);
        }
        EXPECT_EQ(recorded, ReadFile(m_played));
    }
    virtual void Do(const std::string& line)
    {
        const auto before = std::exchange(m_words, WordsOf(line));
        m_line = line;
        if (const auto command = m_commands->find(Word(0)); command != m_commands->end())
            command->second();
        else
            ADD_FAILURE() << "no such command: " << line;
        m_words = before;
    }
    /// Does the rest of the line.
    void DoRest() { Do(m_line.substr(m_line.find(' ') + 1)); }
    template <class... Parts> void Say(const Parts&... parts)
    {
        m_out << "  ";
        (m_out << ... << parts) << std::endl;
    }

    // The arguments of the command
    std::string Word(std::size_t at) const
    {
        return at < m_words.size() ? m_words[at] : std::string();
    }
    int Int(std::size_t at) const { return std::stoi(Word(at), nullptr, 0); }

    std::string m_line;
    std::vector<std::string> m_words;

private:
    const Commands* m_commands = nullptr;
    std::string m_played;
    std::ofstream m_out; // whole to the last command, also if that never ends
};
