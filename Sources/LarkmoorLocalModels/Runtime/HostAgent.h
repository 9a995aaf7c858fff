// The launch agent that keeps the model host running. The service manager supervises it: we write its property list and
// load it, and do not watch the process. A host that somebody else runs is never touched from here.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorPlatform/LaunchAgents.h"

namespace larkmoor {

/// Main thread; its files are read and written off it. Must outlive its tasks.
class HostAgent {
  public:
    using Ended = std::expected<void, SetupError>;

    struct Seams {
        LaunchAgents& launchctl;  ///< outlives this
        /// Removes the service manager's unit of that agent, as a list that is not loaded may leave one.
        std::function<Task<void>(std::string label)> removeUnit;
        std::string home, support;
        uid_t user = 0;
        std::function<void(std::string)> log;  ///< the setup log
        /// A wait that no request to stop cuts short: stopping and loading keep their distance.
        std::function<Task<void>(std::chrono::milliseconds)> pacedPause;
    };

    explicit HostAgent(Seams seams) : seams_(std::move(seams)) {}

    std::string plistPath() const;
    std::string logPath() const;
    /// The property list as text; nullopt if there is none.
    Task<std::optional<std::string>> plistText() const;

    /// Writes the property list, keeping the store that an existing one names, and loads it. A first list that cannot
    /// be loaded is removed again, with its unit, since nothing would own it.
    Task<Ended> superviseHost(std::string binary, std::stop_token stop);
    /// Stops the host, if it runs, and starts it by its property list. A failure, and nothing done, where the user has
    /// disabled it.
    Task<Ended> loadAgent(std::stop_token stop);
    /// The process of the host that we supervise.
    Task<std::optional<std::int32_t>> agentPid() const { return seams_.launchctl.pid(service()); }
    /// Replaces the property list by one with these values.
    Task<Ended> writePlist(std::string binary, std::optional<std::string> modelsDir);
    Task<void> pacedPause(std::chrono::milliseconds time) const { return seams_.pacedPause(time); }
    /// Limits the memory of a host that was set up before there was a limit; a host that cannot be restarted so keeps
    /// its old list.
    Task<void> capHostIfUncapped();
    /// Restarts a host that runs by an older list, as after a kill, and loads one that is not loaded any more.
    Task<void> reloadIfStale();

  private:
    Task<Ended> replacePlist(std::string text);
    Task<LaunchAgents::ExitStatus> load(std::stop_token stop);
    std::string service() const;
    std::string domain() const;

    Seams seams_;
};

}  // namespace larkmoor
