#include "LarkmoorPlatform/Linux/Processes/SpawnedProcess.h"

#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

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
    /// `leadership` is the flag that makes the process the leader of its group or session.
    Attributes(int leadership, SpawnedProcess::EndSignals endSignals) {
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

/// What posix_spawn wants, made beforehand: after a fork nothing may be allocated.
class SpawnCall {
  public:
    SpawnCall(const std::string& executable, std::vector<std::string>& arguments, std::vector<std::string>& environment,
              const SpawnDescriptors& descriptors, int leadership, SpawnedProcess::EndSignals endSignals)
        : executable_(executable.c_str()),
          isWhole_(!holdsNul(executable) && std::ranges::none_of(arguments, holdsNul) &&
                   std::ranges::none_of(environment, holdsNul)),
          arguments_(pointers(arguments)),
          environment_(pointers(environment)),
          files_(descriptors),
          attributes_(leadership, endSignals) {}

    /// 0, or the system's error.
    int start(pid_t& id) const {
        if (!isWhole_) return EINVAL;
        return posix_spawn(&id, executable_, files_.get(), attributes_.get(), arguments_.data(), environment_.data());
    }

  private:
    const char* executable_;
    bool isWhole_;
    std::vector<char*> arguments_, environment_;
    FileActions files_;
    Attributes attributes_;
};

}  // namespace

std::expected<SpawnedProcess, FileError> SpawnedProcess::start(const std::string& executable,
                                                               std::vector<std::string> arguments,
                                                               std::vector<std::string> environment,
                                                               SpawnDescriptors descriptors, EndSignals endSignals) {
    const auto failure = [name = arguments.front()](int code) { return std::unexpected(FileError{name, code}); };
    pid_t id = 0;
    const SpawnCall call{executable, arguments, environment, descriptors, POSIX_SPAWN_SETPGROUP, endSignals};
    if (const int refused = call.start(id); refused != 0) return failure(refused);
    SpawnedProcess process{id, processDescriptor(id)};
    if (!process.descriptor_) return failure(errno);
    return process;
}

std::expected<void, FileError> SpawnedProcess::startApart(const std::string& executable,
                                                          std::vector<std::string> arguments,
                                                          std::vector<std::string> environment,
                                                          SpawnDescriptors descriptors) {
    const SpawnCall call{executable, arguments, environment, descriptors, POSIX_SPAWN_SETSID, EndSignals::heard};
    const pid_t between = ::fork();
    if (between == 0) {
        pid_t id = 0;
        ::_exit(call.start(id));
    }
    int status = 0, code = between < 0 ? errno : 0;
    while (between > 0 && ::waitpid(between, &status, 0) < 0 && errno == EINTR) {
    }
    // Errors of the system are below 256, and so are exit statuses.
    if (code == 0) code = WIFEXITED(status) ? WEXITSTATUS(status) : EINTR;
    if (code != 0) return std::unexpected(FileError{arguments.front(), code});
    return {};
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
