// Runs programs with posix_spawn and follows them through their process descriptors.
#pragma once

#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

class SpawningProcessRunner final : public ProcessRunner {
  public:
    /// `loop` outlives it and is where `run` is awaited; programs that still run when the loop goes are ended with it.
    explicit SpawningProcessRunner(MainLoop& loop) : loop_(loop) {}

    Task<ProcessResult> run(ProcessRequest request, std::stop_token stop = {}) override;
    std::expected<void, FileError> launch(std::string executable, std::vector<std::string> arguments,
                                          ProcessEnvironment environment = {}) override;

  private:
    MainLoop& loop_;
};

}  // namespace larkmoor
