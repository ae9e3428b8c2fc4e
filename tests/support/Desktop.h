// SPDX-License-Identifier: MIT
// Desktop.h - the X server's view and a real pointer and keyboard, by command-line tools.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// Runs a shell command and returns what it printed.
inline std::string Shell(const std::string& command)
{
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    char buffer[256];
    while (fgets(buffer, sizeof buffer, pipe))
        output += buffer;
    pclose(pipe);
    return output;
}

/// Runs a command while our own events go on.
inline void During(const std::string& command)
{
    (void)std::system(("(" + command + ") >/dev/null 2>&1 &").c_str());
}

inline std::string At(int x, int y)
{
    return "xdotool mousemove " + std::to_string(x) + " " + std::to_string(y) + "; ";
}
