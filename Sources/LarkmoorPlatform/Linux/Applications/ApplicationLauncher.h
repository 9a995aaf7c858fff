// Starts applications that outlive us, with the desktop's permission to raise their windows.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// The environment for a child process: with the activation token of the click that starts it, which lets its window
/// come to the front (empty for none), and without the tokens that this process got, which are used up.
inline ProcessEnvironment environmentWithToken(const std::string& token) {
    ProcessEnvironment environment;
    environment.changes["DESKTOP_STARTUP_ID"] = std::nullopt;
    environment.changes["XDG_ACTIVATION_TOKEN"] = token.empty() ? std::nullopt : std::optional{token};
    return environment;
}

/// Main thread; the runner outlives it.
class ApplicationLauncher {
  public:
    /// `activationToken` is called at each start and returns the click's token, empty for none.
    ApplicationLauncher(ProcessRunner& runner, std::function<std::string()> activationToken)
        : runner_(runner), activationToken_(std::move(activationToken)) {}

    /// `path` is a bundle ("X.app") or an executable. Returns at once; a failure is written to the system's log.
    void open(const std::string& path, std::vector<std::string> arguments);

  private:
    ProcessRunner& runner_;
    std::function<std::string()> activationToken_;
};

}  // namespace larkmoor
