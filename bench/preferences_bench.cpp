// SPDX-License-Identifier: MIT
// preferences_bench.cpp - sets, synchronized, and gets of one of 100 integers, on disk and in memory.
#include "System/vlPreferenceStore.h"
#include "bench/Bench.h"

#include <CoreFoundation/CoreFoundation.h>

#include <QtCore/QSettings>

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <glib.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

using namespace Veltrano;
using benchmark::DoNotOptimize;

namespace {

// The least that is durable: a file of the same size, fsync, rename, fsync of the folder.
void WriteFloor(const std::string& folder, const std::string& text)
{
    const std::string temporary = folder + "/floor.new";
    const int fd = open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    DoNotOptimize(write(fd, text.data(), text.size()));
    fsync(fd);
    close(fd);
    rename(temporary.c_str(), (folder + "/floor").c_str());
    const int folderFd = open(folder.c_str(), O_RDONLY | O_DIRECTORY);
    fsync(folderFd);
    close(folderFd);
}

// As Add, with the preferences in a folder: the environment says which one.
template <typename Work>
void AddOurs(const std::string& workload, const std::string& folder, Work work)
{
    benchmark::RegisterBenchmark((workload + "/ours").c_str(), [=](benchmark::State& state) {
        setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
        for (auto _ : state)
            work();
    });
}

void AddIn(const std::string& where, const std::string& folder)
{
    const std::string application = "com.veltrano.bench-" + where;
    const std::string set = "durable set, " + where;
    setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
    static std::vector<std::unique_ptr<PreferenceStore>> stores;
    stores.push_back(std::make_unique<PreferenceStore>(application.c_str(), 0));
    PreferenceStore* store = stores.back().get();
    for (SInt32 i = 0; i < 100; ++i)
        store->SetInt(("key" + std::to_string(i)).c_str(), store->m_user, &i);
    AddOurs(set, folder, [store] {
        static SInt32 value = 1000;
        ++value;
        DoNotOptimize(store->SetInt("key50", store->m_user, &value));
    });

    const auto size = [&] {
        std::string text;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
            if (entry.path().extension() == ".plist")
                text.assign(entry.file_size(), 'x');
        return text;
    }();
    Add(set, "floor", [folder, size] { WriteFloor(folder, size); });

    static std::vector<std::unique_ptr<QSettings>> settings;
    settings.push_back(std::make_unique<QSettings>(
        QString::fromStdString(folder + "/qsettings.ini"), QSettings::IniFormat));
    QSettings* qt = settings.back().get();
    for (int i = 0; i < 100; ++i)
        qt->setValue(QStringLiteral("key%1").arg(i), i);
    Add(set, "QSettings", [qt] {
        static int value = 1000;
        qt->setValue(QStringLiteral("key50"), ++value);
        qt->sync();
    });

    GKeyFile* glib = g_key_file_new();
    for (int i = 0; i < 100; ++i)
        g_key_file_set_integer(glib, "g", ("key" + std::to_string(i)).c_str(), i);
    Add(set, "GKeyFile", [glib, folder] {
        static int value = 1000;
        g_key_file_set_integer(glib, "g", "key50", ++value);
        g_key_file_save_to_file(glib, (folder + "/gkeyfile.ini").c_str(), nullptr);
    });
    if (where == "in memory")
        return;

    AddOurs("get", folder, [store] { DoNotOptimize(store->GetInt("key50", store->m_user, 0)); });
    Add("get", "QSettings", [qt] { DoNotOptimize(qt->value(QStringLiteral("key50")).toInt()); });
    Add("get", "GKeyFile",
        [glib] { DoNotOptimize(g_key_file_get_integer(glib, "g", "key50", nullptr)); });
    Add("get", "floor", [folder] { // is the file as it was?
        struct stat info;
        DoNotOptimize(stat(folder.c_str(), &info));
    });
    AddOurs("construct, get, destroy", folder, [application] {
        PreferenceStore fresh(application.c_str(), 0);
        DoNotOptimize(fresh.GetInt("key50", fresh.m_user, 0));
    });
}

std::string MakeFolder(const char* parent)
{
    std::string pattern = std::string(parent) + "/preferences_bench.XXXXXX";
    return mkdtemp(pattern.data());
}

} // namespace

void AddBenchmarks()
{
    static const std::string memory = MakeFolder("/dev/shm");
    static const std::string disk = MakeFolder("/var/tmp");
    AddIn("in memory", memory);
    AddIn("on disk", disk);
    std::atexit([] {
        for (const std::string& folder : { memory, disk })
            std::filesystem::remove_all(folder);
    });
}
