// SPDX-License-Identifier: MIT
// ModalLoop_qt.h - counts modal loops.
#pragma once

/// The number of modal loops that have ended in this process.
unsigned ModalLoop_CountRuns();
