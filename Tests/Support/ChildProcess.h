// A process that a test starts and ends, by its id.
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

namespace larkmoor::testing {

class ChildProcess {
  public:
    /// `arguments[0]` is looked up in PATH; `environment` is added to ours; of `keep` the child inherits the
    /// descriptor.
    explicit ChildProcess(std::vector<std::string> arguments,
                          const std::map<std::string, std::string>& environment = {}, int keep = -1) {
        std::vector<char*> list;
        list.reserve(arguments.size() + 1);
        for (std::string& argument : arguments) list.push_back(argument.data());
        list.push_back(nullptr);
        const pid_t parent = ::getpid();
        pid_ = ::fork();
        if (pid_ < 0) throw std::runtime_error("no process for " + arguments.front());
        if (pid_ != 0) return;
        // A test that crashes leaves nothing behind.
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) ::_exit(127);
        for (const auto& [name, value] : environment) ::setenv(name.c_str(), value.c_str(), 1);
        if (keep >= 0) ::fcntl(keep, F_SETFD, 0);
        if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) ::dup2(nowhere, STDOUT_FILENO);
        ::execvp(list.front(), list.data());
        ::_exit(127);
    }
    ChildProcess(ChildProcess&& other) noexcept : pid_(std::exchange(other.pid_, -1)) {}
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ChildProcess& operator=(ChildProcess&&) = delete;
    ~ChildProcess() { kill(); }

    pid_t pid() const { return pid_; }

    /// Ends it with signal 9 and waits for the end.
    void kill() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGKILL);
        wait();
    }

    /// Waits for its own end; the exit status, or 128 and the signal.
    int wait() {
        int status = 0;
        while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
        }
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    pid_t pid_ = -1;
};

}  // namespace larkmoor::testing
