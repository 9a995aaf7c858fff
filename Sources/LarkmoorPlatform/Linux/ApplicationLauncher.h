// Starts an application that lives on by itself.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// Main thread; the runner outlives it.
class ApplicationLauncher {
  public:
    /// `activationToken` gives what lets the new window come to the front, empty for none; asked at each start.
    ApplicationLauncher(ProcessRunner& runner, std::function<std::string()> activationToken)
        : runner_(runner), activationToken_(std::move(activationToken)) {}

    /// `path` is a bundle ("X.app") or an executable. Returns at once; a start that fails is written to the platform's
    /// log.
    void open(const std::string& path, std::vector<std::string> arguments);

  private:
    ProcessRunner& runner_;
    std::function<std::string()> activationToken_;
};

}  // namespace larkmoor
