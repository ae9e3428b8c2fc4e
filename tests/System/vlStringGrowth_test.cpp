// SPDX-License-Identifier: MIT
// vlStringGrowth_test.cpp - appends with the process's own allocator, which may let a block grow in place.
#include "tests/support/StringChecks.h"

using Veltrano::String;
using Veltrano::StringData;

namespace {

TEST(StringGrowth, EveryAppendIsExact)
{
    String string;
    std::string wanted;
    for (int i = 0; i < 3000; ++i) {
        const std::string more(static_cast<size_t>(i % 7 == 0 ? i % 40 : 1),
                               static_cast<char>('a' + i % 26));
        i % 2 != 0 || more.size() != 1 ? string += more.c_str() : string += more[0];
        wanted += more;
        ASSERT_EQ(wanted, TextOf(string)) << i;
        ASSERT_EQ(string.GetAllocLength(), string.GetLength()) << i;
    }
    string += string;
    EXPECT_TEXT(wanted + wanted, string);
    String shorter("ab");
    shorter += shorter.GetString() + 1;
    EXPECT_TEXT("abb", shorter);
}

TEST(StringGrowth, WhatOthersHoldStaysAsItIs)
{
    for (int n = 1; n < 60; ++n) {
        const std::string text(static_cast<size_t>(n), 'x');
        String shared(text.c_str());
        const String copy(shared);
        shared += 'y';
        EXPECT_TEXT(text, copy);
        EXPECT_TEXT(text + 'y', shared);

        String locked(text.c_str());
        char* lpszLocked = locked.Lock();
        locked += 'y';
        EXPECT_EQ(text, lpszLocked);
        EXPECT_NE(lpszLocked, locked.GetString());
        EXPECT_TEXT(text + 'y', locked);
        delete[](lpszLocked - sizeof(StringData)); // nobody else will
    }
}

} // namespace
