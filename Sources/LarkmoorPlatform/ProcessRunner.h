// Runs another program to its end, within a budget.
#pragma once

#include <expected>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/ProcessRequest.h"
#include "LarkmoorPlatform/ProcessResult.h"

namespace larkmoor {

/// Main thread. No thread waits for the program; many run at once.
class ProcessRunner {
  public:
    virtual ~ProcessRunner() = default;

    /// The program has a process group of its own. When it ends, when its budget does, or when `stop` is asked (from
    /// any thread), what is left of the group gets signal 9: nobody goes on writing after the run, and a child that
    /// holds an output open does not prolong it. Who leaves the group escapes that. Two seconds after signal 9 the run
    /// ends even if the system cannot end the program. The program inherits no descriptor but its three, and no blocked
    /// or ignored signal.
    virtual Task<ProcessResult> run(ProcessRequest request, std::stop_token stop = {}) = 0;

    /// Starts a program that lives on by itself, after our own end too: in a session of its own, without input and
    /// output. The error is the executable's; how the program ends later nobody is told.
    virtual std::expected<void, FileError> launch(std::string executable, std::vector<std::string> arguments,
                                                  ProcessEnvironment environment = {}) = 0;
};

}  // namespace larkmoor
