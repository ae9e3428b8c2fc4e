// SPDX-License-Identifier: MIT
// vlModuleLog.h - the one log of the process: loading and unloading of the module, and diagnostics.
// Order: closed from load on -> ModuleLog::open, once and optional -> lines -> ModuleLog::close.
// While it is closed every line is dropped. A line is handed to the system in one write and cut at
// 258 bytes; it allocates nothing and appends no newline.
// Unless said otherwise: thread-safe, except during open and close; nothing throws.
#pragma once

#include <CoreServices/MacTypes.h>

namespace Veltrano {

enum {
    kLogNew = 0x0002, // open a file, created or emptied
    kLogAppend = 0x0004, // open a file, created or appended to; kLogNew wins over it
    kLogInTmp = 0x4000, // the file lies in "/tmp"
    kLogOff = 0x8000 // do nothing
};

const char kLogFileName[] = "logfile.log";

struct ModuleLog
{
    SInt32 fd; // -1 closed; 0 or 1 not owned (1: standard output, after a failed open)
    const char* prefix; // in front of every LogPrint line; a malloc block, or a shared empty text

    /// Opens the log and writes a line with the time.
    ///   prefix    [in]  copied; part of each line's format, so a "%" in it converts; may be null
    ///   label     [in]  names who was loaded; may be null
    ///   flags     [in]  kLogNew and its like; without kLogNew and kLogAppend only the prefix is set
    ///   fileName  [in]  appended to the folder; may be null; over 259 bytes in all it cannot be opened
    ///   returns   1 in every case
    ///   fails     lines go to standard output
    ///   thread    main
    ///   example   open("[x] ", "Host", kLogNew | kLogInTmp, kLogFileName) writes
    ///             "[x] Host; loaded at Thu Jan  1 00:00:00 1970.\n" to /tmp/logfile.log
    static int open(const char* prefix, const char* label, int flags, const char* fileName);
    /// Writes a line with the time, if there is a file, and closes it.
    ///   thread  main
    static void close();
};

extern ModuleLog moduleLog_;

/// Writes one formatted line behind the prefix.
///   returns  bytes written, or -1; while closed the length that the whole line would have had
int LogPrint(const char* format, ...) __attribute__((__format__(__printf__, 1, 2)));
/// LogPrint when the condition is not 0.
void LogPrintIf(int condition, const char* format, ...)
    __attribute__((__format__(__printf__, 2, 3)));
/// LogPrint without the prefix.
int LogPrintRaw(const char* format, ...) __attribute__((__format__(__printf__, 1, 2)));
void LogPrintRawIf(int condition, const char* format, ...)
    __attribute__((__format__(__printf__, 2, 3)));

} // namespace Veltrano
