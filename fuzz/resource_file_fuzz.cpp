// SPDX-License-Identifier: MIT
// resource_file_fuzz.cpp - any bytes as a resource file; what is read can be written and read again.
#include "tools/ResourceWriter.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const auto file = ResourceFile::Parse(data, size);
    if (!file)
        return 0;
    const auto bytes = ResourceWriter(*file).Serialize();
    if (!bytes)
        return 0;
    const auto again = ResourceFile::Parse(bytes->data(), bytes->size());
    if (!again || again->GetResources().size() != file->GetResources().size())
        abort();
    for (const auto& resource : file->GetResources()) {
        const auto* copy = again->Find(resource.type, resource.id);
        if (copy == nullptr || copy->data != resource.data || copy->name != resource.name)
            abort();
    }
    return 0;
}
