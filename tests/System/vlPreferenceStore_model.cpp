// SPDX-License-Identifier: MIT
// vlPreferenceStore_model.cpp - stores of two processes beside a plain second implementation of them and of the service
// below: random sets and gets, on files that are damaged and blocked. What readers see must agree.
// VELTRANO_OPERATIONS sets the number of operations, VELTRANO_SEED another run.
#include "System/vlPreferenceStore.h"
#include "tests/support/Processes.h"
#include "tests/support/TemporaryFolder.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <memory>
#include <optional>
#include <sys/socket.h>

using namespace Veltrano;

namespace {

// The values of each type; the last is a getter's default.
const SInt32 kInts[] = { 1, INT32_MIN, INT32_MAX, -5 };
const Bool32 kBools[] = { 1, 0, 0, 2 };
const std::string kTexts[] = { "plain", "漢", "", "default" };
const std::string kBytes[] = { "x", "\xff\1\2", std::string(40, 'b'), "" };

struct Value
{
    using Dict = std::map<std::string, Value>;
    int type, index; // in those; 4 is a dictionary
    Dict dict = {};
    friend bool operator==(const Value& a, const Value& b) = default;
};
using Dict = Value::Dict;
using Slot = std::optional<Value>; // or none

Slot AsSlot(const Dict& dict) { return Value { 4, 0, dict }; }

const Dict* AsDict(const Slot& slot) { return slot && slot->type == 4 ? &slot->dict : nullptr; }

Slot Find(const Dict* dict, const std::string& key)
{
    return dict != nullptr && dict->contains(key) ? Slot(dict->at(key)) : Slot();
}

void SetIn(Dict& dict, const std::string& key, const Slot& value)
{
    dict.erase(key);
    if (value)
        dict[key] = *value;
}

// The first component of a path, which is taken from it with its "/"; false at the last one.
bool TakeKey(std::string& path, std::string& key)
{
    const std::size_t slash = path.find('/');
    key = path.substr(0, slash);
    path.erase(0, slash == path.npos ? slash : slash + 1);
    return slash != path.npos;
}

// A dictionary with a value at a path.
Slot With(const Slot& before, std::string path, const Value& value)
{
    Dict dict = AsDict(before) ? *AsDict(before) : Dict();
    std::string key;
    const bool hasRest = TakeKey(path, key);
    dict[key] = hasRest ? *With(Find(&dict, key), path, value) : value;
    return AsSlot(dict);
}

struct File
{
    Dict values;
    bool isBlocked = false; // cannot be written
};
using Domain = std::pair<std::string, bool>; // application, any user
std::map<Domain, File> sFiles;

// The service, as one process sees it.
class Service
{
public:
    Slot Get(const Domain& domain, std::string path)
    {
        std::string key;
        bool hasRest = TakeKey(path, key);
        Slot slot = Find(&Look(domain).ours, key);
        if (hasRest && (path.empty() || !AsDict(slot)))
            return {};
        path.erase(0, hasRest); // KEPT: the first character of the second component is skipped
        while (hasRest && AsDict(slot)) {
            hasRest = TakeKey(path, key);
            slot = Find(AsDict(slot), key);
        }
        return slot;
    }
    bool Put(const Domain& domain, std::string path, const Slot& value)
    {
        std::string key;
        const bool hasRest = TakeKey(path, key);
        const Slot top = hasRest ? Find(&Look(domain).ours, key) : Slot();
        if (hasRest && !value)
            return false;
        Set(domain, key, hasRest ? With(top, path, *value) : value);
        return Synchronize(domain);
    }
    bool Synchronize(const Domain& domain)
    {
        File& file = sFiles[domain];
        View& view = m_views[domain];
        if (view.base != view.ours || !view.plain.empty())
            Look(domain);
        view.mustLook = true;
        if (view.ours != view.base && file.isBlocked)
            return false;
        view.plain.clear();
        if (view.ours != view.base)
            view.base = file.values = view.ours;
        return true;
    }

private:
    struct View
    {
        Dict base, ours; // as last read; as to be written
        std::map<std::string, Slot>
            plain; // set since the last synchronize, other than dictionaries
        bool mustLook = true;
    };

    static Slot Merge(const Slot& base, const Slot& ours, const Slot& disk)
    {
        if (ours == base)
            return disk;
        if (!AsDict(ours) || (!AsDict(base) && !AsDict(disk)))
            return ours;
        Dict merged = AsDict(disk) ? *AsDict(disk) : Dict();
        for (const Dict* dict : { AsDict(base), AsDict(ours) })
            for (const auto& [key, value] : dict ? *dict : Dict())
                SetIn(merged, key,
                      Merge(Find(AsDict(base), key), Find(AsDict(ours), key),
                            Find(AsDict(disk), key)));
        return AsSlot(merged);
    }
    View& Look(const Domain& domain)
    {
        View& view = m_views[domain];
        const Dict& disk = sFiles[domain].values;
        view.mustLook = false;
        view.ours = *AsDict(Merge(AsSlot(view.base), AsSlot(view.ours), AsSlot(disk)));
        view.base = disk;
        for (const auto& [key, value] : view.plain)
            SetIn(view.ours, key, value);
        return view;
    }
    void Set(const Domain& domain, const std::string& key, const Slot& value)
    {
        View& view = m_views[domain].mustLook ? Look(domain) : m_views[domain];
        SetIn(view.ours, key, value);
        view.plain.erase(key);
        if (!AsDict(value))
            view.plain[key] = value;
    }

