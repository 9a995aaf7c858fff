// Control of this user's launch agents: launchctl's verbs and exit statuses.
#pragma once

#include <cstdint>
#include <expected>
#include <optional>
#include <string>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// Main thread. A target is "gui/{uid}" for the domain and "gui/{uid}/{label}" for a job in it. Status 0 is success;
/// an error means that the service manager could not be asked.
class LaunchAgents {
  public:
    using ExitStatus = std::expected<int, std::string>;

    static constexpr int inputOutputError = 5;  ///< the property list cannot be loaded, or the job not be started
    static constexpr int inProgress = 36;       ///< requested, but not finished in time
    static constexpr int couldNotFind = 113;    ///< no such job
    static constexpr int isDisabled = 119;      ///< the user disabled it, or has a job of that name

    virtual ~LaunchAgents() = default;

    /// Whether the job is loaded; it need not run.
    virtual Task<ExitStatus> print(std::string serviceTarget) = 0;
    /// The process of the job; nullopt if it has none, or if the service manager could not be asked.
    virtual Task<std::optional<std::int32_t>> pid(std::string serviceTarget) = 0;
    /// False if the job is not loaded, or was loaded from another content of its property list than that has now.
    virtual Task<bool> isCurrent(std::string listPath) = 0;
    /// Loads the agent's property list, for later logins too, and starts the job if the list says so.
    virtual Task<ExitStatus> bootstrap(std::string domainTarget, std::string listPath) = 0;
    /// Starts a loaded job. A running one is left alone, or restarted if `kill` is set.
    virtual Task<ExitStatus> kickstart(std::string serviceTarget, bool kill = false) = 0;
    /// Stops and unloads the job until it is bootstrapped again, or until the next login. One that the user disabled is
    /// left as it is, running or not: `isDisabled`. So is one of the user's own, unless `usersToo` is set: then it is
    /// stopped, and stays loaded.
    virtual Task<ExitStatus> bootout(std::string serviceTarget, bool usersToo = false) = 0;
};

}  // namespace larkmoor
