// One program that we started, the leader of a process group or session of its own.
#pragma once

#include <sys/types.h>

#include <expected>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

/// The process's three descriptors; any may be the same as another.
struct SpawnDescriptors {
    int input;
    int output;
    int errors;
};

/// Owns the process: it is ended and waited for at the latest with this. SIGCHLD is not ignored in our program, and
/// nobody else waits for its children.
class SpawnedProcess {
  public:
    /// What the program becomes the leader of.
    enum class Leads { group, session };
    enum class Ending { exited, signalled };
    struct End {
        Ending ending;
        int number;  ///< the exit status, or the signal
    };

    /// `environment` holds lines NAME=VALUE and is all that the program gets. The program runs when this returns; an
    /// error is the executable's. Blocks until the system has loaded it.
    static std::expected<SpawnedProcess, FileError> start(std::string executable, std::vector<std::string> arguments,
                                                          std::vector<std::string> environment,
                                                          SpawnDescriptors descriptors, Leads leads = Leads::group);

    SpawnedProcess(SpawnedProcess&& other) noexcept;
    SpawnedProcess& operator=(SpawnedProcess&&) = delete;
    ~SpawnedProcess();

    pid_t id() const { return id_; }
    /// Readable once the program has ended; closed with this.
    int descriptor() const { return descriptor_.get(); }

    /// Signal 9 to the whole group; nothing after `reap` has answered, since the number may be another's by then.
    void endGroup() const;

    /// How the program ended, and lets go of it; nothing while it runs, or if somebody else has waited for it.
    std::optional<End> reap();

    /// Lets the program live on without this; what comes back is `descriptor`, through which it is still to be waited
    /// for.
    FileDescriptor letLive() &&;

  private:
    SpawnedProcess(pid_t id, FileDescriptor descriptor);

    pid_t id_;  ///< also the group's; 0 once it is waited for
    FileDescriptor descriptor_;
};

}  // namespace larkmoor
