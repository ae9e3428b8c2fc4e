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
    bool isQuoted = false, isInWord = false;
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

inline std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != text.npos;
         at += to.size())
        text.replace(at, from.size(), to);
    return text;
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

inline std::string Escaped(const std::string& text)
{
    std::string shown;
    for (const char c : text) {
        char hex[5] = "";
        snprintf(hex, sizeof hex, "\\x%02X", static_cast<unsigned char>(c));
        shown += c == '\n'        ? "\\n"
            : c == '\r'           ? "\\r"
            : c >= ' ' && c < 127 ? std::string { c }
                                  : hex;
    }
    return shown;
}

/// A text in quotes, cut at 40 bytes.
inline std::string Shown(const std::string& text)
{
    return '\'' + Escaped(text.substr(0, 40))
        + (text.size() > 40 ? "' ... " + std::to_string(text.size()) : "'");
}

/// What a word of a command stands for, by the type that a routine takes; programs add their types. A missing word is
/// empty, and stands for 0. Numbers may be codes of four characters.
template <class Type> struct Argument
{
    static Type Of(const std::string& word)
    {
        if (word.find_first_of("0123456789") <= 1)
            return static_cast<Type>(std::stoll(word, nullptr, 0));
        long long code = 0;
        for (const char c : word)
            code = code << 8 | static_cast<unsigned char>(c);
        return static_cast<Type>(code);
    }
};
template <> inline std::string Argument<std::string>::Of(const std::string& word) { return word; }

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
        m_line = Expanded(Replaced(line, m_place.empty() ? "" : "~", m_place));
        const auto before = std::exchange(m_words, WordsOf(m_line));
        if (const auto command = m_commands->find(Word(0)); command != m_commands->end())
            command->second();
        else
            ADD_FAILURE() << "no such command: " << line;
        m_words = before;
    }
    template <class... Parts> void Say(const Parts&... parts)
    {
        std::ostringstream said;
        (said << ... << parts);
        m_out << "  " << Replaced(said.str(), m_place, "~") << std::endl;
    }

    /// A command that calls a function with its words and says what that returns: of errors, the names.
    template <class Function> std::function<void()> Call(Function function)
    {
        return Calling(std::function(function));
    }
    /// Silent about success.
    bool Good(int error)
    {
        std::ifstream names(PROJECT_FOLDER "/tests/support/errors.txt");
        std::string name = std::to_string(error);
        for (auto [number, its] = std::pair(0, std::string()); names >> number >> its;)
            name = number == error ? its : name;
        if (error != 0)
            Say(name);
        return error == 0;
    }

    // The arguments of the command
    std::string Word(std::size_t at) const
    {
        return at < m_words.size() ? m_words[at] : std::string();
    }
    int Int(std::size_t at) const { return std::stoi(Word(at), nullptr, 0); }

    std::string m_line;
    std::vector<std::string> m_words;
    std::string m_place; // a folder that is "~" in the text

private:
    template <class Result, class... Types>
    std::function<void()> Calling(std::function<Result(Types...)> function)
    {
        return [this, function] {
            const auto call = [&]<std::size_t... at>(std::index_sequence<at...>)
            {
                return function(Argument<std::decay_t<Types>>::Of(Word(at + 1))...);
            };
            constexpr auto kAll = std::index_sequence_for<Types...>();
            if constexpr (std::is_void_v<Result>)
                call(kAll);
            else if constexpr (std::is_same_v<Result,
                                              bool> || std::is_same_v<Result, unsigned char>)
                Say(call(kAll) ? "yes" : "no");
            else if constexpr (std::is_same_v<Result, int> || std::is_same_v<Result, short>)
                Good(call(kAll)); // OSStatus, OSErr
            else
                Say(call(kAll));
        };
    }

    const Commands* m_commands = nullptr;
    std::string m_played;
    std::ofstream m_out; // whole to the last command, also if that never ends
};
