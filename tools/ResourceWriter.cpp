// SPDX-License-Identifier: MIT
// ResourceWriter.cpp - header, data area, map: all big-endian.
#include "tools/ResourceWriter.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t kHeaderSize = 256; // 16 used, then space for system and application
constexpr size_t kMapHeaderSize = 28;
constexpr size_t kTypeSize = 8;
constexpr uint16_t kNoName = 0xFFFF;

using Bytes = std::vector<uint8_t>;

void Put16(Bytes& out, size_t value)
{
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void Put32(Bytes& out, size_t value)
{
    Put16(out, value >> 16);
    Put16(out, value);
}

template <typename More> void Append(Bytes& out, const More& more)
{
    out.insert(out.end(), more.begin(), more.end());
}

/// In the order of their first resource.
std::vector<uint32_t> TypesOf(const std::vector<ResourceFile::Resource>& resources)
{
    std::vector<uint32_t> types;
    for (const ResourceFile::Resource& resource : resources) {
        if (std::ranges::find(types, resource.type) == types.end())
            types.push_back(resource.type);
    }
    return types;
}

} // namespace

ResourceWriter::ResourceWriter(const ResourceFile& file)
    : m_resources(file.GetResources())
    , m_attributes(file.GetAttributes())
{
}

std::optional<std::vector<uint8_t>> ResourceWriter::Serialize() const
{
    const std::vector<uint32_t> types = TypesOf(m_resources);
    Bytes data;
    Bytes typeList;
    Bytes references;
    Bytes names;
    Put16(typeList, types.size() - 1); // 0xFFFF for none
    for (const uint32_t type : types) {
        size_t count = 0;
        const size_t listOffset = 2 + types.size() * kTypeSize + references.size();
        for (const ResourceFile::Resource& resource : m_resources) {
            if (resource.type != type)
                continue;
            if (data.size() > 0xFFFFFF || names.size() >= kNoName)
                return std::nullopt;
            ++count;
            Put16(references, static_cast<uint16_t>(resource.id));
            Put16(references, resource.name.empty() ? kNoName : names.size());
            Put32(references, static_cast<size_t>(resource.attributes) << 24 | data.size());
            Put32(references, 0);
            if (!resource.name.empty()) {
                const std::string name = resource.name.substr(0, 255);
                names.push_back(static_cast<uint8_t>(name.size()));
                Append(names, name);
            }
            Put32(data, resource.data.size());
            Append(data, resource.data);
        }
        Put32(typeList, type);
        Put16(typeList, count - 1);
        Put16(typeList, listOffset);
    }
    const size_t nameOffset = kMapHeaderSize + typeList.size() + references.size();
    if (nameOffset > 0xFFFF)
        return std::nullopt;
    Bytes header;
    for (const size_t value :
         { kHeaderSize, kHeaderSize + data.size(), data.size(), nameOffset + names.size() }) {
        Put32(header, value);
    }
    Bytes file = header;
    file.resize(kHeaderSize);
    Append(file, data);
    Append(file, header); // the map begins with a copy
    Put32(file, 0); // next map
    Put16(file, 0); // file number
    for (const size_t value : { size_t { m_attributes }, kMapHeaderSize, nameOffset })
        Put16(file, value);
    for (const Bytes* part : { &typeList, &references, &names })
        Append(file, *part);
    return file;
}

void ResourceWriter::Set(ResourceFile::Resource resource)
{
    for (ResourceFile::Resource& existing : m_resources) {
        if (existing.type == resource.type && existing.id == resource.id) {
            existing = std::move(resource);
            return;
        }
    }
    m_resources.push_back(std::move(resource));
}

void ResourceWriter::Remove(uint32_t type, int16_t id)
{
    std::erase_if(m_resources, [=](const ResourceFile::Resource& resource) {
        return resource.type == type && resource.id == id;
    });
}
