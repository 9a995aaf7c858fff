// What a worker of the models' setup reports: how far a download is, and why it failed.
#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace larkmoor {

/// How far a download is, in bytes.
struct Transfer {
    std::int64_t bytes = 0;
    std::optional<std::int64_t> total{};

    /// At most 1; nullopt while the total is not known.
    std::optional<double> fraction() const {
        if (!total || *total < 1) return std::nullopt;
        return std::min(static_cast<double>(bytes) / static_cast<double>(*total), 1.0);
    }

    bool operator==(const Transfer&) const = default;
};

/// Main thread.
using TransferListener = std::function<void(Transfer)>;

/// Words for the setup log.
struct [[nodiscard]] SetupError {
    std::string message;

    bool operator==(const SetupError&) const = default;
};

}  // namespace larkmoor
