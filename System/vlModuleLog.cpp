// SPDX-License-Identifier: MIT
// vlModuleLog.cpp - the log file and its lines.

#include "System/vlModuleLog.h"

#include <sys/fcntl.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <unistd.h>

namespace Veltrano {

namespace {

const char sNoPrefix[] = "";

const size_t kLineSize = 259;

// Copies a text, or as much of it as leaves room for its zero; gives the end.
char* AppendText(char* lpchDest, char* lpchLimit, const char* lpsz)
{
    const size_t n = strnlen(lpsz, static_cast<size_t>(lpchLimit - lpchDest));
    memcpy(lpchDest, lpsz, n);
    lpchDest[n] = '\0';
    return lpchDest + n;
}

// The time now, as ctime has it without the newline; empty when it cannot be told.
const char* GetTimeText()
{
    const time_t now = time(nullptr);
    char* lpszTime = ctime(&now);
    if (lpszTime == nullptr)
        return "";
    lpszTime[strcspn(lpszTime, "\n")] = '\0';
    return lpszTime;
}

int WriteLine(const char* lpszFormat, va_list argList)
{
    char line[kLineSize];
    line[0] = '\0'; // in case the formatter fails
    const int nLength = vsnprintf(line, sizeof(line), lpszFormat, argList);
    if (moduleLog_.fd == -1)
        return nLength;
    return static_cast<int>(write(moduleLog_.fd, line, strlen(line)));
}

int WritePrefixedLine(const char* lpszFormat, va_list argList)
{
    if (*moduleLog_.prefix == '\0' && strlen(lpszFormat) < kLineSize)
        return WriteLine(lpszFormat, argList);
    // KEPT: the prefix becomes part of the format, so a "%" in it is a conversion.
    char format[kLineSize];
    char* lpchLimit = format + sizeof(format) - 1;
    AppendText(AppendText(format, lpchLimit, moduleLog_.prefix), lpchLimit, lpszFormat);
    return WriteLine(format, argList);
}

} // namespace

constinit ModuleLog moduleLog_ = { -1, sNoPrefix };

int ModuleLog::open(const char* prefix, const char* label, int flags, const char* fileName)
{
    if (flags & kLogOff)
        return 1;
    // KEPT: a prefix, or a file, of an earlier open is not given back; open is meant to be called once.
    char* lpszCopy = prefix && *prefix ? strdup(prefix) : nullptr;
    moduleLog_.prefix = lpszCopy ? lpszCopy : sNoPrefix;
    if (!(flags & (kLogNew | kLogAppend)))
        return 1;

    char path[260];
    const char* lpszFolder = flags & kLogInTmp ? "/tmp/" : "";
    int file = -1;
    const int n = snprintf(path, sizeof(path), "%s%s", lpszFolder, fileName ? fileName : "");
    if (n >= 0 && n < static_cast<int>(sizeof(path))) {
        const int mode = flags & kLogNew ? O_TRUNC : O_APPEND;
        file = ::open(path, O_RDWR | O_SHLOCK | O_CREAT | mode, 0666);
    }
    if (file == -1) {
        moduleLog_.fd = 1; // KEPT: after a failed open lines go to standard output
        return 1;
    }
    fchmod(file, 0666); // every user may read and write the log, whatever the umask
    moduleLog_.fd = file;
    if (static_cast<UInt32>(file) <= 1)
        return 1;

    if (label && *label)
        LogPrint("%s; loaded at %s.\n", label, GetTimeText());
    else
        LogPrint("Loaded at %s.\n", GetTimeText());
    return 1;
}

void ModuleLog::close()
{
    if (moduleLog_.fd == -1)
        return; // KEPT: the prefix of an open without a file is not freed
    if (moduleLog_.fd > 1) {
        LogPrint("Unloaded at %s.\n", GetTimeText());
        ::close(moduleLog_.fd);
        moduleLog_.fd = -1;
    }
    if (moduleLog_.prefix != nullptr && moduleLog_.prefix != sNoPrefix)
        free(const_cast<char*>(moduleLog_.prefix));
    moduleLog_.prefix = sNoPrefix;
}

int LogPrint(const char* format, ...)
{
    va_list argList;
    va_start(argList, format);
    const int result = WritePrefixedLine(format, argList);
    va_end(argList);
    return result;
}

void LogPrintIf(int condition, const char* format, ...)
{
    if (condition == 0 || moduleLog_.fd == -1)
        return;
    va_list argList;
    va_start(argList, format);
    WritePrefixedLine(format, argList);
    va_end(argList);
}

int LogPrintRaw(const char* format, ...)
{
    va_list argList;
    va_start(argList, format);
    const int result = WriteLine(format, argList);
    va_end(argList);
    return result;
}

void LogPrintRawIf(int condition, const char* format, ...)
{
    if (condition == 0 || moduleLog_.fd == -1)
        return;
    va_list argList;
    va_start(argList, format);
    WriteLine(format, argList);
    va_end(argList);
}

} // namespace Veltrano
