// SPDX-License-Identifier: MIT
// PictureData.h - a bounds-checked reader of big-endian picture data.
#pragma once

#include <cstddef>
#include <cstdint>

/// Thrown inside the decoder for data that cannot be shown whole; never leaves
/// DecodedPicture::Decode.
struct BadPicture
{
};

inline void PictureData_Require(bool condition)
{
    if (!condition)
        throw BadPicture();
}

/// Reads from a block of bytes that outlives it; throws BadPicture instead of passing its end.
class PictureData
{
public:
    PictureData(const uint8_t* data, size_t size)
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
        PictureData_Require(n <= Left());
        const uint8_t* bytes = m_at;
        m_at += n;
        return bytes;
    }
    void Skip(size_t n) { Bytes(n); }
    /// A reader of the next `n` bytes, which are passed.
    PictureData Block(size_t n) { return PictureData(Bytes(n), n); }

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
