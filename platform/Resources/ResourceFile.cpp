// SPDX-License-Identifier: MIT
// ResourceFile.cpp - header, data area, map: all big-endian, every offset checked.
#include "Resources/ResourceFile.h"

#include <set>
#include <utility>

namespace {

constexpr size_t kTypeSize = 8;
constexpr size_t kReferenceSize = 12;
constexpr size_t kMaxContent = 64u
    << 20; // bytes: resources may share data, so their sum can exceed the file
constexpr uint16_t kNoName = 0xFFFF;

/// A range of the file. Reads out of range return zero and set the failure flag that Parse checks.
class Span
{
public:
    Span(const uint8_t* bytes, size_t size, bool& failed)
        : m_bytes(bytes)
        , m_size(size)
        , m_failed(&failed)
    {
    }

    size_t Size() const { return m_size; }

    Span Sub(size_t offset, size_t size) const
    {
        if (!Holds(offset, size))
            return Span(m_bytes, 0, *m_failed);
        return Span(m_bytes + offset, size, *m_failed);
    }

    uint8_t U8(size_t offset) const { return Holds(offset, 1) ? m_bytes[offset] : 0; }

    uint16_t U16(size_t offset) const
    {
        return static_cast<uint16_t>(U8(offset) << 8 | U8(offset + 1));
    }

    uint32_t U32(size_t offset) const
    {
        return static_cast<uint32_t>(U16(offset)) << 16 | U16(offset + 2);
    }

    const uint8_t* Begin() const { return m_bytes; }
    const uint8_t* End() const { return m_bytes + m_size; }

private:
    bool Holds(size_t offset, size_t size) const
    {
        if (offset <= m_size && size <= m_size - offset)
            return true;
        *m_failed = true;
        return false;
    }

    const uint8_t* m_bytes;
    size_t m_size;
    bool* m_failed;
};

} // namespace

std::optional<ResourceFile> ResourceFile::Parse(const uint8_t* bytes, size_t size)
{
    bool failed = false;
    const Span file(bytes, size, failed);
    const Span data = file.Sub(file.U32(0), file.U32(8));
    const Span map = file.Sub(file.U32(4), file.U32(12));
    const size_t typeList = map.U16(24);
    const size_t nameList = map.U16(26);
    const size_t typeCount = (map.U16(typeList) + 1u) & 0xFFFF; // FFFF means 0
    if (failed || nameList > map.Size())
        return std::nullopt;

    ResourceFile parsed;
    parsed.m_attributes = map.U16(22);
    std::set<std::pair<uint32_t, int16_t>> seen;
    size_t total = 0;
    size_t referenceCount = 0;
    for (size_t i = 0; i < typeCount && !failed; ++i) {
        const size_t entry = typeList + 2 + i * kTypeSize;
        const uint32_t type = map.U32(entry);
        const size_t count = map.U16(entry + 4) + 1u;
        const size_t references = typeList + map.U16(entry + 6);
        referenceCount += count;
        if (referenceCount * kReferenceSize > map.Size())
            return std::nullopt;
        for (size_t j = 0; j < count && !failed; ++j) {
            const size_t reference = references + j * kReferenceSize;
            Resource resource = {};
            resource.type = type;
            resource.id = static_cast<int16_t>(map.U16(reference));
            const uint32_t attributesAndOffset = map.U32(reference + 4);
            map.U32(reference + 8);
            resource.attributes = static_cast<uint8_t>(attributesAndOffset >> 24);

            const uint16_t name = map.U16(reference + 2);
            if (name != kNoName) {
                const Span text = map.Sub(nameList + name + 1, map.U8(nameList + name));
                resource.name.assign(text.Begin(), text.End());
            }
            const size_t offset = attributesAndOffset & 0xFFFFFF;
            const Span content = data.Sub(offset + 4, data.U32(offset));
            total += content.Size();
            if (failed || total > kMaxContent)
                return std::nullopt;
            if (!seen.emplace(resource.type, resource.id).second)
                continue;
            resource.data.assign(content.Begin(), content.End());
            parsed.m_resources.push_back(std::move(resource));
        }
    }
    if (failed)
        return std::nullopt;
    return parsed;
}

const ResourceFile::Resource* ResourceFile::Find(uint32_t type, int16_t id) const
{
    for (const Resource& resource : m_resources)
        if (resource.type == type && resource.id == id)
            return &resource;
    return nullptr;
}
