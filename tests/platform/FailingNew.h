// SPDX-License-Identifier: MIT
// FailingNew.h - makes the n-th allocation of the program fail.
#pragma once

namespace FailingNew {

/// 1: the next one fails.
void Fail(int n);

/// No more failures; whether there was one.
bool Stop();

} // namespace FailingNew
