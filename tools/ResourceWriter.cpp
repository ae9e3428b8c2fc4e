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

template <int size> void Put(Bytes& out, size_t value)
{
    for (int i = size - 1; i >= 0; --i)
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
}

template <typename More> void Append(Bytes& out, const More& more)
{
    out.insert(out.end(), more.begin(), more.end());
}

} // namespace

std::optional<std::vector<uint8_t>> ResourceWriter::Serialize() const
{
    std::vector<uint32_t> types; // in the order of their first resource
    for (const ResourceFile::Resource& resource : m_resources) {
        if (std::ranges::find(types, resource.type) == types.end())
            types.push_back(resource.type);
    }
    Bytes data;
    Bytes typeList;
    Bytes references;
    Bytes names;
    Put<2>(typeList, types.size() - 1); // 0xFFFF for none
    for (const uint32_t type : types) {
        size_t count = 0;
        const size_t listOffset = 2 + types.size() * kTypeSize + references.size();
        for (const ResourceFile::Resource& resource : m_resources) {
            if (resource.type != type)
                continue;
            if (data.size() > 0xFFFFFF || names.size() >= kNoName)
                return std::nullopt;
            ++count;
            Put<2>(references, static_cast<uint16_t>(resource.id));
            Put<2>(references, resource.name.empty() ? kNoName : names.size());
            Put<4>(references, static_cast<size_t>(resource.attributes) << 24 | data.size());
            Put<4>(references, 0);
            if (!resource.name.empty()) {
                names.push_back(static_cast<uint8_t>(resource.name.size()));
                Append(names, resource.name);
            }
            Put<4>(data, resource.data.size());
            Append(data, resource.data);
        }
        Put<4>(typeList, type);
        Put<2>(typeList, count - 1);
        Put<2>(typeList, listOffset);
    }
    const size_t nameOffset = kMapHeaderSize + typeList.size() + references.size();
    if (nameOffset > 0xFFFF)
        return std::nullopt;
    Bytes header;
    for (const size_t value :
         { kHeaderSize, kHeaderSize + data.size(), data.size(), nameOffset + names.size() })
        Put<4>(header, value);
    Bytes file = header;
    file.resize(kHeaderSize);
    Append(file, data);
    Append(file, header); // the map begins with a copy
    Put<4>(file, 0); // next map
    Put<2>(file, 0); // file number
    for (const size_t value : { size_t { m_attributes }, kMapHeaderSize, nameOffset })
        Put<2>(file, value);
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
