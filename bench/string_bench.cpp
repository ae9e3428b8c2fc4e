// SPDX-License-Identifier: MIT
// string_bench.cpp - the shared string beside other strings: 64 characters, find and replace in 4 KB.
#include "System/vlString.h"
#include "bench/Bench.h"

#include <QtCore/QByteArray>

#include <absl/strings/str_format.h>
#include <absl/strings/str_replace.h>
#include <cstring>
#include <string>
#include <wx/string.h>

using benchmark::DoNotOptimize;
using Veltrano::String;

namespace {

const char kText[] = "The quick brown fox jumps over the lazy dog, and then once more.";
static_assert(sizeof kText == 65);
const char kPadded[] = "      The quick brown fox jumps over the lazy dog, once more.    ";

// 4 KB in which "needle" stands at the end, or 64 times.
const std::string& Haystack(bool many)
{
    static const std::string one = std::string(4090, 'x') + "needle";
    static const std::string hits = [] {
        std::string text;
        for (int i = 0; i < 64; ++i)
            text += std::string(58, 'x') + "needle";
        return text;
    }();
    return many ? hits : one;
}

// Text that almost matches everywhere, which punishes a naive search.
const std::string kHostile(4096, 'a');
const std::string kHostileNeedle = std::string(31, 'a') + 'b';

template <typename Text> void AddCommon(const char* name)
{
    static const Text text(kText);
    static const Text other(kPadded);
    Add("copy + destroy", name, [] {
        Text copy(text);
        DoNotOptimize(copy);
    });
    Add("assign twice, shared", name, [] {
        static Text target;
        target = text;
        DoNotOptimize(target);
        target = other;
        DoNotOptimize(target);
    });
    Add("assign from characters", name, [] {
        static Text target(kPadded);
        target = kText;
        DoNotOptimize(target);
    });
    Add("append 1 x 1000", name, [] {
        Text target;
        for (int i = 0; i < 1000; ++i)
            target += 'x';
        DoNotOptimize(target);
    });
    Add("a + b", name, [] {
        Text sum(text + other);
        DoNotOptimize(sum);
    });
}

void AddOurs()
{
    AddCommon<String>("ours");
    static const String text(kText);
    static const String padded(kPadded);
    static const String hay(Haystack(false).c_str());
    static const String hits(Haystack(true).c_str());
    static const String hostile(kHostile.c_str());
    Add("copy, write one", "ours", [] {
        String copy(text);
        copy.SetCharAt(3, 'Z');
        DoNotOptimize(copy);
    });
    Add("append with room", "ours", [] {
        String target;
        target.OpenBuffer(1000);
        target.CloseBuffer(0);
        for (int i = 0; i < 1000; ++i)
            target += 'x';
        DoNotOptimize(target);
    });
    Add("substring 32 of 64", "ours", [] { DoNotOptimize(text.Substring(16, 32)); });
    Add("whole substring", "ours", [] { DoNotOptimize(text.Substring(0, 64)); });
    Add("find, plain", "ours", [] { DoNotOptimize(hay.FindText("needle")); });
    Add("find, hostile", "ours", [] { DoNotOptimize(hostile.FindText(kHostileNeedle.c_str())); });
    Add("replace 64 hits", "ours", [] {
        String copy(hits);
        DoNotOptimize(copy.ReplaceText("needle", "thimbles"));
    });
    Add("replace 16000 hits in 1 MB", "ours", [] {
        static const String big = [] {
            std::string all;
            for (int i = 0; i < 250; ++i)
                all += Haystack(true);
            return String(all.c_str());
        }();
        String copy(big);
        DoNotOptimize(copy.ReplaceText("needle", "thimbles"));
    });
    Add("copy + trim both ends", "ours", [] {
        String copy(padded);
        copy.TrimStart();
        copy.TrimEnd();
        DoNotOptimize(copy);
    });
    Add("format %s=%d", "ours", [] {
        String line;
        line.Format("%s=%d", "some name", 12345);
        DoNotOptimize(line);
    });
}

void AddStd()
{
    AddCommon<std::string>("std::string");
    static const std::string text(kText);
    Add("copy, write one", "std::string", [] {
        std::string copy(text);
        copy[3] = 'Z';
        DoNotOptimize(copy);
    });
    Add("append with room", "std::string", [] {
        std::string target;
        target.reserve(1000);
        for (int i = 0; i < 1000; ++i)
            target += 'x';
        DoNotOptimize(target);
    });
    Add("substring 32 of 64", "std::string", [] { DoNotOptimize(text.substr(16, 32)); });
    Add("find, plain", "std::string", [] { DoNotOptimize(Haystack(false).find("needle")); });
    Add("find, hostile", "std::string", [] { DoNotOptimize(kHostile.find(kHostileNeedle)); });
    Add("replace 64 hits", "absl", [] {
        DoNotOptimize(absl::StrReplaceAll(Haystack(true), { { "needle", "thimbles" } }));
    });
    Add("copy + trim both ends", "std::string", [] {
        std::string copy(kPadded);
        const size_t first = copy.find_first_not_of(" \t\n\v\f\r");
        const size_t last = copy.find_last_not_of(" \t\n\v\f\r");
        copy = copy.substr(first, last - first + 1);
        DoNotOptimize(copy);
    });
    Add("format %s=%d", "absl",
        [] { DoNotOptimize(absl::StrFormat("%s=%d", "some name", 12345)); });
}

void AddQt()
{
    AddCommon<QByteArray>("QByteArray");
    static const QByteArray text(kText);
    Add("copy, write one", "QByteArray", [] {
        QByteArray copy(text);
        copy[3] = 'Z';
        DoNotOptimize(copy);
    });
    Add("append with room", "QByteArray", [] {
        QByteArray target;
        target.reserve(1000);
        for (int i = 0; i < 1000; ++i)
            target += 'x';
        DoNotOptimize(target);
    });
    Add("substring 32 of 64", "QByteArray", [] { DoNotOptimize(text.mid(16, 32)); });
    Add("find, hostile", "QByteArray", [] {
        static const QByteArray hostile = QByteArray::fromStdString(kHostile);
        DoNotOptimize(hostile.indexOf(kHostileNeedle.c_str()));
    });
    Add("replace 64 hits", "QByteArray", [] {
        static const QByteArray hits = QByteArray::fromStdString(Haystack(true));
        QByteArray copy(hits);
        DoNotOptimize(copy.replace("needle", "thimbles"));
    });
    Add("copy + trim both ends", "QByteArray", [] {
        static const QByteArray padded(kPadded);
        DoNotOptimize(padded.trimmed());
    });
}

void AddWx()
{
    AddCommon<wxString>("wxString");
    Add("format %s=%d", "wxString",
        [] { DoNotOptimize(wxString::Format("%s=%d", "some name", 12345)); });
}

void AddFloor()
{
    Add("copy + destroy", "floor", [] { // the shared count, up and down
        static int count = 1;
        DoNotOptimize(__atomic_add_fetch(&count, 1, __ATOMIC_SEQ_CST));
        DoNotOptimize(__atomic_sub_fetch(&count, 1, __ATOMIC_SEQ_CST));
    });
    Add("assign from characters", "floor", [] {
        static char target[65];
        memcpy(target, kText, sizeof kText);
        DoNotOptimize(target);
    });
    const auto block = [](size_t copied) {
        char* p = new char[24 + 65];
        memcpy(p + 24, kText, copied);
        DoNotOptimize(p);
        delete[] p;
    };
    Add("copy, write one", "floor", [=] { block(65); });
    Add("substring 32 of 64", "floor", [=] { block(33); });
    Add("a + b", "floor", [] {
        char* p = new char[24 + 130];
        memcpy(p + 24, kText, 64);
        memcpy(p + 88, kPadded, 65);
        DoNotOptimize(p);
        delete[] p;
    });
    Add("append 1 x 1000", "floor", [] { // a block of exactly the new length each time
        char* p = static_cast<char*>(malloc(25));
        for (size_t i = 1; i <= 1000; ++i) {
            p = static_cast<char*>(realloc(p, 25 + i));
            p[23 + i] = 'x';
            DoNotOptimize(p);
        }
        free(p);
    });
    Add("append 1 x 1000", "exact blocks", [] {
        char* p = new char[25];
        for (size_t i = 1; i <= 1000; ++i) {
            char* q = new char[25 + i];
            memcpy(q, p, 24 + i);
            delete[] p;
            p = q;
            DoNotOptimize(p);
        }
        delete[] p;
    });
    Add("append with room", "floor", [] {
        static char target[1001];
        for (int i = 0; i < 1000; ++i) {
            target[i] = 'x';
            DoNotOptimize(target);
        }
    });
    Add("find, plain", "floor", [] { DoNotOptimize(strstr(Haystack(false).c_str(), "needle")); });
    Add("find, hostile", "floor",
        [] { DoNotOptimize(strstr(kHostile.c_str(), kHostileNeedle.c_str())); });
    Add("format %s=%d", "floor", [] {
        char line[64];
        DoNotOptimize(snprintf(line, sizeof line, "%s=%d", "some name", 12345));
    });
}

} // namespace

void AddBenchmarks()
{
    AddOurs();
    AddStd();
    AddQt();
    AddWx();
    AddFloor();
}
