// SPDX-License-Identifier: MIT
// log_bench.cpp - one line of 50 characters into a file, flushed, and into a closed log.
#include "System/vlModuleLog.h"
#include "bench/Bench.h"

#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/log/sinks/text_file_backend.hpp>
#include <boost/log/sources/logger.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/utility/setup/file.hpp>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <glib.h>
#include <glog/logging.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>
#include <string>
#include <unistd.h>

using namespace Veltrano;
using benchmark::DoNotOptimize;

namespace {

const std::string kFolder = [] {
    char pattern[] = "/tmp/log_bench.XXXXXX";
    return std::string(mkdtemp(pattern));
}();

const char kFormat[] = "%s Getting Entry '%s' of %d\n"; // 50 characters with these:
const char kName[] = "GetObjectOfType:";
const char kEntry[] = "View/Main";

FILE* sPeerFile = nullptr;

void WriteGlibLine(const gchar*, GLogLevelFlags, const gchar* message, gpointer)
{
    fputs(message, sPeerFile);
    fflush(sPeerFile);
}

void AddOpen()
{
    // Ours is opened by its own benchmark and closed again, so that the closed ones come in any order.
    benchmark::RegisterBenchmark("open line/ours", [](benchmark::State& state) {
        ModuleLog::open("[m] ", nullptr, kLogNew, (kFolder + "/ours.log").c_str());
        for (auto _ : state)
            DoNotOptimize(LogPrint(kFormat, kName, kEntry, 7));
        ModuleLog::close();
    });
    static const int fd = open((kFolder + "/floor.log").c_str(), O_RDWR | O_CREAT | O_TRUNC, 0666);
    Add("open line", "floor", [] { // write(2) alone
        static const char line[] = "[m] GetObjectOfType: Getting Entry 'View/Main' 7.\n";
        DoNotOptimize(write(fd, line, sizeof line - 1));
    });
    static FILE* const file = fopen((kFolder + "/stdio.log").c_str(), "w");
    Add("open line", "fprintf + fflush", [] {
        fprintf(file, kFormat, kName, kEntry, 7);
        fflush(file);
    });
    static const auto spd = [] {
        auto logger = spdlog::basic_logger_mt("bench", kFolder + "/spdlog.log");
        logger->set_pattern("[m] %v");
        logger->flush_on(spdlog::level::info);
        return logger;
    }();
    Add("open line", "spdlog", [] { spd->info("{} Getting Entry '{}' of {}", kName, kEntry, 7); });
    sPeerFile = fopen((kFolder + "/glib.log").c_str(), "w");
    g_log_set_handler("bench", G_LOG_LEVEL_INFO, WriteGlibLine, nullptr);
    Add("open line", "g_log", [] { g_log("bench", G_LOG_LEVEL_INFO, kFormat, kName, kEntry, 7); });
    FLAGS_log_dir = kFolder;
    FLAGS_logbuflevel = -1; // flushed at once
    google::InitGoogleLogging("bench");
    Add("open line", "glog",
        [] { LOG(INFO) << kName << " Getting Entry '" << kEntry << "' of " << 7; });
    namespace logging = boost::log;
    logging::add_file_log(logging::keywords::file_name = kFolder + "/boost.log",
                          logging::keywords::auto_flush = true);
    static logging::sources::logger boostLogger;
    Add("open line", "Boost.Log",
        [] { BOOST_LOG(boostLogger) << kName << " Getting Entry '" << kEntry << "' of " << 7; });
}

void AddClosed()
{
    Add("closed LogPrintIf", "ours", [] { LogPrintIf(1, kFormat, kName, kEntry, 7); });
    Add("closed LogPrint", "ours", [] { DoNotOptimize(LogPrint(kFormat, kName, kEntry, 7)); });
    Add("closed LogPrint", "floor", [] { // one formatting, for the would-be length
        char line[259];
        DoNotOptimize(snprintf(line, sizeof line, kFormat, kName, kEntry, 7));
    });
    static const auto quiet = [] {
        auto logger = std::make_shared<spdlog::logger>("quiet");
        logger->set_level(spdlog::level::off);
        return logger;
    }();
    Add("closed LogPrintIf", "spdlog",
        [] { quiet->info("{} Getting Entry '{}' of {}", kName, kEntry, 7); });
    Add("closed LogPrintIf", "glog", [] { VLOG(3) << kName << kEntry << 7; });
}

} // namespace

void AddBenchmarks()
{
    AddOpen();
    AddClosed();
    std::atexit([] { std::filesystem::remove_all(kFolder); });
}
