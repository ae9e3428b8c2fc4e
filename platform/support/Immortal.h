// SPDX-License-Identifier: MIT
// Immortal.h - state of the whole process.
#pragma once

/// The only object of a type: created on first use and never destroyed, so usable during exit.
template <typename Object> Object& Immortal()
{
    static Object* const sObject = new Object;
    return *sObject;
}
