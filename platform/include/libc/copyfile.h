// SPDX-License-Identifier: MIT
// copyfile.h - the access list and the extended attributes of one file, given to another. Any thread.
#pragma once

#include <stdint.h>
#include <veltrano/Symbol.h>

typedef struct _copyfile_state* copyfile_state_t;
typedef uint32_t copyfile_flags_t;

#define COPYFILE_ACL 0x1 // the access list
#define COPYFILE_XATTR 0x4 // all other extended attributes

__BEGIN_DECLS

/// Gives the open file `to` what the open file `from` has of the things asked for, and takes from it what
/// `from` has not. An access list sets the mode's group bits, too.
///   state    [in]  must be null
///   flags    [in]  COPYFILE_ACL, COPYFILE_XATTR or both
///   returns  0; -1 with errno, `to` having some of them. A file system without them has nothing to copy
///   differs  copies no data, owner, mode or times
int fcopyfile(int from, int to, copyfile_state_t state, copyfile_flags_t flags)
    VL_SYMBOL(fcopyfile);

__END_DECLS
