// SPDX-License-Identifier: MIT
// Application_qt.h - the process's one QApplication, the host's or ours.
#pragma once

/// Creates the QApplication if there is none, on the main thread alone. False if no display is usable, descriptors or
/// memory are short, or the process has an application object of another kind or thread. Call before creating widgets.
bool Application_IsReady();
