// SPDX-License-Identifier: MIT
// CommandLine.cpp - one parser and one way to fail for all tools.
#include "tools/CommandLine.h"

#include <veltrano/Version.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace {

struct Failure
{
    ExitCode code;
    std::string message;
};

Arguments Parse(const std::vector<Command>& commands, char** argv)
{
    std::set<std::string> known;
    for (const Command& command : commands)
        known.insert(command.options.begin(), command.options.end());
    Arguments arguments;
    bool isOption = true;
    while (*++argv != nullptr) {
        const std::string_view word = *argv;
        if (isOption && (word == "--help" || word == "-h")) {
            arguments.options["help"] = "";
        } else if (isOption && word == "--") {
            isOption = false;
        } else if (isOption && word.starts_with("--")) {
            const size_t equals = word.find('=');
            const std::string name(word.substr(2, equals - 2));
            const char* value = equals == word.npos ? "" : *argv + equals + 1;
            const bool takesValue = known.contains(name + "=");
            if (!takesValue && (!known.contains(name) || equals != word.npos))
                Fail("unknown option " + std::string(word), kUsage);
            if (takesValue && equals == word.npos)
                value = *++argv;
            if (value == nullptr || !arguments.options.emplace(name, value).second)
                Fail("--" + name + " takes one value, once", kUsage);
        } else {
            arguments.words.push_back(*argv);
        }
    }
    return arguments;
}

const Command& TakeCommand(const std::vector<Command>& commands, Arguments& arguments)
{
    auto command = commands.begin();
    if (commands.size() > 1) {
        if (arguments.words.empty())
            Fail("no command given", kUsage);
        const std::string name = arguments[0];
        command = std::ranges::find(commands, name, &Command::name);
        if (command == commands.end())
            Fail("unknown command " + name, kUsage);
        arguments.words.erase(arguments.words.begin());
    }
    if (arguments.words.size() != command->words)
        Fail(std::string("wrong number of arguments for ") + command->name, kUsage);
    for (const auto& [option, value] : arguments.options) {
        if (!command->options.contains(option) && !command->options.contains(option + "="))
            Fail("--" + option + " does not apply to " + command->name, kUsage);
    }
    return *command;
}

} // namespace

void Fail(const std::string& message, ExitCode code) { throw Failure { code, message }; }

const char* Arguments::Get(const char* option, const char* standard) const
{
    const auto found = options.find(option);
    return found != options.end() ? found->second : standard;
}

double Arguments::GetNumber(const char* option, double standard, double least, double most) const
{
    if (!Has(option))
        return standard;
    std::string_view text = Get(option);
    const bool isHex = text.starts_with("0x");
    text.remove_prefix(isHex ? 2 : 0);
    double number = 0;
    const auto [end, error]
        = std::from_chars(text.begin(), text.end(), number,
                          isHex ? std::chars_format::hex : std::chars_format::general);
    if (error != std::errc() || end != text.end() || !(number >= least && number <= most)) {
        char range[80];
        snprintf(range, sizeof range, " takes a number from %.10g to %.10g", least, most);
        Fail(std::string("--") + option + range, kUsage);
    }
    return number;
}

int RunTool(const char* tool, const char* help, const std::vector<Command>& commands, char** argv)
{
    try {
        if (argv[1] != nullptr && strcmp(argv[1], "--version") == 0 && argv[2] == nullptr)
            printf("%s %s\n", tool, VELTRANO_VERSION);
        else if (Arguments arguments = Parse(commands, argv); arguments.Has("help"))
            fputs(help, stdout);
        else
            TakeCommand(commands, arguments).run(arguments);
        if (fflush(stdout) != 0 || ferror(stdout))
            Fail(std::string("cannot write standard output: ") + strerror(errno));
        return kDone;
    } catch (const Failure& failure) {
        fprintf(stderr, "%s: %s\n", tool, failure.message.c_str());
        if (failure.code == kUsage)
            fprintf(stderr, "Try '%s --help'.\n", tool);
        return failure.code;
    }
}

std::string ReadInput(const std::string& path)
{
    FILE* file = path == "-" ? stdin : fopen(path.c_str(), "rb");
    std::string bytes;
    for (int c; file != nullptr && (c = getc(file)) != EOF;)
        bytes += static_cast<char>(c);
    if (file == nullptr || ferror(file))
        Fail("cannot read " + path + ": " + strerror(errno));
    if (file != stdin)
        fclose(file);
    return bytes;
}