    std::map<Domain, View> m_views;
};

// Sets a value of a type, or none.
Bool32 Set(PreferenceStore& store, const char* entry, int type, const Slot& value)
{
    const int i = value ? value->index : 3;
    std::string bytes = kBytes[i];
    const auto nBytes = static_cast<SInt32>(bytes.size());
    const Bool32 isDone = type == 0 ? store.SetInt(entry, store.m_user, value ? &kInts[i] : nullptr)
        : type == 1 ? store.SetBool(entry, store.m_user, value ? &kBools[i] : nullptr)
        : type == 2 ? store.SetString(entry, store.m_user, value ? kTexts[i].c_str() : nullptr)
                    : store.SetBinary(entry, store.m_user, bytes.data(), nBytes);
    std::fill(bytes.begin(), bytes.end(), '#'); // the service has a copy
    return isDone;
}

// The number of the value of a type, 3 for the default.
std::ptrdiff_t Get(PreferenceStore& store, const char* entry, int type)
{
    const auto find = [](const auto& all, const auto& value) {
        return std::find(std::begin(all), std::end(all), value) - std::begin(all);
    };
    std::string bytes(64, '.');
    UInt32 nSize = 64;
    if (type == 3)
        bytes.resize(store.GetBinary(entry, store.m_user, bytes.data(), &nSize) ? nSize : 0);
    return type == 0 ? find(kInts, store.GetInt(entry, store.m_user, kInts[3]))
        : type == 1  ? find(kBools, store.GetBool(entry, store.m_user, kBools[3]))
        : type == 2
        ? find(kTexts, store.GetString(entry, store.m_user, kTexts[3].c_str()).GetString())
        : find(kBytes, bytes);
}

TEST(PreferenceStore, AgreesWithTheModel)
{
    const int nOperations = FromEnvironment("VELTRANO_OPERATIONS", 5000);
    std::mt19937 random(static_cast<unsigned>(FromEnvironment("VELTRANO_SEED", 1)));
    const TemporaryHome home;
    int channels[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, channels));
    // Both go through the same operations and models; each performs its own operations.
    const int nBad = InProcesses(2, [&](int number) {
        const auto below = [&random](unsigned n) { return static_cast<int>(random() % n); };
        Service services[2];
        Domain domains[4];
        std::unique_ptr<PreferenceStore> stores[4]; // two of each process
        for (int i = 0; i < nOperations; ++i) {
            const int at = below(4), kind = below(30), type = below(4);
            const bool isOwn = at / 2 == number;
            Domain& domain = domains[at];
            Service& service = services[at / 2];
            std::string path;
            for (int n = below(4), left = n; left >= 0; --left)
                path += std::string(left == n ? "" : "/")
                    + (left + 1 == n && kind % 2 != 0 ? "?" : "")
                    + std::vector { "A", "B", "B", "C", "", "é" }[static_cast<size_t>(below(6))];
            const int index = below(type == 1 ? 2 : 3);
            const Slot value = below(5) == 0 ? Slot() : Value { type, index };
            const std::string file = home.Path("etc/preferences/" + domain.first + ".plist");
            SCOPED_TRACE(std::to_string(i) + ": " + std::to_string(kind) + ", " + path);
            if (kind == 0 || domain.first.empty()) {
                domain = { below(2) != 0 ? "one" : "two", below(2) != 0 };
                if (isOwn)
                    stores[at].reset(new PreferenceStore(domain.first.c_str(), domain.second));
                const bool isValid = service.Synchronize(domain);
                EXPECT_TRUE(!isOwn || isValid == (stores[at]->m_valid != 0));
                if (!isValid)
                    domain = {}; // it is made anew before it is used
            } else if (kind == 1 && domain.second) {
                const bool isBlocked = sFiles[domain].isBlocked = !sFiles[domain].isBlocked;
                if (isOwn)
                    std::filesystem::remove_all(file + ".lock");
                if (isOwn && isBlocked)
                    std::filesystem::create_directories(file + ".lock/folder");
            } else if (kind == 2 && domain.second) {
                sFiles[domain].values.clear();
                if (isOwn)
                    WriteFile(file, "damaged");
            } else if (kind % 2 == 0) {
                const bool isSet = service.Put(domain, path, value);
                EXPECT_TRUE(!isOwn || isSet == (Set(*stores[at], path.c_str(), type, value) != 0));
            } else {
                const Slot found = service.Get(domain, path);
                const int expected = found && found->type == type ? found->index : 3;
                EXPECT_TRUE(!isOwn || expected == Get(*stores[at], path.c_str(), type));
            }
            char token = 0;
            const bool isGoing = isOwn ? !HasFailure() && write(channels[number], &token, 1) == 1
                                       : read(channels[number], &token, 1) == 1;
            if (!isGoing) {
                shutdown(channels[number], SHUT_RDWR); // the other one stops, too
                return false;
            }
        }
        return true;
    });
    EXPECT_EQ(0, nBad);
}

} // namespace
