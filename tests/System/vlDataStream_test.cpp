// SPDX-License-Identifier: MIT
// vlDataStream_test.cpp - the text of each type, both ways, its lines, its end and its growth.

#include "System/vlDataStream.h"
#include "tests/support/CountedNew.h"
#include "tests/support/TemporaryFolder.h"

#include <array>
#include <bit>
#include <gtest/gtest.h>
#include <vector>

using namespace Veltrano;

namespace {

std::string Digits(unsigned char byte)
{
    char text[3];
    snprintf(text, sizeof(text), "%02X", byte);
    return text;
}

std::string NativeText(UInt32 value) // the digits of the bytes in memory order
{
    std::string text;
    for (unsigned char byte : std::bit_cast<std::array<unsigned char, 4>>(value))
        text += Digits(byte);
    return text;
}

TEST(DataOutputFile, WritesEachType)
{
    const std::pair<std::string, void (*)(DataOutput&)> rows[] = {
        { "01AB", [](DataOutput& out) { out.write("\x01\xab", 2); } },
        { "", [](DataOutput& out) { out.write("\x01", -1); } },
        { "AB", [](DataOutput& out) { out.writeByte(0x1AB); } },
        { NativeText(0x12345678), [](DataOutput& out) { out.writeNative32(0x12345678); } },
        { NativeText(0xFFFFFFFE), [](DataOutput& out) { out.writeNativeLong32(-2); } },
        { "3412", [](DataOutput& out) { out.writeInt16(0x51234); } },
        { "78563412", [](DataOutput& out) { out.writeInt32(0x12345678); } },
        { "FEFFFFFF", [](DataOutput& out) { out.writeLong32(-2); } },
        { "EFCDAB8967452301", [](DataOutput& out) { out.writeInt64(0x0123456789ABCDEF); } },
        { "000020C0", [](DataOutput& out) { out.writeFloat(-2.5f); } },
        { "000000000000F03F", [](DataOutput& out) { out.writeDouble(1.0); } },
    };
    for (const auto& [text, write] : rows) {
        DataOutputFile output;
        EXPECT_STREQ(output.GetText(), "");
        write(output);
        EXPECT_EQ(text, output.GetText());
        EXPECT_EQ(output.GetLength(), static_cast<int>(text.size())) << text;
    }
}

TEST(DataOutputFile, LinesHold70Digits)
{
    const unsigned char bytes[36] = {};
    for (int nFirst : { 0, 1, 34, 35 }) { // the same text however it is cut into blocks
        DataOutputFile output;
        output.write(bytes, nFirst);
        output.write(bytes, 35 - nFirst);
        EXPECT_EQ(std::string(70, '0') + "\r\n", output.GetText());
        output.writeByte(0);
        EXPECT_EQ(std::string(70, '0') + "\r\n00", output.GetText());
    }
}

TEST(DataOutputFile, GrowsPastItsFirstBlockAndSurvivesAFailure)
{
    const int nLive = CountedNew::nLive;
    {
        const int nBefore = CountedNew::nCount;
        DataOutputFile output;
        EXPECT_EQ(output.GetCapacity(), 4096);
        std::string expected;
        for (int i = 0; i < 10000; ++i) {
            output.writeByte(i);
            expected += Digits(static_cast<unsigned char>(i)) + (i % 35 == 34 ? "\r\n" : "");
            ASSERT_TRUE(output.GetLength() >= 4096 || CountedNew::nCount == nBefore + 1) << i;
        }
        EXPECT_EQ(expected, output.GetText());
        EXPECT_GT(output.GetCapacity(), output.GetLength());
        const std::vector<char> large(static_cast<size_t>(output.GetCapacity()));
        CountedNew::nFailAfter = 0;
        EXPECT_THROW(output.write(large.data(), static_cast<int>(large.size())),
                     OutOfMemoryException);
        CountedNew::nFailAfter = 0;
        EXPECT_THROW(DataOutputFile(), ModuleException);
        CountedNew::nFailAfter = -1;
        EXPECT_EQ(expected, output.GetText());
    }
    EXPECT_EQ(CountedNew::nLive, nLive);
}

TEST(DataOutputFile, DerivedClassesSeeEveryByteAndEveryBlock)
{
    struct Bytes : DataOutputFile
    {
        void writeByte(SInt32 value) override
        {
            ++nBytes;
            DataOutputFile::writeByte(value ^ 0xFF);
        }
        int nBytes = 0;
    } bytes;
    bytes.writeInt64(0);
    bytes.write("\x01", 1);
    EXPECT_EQ(bytes.nBytes, 9);
    EXPECT_STREQ(bytes.GetText(), "FFFFFFFFFFFFFFFFFE");
    struct Blocks : DataOutputFile
    {
        void write(const void*, SInt32 nCount) override { nTotal += nCount; }
        int nTotal = 0;
    } blocks;
    blocks.writeInt16(1);
    blocks.writeDouble(1);
    EXPECT_EQ(blocks.nTotal, 10);
}

class DataInputFileTest : public testing::Test
{
protected:
    DataInputFile& Open(const std::string& text)
    {
        WriteFile(m_folder.Path("in"), text);
        m_input = std::make_unique<DataInputFile>(m_folder.Path("in").c_str());
        return *m_input;
    }

