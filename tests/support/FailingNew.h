// SPDX-License-Identifier: MIT
// FailingNew.h - makes the n-th allocation of the program fail.
// FailingNew.cpp, among a test's sources, has the operators. Linked with FAILING_MALLOC it has malloc and
// strdup of the objects in the program itself, too.
#pragma once

namespace FailingNew {

/// 1: the next one fails; all later ones, too, when told so.
void Fail(int n, bool isForever = false);

/// No more failures; whether there was one.
bool Stop();

/// Blocks not yet released.
int CountBlocks();

} // namespace FailingNew
