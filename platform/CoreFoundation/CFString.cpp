// SPDX-License-Identifier: MIT
// CFString.cpp - immutable strings, stored as UTF-8 behind the object.
#include "CoreFoundation/CFObject.h"
#include "support/CatchAll.h"
#include "support/Utf8.h"

#include <CoreFoundation/CFString.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>
#include <new>
#include <string>
#include <sys/random.h>
#include <unordered_map>

void __CFString::End() noexcept { operator delete(this); }

bool __CFString::Equals(const CFObject& other, CFContainerPairs&) const
{
    return Text() == static_cast<const __CFString&>(other).Text();
}

// SipHash-1-3 with a random key for each process, against files with colliding keys.
CFHashCode __CFString::Hash() const noexcept
{
    struct Key
    {
        UInt64 k[2] = {};
        Key() { [[maybe_unused]] ssize_t nDrawn = getrandom(k, sizeof(k), 0); }
    };
    static const Key sKey;
    UInt64 v[4] = { sKey.k[0] ^ 0x736f6d6570736575, sKey.k[1] ^ 0x646f72616e646f6d,
                    sKey.k[0] ^ 0x6c7967656e657261, sKey.k[1] ^ 0x7465646279746573 };
    const auto mix = [&v] {
        v[0] += v[1];
        v[2] += v[3];
        v[1] = std::rotl(v[1], 13) ^ v[0];
        v[3] = std::rotl(v[3], 16) ^ v[2];
        v[0] = std::rotl(v[0], 32) + v[3];
        v[2] += v[1];
        v[1] = std::rotl(v[1], 17) ^ v[2];
        v[3] = std::rotl(v[3], 21) ^ v[0];
        v[2] = std::rotl(v[2], 32);
    };
    for (size_t at = 0; at <= nBytes; at += 8) {
        UInt64 block = nBytes - at < 8 ? static_cast<UInt64>(nBytes) << 56
                                       : 0; // the last block ends in the size
        std::memcpy(&block, bytes + at, std::min<size_t>(nBytes - at, 8));
        v[3] ^= block;
        mix();
        v[0] ^= block;
    }
    v[2] ^= 0xff;
    mix();
    mix();
    mix();
    return static_cast<CFHashCode>(v[0] ^ v[1] ^ v[2] ^ v[3]);
}

// --- 8-bit encodings ---

// The characters 80 to FF of MacRoman.
static constexpr char16_t kMacRoman[128] = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, // 80
    0x00E0, 0x00E2, 0x00E4, 0x00E3, 0x00E5, 0x00E7, 0x00E9, 0x00E8,
    0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3, // 90
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC,
    0x2020, 0x00B0, 0x00A2, 0x00A3, 0x00A7, 0x2022, 0x00B6, 0x00DF, // A0
    0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, // B0
    0x220F, 0x03C0, 0x222B, 0x00AA, 0x00BA, 0x03A9, 0x00E6, 0x00F8,
    0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB, // C0
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153,
    0x2013, 0x2014, 0x201C, 0x201D, 0x2018, 0x2019, 0x00F7, 0x25CA, // D0
    0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, // E0
    0x00CB, 0x00C8, 0x00CD, 0x00CE, 0x00CF, 0x00CC, 0x00D3, 0x00D4,
    0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC, // F0
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};

