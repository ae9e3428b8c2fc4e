// SPDX-License-Identifier: MIT
// MacMemory.h - handles: blocks behind a master pointer. Main thread only, as the resources that they hold.
#pragma once

#include <CoreServices/MacTypes.h>

__BEGIN_DECLS

/// The size in bytes of a handle's block; 0 for null and for what is no handle.
Size GetHandleSize(Handle handle) VL_SYMBOL(GetHandleSize);

__END_DECLS
