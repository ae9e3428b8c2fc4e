// SPDX-License-Identifier: MIT
// Application_qt.h - the process's one QApplication, the host's or ours.
#pragma once

/// True when windows can be shown: a QApplication exists, or one was made now. Call it before any
/// widget.
bool Application_IsReady();
