// SPDX-License-Identifier: MIT
#pragma once

#include <Carbon/Appearance.h>
#include <Carbon/CarbonEvents.h>
#include <Carbon/Controls.h>
#include <Carbon/Dialogs.h>
#include <Carbon/HIObject.h>
#include <Carbon/IBCarbonRuntime.h>
#include <Carbon/MacWindows.h>
#include <Carbon/Quickdraw.h>
#include <CoreServices/CoreServices.h>
