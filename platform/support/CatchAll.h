// SPDX-License-Identifier: MIT
// CatchAll.h - for C functions, which must not throw.
#pragma once

/// Calls `work` and returns its result; `failure` if it throws.
template <typename Result, typename Work> Result CatchAll(Result failure, Work work) noexcept
{
    try {
        return work();
    } catch (...) {
        return failure;
    }
}
