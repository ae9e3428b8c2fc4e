// SPDX-License-Identifier: MIT
// ResourceFile.cpp - header, data area, map: all big-endian, every offset checked.
#include "Resources/ResourceFile.h"

#include <algorithm>
#include <set>
#include <utility>

namespace {

constexpr size_t kHeaderSize = 256; // 16 used, then space for system and application
constexpr size_t kMapHeaderSize = 28;
constexpr size_t kTypeSize = 8;
constexpr size_t kReferenceSize = 12;
constexpr uint16_t kNoName = 0xFFFF;

/// A stretch of the file. Reads outside of it give zero and set the failure that Parse looks at.
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

class Writer
{
public:
    void U8(size_t value) { m_bytes.push_back(static_cast<uint8_t>(value)); }
    void U16(size_t value)
    {
        U8(value >> 8);
        U8(value);
    }
    void U32(size_t value)
    {
        U16(value >> 16);
        U16(value);
    }
    void Zeros(size_t count) { m_bytes.resize(m_bytes.size() + count); }
    template <typename Bytes> void Append(const Bytes& bytes)
    {
        m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end());
    }
    size_t Size() const { return m_bytes.size(); }
    std::vector<uint8_t> Take() { return std::move(m_bytes); }

private:
    std::vector<uint8_t> m_bytes;
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
    const size_t typeCount = (map.U16(typeList) + 1u) & 0xFFFF; // FFFF: none
    if (failed || nameList > map.Size())
        return std::nullopt;

    ResourceFile parsed;
    std::set<std::pair<uint32_t, int16_t>> seen;
    size_t total = 0; // resources may share bytes; copies of them may not outgrow the format
    for (size_t i = 0; i < typeCount && !failed; ++i) {
        const size_t entry = typeList + 2 + i * kTypeSize;
        const uint32_t type = map.U32(entry);
        const size_t count = map.U16(entry + 4) + 1u;
        const size_t references = typeList + map.U16(entry + 6);
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
            if (failed || total > (64u << 20))
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

std::optional<std::vector<uint8_t>> ResourceFile::Serialize() const
{
    std::vector<uint32_t> types; // in order of first appearance
    for (const Resource& resource : m_resources)
        if (std::find(types.begin(), types.end(), resource.type) == types.end())
            types.push_back(resource.type);

    Writer data;
    Writer typeList;
    Writer references;
    Writer names;
    typeList.U16((types.size() - 1) & 0xFFFF);
    for (const uint32_t type : types) {
        size_t count = 0;
        typeList.U32(type);
        const size_t listOffset = 2 + types.size() * kTypeSize + references.Size();
        for (const Resource& resource : m_resources) {
            if (resource.type != type)
                continue;
            ++count;
            if (data.Size() > 0xFFFFFF || names.Size() >= kNoName)
                return std::nullopt;
            references.U16(static_cast<uint16_t>(resource.id));
            references.U16(resource.name.empty() ? kNoName : names.Size());
            references.U32(static_cast<size_t>(resource.attributes) << 24 | data.Size());
            references.U32(0);
            if (!resource.name.empty()) {
                const std::string name = resource.name.substr(0, 255);
                names.U8(name.size());
                names.Append(name);
            }
            data.U32(resource.data.size());
            data.Append(resource.data);
        }
        typeList.U16(count - 1);
        typeList.U16(listOffset);
    }
    const size_t nameOffset = kMapHeaderSize + typeList.Size() + references.Size();
    if (nameOffset > 0xFFFF)
        return std::nullopt;

    Writer header;
    header.U32(kHeaderSize);
    header.U32(kHeaderSize + data.Size());
    header.U32(data.Size());
    header.U32(nameOffset + names.Size());
    const std::vector<uint8_t> headerBytes = header.Take();

    Writer file;
    file.Append(headerBytes);
    file.Zeros(kHeaderSize - headerBytes.size());
    file.Append(data.Take());
    file.Append(headerBytes); // the map begins with a copy
    file.Zeros(4 + 2 + 2); // next map, file number, attributes
    file.U16(kMapHeaderSize);
    file.U16(nameOffset);
    file.Append(typeList.Take());
    file.Append(references.Take());
    file.Append(names.Take());
    return file.Take();
}

const ResourceFile::Resource* ResourceFile::Find(uint32_t type, int16_t id) const
{
    for (const Resource& resource : m_resources)
        if (resource.type == type && resource.id == id)
            return &resource;
    return nullptr;
}

void ResourceFile::Set(Resource resource)
{
    for (Resource& existing : m_resources) {
        if (existing.type == resource.type && existing.id == resource.id) {
            existing = std::move(resource);
            return;
        }
    }
    m_resources.push_back(std::move(resource));
}

bool ResourceFile::Remove(uint32_t type, int16_t id)
{
    return std::erase_if(
               m_resources,
               [=](const Resource& resource) { return resource.type == type && resource.id == id; })
        != 0;
}
