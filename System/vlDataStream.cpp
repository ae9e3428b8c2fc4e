// SPDX-License-Identifier: MIT
// vlDataStream.cpp - the hexadecimal text of the data streams.

#include "System/vlDataStream.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <climits>
#include <cstring>
#include <functional>
#include <memory>
#include <new>
#include <poll.h>
#include <string_view>
#include <typeinfo>

namespace Veltrano {

namespace {

const SInt32 kInitialCapacity = 4096;
const SInt32 kLineLength = 72; // 70 digits and the line end
const SInt32 kLineDigits = kLineLength - 2;
const int kRetryMilliseconds = 10; // between two tries of a read that fails

// The two digits of each byte.
constexpr auto kDigits = [] {
    std::array<std::array<char, 2>, 256> digits {};
    for (size_t i = 0; i < digits.size(); ++i)
        digits[i] = { "0123456789ABCDEF"[i >> 4], "0123456789ABCDEF"[i & 15] };
    return digits;
}();

// The value of each digit; -1 for all other characters.
constexpr auto kNibbles = [] {
    std::array<signed char, 256> nibbles {};
    nibbles.fill(-1);
    for (signed char i = 0; i < 16; ++i) {
        nibbles[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
        nibbles[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
    }
    return nibbles;
}();

int NibbleOf(char ch) { return kNibbles[static_cast<unsigned char>(ch)]; }

// Reads up to nWanted characters. Fewer are read at the end of the file or after an error (errno). Short
// reads use getc_unlocked: no other thread uses the stream.
size_t ReadText(char* text, size_t nWanted, FILE* file)
{
    if (nWanted > kLineLength)
        return feof(file) ? 0 : fread(text, 1, nWanted, file); // the end of the file is final
    size_t nRead = 0;
    for (int ch; nRead < nWanted && (ch = getc_unlocked(file)) != EOF;)
        text[nRead++] = static_cast<char>(ch);
    return nRead;
}

// Decodes hexadecimal digits into bytes. Other characters are skipped.
//   pNext    [in,out]  the byte that the next digit belongs to
//   nDigits  [in,out]  digits still to come; odd within a byte
void Decode(std::string_view text, unsigned char*& pNext, SInt64& nDigits)
{
    const char* p = text.data();
    const char* const pEnd = p + text.size();
    while (p < pEnd) {
        if ((nDigits & 1) == 0) {
            // At the start of a byte: decode pairs of digits up to the first other character.
            while (pEnd - p >= 2) {
                const int nByte = NibbleOf(p[0]) * 16 | NibbleOf(p[1]);
                if (nByte < 0)
                    break;
                *pNext++ = static_cast<unsigned char>(nByte);
                nDigits -= 2;
                p += 2;
            }
            if (p == pEnd)
                break;
        }
        const int nNibble = NibbleOf(*p++);
        if (nNibble >= 0) {
            if ((nDigits & 1) == 0)
                *pNext = static_cast<unsigned char>(nNibble << 4);
            else
                *pNext++ |= static_cast<unsigned char>(nNibble);
            --nDigits;
        }
    }
}

// Prepares a stream for a retry after a read error: only the end of the file ends a read.
//   throws  EOFException at the end of the file, or if the stream cannot be read at all (a folder)
void GoOnAfter(int nError, FILE* file)
{
    if (feof(file) || nError == EISDIR || nError == EBADF || nError == EINVAL)
        throw EOFException();
    clearerr(file);
    pollfd input = { fileno(file), POLLIN, 0 };
    if (nError == EAGAIN)
        poll(&input, 1, -1); // waits for more input
    else if (nError != EINTR)
        poll(nullptr, 0, kRetryMilliseconds);
}

} // namespace

DataInput::~DataInput() = default;

DataOutput::~DataOutput() = default;

// Input

DataInputFile::DataInputFile(const char* path)
    : m_file(path ? fopen(path, "rb") : stdin)
{
}

DataInputFile::~DataInputFile()
{
    if (m_file != nullptr) {
        fclose(m_file);
        m_file = nullptr;
    }
}

void DataInputFile::read(void* destination, SInt32 nCount)
{
    if (m_file == nullptr)
        throw EOFException();
    unsigned char* pNext = static_cast<unsigned char*>(destination);
    // Reads no more characters than digits are missing: what follows stays in the file.
    SInt64 nDigits = 2 * static_cast<SInt64>(nCount);
    while (nDigits > 0) {
        char text[4096];
        const size_t nWanted = static_cast<size_t>(std::min<SInt64>(nDigits, sizeof(text)));
        const size_t nRead = ReadText(text, nWanted, m_file);
        Decode({ text, nRead }, pNext, nDigits);
        if (nRead < nWanted)
            GoOnAfter(errno, m_file);
    }
}

void DataInputFile::ReadLittleEndian(void* value, SInt32 nSize)
{
    read(value, nSize);
    if constexpr (std::endian::native == std::endian::big)
        std::reverse(static_cast<char*>(value), static_cast<char*>(value) + nSize);
}

SInt32 DataInputFile::readNative32()
{
    SInt32 value; // KEPT: no swap, unlike the neighbours
    read(&value, sizeof(value));
    return value;
}

// Output

DataOutputFile::DataOutputFile() { Reserve(kInitialCapacity - 1); }

DataOutputFile::~DataOutputFile() = default;

// Makes room for more characters and the zero. On failure the text is unchanged.
//   returns  the replaced block, owned by the caller, or null: the source of a write may lie in it
std::unique_ptr<char[]> DataOutputFile::Reserve(SInt64 nMore)
{
    const SInt64 nNeeded = m_length + nMore + 1;
    if (nNeeded <= m_capacity)
        return nullptr;
    const SInt64 nCapacity
        = std::min<SInt64>(std::max(nNeeded, SInt64 { m_capacity } * 2), INT_MAX);
    std::unique_ptr<char[]> buffer(
        nNeeded > nCapacity ? nullptr : new (std::nothrow) char[static_cast<size_t>(nCapacity)]);
    if (buffer == nullptr)
        throw OutOfMemoryException();
    *std::copy_n(m_buffer.get(), m_length, buffer.get()) = '\0';
    m_capacity = static_cast<SInt32>(nCapacity);
    m_buffer.swap(buffer);
    return buffer;
}

// True if writeByte is not overridden, so bytes need not go through it one by one.
inline bool DataOutputFile::IsExact() const { return typeid(*this) == typeid(DataOutputFile); }

void DataOutputFile::write(const void* source, SInt32 nCount)
{
    const unsigned char* p = static_cast<const unsigned char*>(source);
    if (IsExact()) {
        Append(p, nCount);
        return;
    }
    // The source may lie in the buffer, which moves when it grows.
    const std::less_equal<const void*> isUpTo;
    const char* const pText = m_buffer.get();
    const bool bOwn = isUpTo(pText, source) && isUpTo(source, pText + m_length);
    const ptrdiff_t nOffset = bOwn ? static_cast<const char*>(source) - pText : 0;
    for (SInt32 i = 0; i < nCount; ++i)
        writeByte(bOwn ? m_buffer.get()[nOffset + i] : p[i]);
}

void DataOutputFile::Append(const unsigned char* p, SInt32 nCount)
{
    if (nCount <= 0)
        return;
    SInt32 nColumn = m_length % kLineLength;
    const SInt64 nDigits = 2 * static_cast<SInt64>(nCount);
    const auto old = Reserve(nDigits + (nColumn + nDigits) / kLineDigits * 2);
    char* pOut = m_buffer.get() + m_length;
    while (nCount > 0) {
        const SInt32 nRun = std::min(nCount, (kLineDigits - nColumn) / 2);
        for (const unsigned char* const pRunEnd = p + nRun; p != pRunEnd; ++p) {
            memcpy(pOut, kDigits[*p].data(), 2);
            pOut += 2;
        }
        nCount -= nRun;
        nColumn += 2 * nRun;
        if (nColumn == kLineDigits) {
            memcpy(pOut, "\r\n", 2);
            pOut += 2;
            nColumn = 0;
        }
    }
    *pOut = '\0';
    m_length = static_cast<SInt32>(pOut - m_buffer.get());
}

void DataOutputFile::writeByte(SInt32 value)
{
    const unsigned char byte = static_cast<unsigned char>(value);
    Append(&byte, 1);
}

template <class T> inline void DataOutputFile::WriteLittleEndian(T value)
{
    auto bytes = std::bit_cast<std::array<char, sizeof(T)>>(value);
    if constexpr (std::endian::native == std::endian::big)
        std::reverse(bytes.begin(), bytes.end());
    WriteNative(std::bit_cast<T>(bytes));
}

// Fast path: the value fits into the current line and the buffer.
template <class T> inline void DataOutputFile::WriteNative(T value)
{
    constexpr SInt32 nDigits = 2 * sizeof(T);
    if (!IsExact() || m_length % kLineLength + nDigits >= kLineDigits
        || m_capacity - m_length <= nDigits) {
        write(&value, sizeof(value));
        return;
    }
    const auto bytes = std::bit_cast<std::array<unsigned char, sizeof(T)>>(value);
    char* pOut = m_buffer.get() + m_length;
    for (const unsigned char byte : bytes) {
        memcpy(pOut, kDigits[byte].data(), 2);
        pOut += 2;
    }
    *pOut = '\0';
    m_length += nDigits;
}

template void DataOutputFile::WriteNative(SInt32);
template void DataOutputFile::WriteLittleEndian(SInt16);
template void DataOutputFile::WriteLittleEndian(SInt32);
template void DataOutputFile::WriteLittleEndian(SInt64);
template void DataOutputFile::WriteLittleEndian(UInt32);
template void DataOutputFile::WriteLittleEndian(UInt64);

} // namespace Veltrano
