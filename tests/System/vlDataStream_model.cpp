// SPDX-License-Identifier: MIT
// vlDataStream_model.cpp - random operations on several streams at once, each beside its model.
// VELTRANO_OPERATIONS sets how many, VELTRANO_SEED which.

#include "System/vlDataStream.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <bit>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>

using namespace Veltrano;

namespace {

// The streams as plainly as possible: a character at a time.

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

using Byte = unsigned char;

/// The value that the first bytes stand for.
template <class T, bool isNative> T ValueOf(const Byte* bytes)
{
    Byte ordered[sizeof(T)];
    for (size_t i = 0; i < sizeof(T); ++i)
        ordered[i]
            = bytes[isNative || std::endian::native == std::endian::little ? i : sizeof(T) - 1 - i];
    T value;
    memcpy(&value, ordered, sizeof(T));
    return value;
}

struct Type
{
    int nBytes;
    bool (*isRead)(DataInput&, const Byte* expected);
    void (*write)(DataOutput&, Byte* bytes);
};

template <class T, auto kRead, auto kWrite, bool isNative = false> constexpr Type TypeOf()
{
    const auto isRead = [](DataInput& in, const Byte* expected) {
        const auto value = (in.*kRead)();
        const T wanted = ValueOf<T, isNative>(expected);
        if constexpr (std::is_floating_point_v<T>)
            return value == wanted || (std::isnan(value) && std::isnan(wanted));
        else
            return value == wanted;
    };
    const auto write = [](DataOutput& out, Byte* bytes) {
        if constexpr (std::is_floating_point_v<T>) {
            bytes[sizeof(T) - 1] &= 0xBF; // no value that is not a number: processors change those
            (out.*kWrite)(ValueOf<T, isNative>(bytes));
        } else {
            (out.*kWrite)(ValueOf<std::make_signed_t<T>, isNative>(bytes));
        }
    };
    return { sizeof(T), isRead, write };
}

using In = DataInput;
using Out = DataOutput;
constexpr Type kTypes[] = {
    TypeOf<SInt8, &In::readInt8, &Out::writeByte>(),
    TypeOf<UInt8, &In::readUInt8, &Out::writeByte>(),
    TypeOf<SInt16, &In::readInt16, &Out::writeInt16>(),
    TypeOf<UInt16, &In::readUInt16, &Out::writeInt16>(),
    TypeOf<SInt32, &In::readInt32, &Out::writeInt32>(),
    TypeOf<SInt32, &In::readLong32, &Out::writeLong32>(),
    TypeOf<UInt32, &In::readUInt32, &Out::writeInt32>(),
    TypeOf<UInt32, &In::readULong32, &Out::writeLong32>(),
    TypeOf<SInt64, &In::readInt64, &Out::writeInt64>(),
    TypeOf<float, &In::readFloat, &Out::writeFloat>(),
    TypeOf<double, &In::readDouble, &Out::writeDouble>(),
    TypeOf<SInt32, &In::readNative32, &Out::writeNative32, true>(),
    TypeOf<SInt32, &In::readNative32, &Out::writeNativeLong32, true>(),
};

class DataStreamModel : public testing::Test
{
protected:
    unsigned Below(size_t n) { return static_cast<unsigned>(m_random() % n); }
    /// Mostly small, now and then larger than any buffer.
    SInt32 Count() { return static_cast<SInt32>(Below(20) == 0 ? Below(9000) : Below(80)) - 1; }
    std::string RandomText(const std::string& alphabet)
    {
        std::string text;
        for (SInt32 n = Count(); n > 0; --n)
            text
                += Below(9) == 0 ? static_cast<char>(m_random()) : alphabet[Below(alphabet.size())];
        return text;
    }

    const int m_nOperations = FromEnvironment("VELTRANO_OPERATIONS", 4000);
    std::mt19937 m_random { static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)) };
};

/// Inverts each byte, to show that none goes around it.
struct InvertedOutput : DataOutputFile
{
    void writeByte(SInt32 value) override { DataOutputFile::writeByte(~value); }
};

TEST_F(DataStreamModel, Output)
{
    std::unique_ptr<DataOutputFile> outputs[3];
    OutputModel models[3];
    for (int i = 0; i < m_nOperations; ++i) {
        const unsigned nOutput = Below(3);
        auto& output = outputs[nOutput];
        OutputModel& model = models[nOutput];
        if (!output || model.text.size() > 30000) {
            output = nOutput == 0 ? std::make_unique<InvertedOutput>()
                                  : std::make_unique<DataOutputFile>();
            model = {};
        }
        Byte value[8];
        for (Byte& byte : value)
            byte = static_cast<Byte>(m_random());
        std::string bytes = RandomText("\r\n");
        const size_t nFirst = Below(model.text.size() + 1);
        switch (Below(8)) {
        case 0:
            output->write(bytes.data(), bytes.empty() ? -1 : static_cast<SInt32>(bytes.size()));
            break;
        case 1: // a part of the stream's text
            bytes = model.text.substr(nFirst, static_cast<size_t>(Count() + 1));
            output->write(output->GetText() + nFirst, static_cast<SInt32>(bytes.size()));
            break;
        default:
            const Type& type = kTypes[Below(std::size(kTypes))];
            type.write(*output, value);
            bytes.assign(value, value + type.nBytes);
        }
        for (const char byte : bytes)
            model.WriteByte(static_cast<Byte>(nOutput == 0 ? ~byte : byte));
        ASSERT_EQ(output->GetText(), model.text) << i;
        ASSERT_EQ(output->GetLength(), static_cast<SInt32>(model.text.size())) << i;
        ASSERT_LT(output->GetLength(), output->GetCapacity());
    }
    printf("%d operations on outputs, 0 differences\n", m_nOperations);
}

TEST_F(DataStreamModel, Input)
{
    TemporaryFolder folder;
    std::unique_ptr<DataInputFile> inputs[3];
    InputModel models[3];
    for (int i = 0; i < m_nOperations; ++i) {
        const unsigned nInput = Below(3);
        const std::string path = folder.Path(std::to_string(nInput));
        auto& input = inputs[nInput];
        InputModel& model = models[nInput];
        if (!input || Below(40) == 0) {
            model = { RandomText("0123456789ABCDEFabcdef \r\nGg") };
            WriteFile(path, model.text);
            input = std::make_unique<DataInputFile>(path.c_str());
        } else if (model.isAtEnd && Below(4) == 0) {
            model.text += "0123456789"; // comes too late
            WriteFile(path, model.text);
        }
        const Type* type = Below(6) == 0 ? nullptr : &kTypes[Below(std::size(kTypes))];
        const SInt32 nCount = type ? type->nBytes : Count();
        std::vector<Byte> expected(9000, 'x');
        std::vector<Byte> bytes = expected;
        const bool isDone = model.Read(expected.data(), static_cast<int>(nCount));
        try {
            if (type)
                ASSERT_TRUE(type->isRead(*input, expected.data())) << i;
            else
                input->read(bytes.data(), nCount);
            ASSERT_TRUE(isDone) << i;
        } catch (const EOFException&) {
            ASSERT_FALSE(isDone) << i;
        }
        ASSERT_TRUE(type || bytes == expected) << i << ": what was read before the end stays";
    }
    printf("%d operations on inputs, 0 differences\n", m_nOperations);
}

} // namespace
