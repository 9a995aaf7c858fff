// A child process that leads a process group or session of its own.
#pragma once

#include <sys/types.h>

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

/// The child's standard descriptors; they may be equal.
struct SpawnDescriptors {
    int input;
    int output;
    int errors;
};

/// Owns the child: the destructor kills and reaps it. Our program must not ignore SIGCHLD, and nobody else waits for
/// its children.
class SpawnedProcess {
  public:
    /// Whether the child hears SIGTERM, SIGHUP and SIGINT, or starts with them blocked.
    enum class EndSignals { heard, blocked };
    enum class EndKind { exited, signalled };
    struct End {
        EndKind kind;
        int number;  ///< the exit status, or the signal
    };

    /// `arguments` begin with the program's name, which an error names too. `environment` holds entries NAME=VALUE;
    /// nothing is inherited. The program runs when this returns. Blocks until the system has loaded it.
    static std::expected<SpawnedProcess, FileError> start(const std::string& executable,
                                                          std::vector<std::string> arguments,
                                                          std::vector<std::string> environment,
                                                          SpawnDescriptors descriptors,
                                                          EndSignals endSignals = EndSignals::heard);
    /// The same in a session of its own, and nobody's child: whatever our process becomes by an exec would not expect
    /// one, and never reap it.
    static std::expected<void, FileError> startApart(const std::string& executable, std::vector<std::string> arguments,
                                                     std::vector<std::string> environment,
                                                     SpawnDescriptors descriptors);

    SpawnedProcess(SpawnedProcess&& other) noexcept;
    SpawnedProcess& operator=(SpawnedProcess&&) = delete;
    ~SpawnedProcess();

    pid_t id() const { return id_; }
    /// A pidfd, readable once the child has ended; closed by the destructor.
    int descriptor() const { return descriptor_.get(); }

    /// Sends SIGKILL to the whole group; does nothing after `reap` has succeeded, since the id may be reused by then.
    void killGroup() const;

    /// How the child ended, after which it is no longer owned; nothing while it runs, or if somebody else has reaped
    /// it.
    std::optional<End> reap();

    /// Gives up ownership without killing the child; returns `descriptor`, through which it must still be reaped.
    FileDescriptor detach() &&;

  private:
    SpawnedProcess(pid_t id, FileDescriptor descriptor);

    pid_t id_;  ///< also the group's; 0 once it is reaped
    FileDescriptor descriptor_;
};

}  // namespace larkmoor
