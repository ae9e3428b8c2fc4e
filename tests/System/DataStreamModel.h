// SPDX-License-Identifier: MIT
// DataStreamModel.h - the data streams written a second time, as plainly as possible: a character at a time.
#pragma once

#include <cctype>
#include <cstdio>
#include <string>

struct OutputModel
{
    std::string text;

    void WriteByte(unsigned value)
    {
        char digits[3];
        snprintf(digits, sizeof(digits), "%02X", value & 0xFF);
        text += digits;
        if ((text.size() + 2) % 72 == 0)
            text += "\r\n";
    }
};

struct InputModel
{
    std::string text;
    size_t at = 0;
    bool isAtEnd = false; // stays so, whatever is added to the text

    /// Stores bytes up to the end of the text; whether that was enough.
    bool Read(unsigned char* bytes, int nCount)
    {
        bool bHigh = true;
        for (int i = 0; i < nCount;) {
            isAtEnd = isAtEnd || at == text.size();
            if (isAtEnd)
                return false;
            const int ch = static_cast<unsigned char>(text[at++]);
            if (isxdigit(ch) == 0)
                continue;
            const int nDigit = isdigit(ch) != 0 ? ch - '0' : toupper(ch) - 'A' + 10;
            if (bHigh)
                bytes[i] = static_cast<unsigned char>(nDigit * 16);
            else
                bytes[i++] |= static_cast<unsigned char>(nDigit);
            bHigh = !bHigh;
        }
        return true;
    }
};
