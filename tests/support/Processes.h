// SPDX-License-Identifier: MIT
// Processes.h - several processes at once, and processes killed while they write.
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
    int n = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(folder))
        ++n;
    return n;
}

inline int CountDescriptors()
{
    return CountFiles("/proc/self/fd");
}

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

/// Kills a process, again and again, that calls `work(i)` with rising i, as long as that gives true. After
/// each kill calls `check(first, last)`: its first number, and the last one for which `work` had returned,
/// or one less than the first.
template <typename Work, typename Check> void KillWriters(int nKills, Work work, Check check)
{
    fflush(nullptr);
    std::mt19937 random(7);
    for (int kill = 0; kill < nKills; ++kill) {
        const int nFirst = kill * 100000;
        int report[2];
        if (pipe(report) != 0)
            abort();
        pid_t child = fork();
        if (child == 0) {
            for (int i = nFirst;; ++i) {
                if (!work(i))
                    _exit(1);
                [[maybe_unused]] ssize_t n = write(report[1], &i, sizeof(i));
            }
        }
        close(report[1]);
        int last = nFirst - 1;
        if (kill % 2 != 0) // every other one is in full swing, however slow the machine is
            [[maybe_unused]]
            ssize_t n = read(report[0], &last, sizeof(last));
        usleep(static_cast<useconds_t>(random() % 4000));
        ::kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        for (int i = 0; read(report[0], &i, sizeof(i)) == sizeof(i);)
            last = i;
        close(report[0]);
        check(nFirst, last);
    }
}
