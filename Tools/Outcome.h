// How a tool ends: what it prints, and its exit status.
#pragma once

#include <unistd.h>

#include <csignal>
#include <string>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

struct Outcome {
    static constexpr int failed = 1;
    static constexpr int wrongUsage = 2;

    int status = 0;          ///< the exit status
    std::string output{};    ///< for standard output
    std::string errors{};    ///< for standard error; its last line feed may be left out
    bool committed = false;  ///< a file was changed, so a failure to print must not change the status
};

/// For `main` to return: runs the tool, which is a function that returns an `Outcome`, and prints what it gives. A
/// reader of ours that is gone ends nothing halfway: writing to it fails, which is told at the end.
template <class Run>
int runAndPrint(Run run) {
    std::signal(SIGPIPE, SIG_IGN);
    const Outcome outcome = run();
    const auto printed = Files::writeAll(STDOUT_FILENO, asBytes(outcome.output), "standard output");
    std::string errors = printed ? outcome.errors : printed.error().description();
    if (!errors.empty() && !errors.ends_with('\n')) errors += '\n';
    // If standard error cannot be written either, the exit status still tells.
    (void)Files::writeAll(STDERR_FILENO, asBytes(errors), "standard error");
    return printed || outcome.committed ? outcome.status : Outcome::failed;
}

}  // namespace larkmoor
