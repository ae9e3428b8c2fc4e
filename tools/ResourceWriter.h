// SPDX-License-Identifier: MIT
// ResourceWriter.h - makes or changes a resource file. Order: construct -> Set, Remove -> Serialize.
#pragma once

#include "Resources/ResourceFile.h"

class ResourceWriter
{
public:
    ResourceWriter() = default;
    /// Starts with what a file holds.
    explicit ResourceWriter(const ResourceFile& file)
        : m_resources(file.GetResources())
        , m_attributes(file.GetAttributes())
    {
    }

    /// Adds a resource, or replaces the one with its type and id in its place.
    void Set(ResourceFile::Resource resource);
    void Remove(uint32_t type, int16_t id);
    /// The file's bytes, types in the order of their first resource. Nothing if the data exceed 16 MB or
    /// the lists 64 KB, which the format cannot hold.
    std::optional<std::vector<uint8_t>> Serialize() const;

private:
    std::vector<ResourceFile::Resource> m_resources;
    uint16_t m_attributes = 0;
};
