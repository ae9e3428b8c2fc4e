// SPDX-License-Identifier: MIT
// CommandLine.h - what the tools share: arguments, help, exit codes, whole files.
#pragma once

#include <cmath>
#include <limits>
#include <map>
#include <set>
#include <string>
#include <vector>

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

/// Ends the tool with a message on standard error; for kUsage a hint to --help follows.
[[noreturn]] void Fail(const std::string& message, ExitCode code = kFailed);

/// The words and options of a command line, borrowed from main's argv.
struct Arguments
{
    std::vector<const char*> words; // without the command's name
    std::map<std::string, const char*> options; // without "--"; a flag has an empty value

    const char* operator[](size_t i) const { return words[i]; }
    bool Has(const char* option) const { return options.contains(option); }
    const char* Get(const char* option, const char* standard = "") const;
    /// A decimal number, or 0x and hexadecimal digits. Anything else, or out of range, is a usage error.
    double GetNumber(const char* option, double standard, double least, double most) const;
    /// The same, for the whole numbers of a type of at most 32 bits.
    template <typename Integer> Integer GetInteger(const char* option, Integer standard = 0) const
    {
        using Limits = std::numeric_limits<Integer>;
        const double number = GetNumber(option, standard, Limits::min(), Limits::max());
        if (number != std::floor(number))
            Fail(std::string("--") + option + " takes a whole number", kUsage);
        return static_cast<Integer>(number);
    }
};

struct Command
{
    const char* name;
    size_t words; // taken after the name
    std::set<std::string> options; // "all-users" is a flag, "id=" takes a value
    void (*run)(const Arguments&);
};

/// Parses the command line, runs a command and flushes standard output. Options stand anywhere; the value
/// follows as the next word or after "="; "--" ends them. A tool with one command does not take its name.
///   help     answers --help and -h
///   returns  main's exit code
int RunTool(const char* tool, const char* help, const std::vector<Command>& commands, char** argv);

/// Reads a file, or standard input for "-". Fails if it cannot be read.
std::string ReadInput(const std::string& path);
