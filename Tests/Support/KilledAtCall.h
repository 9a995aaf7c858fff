// Work that is killed with signal 9 at one of its system calls, alone or in one of the processes that come of it.
#pragma once

#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <set>

namespace larkmoor::testing {

/// Forks a child that does the work and leads a process group; `onStatus` gets each status of it and of what it leaves
/// to us, until none is left.
inline void followFamily(const std::function<bool()>& work, const std::function<void(pid_t, int)>& onStatus) {
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    const pid_t child = ::fork();
    if (child == 0) {
        ::setpgid(0, 0);
        ::_exit(work() ? 0 : 1);
    }
    ::setpgid(child, child);
    int status = 0;
    for (pid_t process; (process = ::waitpid(-child, &status, __WALL)) > 0 || errno == EINTR;) {
        if (process > 0) onStatus(process, status);
    }
}

/// Runs the work in a child and waits for all that comes of it. The child's status, as waitpid has it.
inline int familysStatus(const std::function<bool()>& work) {
    int own = -1;
    pid_t child = 0;
    followFamily(work, [&](pid_t process, int status) {
        if (child == 0 || process == child) own = status;
        if (child == 0) child = process;
    });
    return own;
}

enum class Killed {
    child,     ///< which does the work
    anyOfThem  ///< whichever process makes that call, the child or one that came of it, unless it has begun a program
};

/// Runs the work in a child and kills the process that enters the system call of that number, counted from 1. False if
/// all came to its end before; a child that began no program must have returned true then.
inline bool isKilledAtCall(int number, const std::function<bool()>& work, Killed whom = Killed::child) {
    constexpr int ofAll = PTRACE_O_TRACEFORK | PTRACE_O_TRACEVFORK | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC;
    const int options = PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL | (whom == Killed::anyOfThem ? ofAll : 0);
    std::set<pid_t> known, inCall;
    pid_t victim = 0;
    int calls = 0;
    const auto onStop = [&](pid_t process, int status) {
        if (known.empty()) ::ptrace(PTRACE_SETOPTIONS, process, nullptr, options);
        const bool isNew = known.insert(process).second;
        int signal = WSTOPSIG(status);
        if (signal == (SIGTRAP | 0x80)) {
            // Each call stops the process twice, at its entry and at its end.
            const bool isEntry = inCall.insert(process).second;
            if (!isEntry) inCall.erase(process);
            if (isEntry && ++calls == number) {
                victim = process;
                ::kill(process, SIGKILL);
                return;
            }
            signal = 0;
        } else if (status >> 16 != 0 || isNew) {
            signal = 0;
        }
        const bool isProgram = status >> 16 == PTRACE_EVENT_EXEC;
        ::ptrace(isProgram ? PTRACE_DETACH : PTRACE_SYSCALL, process, nullptr, signal);
    };
    followFamily(
        [&work] {
            if (::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) ::_exit(2);
            ::raise(SIGSTOP);
            return work();
        },
        [&](pid_t process, int status) {
            if (WIFSTOPPED(status)) return onStop(process, status);
            EXPECT_FALSE(known.empty()) << "this system does not let a process trace its child";
            const bool isVictims = process == victim && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
            const bool isGood = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            if (whom == Killed::child) EXPECT_TRUE(victim != 0 ? isVictims : isGood) << status;
        });
    return victim != 0;
}

}  // namespace larkmoor::testing
