// SPDX-License-Identifier: MIT
#pragma once

#include <CoreFoundation/CoreFoundation.h>
#include <CoreServices/DriverSynchronization.h>
#include <CoreServices/Files.h>
#include <CoreServices/Folders.h>
#include <CoreServices/MacErrors.h>
#include <CoreServices/MacMemory.h>
#include <CoreServices/MacTypes.h>
#include <CoreServices/Resources.h>
