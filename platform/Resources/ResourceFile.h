// SPDX-License-Identifier: MIT
// ResourceFile.h - the content of a data-fork resource file: read whole, held in memory, written
// back. Order: Parse or an empty object -> look, Set, Remove -> Serialize. Order of types and
// resources is kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ResourceFile
{
public:
    struct Resource
    {
        uint32_t type; // four characters, big-endian
        int16_t id;
        uint8_t attributes; // 0x40 system heap, 0x20 purgeable, ... kept as they are
        std::string name; // MacRoman, up to 255 bytes; empty: unnamed
        std::vector<uint8_t> data;
    };

    /// Reads the bytes of a file. Nothing when a length or an offset leads outside of what it lies
    /// in. Of two resources with one type and id the first one counts.
    static std::optional<ResourceFile> Parse(const uint8_t* bytes, size_t size);

    /// The file's bytes, in the order of GetResources() with types together. Nothing when the data
    /// passes 16 MB or the lists pass 64 KB, which the format cannot hold.
    std::optional<std::vector<uint8_t>> Serialize() const;

    const std::vector<Resource>& GetResources() const { return m_resources; }
    const Resource* Find(uint32_t type, int16_t id) const;

    /// Adds a resource or replaces the one with its type and id where it stands.
    void Set(Resource resource);
    /// False when there is none.
    bool Remove(uint32_t type, int16_t id);

private:
    std::vector<Resource> m_resources;
};
