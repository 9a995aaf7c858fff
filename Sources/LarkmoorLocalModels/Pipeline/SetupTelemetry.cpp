#include "LarkmoorLocalModels/Pipeline/SetupTelemetry.h"

#include <fmt/format.h>

#include <algorithm>

namespace larkmoor {

std::string SetupTelemetry::rate(std::int64_t bytes, Seconds elapsed) {
    constexpr double kilobyte = 1024, leastElapsed = 0.001;
    const double perSecond = static_cast<double>(bytes) / std::max(elapsed.count(), leastElapsed);
    return fmt::format("{}KB/s", static_cast<std::int64_t>(perSecond / kilobyte));
}

std::string SetupTelemetry::throughput(std::string_view component, std::int64_t bytes,
                                       std::optional<std::int64_t> totalBytes, Seconds elapsed) {
    return fmt::format("telemetry {} throughput bytes={}{} elapsed={:.2f}s rate={}", component, bytes,
                       totalBytes ? fmt::format(" total={}", *totalBytes) : "", elapsed.count(), rate(bytes, elapsed));
}

std::string SetupTelemetry::Throughput::line(std::string_view component, const Transfer& transfer, Time now) {
    last_ = now;
    return throughput(component, transfer.bytes, transfer.total, now - start_);
}

}  // namespace larkmoor
