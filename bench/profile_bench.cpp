// SPDX-License-Identifier: MIT
// profile_bench.cpp - INI files with 50 keys a section: load, look up, change one key and write back.
#include "System/vlProfileFile.h"
#include "bench/Bench.h"

#define SI_NO_CONVERSION // bytes as they are
#include <SimpleIni.h>
#include <cstdio>
#include <fstream>
#include <glib.h>
#include <ini.h>
#include <map>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>
#include <wx/fileconf.h>
#include <wx/init.h>
#include <wx/wfstream.h>

using namespace Veltrano;
using benchmark::DoNotOptimize;

namespace {

struct Sample
{
    std::string path;
    std::string section; // in the middle
};

Sample MakeSample(const char* name, size_t bytes)
{
    Sample sample = { "/tmp/profile_bench." + std::to_string(getpid()) + "." + name, "" };
    std::ofstream file(sample.path);
    size_t written = 0;
    int number = 0;
    while (written < bytes) {
        std::string text = "[section" + std::to_string(number) + "]\n";
        for (int key = 0; key < 50; ++key)
            text += "key" + std::to_string(key) + "=value " + std::to_string(number * 50 + key)
                + "\n";
        file << text;
        written += text.size();
        ++number;
    }
    sample.section = "section" + std::to_string(number / 2);
    return sample;
}

// The floor of loading: fgets, and one block a line.
struct FloorLine
{
    FloorLine* next;
    FloorLine* previous;
    char* text;
};

void LoadFloor(const Sample& sample)
{
    FILE* file = fopen(sample.path.c_str(), "r");
    char line[1023];
    FloorLine* last = nullptr;
    while (fgets(line, sizeof line, file) != nullptr) {
        const size_t length = strlen(line);
        char* block = new char[sizeof(FloorLine) + length + 1];
        auto* entry = reinterpret_cast<FloorLine*>(block);
        *entry = { nullptr, last, block + sizeof(FloorLine) };
        memcpy(entry->text, line, length + 1);
        last = entry;
    }
    fclose(file);
    while (last != nullptr) {
        FloorLine* previous = last->previous;
        delete[] reinterpret_cast<char*>(last);
        last = previous;
    }
}

void AddLoad(const char* workload, const Sample& sample)
{
    Add(workload, "ours", [&sample] {
        ProfileFile file;
        file.Open(sample.path.c_str(), "r");
        DoNotOptimize(file);
    });
    Add(workload, "GKeyFile", [&sample] {
        GKeyFile* file = g_key_file_new();
        g_key_file_load_from_file(file, sample.path.c_str(), G_KEY_FILE_KEEP_COMMENTS, nullptr);
        g_key_file_free(file);
    });
    Add(workload, "SimpleIni", [&sample] {
        CSimpleIniA file;
        DoNotOptimize(file.LoadFile(sample.path.c_str()));
    });
    Add(workload, "wxFileConfig", [&sample] {
        wxFileInputStream stream(sample.path);
        wxFileConfig file(stream);
        DoNotOptimize(file);
    });
    Add(workload, "inih", [&sample] {
        ini_parse(
            sample.path.c_str(), [](void*, const char*, const char*, const char*) { return 1; },
            nullptr);
    });
    Add(workload, "floor", [&sample] { LoadFloor(sample); });
}

void AddWriteBack(const char* workload, const Sample& sample)
{
    // Loading is not counted: the state is made outside of the timing.
    const auto add = [&](const char* contender, auto load, auto edit) {
        benchmark::RegisterBenchmark((std::string(workload) + "/" + contender).c_str(),
                                     [=](benchmark::State& state) {
                                         int turn = 0;
                                         for (auto _ : state) {
                                             state.PauseTiming();
                                             auto loaded = load();
                                             state.ResumeTiming();
                                             edit(loaded, ++turn);
                                         }
                                     });
    };
    add(
        "ours",
        [&sample] {
            auto file = std::make_unique<ProfileFile>();
            file->Open(sample.path.c_str(), "r");
            return file;
        },
        [&sample](auto& file, int turn) {
            file->SetValue(sample.section.c_str(), "key7", String(turn % 2 != 0 ? "one" : "two"));
            file->Close();
        });
    add(
        "GKeyFile",
        [&sample] {
            std::unique_ptr<GKeyFile, void (*)(GKeyFile*)> file(g_key_file_new(), g_key_file_free);
            g_key_file_load_from_file(file.get(), sample.path.c_str(), G_KEY_FILE_KEEP_COMMENTS,
                                      nullptr);
            return file;
        },
        [&sample](auto& file, int turn) {
            g_key_file_set_string(file.get(), sample.section.c_str(), "key7",
                                  turn % 2 != 0 ? "one" : "two");
            g_key_file_save_to_file(file.get(), sample.path.c_str(),
                                    nullptr); // as ours: fsync, rename
        });
    add(
        "SimpleIni",
        [&sample] {
            auto file = std::make_unique<CSimpleIniA>();
            file->LoadFile(sample.path.c_str());
            return file;
        },
        [&sample](auto& file, int turn) {
            file->SetValue(sample.section.c_str(), "key7", turn % 2 != 0 ? "one" : "two");
            file->SaveFile(sample.path.c_str());
        });
    add(
        "floor",
        [&sample] {
            std::ifstream file(sample.path);
            return std::string(std::istreambuf_iterator<char>(file), {});
        },
        [&sample](auto& text, int) {
            const std::string path = sample.path + ".new";
            FILE* out = fopen(path.c_str(), "w");
            fwrite(text.data(), 1, text.size(), out);
            fflush(out);
            fsync(fileno(out));
            fclose(out);
            rename(path.c_str(), sample.path.c_str());
        });
}

void AddLookUp(const Sample& sample)
{
    static const char kSection[] = "section3";
    static ProfileFile ours;
    ours.Open(sample.path.c_str(), "r");
    Add("look-up in 200 lines", "ours", [] {
        String value;
        DoNotOptimize(ours.GetValue(kSection, "key40", value));
    });
    static GKeyFile* const glib = g_key_file_new();
    g_key_file_load_from_file(glib, sample.path.c_str(), G_KEY_FILE_NONE, nullptr);
    Add("look-up in 200 lines", "GKeyFile", [] {
        char* value = g_key_file_get_string(glib, kSection, "key40", nullptr);
        DoNotOptimize(value);
        g_free(value);
    });
    static CSimpleIniA simple;
    simple.LoadFile(sample.path.c_str());
    Add("look-up in 200 lines", "SimpleIni",
        [] { DoNotOptimize(simple.GetValue(kSection, "key40")); });
    Add("look-up in 200 lines", "wxFileConfig", [&sample] {
        static wxFileInputStream stream(sample.path);
        static wxFileConfig config(stream);
        DoNotOptimize(config.Read("/section3/key40"));
    });
    // A bare walk: the header by its brackets, then the key before '='.
    static ProfileLineList lines;
    {
        std::ifstream file(sample.path);
        for (std::string line; std::getline(file, line);)
            lines.Append(String(line.c_str()));
    }
    Add("look-up in 200 lines", "floor", [] {
        const ProfileLine* p = lines.head;
        for (; p != nullptr; p = p->next) {
            const char* open = strchr(p->text, '[');
            if (open != nullptr && strncmp(open + 1, kSection, strlen(kSection)) == 0)
                break;
        }
        String value;
        for (p = p->next; p != nullptr; p = p->next) {
            const char* equals = strchr(p->text, '=');
            if (equals != nullptr
                && strncmp(p->text, "key40", static_cast<size_t>(equals - p->text)) == 0) {
                value = equals + 1;
                break;
            }
        }
        DoNotOptimize(value);
    });
}

} // namespace

void AddBenchmarks()
{
    static const wxInitializer wx;
    static const Sample small = MakeSample("small", 3000);
    static const Sample one = MakeSample("1", 1 << 20);
    static const Sample ten = MakeSample("10", 10 << 20);
    AddLoad("load 1 MB", one);
    AddLoad("load 10 MB", ten);
    AddLookUp(small);
    AddWriteBack("change and write back 1 MB", one);
    AddWriteBack("change and write back 10 MB", ten);
    std::atexit([] {
        for (const Sample* sample : { &small, &one, &ten })
            remove(sample->path.c_str());
    });
}
