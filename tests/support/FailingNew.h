// SPDX-License-Identifier: MIT
// FailingNew.h - makes the n-th allocation of a test program fail. What counts as one is chosen by the
// sources that are linked: FailingNew.cpp has the operators, FailingMalloc.cpp malloc and strdup.
#pragma once

namespace FailingNew {

inline int nUntilFailure = 0; // 0: none fails
inline bool bForever = false;
inline bool bFailed = false;
inline int nBlocks = 0; // of the operators, not yet released

/// 1: the next one fails; all later ones, too, when told so.
inline void Fail(int n, bool isForever = false)
{
    bFailed = false;
    bForever = isForever;
    nUntilFailure = n;
}

/// No more failures; whether there was one.
inline bool Stop()
{
    nUntilFailure = 0;
    return bFailed;
}

/// Asked by each allocation.
inline bool IsDue()
{
    if (nUntilFailure == 0 || --nUntilFailure > 0) {
        return false;
    }
    bFailed = true;
    nUntilFailure = bForever ? 1 : 0;
    return true;
}

} // namespace FailingNew
