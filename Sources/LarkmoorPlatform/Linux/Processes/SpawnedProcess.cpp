#include "LarkmoorPlatform/Linux/Processes/SpawnedProcess.h"

#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <utility>

#include "LarkmoorPlatform/Linux/Processes/SystemProcess.h"

namespace larkmoor {

namespace {

/// A null-terminated array of pointers into the lines.
std::vector<char*> pointers(std::vector<std::string>& lines) {
    std::vector<char*> list;
    list.reserve(lines.size() + 1);
    for (std::string& line : lines) list.push_back(line.data());
    list.push_back(nullptr);
    return list;
}

bool holdsNul(const std::string& text) { return text.find('\0') != std::string::npos; }

class Attributes {
  public:
    Attributes(SpawnedProcess::LeaderOf leaderOf, SpawnedProcess::EndSignals endSignals) {
        posix_spawnattr_init(&attributes_);
        sigset_t blocked;
        sigset_t all;
        sigemptyset(&blocked);
        sigfillset(&all);
        if (endSignals == SpawnedProcess::EndSignals::blocked) {
            for (const int signal : {SIGTERM, SIGHUP, SIGINT}) sigaddset(&blocked, signal);
        }
        posix_spawnattr_setpgroup(&attributes_, 0);
        posix_spawnattr_setsigmask(&attributes_, &blocked);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        const int leadership =
            leaderOf == SpawnedProcess::LeaderOf::session ? POSIX_SPAWN_SETSID : POSIX_SPAWN_SETPGROUP;
        posix_spawnattr_setflags(&attributes_,
                                 static_cast<short>(leadership | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    const posix_spawnattr_t* get() const { return &attributes_; }

  private:
    posix_spawnattr_t attributes_{};
};

class FileActions {
  public:
    /// `wanted` are above 2, so that dup2 overwrites none of them.
    explicit FileActions(const SpawnDescriptors& wanted) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_adddup2(&actions_, wanted.input, 0);
        posix_spawn_file_actions_adddup2(&actions_, wanted.output, 1);
        posix_spawn_file_actions_adddup2(&actions_, wanted.errors, 2);
        // Ours are closed on exec; those that some library opened may not be.
        posix_spawn_file_actions_addclosefrom_np(&actions_, 3);
    }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    const posix_spawn_file_actions_t* get() const { return &actions_; }

  private:
    posix_spawn_file_actions_t actions_{};
};

}  // namespace

std::expected<SpawnedProcess, FileError> SpawnedProcess::start(const std::string& executable,
                                                               std::vector<std::string> arguments,
                                                               std::vector<std::string> environment,
                                                               SpawnDescriptors descriptors, LeaderOf leaderOf,
                                                               EndSignals endSignals) {
    const auto failure = [name = arguments.front()](int code) { return std::unexpected(FileError{name, code}); };
    if (holdsNul(executable) || std::ranges::any_of(arguments, holdsNul) || std::ranges::any_of(environment, holdsNul))
        return failure(EINVAL);

    pid_t id = 0;
    const int refused =
        posix_spawn(&id, executable.c_str(), FileActions{descriptors}.get(), Attributes{leaderOf, endSignals}.get(),
                    pointers(arguments).data(), pointers(environment).data());
    if (refused != 0) return failure(refused);
    SpawnedProcess process{id, processDescriptor(id)};
    if (!process.descriptor_) return failure(errno);
    return process;
}

SpawnedProcess::SpawnedProcess(pid_t id, FileDescriptor descriptor) : id_(id), descriptor_(std::move(descriptor)) {}

SpawnedProcess::SpawnedProcess(SpawnedProcess&& other) noexcept
    : id_(std::exchange(other.id_, 0)), descriptor_(std::move(other.descriptor_)) {}

SpawnedProcess::~SpawnedProcess() {
    if (id_ == 0) return;
    killGroup();
    if (!descriptor_) {
        ::waitpid(id_, nullptr, 0);
        return;
    }
    // A child that is stuck in the kernel must not block us; init reaps it after our own end.
    constexpr int timeoutMilliseconds = 1000;
    pollfd ended{.fd = descriptor_.get(), .events = POLLIN, .revents = 0};
    while (::poll(&ended, 1, timeoutMilliseconds) < 0 && errno == EINTR) {
    }
    reap();
}

void SpawnedProcess::killGroup() const {
    if (id_ != 0) ::killpg(id_, SIGKILL);
}

FileDescriptor SpawnedProcess::detach() && {
    id_ = 0;
    return std::move(descriptor_);
}

std::optional<SpawnedProcess::End> SpawnedProcess::reap() {
    if (id_ == 0) return std::nullopt;
    siginfo_t status{};
    const int waited = ::waitid(P_PIDFD, static_cast<id_t>(descriptor_.get()), &status, WEXITED | WNOHANG);
    if (waited == 0 && status.si_pid == 0) return std::nullopt;
    id_ = 0;
    if (waited != 0) return std::nullopt;
    return End{.kind = status.si_code == CLD_EXITED ? EndKind::exited : EndKind::signalled, .number = status.si_status};
}

}  // namespace larkmoor
