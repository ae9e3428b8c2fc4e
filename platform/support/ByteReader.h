// SPDX-License-Identifier: MIT
// ByteReader.h - a bounds-checked reader of big-endian data.
#pragma once

#include <cstddef>
#include <cstdint>

/// Thrown for data that are damaged or too large.
struct BadData
{
};

inline void ByteReader_Require(bool condition)
{
    if (!condition)
        throw BadData();
}

/// Reads from a block of bytes that outlives it; throws BadData instead of passing its end.
class ByteReader
{
public:
    ByteReader(const uint8_t* data, size_t size)
        : m_begin(data)
        , m_at(data)
        , m_end(data + size)
    {
    }

    size_t Left() const { return static_cast<size_t>(m_end - m_at); }
    size_t Offset() const { return static_cast<size_t>(m_at - m_begin); }

    /// `n` bytes, which are passed.
    const uint8_t* Bytes(size_t n)
    {
        ByteReader_Require(n <= Left());
        const uint8_t* bytes = m_at;
        m_at += n;
        return bytes;
    }
    void Skip(size_t n) { Bytes(n); }
    /// A copy of this reader, `n` bytes further on.
    ByteReader From(size_t n) const
    {
        ByteReader reader = *this;
        reader.Skip(n);
        return reader;
    }
    /// A reader of the next `n` bytes, which are passed.
    ByteReader Block(size_t n) { return ByteReader(Bytes(n), n); }

    uint8_t U8() { return *Bytes(1); }
    int8_t S8() { return static_cast<int8_t>(U8()); }
    uint16_t U16()
    {
        const uint8_t* p = Bytes(2);
        return static_cast<uint16_t>(p[0] << 8 | p[1]);
    }
    int16_t S16() { return static_cast<int16_t>(U16()); }
    uint32_t U32()
    {
        const uint32_t high = U16();
        return high << 16 | U16();
    }
    int32_t S32() { return static_cast<int32_t>(U32()); }

private:
    const uint8_t* m_begin;
    const uint8_t* m_at;
    const uint8_t* m_end;
};
