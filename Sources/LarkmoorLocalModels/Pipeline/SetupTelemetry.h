// The lines of the setup log that tell how fast a download is.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::SetupTelemetry {

using Seconds = std::chrono::duration<double>;

/// "{n}KB/s", of 1024 bytes, cut to a whole number; a time below a millisecond counts as one.
std::string rate(std::int64_t bytes, Seconds elapsed);

/// "telemetry {component} throughput bytes=… total=… elapsed=…s rate=…"
std::string throughput(std::string_view component, std::int64_t bytes, std::optional<std::int64_t> totalBytes,
                       Seconds elapsed);

}  // namespace larkmoor::SetupTelemetry
