// SPDX-License-Identifier: MIT
// vlDataStream_model.cpp - random operations on several streams at once, each beside its model, a character at a time.
// VELTRANO_OPERATIONS sets how many, VELTRANO_SEED which.

#include "System/vlDataStream.h"
#include "tests/support/FailingNew.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <bit>
#include <cctype>
#include <memory>

using namespace Veltrano;

namespace {

void WriteByte(std::string& text, unsigned value)
{
    for (const unsigned place : { 4, 0 })
        text += "0123456789ABCDEF"[value >> place & 15];
    if ((text.size() + 2) % 72 == 0)
        text += "\r\n";
}

struct InputModel
{
    std::string text;
    size_t at = 0;
    bool isAtEnd = false; // stays so, whatever is added to the text

    /// Stores bytes up to the end of the text; whether that was enough.
    bool Read(std::string& bytes, int nCount)
    {
        for (int nDigits = 0; nDigits < 2 * nCount;) {
            isAtEnd = isAtEnd || at == text.size();
            if (isAtEnd)
                return false;
            const int ch = static_cast<unsigned char>(text[at++]);
            if (isxdigit(ch) == 0)
                continue;
            const int nDigit = isdigit(ch) != 0 ? ch - '0' : toupper(ch) - 'A' + 10;
            char& byte = bytes[static_cast<size_t>(nDigits / 2)];
            byte = static_cast<char>(nDigits++ % 2 == 0 ? nDigit * 16 : byte | nDigit);
        }
        return true;
    }
};

// A value as the bits of a number.
const struct Type
{
    int nBytes;
    enum { kSigned, kUnsigned, kNative, kReal } kind;
    SInt64 (*read)(DataInput&);
    void (*write)(DataOutput&, SInt64 value);

    SInt64 ValueOf(const std::string& bytes) const
    {
        UInt64 value = 0;
        for (int i = 0; i < nBytes; ++i) {
            const bool isBackward = kind == kNative && std::endian::native == std::endian::big;
            const int place = 8 * (isBackward ? nBytes - 1 - i : i);
            value |= UInt64 { static_cast<unsigned char>(bytes[static_cast<size_t>(i)]) } << place;
        }
        const int nUnused = 64 - 8 * nBytes;
        return kind == kSigned || kind == kNative ? static_cast<SInt64>(value << nUnused) >> nUnused
                                                  : static_cast<SInt64>(value);
    }
    /// Processors set this bit of a value that is not a number.
    SInt64 QuietBit() const { return kind == kReal ? SInt64 { 1 } << (nBytes == 4 ? 22 : 51) : 0; }
} kTypes[] = {
    // clang-format off
    { 1, Type::kSigned, [](DataInput& in) { return SInt64 { in.readInt8() }; }, [](DataOutput& out, SInt64 n) { out.writeByte(SInt32(n)); } },
    { 1, Type::kUnsigned, [](DataInput& in) { return SInt64 { in.readUInt8() }; }, [](DataOutput& out, SInt64 n) { out.writeByte(SInt32(n)); } },
    { 2, Type::kSigned, [](DataInput& in) { return SInt64 { in.readInt16() }; }, [](DataOutput& out, SInt64 n) { out.writeInt16(SInt32(n)); } },
    { 2, Type::kUnsigned, [](DataInput& in) { return SInt64 { in.readUInt16() }; }, [](DataOutput& out, SInt64 n) { out.writeInt16(SInt32(n)); } },
    { 4, Type::kSigned, [](DataInput& in) { return SInt64 { in.readInt32() }; }, [](DataOutput& out, SInt64 n) { out.writeInt32(SInt32(n)); } },
    { 4, Type::kUnsigned, [](DataInput& in) { return SInt64 { in.readUInt32() }; }, [](DataOutput& out, SInt64 n) { out.writeInt32(SInt32(n)); } },
    { 4, Type::kSigned, [](DataInput& in) { return SInt64 { in.readLong32() }; }, [](DataOutput& out, SInt64 n) { out.writeLong32(SInt32(n)); } },
    { 4, Type::kUnsigned, [](DataInput& in) { return SInt64 { in.readULong32() }; }, [](DataOutput& out, SInt64 n) { out.writeLong32(SInt32(n)); } },
    { 8, Type::kSigned, [](DataInput& in) { return SInt64 { in.readInt64() }; }, [](DataOutput& out, SInt64 n) { out.writeInt64(n); } },
    { 4, Type::kNative, [](DataInput& in) { return SInt64 { in.readNative32() }; }, [](DataOutput& out, SInt64 n) { out.writeNative32(SInt32(n)); } },
    { 4, Type::kNative, [](DataInput& in) { return SInt64 { in.readNative32() }; }, [](DataOutput& out, SInt64 n) { out.writeNativeLong32(SInt32(n)); } },
    { 4, Type::kReal, [](DataInput& in) { return SInt64 { std::bit_cast<UInt32>(in.readFloat()) }; }, [](DataOutput& out, SInt64 n) { out.writeFloat(std::bit_cast<float>(UInt32(n))); } },
    { 8, Type::kReal, [](DataInput& in) { return std::bit_cast<SInt64>(in.readDouble()); }, [](DataOutput& out, SInt64 n) { out.writeDouble(std::bit_cast<double>(n)); } },
    // clang-format on
};

class DataStreamModel : public testing::Test
{
protected:
    size_t Below(size_t n) { return m_random() % n; }
    /// Mostly small, now and then larger than any buffer.
    SInt32 Count() { return static_cast<SInt32>(Below(20) == 0 ? Below(9000) : Below(80)) - 1; }
    std::string RandomText(SInt32 n, const std::string& alphabet)
    {
        std::string text;
        for (; n > 0; --n)
            text
                += Below(9) == 0 ? static_cast<char>(m_random()) : alphabet[Below(alphabet.size())];
        return text;
    }

