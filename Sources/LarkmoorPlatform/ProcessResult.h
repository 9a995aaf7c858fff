// How a run of another program ended, and what it said.
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace ProcessEnds {

struct Exited {
    int status = 0;
    bool operator==(const Exited&) const = default;
};
/// By a signal that was not ours.
struct Signalled {
    int signal = 0;
    bool operator==(const Signalled&) const = default;
};
/// Its budget ran out, and we ended it with signal 9.
struct TimedOut {
    bool operator==(const TimedOut&) const = default;
};
/// Whoever asked for the run asked for its end, and it came by signal 9.
struct Stopped {
    bool operator==(const Stopped&) const = default;
};
/// No program ran. The path is the one that failed: the executable's, or the output file's.
struct NotStarted {
    FileError error;
    bool operator==(const NotStarted&) const = default;
};

}  // namespace ProcessEnds

using ProcessEnd = std::variant<ProcessEnds::Exited, ProcessEnds::Signalled, ProcessEnds::TimedOut,
                                ProcessEnds::Stopped, ProcessEnds::NotStarted>;

struct ProcessResult {
    ProcessEnd end;
    Bytes output{};  ///< what `Captured` kept
    Bytes errors{};

    /// In one number: the exit status, the signal's number, -1 for a program that did not start.
    std::int32_t status() const;
    bool timedOut() const { return std::holds_alternative<ProcessEnds::TimedOut>(end); }
    /// "exit 3", "signal 11", "ended after its budget", ... for a log.
    std::string description() const;
};

}  // namespace larkmoor
