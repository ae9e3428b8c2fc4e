// SPDX-License-Identifier: MIT
// ModalLoop_qt.h - what windows must know of the modal loops.
#pragma once

/// True while any modal loop runs.
bool ModalLoop_IsRunning();
