// SPDX-License-Identifier: MIT
// Accessibility_qt.h - what a screen reader is told of windows and of controls that are not Qt's
// own.
#pragma once

/// Tells Qt's accessibility of our widgets. Repeated calls do nothing.
void Accessibility_Install();
