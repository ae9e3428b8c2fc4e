// SPDX-License-Identifier: MIT
// data_input_fuzz.cpp - any text as a hexadecimal stream, against a decoder that is plain to see.
#include "System/vlDataStream.h"
#include "fuzz/MemoryFile.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

using namespace Veltrano;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::vector<uint8_t> expected;
    int high = -1;
    for (size_t i = 0; i < size; ++i) {
        if (isxdigit(data[i]) == 0)
            continue;
        const int digit = isdigit(data[i]) != 0 ? data[i] - '0' : (data[i] | 0x20) - 'a' + 10;
        if (high < 0) {
            high = digit;
        } else {
            expected.push_back(static_cast<uint8_t>(high << 4 | digit));
            high = -1;
        }
    }
    const MemoryFile input(data, size);
    DataInputFile in(input.Path());
    size_t at = 0;
    try {
        for (unsigned turn = 0;; ++turn) {
            uint8_t bytes[16] = {};
            SInt32 count = 0;
            switch (turn % 4) {
            case 0:
                bytes[0] = static_cast<uint8_t>(in.readUInt8());
                count = 1;
                break;
            case 1: {
                const UInt32 value = in.readUInt32();
                for (count = 0; count < 4; ++count)
                    bytes[count] = static_cast<uint8_t>(value >> (8 * count));
                break;
            }
            case 2: {
                const auto value = static_cast<UInt64>(in.readInt64());
                for (count = 0; count < 8; ++count)
                    bytes[count] = static_cast<uint8_t>(value >> (8 * count));
                break;
            }
            default:
                count = 11;
                in.read(bytes, count);
                break;
            }
            if (at + static_cast<size_t>(count) > expected.size()
                || memcmp(bytes, expected.data() + at, static_cast<size_t>(count)) != 0)
                abort();
            at += static_cast<size_t>(count);
        }
    } catch (const EOFException&) {
        if (expected.size() - at >= 11)
            abort(); // enough was left for any of the reads
    }
    return 0;
}
