// SPDX-License-Identifier: MIT
// dyld.cpp - the images of this process, from the loader's own list.
// The list is copied when it has changed. No lock is held while the loader is asked, since it may be
// running an image's initialisers that ask for the list themselves.
#include "support/CatchAll.h"
#include "support/Immortal.h"

#include <mach-o/dyld.h>

#include <climits>
#include <dlfcn.h>
#include <link.h>
#include <mutex>
#include <new>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

struct Image
{
    const mach_header* header;
    std::string name; // as the loader gives it
    const char* absoluteName; // null until asked for; among Images::names
};

struct Images
{
    unsigned long long nAdded = 0; // the loader's counters when the list was copied
    unsigned long long nRemoved = 0;
    std::vector<Image> list;
};

struct Known
{
    std::mutex lock;
    Images images;
    std::set<std::string> names; // never freed: callers hold the texts
};

} // namespace

// The start of the file in memory. It is not the load address for a program at a fixed place.
static const mach_header* Header(const dl_phdr_info& info)
{
    for (int i = 0; i < info.dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info.dlpi_phdr[i];
        if (segment.p_type == PT_LOAD && segment.p_offset == 0)
            return reinterpret_cast<const mach_header*>(info.dlpi_addr + segment.p_vaddr);
    }
    return reinterpret_cast<const mach_header*>(info.dlpi_addr);
}

// Copies the list unless it is the one with these counters. False if it is.
static bool CopyIfChanged(Images& images)
{
    enum { kDone, kSame, kNoMemory };
    auto add = [](dl_phdr_info* info, size_t, void* context) -> int {
        auto& copy = *static_cast<Images*>(context);
        if (copy.list.empty() && copy.nAdded == info->dlpi_adds && copy.nRemoved == info->dlpi_subs)
            return kSame;
        copy.nAdded = info->dlpi_adds;
        copy.nRemoved = info->dlpi_subs;
        try {
            copy.list.push_back({ Header(*info), info->dlpi_name, nullptr });
            return kDone;
        } catch (...) { // nothing may be thrown through the loader
            return kNoMemory;
        }
    };
    const int result = dl_iterate_phdr(add, &images);
    if (result == kNoMemory)
        throw std::bad_alloc();
    return result == kDone;
}

// Calls `use` with the up-to-date list, locked.
template <typename Use> static auto WithImages(Use use)
{
    Known& known = Immortal<Known>();
    std::unique_lock lock(known.lock);
    Images now = { known.images.nAdded, known.images.nRemoved, {} };
    lock.unlock();
    const bool isChanged = CopyIfChanged(now);
    lock.lock();
    if (isChanged)
        known.images = std::move(now);
    return use(known.images.list);
}

static std::string ProgramName()
{
    char path[PATH_MAX];
    ssize_t n = readlink("/proc/self/exe", path, sizeof(path));
    return n > 0 ? std::string(path, static_cast<size_t>(n)) : std::string();
}

// The loader knows the folder that a relative name was bound to, wherever the process has gone since.
// A name without a folder is the kernel's own image, which has no file.
static std::string AbsoluteName(const mach_header* header, const std::string& name)
{
    size_t slash = name.rfind('/');
    Dl_info info;
    link_map* map = nullptr;
    char folder[2 * PATH_MAX];
    if (slash == std::string::npos || name.starts_with('/')
        || dladdr1(header, &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) == 0
        || map == nullptr || dlinfo(map, RTLD_DI_ORIGIN, folder) != 0)
        return name;
    return folder + name.substr(slash);
}

uint32_t _dyld_image_count(void)
{
    return CatchAll<uint32_t>(0, [&] {
        return WithImages([](const auto& list) { return static_cast<uint32_t>(list.size()); });
    });
}

const struct mach_header* _dyld_get_image_header(uint32_t index)
{
    return CatchAll<const mach_header*>(nullptr, [&] {
        return WithImages([index](const auto& list) {
            return index < list.size() ? list[index].header : nullptr;
        });
    });
}

const char* _dyld_get_image_name(uint32_t index)
{
    return CatchAll<const char*>(nullptr, [&]() -> const char* {
        Image image = WithImages([index](const auto& list) {
            return index < list.size() ? list[index] : Image { nullptr, {}, nullptr };
        });
        if (image.header == nullptr || image.absoluteName != nullptr)
            return image.absoluteName;
        std::string name = index == 0 ? ProgramName() : AbsoluteName(image.header, image.name);
        Known& known = Immortal<Known>();
        std::lock_guard lock(known.lock);
        const char* kept = known.names.insert(name).first->c_str();
        auto& list = known.images.list;
        if (index < list.size() && list[index].header == image.header
            && list[index].name == image.name)
            list[index].absoluteName = kept;
        return kept;
    });
}
