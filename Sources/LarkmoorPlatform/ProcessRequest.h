// Another program to run: what it is given, where its words go, and how long it may take.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"

namespace larkmoor {

namespace ProcessInputs {

/// Reads as an empty file.
struct None {};
/// Comes as a file in memory: a program that never reads holds nobody up.
struct FromBytes {
    Bytes bytes;
};
/// The descriptor itself; ours is closed once the program has it, or could not be started.
struct FromDescriptor {
    FileDescriptor descriptor;
};

}  // namespace ProcessInputs

using ProcessInput = std::variant<ProcessInputs::None, ProcessInputs::FromBytes, ProcessInputs::FromDescriptor>;

namespace ProcessOutputs {

struct Discarded {};
/// Comes back in the result: what was written until the program's end, the last 16 MiB of it.
struct Captured {};
/// A file made anew, readable by its owner alone.
struct ToFile {
    std::string path;
};
/// Told while the program runs, in pieces as they come and the last one before the run ends. Main thread.
struct Told {
    std::function<void(BytesView)> listener;
};
/// For the standard error alone: goes where the standard output goes, in the order of writing.
struct WithOutput {};

}  // namespace ProcessOutputs

using ProcessOutput =
    std::variant<ProcessOutputs::Discarded, ProcessOutputs::Captured, ProcessOutputs::ToFile, ProcessOutputs::Told>;
using ProcessErrors = std::variant<ProcessOutputs::Discarded, ProcessOutputs::Captured, ProcessOutputs::WithOutput>;

struct ProcessEnvironment {
    bool isInherited = true;  ///< begins with ours; otherwise with nothing
    /// Set on top of that; a name without a value is taken away.
    std::map<std::string, std::optional<std::string>> changes{};
};

struct ProcessRequest {
    std::string executable;                ///< a path; nothing is searched
    std::vector<std::string> arguments{};  ///< without the program's own name
    ProcessEnvironment environment{};
    ProcessInput input{};
    ProcessOutput output{};
    ProcessErrors errors{};
    /// From the start to signal 9. There is no run without one.
    std::chrono::milliseconds budget;
};

}  // namespace larkmoor
