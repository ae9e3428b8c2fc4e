// SPDX-License-Identifier: MIT
// FailingCalls.h - runs a function of which one system call fails, wherever in the process it is made.
// The kernel hands the calls of one thread to a signal handler, so that those of the C library's streams are
// seen too, and no other thread is touched.
#pragma once

#include "tests/support/Processes.h"

#include <cerrno>
#include <cstring>
#include <gmock/gmock.h>
#include <set>
#include <string>

#ifdef __x86_64__ // elsewhere the calls do not fail
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>
#endif

namespace FailingCalls {

const int kShortWrite = 0; // half of what should be written is written
const int kErrors[] = { EIO, ENOSPC, EACCES, EINTR, kShortWrite };

#ifdef __x86_64__

const std::pair<unsigned, const char*> kCalls[] = {
    { SYS_close, "close" }, { SYS_fchmod, "fchmod" },   { SYS_flock, "flock" },
    { SYS_fstat, "stat" },  { SYS_fsync, "fsync" },     { SYS_ftruncate, "ftruncate" },
    { SYS_mkdir, "mkdir" }, { SYS_open, "open" },       { SYS_openat, "open" },
    { SYS_read, "read" },   { SYS_rename, "rename" },   { SYS_stat, "stat" },
    { SYS_statx, "stat" },  { SYS_unlink, "unlink" },   { SYS_utimensat, "futimens" },
    { SYS_write, "write" }, { SYS_newfstatat, "stat" },
};

inline int nUntilFailure = 0; // 1: the next call fails; 0: none does
inline int nError = 0;
inline const char* lpszFailed = "";

const unsigned kPass = 0x5EC0FA11; // in the sixth argument: the handler's own call

inline void OnSystemCall(int, siginfo_t* info, void* context)
{
    const int nErrorBefore = errno;
    auto& regs = static_cast<ucontext_t*>(context)->uc_mcontext.gregs;
    long args[] = { regs[REG_RDI], regs[REG_RSI], regs[REG_RDX], regs[REG_R10], regs[REG_R8] };
    auto& result = regs[REG_RAX];
    const bool bCounts = nError != kShortWrite || (info->si_syscall == SYS_write && args[2] > 1);
    const bool bDue = bCounts && nUntilFailure > 0 && --nUntilFailure == 0;
    const bool bFails = bDue && nError != kShortWrite;
    for (const auto& call : kCalls)
        if (bDue && static_cast<int>(call.first) == info->si_syscall)
            lpszFailed = call.second;
    args[2] /= bDue && !bFails ? 2 : 1;
    // A call that fails does not happen, except that close closes.
    const long n = bFails && info->si_syscall != SYS_close
        ? 0
        : syscall(info->si_syscall, args[0], args[1], args[2], args[3], args[4], kPass);
    result = bFails ? -nError : n == -1 ? -errno : n;
    errno = nErrorBefore;
}

inline void TrapCallsOfThisThread()
{
    struct sigaction action = {};
    action.sa_sigaction = OnSystemCall;
    action.sa_flags = SA_SIGINFO | SA_NODEFER;
    sigaction(SIGSYS, &action, nullptr);

    std::vector<sock_filter> filter = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[5])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kPass, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
    };
    for (const auto& call : kCalls) {
        filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call.first, 0, 1));
        filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_TRAP));
    }
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
    const sock_fprog program = { static_cast<unsigned short>(filter.size()), filter.data() };
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0
        || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        abort(); // a test without its faults would pass
}

/// Runs a function, on a separate thread, whose n-th system call on files fails with an error, or whose
/// n-th write is short.
///   returns  the name of that call; empty when fewer were made
template <class Work> std::string Run(int n, int error, Work work)
{
    lpszFailed = "";
    nError = error;
    std::thread([&] {
        TrapCallsOfThisThread();
        nUntilFailure = n;
        work();
        nUntilFailure = 0;
    }).join();
    return lpszFailed;
}

#endif

/// Runs `work` with its first, second, ... system call failing, until none fails, once more for each error;
/// `prepare` before each run, `check` with the name of the call or "", and the error, after it. Some calls
/// must have occurred, and none leaves a descriptor behind.
template <class Prepare, class Work, class Check>
void ForEach([[maybe_unused]] const std::set<std::string>& expected,
             Prepare prepare,
             Work work,
             Check check)
{
#ifdef __x86_64__
    std::set<std::string> calls;
    for (int error : kErrors) {
        std::string call = "first";
        for (int n = 1; !call.empty() && n < 300; ++n) {
            prepare();
            const int nDescriptors = CountDescriptors();
            call = Run(n, error, work);
            SCOPED_TRACE(std::to_string(n) + ": " + call + ", " + strerror(error));
            EXPECT_EQ(CountDescriptors(), nDescriptors);
            check(call, error);
            calls.insert(call);
        }
        EXPECT_EQ(call, "");
    }
    EXPECT_THAT(calls, testing::IsSupersetOf(expected));
#else
    prepare(); // an emulator hands no calls out
    work();
    check("", EIO);
#endif
}

} // namespace FailingCalls
