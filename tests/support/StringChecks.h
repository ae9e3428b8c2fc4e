// SPDX-License-Identifier: MIT
// StringChecks.h - compares a String and checks its invariants while at it; the reports of failed checks.
#pragma once

#include "System/vlString.h"

#include <gmock/gmock.h>
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

#define EXPECT_TEXT(expected, actual) EXPECT_EQ(std::string(expected), TextOf(actual))

/// A call that a check ends, with the number and the text of its report.
struct ReportRow
{
    int line;
    std::string text;
    void (*call)();
};

/// Makes each call in a child process. The report must stand at the start of the line: a path of the
/// build's own before the file's would fail it.
template <size_t n> void ExpectReports(const std::string& file, const ReportRow (&rows)[n])
{
    for (const auto& [line, text, call] : rows) {
        const std::string report
            = file + ":" + std::to_string(line) + ": failed assertion `" + text + "'\n";
        EXPECT_EXIT(call(), testing::KilledBySignal(SIGABRT), testing::StartsWith(report))
            << report;
    }
}
