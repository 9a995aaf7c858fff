// Work that is killed with signal 9 at one of its system calls.
#pragma once

#include <gtest/gtest.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <functional>

namespace larkmoor::testing {

/// Runs the work in a child that is killed at the entry of its system call of that number, counted from 1. False if the
/// child came to its end first; the work must have returned true then.
inline bool isKilledAtCall(int number, const std::function<bool()>& work) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(2);
        ::raise(SIGSTOP);
        ::_exit(work() ? 0 : 1);
    }
    const auto nextStatus = [child] {
        int status = 0;
        while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
        return status;
    };
    int status = nextStatus();
    EXPECT_TRUE(WIFSTOPPED(status)) << "this system does not let a process trace its child";
    ::ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
    // Each call stops the child twice, at its entry and at its end; a signal, such as that of an ended child, once.
    int signal = 0;
    for (int stops = 0; stops < 2 * number - 1 && WIFSTOPPED(status);) {
        ::ptrace(PTRACE_SYSCALL, child, nullptr, signal);
        status = nextStatus();
        const bool isCall = !WIFSTOPPED(status) || WSTOPSIG(status) == (SIGTRAP | 0x80);
        signal = isCall ? 0 : WSTOPSIG(status);
        if (isCall) ++stops;
    }
    if (!WIFSTOPPED(status)) {
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
        return false;
    }
    ::kill(child, SIGKILL);
    status = nextStatus();
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
    return true;
}

}  // namespace larkmoor::testing
