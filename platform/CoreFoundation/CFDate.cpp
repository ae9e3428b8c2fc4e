// SPDX-License-Identifier: MIT
// CFDate.cpp - points in time: the dates of property lists.
#include "CoreFoundation/CFObject.h"

CFTypeID CFDateGetTypeID(void) { return kTypeDate; }

CFAbsoluteTime CFDateGetAbsoluteTime(CFDateRef date) { return date->at; }
