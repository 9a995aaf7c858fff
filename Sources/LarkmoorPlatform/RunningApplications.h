// The running applications of this user, and a notice when one ends.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace larkmoor {

/// One process of this user.
struct RunningApplication {
    pid_t process = 0;
    std::string executable;  ///< absolute, as the system knows it
    /// Of the bundle that holds the executable, the same for all processes that run from it; or of the application that
    /// the desktop started, for its first process alone. Most processes have none.
    std::optional<std::string> bundleIdentifier;

    bool operator==(const RunningApplication&) const = default;
};

class RunningApplications {
  public:
    virtual ~RunningApplications() = default;

    /// Scans the process table; takes a few milliseconds. Any thread.
    virtual std::vector<RunningApplication> list() const = 0;

    /// Sends SIGTERM to a listed process. False if it is gone, if its id belongs to another process by now, or if the
    /// system refuses. Any thread.
    virtual bool terminate(pid_t process) = 0;

    /// Calls `ended` from the main loop each time that the last process with this identifier has ended. An application
    /// is discovered by `refresh`, or when the desktop reports its start; one that starts and ends in between is
    /// missed. Main thread; observed for as long as this object lives.
    virtual void onEnd(std::string bundleIdentifier, std::function<void()> ended) = 0;

    /// Discovers the observed applications that started meanwhile. Main thread; a few milliseconds.
    virtual void refresh() = 0;
};

}  // namespace larkmoor
