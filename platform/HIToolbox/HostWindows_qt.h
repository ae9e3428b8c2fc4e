// SPDX-License-Identifier: MIT
// HostWindows_qt.h - windows of the host.
#pragma once

#include "HIToolbox/Windows_qt.h"

/// Wraps this process's window that has the focus, without adding it to the list. Null if there is none.
WindowPtr HostWindows_Active();
