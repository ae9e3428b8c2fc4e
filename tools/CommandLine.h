// SPDX-License-Identifier: MIT
// CommandLine.h - what the tools share: exit codes and errors.
#pragma once

#include <cstdio>
#include <string>

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2 };

/// Ends a tool's work: main prints the message, if there is one, and returns the code.
struct Failure
{
    ExitCode code;
    std::string message;
};

[[noreturn]] inline void Fail(const std::string& message)
{
    throw Failure { kFailed, message };
}

[[noreturn]] inline void FailUsage(const std::string& message)
{
    throw Failure { kUsage, message };
}

/// Runs a tool and turns a Failure into its message and exit code.
template <typename Run> int RunTool(const char* name, Run run)
{
    try {
        return run();
    } catch (const Failure& failure) {
        if (!failure.message.empty())
            fprintf(stderr, "%s: %s\n", name, failure.message.c_str());
        if (failure.code == kUsage)
            fprintf(stderr, "Try '%s --help'.\n", name);
        return failure.code;
    }
}
