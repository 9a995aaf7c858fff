// Runs programs with posix_spawn and watches them through pidfds.
#pragma once

#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

class SpawningProcessRunner final : public ProcessRunner {
  public:
    /// `run` is awaited on `loop`, which outlives this; programs that run when the loop is destroyed are
    /// killed, unless they outlive us.
    explicit SpawningProcessRunner(MainLoop& loop) : loop_(loop) {}

    Task<ProcessResult> run(ProcessRequest request, std::stop_token stop = {}) override;
    std::expected<void, FileError> launch(std::string executable, std::vector<std::string> arguments,
                                          ProcessEnvironment environment = {}) override;

  private:
    MainLoop& loop_;
};

}  // namespace larkmoor
