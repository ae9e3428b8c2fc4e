// SPDX-License-Identifier: MIT
// Folders.cpp - the well-known folders.
#include "CoreServices/FileRefs.h"
#include "support/BaseFolders.h"
#include "support/CatchAll.h"

#include <CoreServices/Folders.h>

OSErr FSFindFolder(SInt16 domain, OSType folder, Boolean create, FSRef* found)
{
    if (found == nullptr)
        return paramErr;
    if (folder != kApplicationSupportFolderType
        || (domain != kUserDomain && domain != kLocalDomain))
        return fnfErr;
    return CatchAll<OSErr>(memFullErr, [&]() -> OSErr {
        bool isUser = domain == kUserDomain;
        std::string path = isUser ? BaseFolders_User("XDG_DATA_HOME", "/.local/share")
                                  : BaseFolders_Local("XDG_DATA_DIRS", "/usr/local/share");
        if (path.empty())
            return fnfErr;
        int error = create ? BaseFolders_Make(path, isUser ? 0700 : 0777) : 0;
        if (error != 0)
            return static_cast<OSErr>(FileRefs_Error(error));
        FSRef ref;
        Boolean isDirectory = false;
        OSStatus status
            = FSPathMakeRef(reinterpret_cast<const UInt8*>(path.c_str()), &ref, &isDirectory);
        if (status == noErr && !isDirectory)
            status = dirNFErr;
        if (status == noErr)
            *found = ref;
        return static_cast<OSErr>(status);
    });
}