// The characters 80 to 9F of Windows Latin 1; the five unassigned ones map to themselves.
static constexpr char16_t kWindowsLatin1[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, // 80
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, // 90
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

// An 8-bit encoding: a table of the characters from 80 on; bytes beyond it map to themselves.
static constexpr struct EightBit
{
    CFStringEncoding encoding;
    const char16_t* table;
    UInt32 nTable;
    UInt32 nCharacters; // 128 for plain ASCII
} kEightBit[] = { { kCFStringEncodingMacRoman, kMacRoman, 128, 256 },
                  { kCFStringEncodingWindowsLatin1, kWindowsLatin1, 32, 256 },
                  { kCFStringEncodingISOLatin1, nullptr, 0, 256 },
                  { kCFStringEncodingASCII, nullptr, 0, 128 } };

// Null for any other encoding.
static const EightBit* FindEightBit(CFStringEncoding encoding)
{
    const auto* found = std::find_if(std::begin(kEightBit), std::end(kEightBit),
                                     [=](const auto& each) { return each.encoding == encoding; });
    return found != std::end(kEightBit) ? found : nullptr;
}

static UInt32 ToCode(const EightBit& encoding, UInt8 byte)
{
    if (byte < 0x80)
        return byte;
    if (byte - 0x80u < encoding.nTable)
        return encoding.table[byte - 0x80];
    return byte < encoding.nCharacters ? byte : kUtf8Invalid;
}

// The byte of a character; -1 if the encoding lacks it.
static int FromCode(const EightBit& encoding, UInt32 code)
{
    if (code < 0x80)
        return static_cast<int>(code);
    for (UInt32 i = 0; i < encoding.nTable; ++i) {
        if (encoding.table[i] == code)
            return static_cast<int>(0x80 + i);
    }
    return code >= 0x80 + encoding.nTable && code < encoding.nCharacters ? static_cast<int>(code)
                                                                         : -1;
}

// --- making ---

CFStringRef CFString_Create(std::string_view text) noexcept
{
    const UInt8* p = reinterpret_cast<const UInt8*>(text.data());
    const UInt8* end = p + text.size();
    CFIndex nUnits = 0;
    while (p < end) {
        UInt32 code = Utf8_Next(p, end);
        if (code == kUtf8Invalid)
            return nullptr;
        nUnits += code > 0xFFFF ? 2 : 1;
    }
    void* block = operator new(sizeof(__CFString) + text.size() + 1, std::nothrow);
    if (block == nullptr)
        return nullptr;
    char* bytes = static_cast<char*>(block) + sizeof(__CFString);
    text.copy(bytes, text.size());
    bytes[text.size()] = 0;
    return new (block) __CFString(bytes, text.size(), nUnits, 1);
}

CFStringRef CFStringCreateWithBytes(
    CFAllocatorRef, const UInt8* bytes, CFIndex length, CFStringEncoding encoding, Boolean)
{
    if (length < 0 || (bytes == nullptr && length > 0))
        return nullptr;
    std::string_view text(reinterpret_cast<const char*>(bytes), static_cast<size_t>(length));
    if (encoding == kCFStringEncodingUTF8)
        return CFString_Create(text);
    const EightBit* eightBit = FindEightBit(encoding);
    if (eightBit == nullptr)
        return nullptr;
    return CatchAll<CFStringRef>(nullptr, [&]() -> CFStringRef {
        std::string utf8;
        for (char character : text) {
            UInt32 code = ToCode(*eightBit, static_cast<UInt8>(character));
            if (code == kUtf8Invalid)
                return nullptr;
            Utf8_Append(utf8, code);
        }
        return CFString_Create(utf8);
    });
}

CFStringRef
CFStringCreateWithCString(CFAllocatorRef allocator, const char* text, CFStringEncoding encoding)
{
    if (text == nullptr)
        return nullptr;
    return CFStringCreateWithBytes(allocator, reinterpret_cast<const UInt8*>(text),
                                   static_cast<CFIndex>(std::strlen(text)), encoding, false);
}

// Constants outlive the images that use them, because references may be passed on: the table copies each
// text and is never freed.
CFStringRef __CFStringMakeConstantString(const char* text)
{
    static std::mutex sLock;
    static auto* sConstants = new std::unordered_map<std::string_view, CFStringRef>;

    std::lock_guard lock(sLock);
    auto found = sConstants->find(text);
    if (found != sConstants->end())
        return found->second;
    CFStringRef made = CFString_Create(text);
    if (made == nullptr) { // not 7-bit, against the rules: MacRoman accepts every byte
        made = CFStringCreateWithCString(nullptr, text, kCFStringEncodingMacRoman);
    }
    if (made != nullptr) {
        made->nRefs = kConstantRefs;
        sConstants->emplace(made->Text(), made);
    }
    return made;
}

// --- reading ---

CFTypeID CFStringGetTypeID(void) { return kTypeString; }

CFStringEncoding CFStringGetSystemEncoding(void) { return kCFStringEncodingUTF8; }

CFIndex CFStringGetLength(CFStringRef string) { return string->nUnits; }

const char* CFStringGetCStringPtr(CFStringRef string, CFStringEncoding encoding)
{
    bool isHeldSo
        = encoding == kCFStringEncodingUTF8 || (string->IsASCII() && FindEightBit(encoding));
    // Null for a text with a zero, which the caller would see cut short.
    return isHeldSo && std::strlen(string->bytes) == string->nBytes ? string->bytes : nullptr;
}

Boolean
CFStringGetCString(CFStringRef string, char* buffer, CFIndex size, CFStringEncoding encoding)
{
    if (buffer == nullptr || size <= 0)
        return false;
    size_t room = static_cast<size_t>(size);
    if (encoding == kCFStringEncodingUTF8) {
        if (string->nBytes >= room)
            return false;
        std::memcpy(buffer, string->bytes, string->nBytes + 1);
        return true;
    }
    const EightBit* eightBit = FindEightBit(encoding);
    if (eightBit == nullptr)
        return false;
    const UInt8* p = reinterpret_cast<const UInt8*>(string->bytes);
    const UInt8* end = p + string->nBytes;
    size_t n = 0;
    for (; p < end; ++n) {
        int byte = FromCode(*eightBit, Utf8_Next(p, end));
        if (byte < 0 || n + 1 >= room)
            return false;
        buffer[n] = static_cast<char>(byte);
    }
    buffer[n] = 0;
    return true;
}
