// SPDX-License-Identifier: MIT
// Accessibility_qt.h - what a screen reader is told of windows and of controls that are not Qt's
// own.
#pragma once

/// Once a process; again does nothing.
void Accessibility_Install();
