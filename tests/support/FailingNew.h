// SPDX-License-Identifier: MIT
// FailingNew.h - counts the allocations of a test program and makes the n-th one fail.
#pragma once

#include <atomic>
#include <gtest/gtest.h>
#include <string>

namespace FailingNew {

inline int nUntilFailure = 0; // 0: none fails
inline const char* lpszLibrary = nullptr; // its name's part; only its allocations fail
inline bool bFailed = false;
inline std::atomic<int> nArrays = 0; // of the array operators, not yet released

/// 1: the next one fails.
inline void Fail(int n)
{
    bFailed = false;
    nUntilFailure = n;
}

/// No more failures; whether there was one.
inline bool Stop()
{
    nUntilFailure = 0;
    return bFailed;
}

/// Asked by each allocation.
inline bool IsDue() { return nUntilFailure > 0 && --nUntilFailure == 0 && (bFailed = true); }

/// Runs `work` with its first, second, ... allocation failing, until none fails; `prepare` before each run,
/// `check` with whether one did fail after it.
template <class Prepare, class Work, class Check>
void ForEach(Prepare prepare, Work work, Check check)
{
    bool isFailed = true;
    for (int n = 1; isFailed && n < 3000; ++n) {
        SCOPED_TRACE("allocation " + std::to_string(n));
        prepare();
        Fail(n);
        work();
        isFailed = Stop();
        check(isFailed);
    }
    EXPECT_FALSE(isFailed);
}

} // namespace FailingNew
