// The wait for a model host that was started anew on another folder: both migrations prove it before they rely on it.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"

namespace larkmoor {

/// How the wait asks.
struct NewHost {
    /// nullopt if the host does not tell.
    std::function<Task<std::optional<std::vector<std::string>>>()> tags;
    std::function<Task<std::optional<std::int32_t>>()> readPid;
    std::function<Task<void>(std::chrono::milliseconds)> pause;
    std::function<void(std::string)> log;
    /// A last proof of a host that lists the naming model; none if null.
    std::function<Task<bool>()> proves{};
    std::string topic;   ///< the log's lines begin with it
    std::string folder;  ///< as the log names it while waiting
    std::stop_token stop{};

    /// True once a host in another process than `old`, or in any if that is not known, lists the naming model; false
    /// after 30 seconds, and what a question takes that was asked before, or when it is stopped. Main thread.
    static Task<bool> wait(NewHost questions, std::optional<std::int32_t> old);
};

}  // namespace larkmoor
