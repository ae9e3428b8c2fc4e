// SPDX-License-Identifier: MIT
// Resources.cpp - the chain of open resource files and the handles of what was loaded from them. Main thread.
#include "Resources/Resources.h"

#include "CoreServices/FileRefs.h"
#include "support/FileBytes.h"
#include "support/Immortal.h"

#include <algorithm>
#include <list>

namespace {

// A loaded resource. Its handle is the address of `data`.
struct Block
{
    Ptr data;
    const ResourceFile::Resource* resource;
    std::vector<char> bytes; // what `data` points to; never of size 0
};

struct Map
{
    SInt16 number;
    std::vector<ResourceFile> files; // the first that has a resource wins
    std::list<Block> loaded; // never move

    const ResourceFile::Resource* Find(ResType type, SInt16 id) const
    {
        for (const ResourceFile& file : files) {
            if (const auto* resource = file.Find(type, id))
                return resource;
        }
        return nullptr;
    }
};

struct Chain
{
    std::list<Map> maps; // newest first
    SInt16 current = kSystemResFile;
    SInt16 lastNumber = 0;
    OSErr error = noErr;
};

} // namespace

static std::list<Map>::iterator FindMap(Chain& chain, SInt16 number)
{
    return std::find_if(chain.maps.begin(), chain.maps.end(),
                        [number](const Map& map) { return map.number == number; });
}

OSErr ResError(void) { return Immortal<Chain>().error; }

void Resources_SetError(OSErr error) { Immortal<Chain>().error = error; }

// --- files ---

constexpr size_t kLargestFile = 32 << 20; // the format allows 16 MB of data

OSErr Resources_ReadFile(const std::string& path, std::vector<ResourceFile>& files)
{
    std::string bytes;
    int error = FileBytes_Read(path.c_str(), kLargestFile, bytes, nullptr);
    if (error != 0)
        return static_cast<OSErr>(FileRefs_Error(error));
    auto file = ResourceFile::Parse(reinterpret_cast<const UInt8*>(bytes.data()), bytes.size());
    if (!file)
        return mapReadErr;
    files.push_back(std::move(*file));
    return noErr;
}

// An unused reference number; 0 if all are in use.
static SInt16 FreeNumber(Chain& chain)
{
    for (int tries = 0; tries < 0x7FFF; ++tries) {
        chain.lastNumber = static_cast<SInt16>(chain.lastNumber % 0x7FFF + 1);
        if (FindMap(chain, chain.lastNumber) == chain.maps.end())
            return chain.lastNumber;
    }
    return 0;
}

SInt16 Resources_OpenMap(std::vector<ResourceFile> files)
{
    Chain& chain = Immortal<Chain>();
    try {
        SInt16 number = files.empty() ? SInt16(0) : FreeNumber(chain);
        if (number == 0) {
            chain.error = resFNotFound;
            return kResFileNotOpened;
        }
        chain.maps.push_front({ number, std::move(files), {} });
        chain.current = number;
        chain.error = noErr;
        return number;
    } catch (...) {
        chain.error = memFullErr;
        return kResFileNotOpened;
    }
}

SInt16 CurResFile(void)
{
    Chain& chain = Immortal<Chain>();
    chain.error = noErr;
    return chain.current;
}

void UseResFile(SInt16 refNum)
{
    Chain& chain = Immortal<Chain>();
    bool isOpen = refNum == kSystemResFile || FindMap(chain, refNum) != chain.maps.end();
    chain.error = isOpen ? noErr : resFNotFound;
    if (isOpen)
        chain.current = refNum;
}

OSErr FSOpenResourceFile(const FSRef* ref, UInt16 nameLength, const UniChar*, SInt8, SInt16* refNum)
{
    Chain& chain = Immortal<Chain>();
    if (ref == nullptr || refNum == nullptr || nameLength != 0)
        return chain.error = paramErr; // only data forks are supported
    *refNum = kResFileNotOpened;
    const std::string* path = FileRefs_Path(*ref);
    if (path == nullptr)
        return chain.error = errFSBadFSRef;
    try {
        std::vector<ResourceFile> files;
        chain.error = Resources_ReadFile(*path, files);
        if (chain.error == noErr)
            *refNum = Resources_OpenMap(std::move(files));
    } catch (...) {
        chain.error = memFullErr;
    }
    return chain.error;
}

void CloseResFile(SInt16 refNum)
{
    Chain& chain = Immortal<Chain>();
    auto map = FindMap(chain, refNum);
    chain.error = refNum == kSystemResFile || map != chain.maps.end() ? noErr : resFNotFound;
    if (map == chain.maps.end())
        return;
    auto older = chain.maps.erase(map);
    if (chain.current == refNum)
        chain.current = older == chain.maps.end() ? SInt16(kSystemResFile) : older->number;
}

// --- resources ---

// The handle of a resource, loaded once. Throws bad_alloc.
static Handle Load(Map& map, const ResourceFile::Resource* resource)
{
    for (Block& block : map.loaded) {
        if (block.resource == resource)
            return &block.data;
    }
    std::vector<char> bytes(resource->data.size() + 1);
    std::ranges::copy(resource->data, bytes.begin());
    Ptr data = bytes.data();
    map.loaded.push_back({ data, resource, std::move(bytes) });
    return &map.loaded.back().data;
}

Handle GetResource(ResType type, SInt16 id)
{
    Chain& chain = Immortal<Chain>();
    try {
        for (auto map = FindMap(chain, chain.current); map != chain.maps.end(); ++map) {
            if (const auto* resource = map->Find(type, id)) {
                const bool isCompressed = (resource->attributes & ResourceFile::kCompressed) != 0;
                Handle handle = isCompressed ? nullptr : Load(*map, resource);
                chain.error = isCompressed ? CantDecompress : noErr;
                return handle;
            }
        }
        chain.error = resNotFound;
    } catch (...) {
        chain.error = memFullErr;
    }
    return nullptr;
}

void ReleaseResource(Handle handle)
{
    Chain& chain = Immortal<Chain>();
    chain.error = resNotFound;
    for (Map& map : chain.maps) {
        if (map.loaded.remove_if([=](const Block& block) { return &block.data == handle; }) != 0)
            chain.error = noErr;
    }
}

Size GetHandleSize(Handle handle)
{
    for (const Map& map : Immortal<Chain>().maps) {
        for (const Block& block : map.loaded) {
            if (&block.data == handle)
                return static_cast<Size>(block.resource->data.size());
        }
    }
    return 0;
}
