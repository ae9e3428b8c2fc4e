// SPDX-License-Identifier: MIT
// vlDataStream.h - typed binary values as text: two hexadecimal digits a byte, low byte first.
// The native-order operations store the processor's own order. The order of the virtual operations is
// fixed.
// Unless said otherwise: one thread at a time; counts are bytes, a negative one is 0; input throws
// EOFException at the end of the file or without a file, output OutOfMemoryException when it cannot
// grow.
#pragma once

#include "System/vlException.h"

#include <CoreServices/MacTypes.h>

#include <bit>
#include <cstdio>
#include <memory>

namespace Veltrano {

class DataInput
{
public:
    DataInput() = default;
    DataInput(const DataInput&) = delete;
    DataInput& operator=(const DataInput&) = delete;
    virtual ~DataInput();

    virtual void read(void* destination, SInt32 nCount) = 0;
    virtual SInt32 skip(SInt32 n) = 0; // KEPT: skips nothing and gives its argument back
    virtual SInt32 readNative32() = 0;
    virtual SInt32 readInt8() = 0;
    virtual SInt32 readInt16() = 0;
    virtual SInt32 readInt32() = 0;
    virtual SInt32 readLong32() = 0;
    virtual SInt64 readInt64() = 0;
    virtual float readFloat() = 0;
    virtual double readDouble() = 0;
    virtual UInt32 readUInt8() = 0;
    virtual UInt32 readUInt16() = 0;
    virtual UInt32 readUInt32() = 0;
    virtual UInt32 readULong32() = 0;
};

class DataOutput
{
public:
    DataOutput() = default;
    DataOutput(const DataOutput&) = delete;
    DataOutput& operator=(const DataOutput&) = delete;
    virtual ~DataOutput();

    virtual void write(const void* source, SInt32 nCount) = 0;
    virtual void writeByte(SInt32 value) = 0;
    virtual void writeNative32(SInt32 value) = 0;
    virtual void writeNativeLong32(SInt32 value) = 0;
    virtual void writeInt16(SInt32 value) = 0;
    virtual void writeInt32(SInt32 value) = 0;
    virtual void writeLong32(SInt32 value) = 0;
    virtual void writeInt64(SInt64 value) = 0;
    virtual void writeFloat(float value) = 0;
    virtual void writeDouble(double value) = 0;
};

/// Reads the text of a file. Characters other than hexadecimal digits are skipped.
/// A read error does not end a read: it waits for input, or tries again every 10 ms.
class DataInputFile : public DataInput
{
public:
    /// Opens a file. Null reads the standard input, which the destructor closes. If the file cannot
    /// be opened, every read throws.
    explicit DataInputFile(const char* path);
    ~DataInputFile() override;

    /// Every typed read calls this one.
    ///   fails   bytes already read stay in the destination
    ///   throws  EOFException also for 0 bytes without a file, and for a folder
    void read(void* destination, SInt32 nCount) override;
    SInt32 skip(SInt32 n) override { return n; }
    SInt32 readNative32() override;
    SInt32 readInt8() override { return ReadValue<SInt8>(); }
    SInt32 readInt16() override { return ReadValue<SInt16>(); }
    SInt32 readInt32() override { return ReadValue<SInt32>(); }
    SInt32 readLong32() override { return ReadValue<SInt32>(); }
    SInt64 readInt64() override { return ReadValue<SInt64>(); }
    float readFloat() override { return ReadValue<float>(); }
    double readDouble() override { return ReadValue<double>(); }
    UInt32 readUInt8() override { return ReadValue<UInt8>(); }
    UInt32 readUInt16() override { return ReadValue<UInt16>(); }
    UInt32 readUInt32() override { return ReadValue<UInt32>(); }
    UInt32 readULong32() override { return ReadValue<UInt32>(); }

private:
    void ReadLittleEndian(void* value, SInt32 nSize);
    template <class T> T ReadValue()
    {
        T value;
        ReadLittleEndian(&value, sizeof(value));
        return value;
    }

    FILE* m_file; // null when it could not be opened
};

/// Collects the text in memory, in lines of 70 digits, a carriage return and a line feed.
class DataOutputFile : public DataOutput
{
public:
    DataOutputFile();
    ~DataOutputFile() override;

    /// Every typed write of a derived class calls this one, which calls writeByte for each byte.
    ///   source  [in]  may lie in the stream's own text
    void write(const void* source, SInt32 nCount) override;
    void writeByte(SInt32 value) override;
    // KEPT: the native writes do not swap.
    void writeNative32(SInt32 value) override { WriteNative(value); }
    void writeNativeLong32(SInt32 value) override { WriteNative(value); }
    void writeInt16(SInt32 value) override { WriteLittleEndian(static_cast<SInt16>(value)); }
    void writeInt32(SInt32 value) override { WriteLittleEndian(value); }
    void writeLong32(SInt32 value) override { WriteLittleEndian(value); }
    void writeInt64(SInt64 value) override { WriteLittleEndian(value); }
    void writeFloat(float value) override { WriteLittleEndian(std::bit_cast<UInt32>(value)); }
    void writeDouble(double value) override { WriteLittleEndian(std::bit_cast<UInt64>(value)); }

    /// The text so far with its zero, valid until the next write.
    const char* GetText() const { return m_buffer.get(); }
    /// In characters, line ends included and the zero not.
    SInt32 GetLength() const { return m_length; }
    SInt32 GetCapacity() const { return m_capacity; }

private:
    bool IsExact() const;
    void Append(const unsigned char* p, SInt32 nCount);
    template <class T> void WriteLittleEndian(T value);
    template <class T> void WriteNative(T value);
    std::unique_ptr<char[]> Reserve(SInt64 nMore);

    std::unique_ptr<char[]> m_buffer;
    SInt32 m_length = 0;
    SInt32 m_capacity = 0;
};

} // namespace Veltrano
