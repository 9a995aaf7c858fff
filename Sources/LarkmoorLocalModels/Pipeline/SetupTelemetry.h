// The lines of the setup log that tell how fast a download is.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorLocalModels/Pipeline/Transfer.h"

namespace larkmoor::SetupTelemetry {

using Seconds = std::chrono::duration<double>;

/// "{n}KB/s", of 1024 bytes, cut to a whole number; a time below a millisecond counts as one.
std::string rate(std::int64_t bytes, Seconds elapsed);

/// "telemetry {component} throughput bytes=… total=… elapsed=…s rate=…"
std::string throughput(std::string_view component, std::int64_t bytes, std::optional<std::int64_t> totalBytes,
                       Seconds elapsed);

/// When a running download tells its throughput: at most every two seconds, the first time two seconds after its start.
class Throughput {
  public:
    using Time = std::chrono::steady_clock::time_point;

    explicit Throughput(Time start) : start_(start), last_(start) {}

    bool isDue(Time now) const { return now - last_ >= std::chrono::seconds{2}; }

    /// The line for the log; the next is due two seconds after `now`.
    std::string line(std::string_view component, const Transfer& transfer, Time now);

  private:
    const Time start_;
    Time last_;
};

}  // namespace larkmoor::SetupTelemetry
