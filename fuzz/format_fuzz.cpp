// SPDX-License-Identifier: MIT
// format_fuzz.cpp - formats built from the input, through the string and through the C library: the same
// text, unless the estimate was too short, which is reported before anything is written.
#include "System/vlString.h"

#include <cstdio>
#include <cstdlib>
#include <string>

using namespace Veltrano;

namespace {

struct AssertionFailed
{
};

class Input
{
public:
    Input(const uint8_t* data, size_t size)
        : m_at(data)
        , m_end(data + size)
    {
    }
    uint8_t Byte() { return m_at != m_end ? *m_at++ : 0; }

private:
    const uint8_t* m_at;
    const uint8_t* m_end;
};

std::string Flags(Input& input)
{
    static const char kFlags[] = "#-+0 ";
    std::string flags;
    for (int n = input.Byte() % 4; n > 0; --n)
        flags += kFlags[input.Byte() % 5];
    if (input.Byte() % 3 == 0)
        flags += std::to_string(input.Byte() * (input.Byte() % 4));
    if (input.Byte() % 3 == 0)
        flags += "." + std::to_string(input.Byte() * (input.Byte() % 4));
    return flags;
}

std::string Literal(Input& input)
{
    std::string text;
    for (int n = input.Byte() % 8; n > 0; --n) {
        const char c = static_cast<char>(input.Byte());
        text += c == '\0' ? "x" : c == '%' ? "%%" : std::string(1, c);
    }
    return text;
}

template <typename... Values> void Compare(const std::string& format, Values... values)
{
    char expected[8192];
    const char* text = format.c_str(); // no literal: these formats are the test
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    snprintf(expected, sizeof expected, text, values...);
    String string("before");
    try {
        string.Format(text, values...);
    } catch (const AssertionFailed&) {
        return;
    }
    if (std::string(string.GetString()) != expected)
        abort();
    if (string.GetLength() > string.GetAllocLength())
        abort();
}

} // namespace

/// Stands in for the platform's report: the process goes on with the next input.
extern "C" void __eprintf(const char*, const char*, unsigned, const char*)
{
    throw AssertionFailed();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    Input input(data, size);
    static const char kIntegers[] = "diuoxXc";
    static const char kReals[] = "eGgf";
    const std::string before = Literal(input);
    const std::string flags = Flags(input);
    const std::string after = Literal(input);
    const std::string text = Literal(input);
    const int number = input.Byte() << 24 | input.Byte() << 16 | input.Byte() << 8 | input.Byte();
    const double real = number * (input.Byte() % 2 != 0 ? 1e290 : 1e-5);
    const char integer = kIntegers[input.Byte() % 7];
    Compare(before + "%" + flags + integer + after, number);
    Compare(before + "%" + flags + kReals[input.Byte() % 4] + after, real);
    Compare(before + "%" + flags + "s" + after, text.c_str());
    Compare(before + "%s" + after + "%d" + before + "%f", text.c_str(), number, real);
    return 0;
}