    const int m_nOperations = FromEnvironment("VELTRANO_OPERATIONS", 4000);
    std::mt19937 m_random { static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)) };
};

// Inverts each byte and counts the bytes, to show that none goes around these two.
struct InvertedOutput : DataOutputFile
{
    void write(const void* source, SInt32 nCount) override
    {
        nTotal += std::max<SInt32>(nCount, 0);
        DataOutputFile::write(source, nCount);
    }
    void writeByte(SInt32 value) override { DataOutputFile::writeByte(~value); }
    SInt32 nTotal = 0;
};

TEST_F(DataStreamModel, Output)
{
    FailingNew::Fail(1);
    EXPECT_THROW(DataOutputFile(), ModuleException);
    InvertedOutput inverted;
    std::unique_ptr<DataOutputFile> exact;
    std::string models[2];
    SInt32 nSingle = 0; // bytes that were inverted one by one
    for (int i = 0; i < m_nOperations; ++i) {
        if (!exact || models[1].size() > 30000) {
            exact = std::make_unique<DataOutputFile>();
            EXPECT_EQ(exact->GetCapacity(), 4096);
            models[1].clear();
        }
        const size_t at = Below(50) == 0 ? 0 : 1;
        DataOutputFile& output = at == 0 ? inverted : *exact;
        std::string& model = models[at];
        const Type& type = kTypes[Below(std::size(kTypes))];
        const size_t kind = Below(8), nFirst = Below(model.size() + 1);
        const SInt32 nCount = Count();
        std::string bytes = RandomText(kind == 0 ? nCount : kind == 1 ? 0 : type.nBytes, "\r\n");
        if (kind == 1) // a part of the stream's text
            bytes = model.substr(nFirst, static_cast<size_t>(nCount + 1));
        else if (kind > 1 && type.kind == Type::kReal)
            bytes.back() &= '\xBF'; // a number
        const auto nBytes = static_cast<SInt32>(bytes.size());
        if (at == 1 && Below(9) == 0)
            FailingNew::Fail(1);
        try {
            if (kind > 1)
                type.write(output, type.ValueOf(bytes));
            else
                output.write(kind == 0 ? bytes.data() : output.GetText() + nFirst,
                             kind == 0 ? nCount : nBytes);
            FailingNew::Stop();
            for (const char byte : bytes)
                WriteByte(model, static_cast<unsigned char>(at == 0 ? ~byte : byte));
            nSingle += at == 0 && kind > 1 && type.nBytes == 1;
        } catch (const OutOfMemoryException&) {
            FailingNew::Stop(); // and nothing is changed
        }
        ASSERT_EQ(output.GetText(), model) << i;
        ASSERT_EQ(output.GetLength(), static_cast<SInt32>(model.size())) << i;
        ASSERT_LT(output.GetLength(), output.GetCapacity());
    }
    EXPECT_EQ(inverted.nTotal + nSingle,
              inverted.GetLength() / 72 * 35 + inverted.GetLength() % 72 / 2);
}

TEST_F(DataStreamModel, Input)
{
    const TemporaryFolder folder;
    EXPECT_THROW(DataInputFile(folder.Path("missing").c_str()).read(nullptr, 0), EOFException);
    EXPECT_THROW(DataInputFile(folder.Path("").c_str()).readInt8(), IOException);
    std::unique_ptr<DataInputFile> inputs[3];
    InputModel models[3];
    for (int i = 0; i < m_nOperations; ++i) {
        const size_t nInput = Below(3);
        const std::string path = folder.Path(std::to_string(nInput));
        auto& input = inputs[nInput];
        InputModel& model = models[nInput];
        if (!input || Below(40) == 0) {
            model = { RandomText(Count(), "0123456789ABCDEFabcdef \r\nGg") };
            WriteFile(path, model.text);
            input = std::make_unique<DataInputFile>(path.c_str());
        } else if (model.isAtEnd && Below(4) == 0) {
            model.text += "0123456789"; // comes too late
            WriteFile(path, model.text);
        }
        const Type* type = Below(6) == 0 ? nullptr : &kTypes[Below(std::size(kTypes))];
        const SInt32 nCount = type ? type->nBytes : Count();
        std::string expected(9000, 'x');
        std::string bytes = expected;
        const bool isDone = model.Read(expected, nCount);
        try {
            if (type)
                ASSERT_EQ(type->read(*input) | type->QuietBit(),
                          type->ValueOf(expected) | type->QuietBit())
                    << i;
            else
                input->read(bytes.data(), nCount);
            ASSERT_TRUE(isDone) << i;
        } catch (const EOFException&) {
            ASSERT_FALSE(isDone) << i;
        }
        ASSERT_TRUE(type || bytes == expected) << i << ": what was read before the end stays";
    }
}

} // namespace
