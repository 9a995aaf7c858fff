// Runs the system's tools for the setup of the runtime. Main thread.
#pragma once

#include <expected>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorPlatform/ProcessRunner.h"

namespace larkmoor {

/// What a tool may take at most; none is expected to come near it.
inline constexpr std::chrono::hours toolBudget{1};

/// Success is the exit status 0. Otherwise the error is `message`, with what the tool wrote to standard error behind it
/// in parentheses; a tool that does not start has the system's words. A stop kills the tool.
Task<std::expected<void, SetupError>> runTool(ProcessRunner& runner, std::string path,
                                              std::vector<std::string> arguments, std::string message,
                                              std::stop_token stop = {});

/// What the tool writes to standard output, whatever its status; empty if that is not UTF-8. The error is of a tool
/// that does not start.
Task<std::expected<std::string, SetupError>> runToolOutput(ProcessRunner& runner, std::string path,
                                                           std::vector<std::string> arguments,
                                                           std::stop_token stop = {});

}  // namespace larkmoor