    TemporaryFolder m_folder;
    std::unique_ptr<DataInputFile> m_input;
};

TEST_F(DataInputFileTest, ReadsEachType)
{
    EXPECT_EQ(Open("78563412").readInt32(), 0x12345678);
    EXPECT_EQ(Open("7 8-56\r\n3\n412").readLong32(), 0x12345678) << "other characters are skipped";
    EXPECT_EQ(Open(NativeText(0x12345678)).readNative32(), 0x12345678);
    EXPECT_EQ(Open("fE").readInt8(), -2);
    EXPECT_EQ(Open("Fe").readUInt8(), 254u);
    EXPECT_EQ(Open("FEFF").readInt16(), -2);
    EXPECT_EQ(Open("FEFF").readUInt16(), 65534u);
    EXPECT_EQ(Open("FEFFFFFF").readUInt32(), 0xFFFFFFFEu);
    EXPECT_EQ(Open("FEFFFFFF").readULong32(), 0xFFFFFFFEu);
    EXPECT_EQ(Open("EFCDAB8967452301").readInt64(), 0x0123456789ABCDEF);
    EXPECT_EQ(Open("000020C0").readFloat(), -2.5f);
    EXPECT_EQ(Open("000000000000F03F").readDouble(), 1.0);
    EXPECT_EQ(Open("").skip(-7), -7);
}

TEST_F(DataInputFileTest, EndsWithAnException)
{
    EXPECT_THROW(DataInputFile(m_folder.Path("missing").c_str()).read(nullptr, 0), EOFException);
    EXPECT_NO_THROW(Open("").read(nullptr, 0));
    EXPECT_NO_THROW(Open("").read(nullptr, -1));
    EXPECT_THROW(DataInputFile(m_folder.Path("").c_str()).readInt8(), IOException) << "a folder";
    unsigned char bytes[3] = { 9, 9, 9 };
    DataInputFile& odd = Open("0102A");
    EXPECT_THROW(odd.read(bytes, 3), EOFException);
    EXPECT_EQ(bytes[0], 1);
    EXPECT_EQ(bytes[1], 2);
    EXPECT_EQ(bytes[2], 0xA0) << "half a byte is stored at once";
}

TEST_F(DataInputFileTest, ReadsBackWhatWasWritten)
{
    std::vector<unsigned char> bytes(100000);
    for (size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<unsigned char>(i * i >> 3);
    DataOutputFile output;
    output.write(bytes.data(), static_cast<int>(bytes.size()));
    output.writeInt32(77);
    DataInputFile& input = Open(output.GetText());
    std::vector<unsigned char> result(bytes.size());
    for (size_t n = 0, nStep = 1; n < result.size(); n += nStep, nStep = nStep * 3 % 5000 + 1)
        input.read(&result[n], static_cast<int>(std::min(nStep, result.size() - n)));
    EXPECT_EQ(result, bytes);
    EXPECT_EQ(input.readInt32(), 77);
    EXPECT_THROW(input.readInt8(), EOFException);
}

} // namespace
