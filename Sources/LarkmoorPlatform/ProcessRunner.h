// Runs other programs within a time limit: what they get, where their output goes, how they ended.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Task.h"

namespace larkmoor {

namespace ProcessInputs {

/// An empty input.
struct None {};
/// Given as a file in memory, so that a program that never reads blocks nobody.
struct FromBytes {
    Bytes bytes;
};
/// The descriptor itself; ours is closed once the program has it or could not be started.
struct FromDescriptor {
    FileDescriptor descriptor;
};

}  // namespace ProcessInputs

using ProcessInput = std::variant<ProcessInputs::None, ProcessInputs::FromBytes, ProcessInputs::FromDescriptor>;

namespace ProcessOutputs {

struct Discarded {};
/// Returned in the result: what was written until the program ended, at most the last 16 MiB.
struct Captured {};
/// A file that is created or emptied, readable by its owner alone. Each of the program's writes is on the disk when it
/// returns, so that what the file tells outlasts a loss of power as well as what the program did after it.
struct ToFile {
    std::string path;
};
/// Passed to the listener in pieces while the program runs; the last piece comes before the run ends. Main thread.
struct Streamed {
    std::function<void(BytesView)> listener;
    /// What the listener gets in one turn of the loop. The program waits while the pipe is full.
    std::size_t maxBytesPerTurn = std::size_t{1} << 20U;
};
/// For standard error alone: joins standard output, in the order of writing.
struct WithOutput {};

}  // namespace ProcessOutputs

using ProcessOutput =
    std::variant<ProcessOutputs::Discarded, ProcessOutputs::Captured, ProcessOutputs::ToFile, ProcessOutputs::Streamed>;
using ProcessErrors = std::variant<ProcessOutputs::Discarded, ProcessOutputs::Captured, ProcessOutputs::WithOutput>;

struct ProcessEnvironment {
    bool isInherited = true;  ///< starts from ours; otherwise empty
    /// Applied on top; a name without a value is removed.
    std::map<std::string, std::optional<std::string>> changes{};
};

struct ProcessRequest {
    std::string executable;                ///< a path; $PATH is not searched
    std::optional<std::string> name{};     ///< argv[0]; without it, the executable's path
    std::vector<std::string> arguments{};  ///< without argv[0]
    ProcessEnvironment environment{};
    ProcessInput input{};
    ProcessOutput output{};
    ProcessErrors errors{};
    /// The time from the start until SIGKILL. Mandatory.
    std::chrono::milliseconds budget;
    /// Whether the program goes on if this process ends before it, which then nobody watches; SIGTERM, SIGHUP and
    /// SIGINT are blocked in it, which a service manager sends to us and our children alike.
    bool outlivesUs = false;
};

namespace ProcessEnds {

struct Exited {
    int status = 0;
    bool operator==(const Exited&) const = default;
};
/// By a signal that we did not send.
struct Signalled {
    int signal = 0;
    bool operator==(const Signalled&) const = default;
};
/// The budget was used up, and we sent SIGKILL.
struct TimedOut {
    bool operator==(const TimedOut&) const = default;
};
/// The caller asked for the end, and we sent SIGKILL.
struct Stopped {
    bool operator==(const Stopped&) const = default;
};
/// No program ran. The path in the error is the executable's or that of an input or output file.
struct NotStarted {
    FileError error;
    bool operator==(const NotStarted&) const = default;
};

}  // namespace ProcessEnds

using ProcessEnd = std::variant<ProcessEnds::Exited, ProcessEnds::Signalled, ProcessEnds::TimedOut,
                                ProcessEnds::Stopped, ProcessEnds::NotStarted>;

struct ProcessResult {
    ProcessEnd end;
    Bytes output{};  ///< filled for `Captured`
    Bytes errors{};

    /// As one number: the exit status, the signal, or -1 for a program that did not start.
    std::int32_t status() const;
    bool timedOut() const { return std::holds_alternative<ProcessEnds::TimedOut>(end); }
    /// "exit 3", "signal 11", "ended when its budget was over", ... for a log.
    std::string description() const;
};

/// Main thread. No thread waits for a program; many run at once.
class ProcessRunner {
  public:
    virtual ~ProcessRunner() = default;

    /// The program leads a process group of its own. When it exits, when its budget is used up, or when `stop` is
    /// requested (from any thread), the whole group gets SIGKILL: no child writes on after the run, and one that holds
    /// an output open does not prolong it. A process that left the group is not reached. Two seconds after SIGKILL the
    /// run ends even if the system could not end the program. The program inherits only its three descriptors, and no
    /// blocked or ignored signal.
    virtual Task<ProcessResult> run(ProcessRequest request, std::stop_token stop = {}) = 0;

    /// Starts a program that outlives us, in a session of its own, without input and output. The error is the
    /// executable's; the program's end is not reported.
    virtual std::expected<void, FileError> launch(std::string executable, std::vector<std::string> arguments,
                                                  ProcessEnvironment environment = {}) = 0;
};

}  // namespace larkmoor
