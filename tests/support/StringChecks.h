// SPDX-License-Identifier: MIT
// StringChecks.h - compares a String and checks its invariants while at it.
#pragma once

#include "System/vlString.h"

#include <gtest/gtest.h>
#include <string>

/// The whole text, zeros among it included. Fails the test when the header contradicts it.
inline std::string TextOf(const Veltrano::String& string)
{
    const Veltrano::StringData* pData = string.GetData();
    EXPECT_TRUE(pData->nRefs == -1 || pData->nRefs >= 1) << "count " << pData->nRefs;
    EXPECT_GE(pData->nDataLength, 0);
    EXPECT_LE(pData->nDataLength, pData->nAllocLength);
    EXPECT_EQ(string.GetString()[pData->nDataLength], '\0') << "no zero behind the text";
    return std::string(string, static_cast<size_t>(pData->nDataLength));
}
