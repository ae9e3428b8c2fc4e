// SPDX-License-Identifier: MIT
// data_input_fuzz.cpp - any text as a hexadecimal stream, beside the model.
#include "System/vlDataStream.h"
#include "fuzz/MemoryFile.h"
#include "tests/System/DataStreamModel.h"

#include <cstdlib>
#include <cstring>

using namespace Veltrano;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const MemoryFile file(data, size);
    DataInputFile input(file.Path());
    InputModel model { file.Contents() };
    bool isDone = true;
    for (SInt32 turn = 0; isDone; ++turn) {
        const SInt32 count = turn * turn % 23; // blocks of changing sizes
        unsigned char bytes[23] = {};
        unsigned char expected[23] = {};
        isDone = model.Read(expected, count);
        try {
            input.read(bytes, count);
            if (!isDone)
                abort();
        } catch (const EOFException&) {
            if (isDone)
                abort();
        }
        if (memcmp(bytes, expected, sizeof bytes) != 0)
            abort();
    }
    return 0;
}
