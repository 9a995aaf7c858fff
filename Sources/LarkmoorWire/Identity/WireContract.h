// The number of the contract that this build speaks, and what a daemon of another number means.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace larkmoor::WireContract {

inline constexpr std::int64_t version = 1;

inline constexpr std::string_view mismatchMessage =
    "Larkmoor updated; this session's bridge is older than the daemon, restart the session";

enum class Verdict { admitted, mismatch };

/// A daemon that says nothing of its number is admitted.
constexpr Verdict verdict(std::int64_t ours, std::optional<std::int64_t> daemon) {
    return !daemon || *daemon == ours ? Verdict::admitted : Verdict::mismatch;
}

}  // namespace larkmoor::WireContract
