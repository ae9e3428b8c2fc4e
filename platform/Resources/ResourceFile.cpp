// SPDX-License-Identifier: MIT
// ResourceFile.cpp - header, data area, map: all big-endian, every offset checked.
#include "Resources/ResourceFile.h"

#include "support/ByteReader.h"

#include <set>
#include <utility>

namespace {

constexpr size_t kReferenceSize = 12;
// Bytes: resources may share data, so their sum can exceed the file.
constexpr size_t kMaxContent = 64u << 20;
constexpr uint16_t kNoName = 0xFFFF;

} // namespace

std::optional<ResourceFile> ResourceFile::Parse(const uint8_t* bytes, size_t size)
try {
    const ByteReader file(bytes, size);
    ByteReader header = file;
    const size_t dataOffset = header.U32();
    const size_t mapOffset = header.U32();
    const ByteReader data = file.From(dataOffset).Block(header.U32());
    const ByteReader map = file.From(mapOffset).Block(header.U32());

    ResourceFile parsed;
    ByteReader lists = map.From(22);
    parsed.m_attributes = lists.U16();
    const size_t typeList = lists.U16();
    const ByteReader names = map.From(lists.U16());
    ByteReader types = map.From(typeList);
    const size_t typeCount = (types.U16() + 1u) & 0xFFFF; // FFFF means 0
    std::set<std::pair<uint32_t, int16_t>> seen;
    size_t total = 0;
    size_t referenceCount = 0;
    for (size_t i = 0; i < typeCount; ++i) {
        const uint32_t type = types.U32();
        const size_t count = types.U16() + 1u;
        ByteReader references = map.From(typeList + types.U16());
        referenceCount += count;
        ByteReader_Require(referenceCount * kReferenceSize <= map.Left());
        for (size_t j = 0; j < count; ++j) {
            Resource resource = {};
            resource.type = type;
            resource.id = references.S16();
            if (const uint16_t name = references.U16(); name != kNoName) {
                ByteReader text = names.From(name);
                const size_t length = text.U8();
                const uint8_t* characters = text.Bytes(length);
                resource.name.assign(characters, characters + length);
            }
            const uint32_t attributesAndOffset = references.U32();
            references.Skip(4);
            resource.attributes = static_cast<uint8_t>(attributesAndOffset >> 24);
            ByteReader content = data.From(attributesAndOffset & 0xFFFFFF);
            const size_t length = content.U32();
            const uint8_t* begin = content.Bytes(length);
            total += length;
            ByteReader_Require(total <= kMaxContent);
            if (seen.emplace(type, resource.id).second) {
                resource.data.assign(begin, begin + length);
                parsed.m_resources.push_back(std::move(resource));
            }
        }
    }
    return parsed;
} catch (const BadData&) {
    return std::nullopt;
}

const ResourceFile::Resource* ResourceFile::Find(uint32_t type, int16_t id) const
{
    for (const Resource& resource : m_resources)
        if (resource.type == type && resource.id == id)
            return &resource;
    return nullptr;
}
