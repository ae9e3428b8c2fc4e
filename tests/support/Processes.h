// SPDX-License-Identifier: MIT
// Processes.h - several processes at once, and what they have open.
#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A number from the environment, which makes a test longer.
inline int FromEnvironment(const char* variable, int standard)
{
    const char* value = getenv(variable);
    return value != nullptr ? atoi(value) : standard;
}

inline int CountFiles(const std::string& folder)
{
    std::filesystem::directory_iterator files(folder);
    return static_cast<int>(std::distance(begin(files), end(files)));
}

inline int CountDescriptors() { return CountFiles("/proc/self/fd"); }

/// Runs `work(0)` to `work(n - 1)` in processes at once; the number that did not end with true.
template <typename Work> int InProcesses(int n, Work work)
{
    fflush(nullptr); // or each process writes what is buffered
    std::vector<pid_t> children;
    for (int i = 0; i < n; ++i) {
        pid_t child = fork();
        if (child == 0)
            _exit(work(i) ? 0 : 1);
        children.push_back(child);
    }
    int nBad = 0;
    for (pid_t child : children) {
        int status = 0;
        nBad += waitpid(child, &status, 0) != child || status != 0;
    }
    return nBad;
}
