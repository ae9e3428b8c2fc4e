// SPDX-License-Identifier: MIT
// ResourceFile.h - the content of a data-fork resource file, held in memory in the file's order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

class ResourceFile
{
public:
    static constexpr uint8_t kCompressed
        = 1; // attribute: the data is packed by the system that wrote it

    struct Resource
    {
        uint32_t type; // four characters, big-endian
        int16_t id;
        uint8_t attributes; // 0x40 system heap, 0x20 purgeable, ... kept as they are
        std::string name; // MacRoman, up to 255 bytes; empty: unnamed
        std::vector<uint8_t> data;
    };

    /// Reads the bytes of a file. Nothing if a length or an offset leads outside of its area, if lists of
    /// references overlap, or if the resources together exceed 64 MiB. Of two resources with one type and
    /// id the first one counts.
    static std::optional<ResourceFile> Parse(const uint8_t* bytes, size_t size);

    const std::vector<Resource>& GetResources() const { return m_resources; }
    const Resource* Find(uint32_t type, int16_t id) const;
    /// The attributes of the whole map.
    uint16_t GetAttributes() const { return m_attributes; }

private:
    std::vector<Resource> m_resources;
    uint16_t m_attributes = 0;
};
