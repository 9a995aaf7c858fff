// The jobs of this user's service manager, asked in launchctl's verbs and answered in its exit statuses.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// Main thread. A target is "gui/{uid}" for the domain and "gui/{uid}/{label}" for a job in it. 0 is success; the error
/// says why there is no answer at all.
class LaunchAgents {
  public:
    using ExitStatus = std::expected<int, std::string>;

    static constexpr int inputOutputError = 5;  ///< the list cannot be loaded, or the job not be started
    static constexpr int inProgress = 36;       ///< asked for, and not done in time
    static constexpr int couldNotFind = 113;    ///< no such job
    static constexpr int isDisabled = 119;      ///< the person switched it off

    virtual ~LaunchAgents() = default;

    /// Whether the job is loaded; it need not run.
    virtual Task<ExitStatus> print(std::string serviceTarget) = 0;
    /// Loads the agent's property list, also for later logins, and starts it if the list asks for that.
    virtual Task<ExitStatus> bootstrap(std::string domainTarget, std::string listPath) = 0;
    /// Starts a loaded job. One that runs is left alone, or with `kill` ended and started anew.
    virtual Task<ExitStatus> kickstart(std::string serviceTarget, bool kill = false) = 0;
    /// Ends the job and takes it out of the domain until it is loaded again, or until the next login.
    virtual Task<ExitStatus> bootout(std::string serviceTarget) = 0;
};

}  // namespace larkmoor
