// Why a request to the daemon failed: the kinds of failure, their messages, and the timeouts of the second attempt.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(DoorFault, absent, refused, silent, skew)

/// After two failed connections: the daemon is there and refuses us, or it is not there.
constexpr DoorFault forDoubleFailure(bool serviceRegistered) {
    return serviceRegistered ? DoorFault::refused : DoorFault::absent;
}

/// The daemon judges this process's code identity, and no reconnecting changes that.
constexpr bool isTerminalForThisProcess(DoorFault fault) { return fault == DoorFault::refused; }

/// The words that come back to a caller as `failure(message:)`.
std::string message(DoorFault fault);

/// Instead of the words for `refused`, in a process whose executable was replaced by an update.
std::string staleRefusalMessage(const std::optional<std::string>& updatedTo);

/// The words for the menu's status line.
std::string menuLine(DoorFault fault, ClientProfile profile);

/// How long the door waits once a first attempt has failed.
struct DoorRedial {
    std::chrono::nanoseconds budget;  ///< for the answer to the second attempt, and to the knock
    std::chrono::nanoseconds pause;   ///< before the knock is sent

    static const DoorRedial standard;

    /// The budget in whole seconds, rounded down, at least 1.
    constexpr std::int64_t budgetSeconds() const {
        return std::max<std::int64_t>(1, std::chrono::duration_cast<std::chrono::seconds>(budget).count());
    }
};

inline constexpr DoorRedial DoorRedial::standard{.budget = std::chrono::seconds{3},
                                                 .pause = std::chrono::milliseconds{100}};

/// Whether a refusal by the daemon has lasted long enough to be written down.
namespace RefusalNotice {

/// A daemon that is starting may refuse for a moment: a refusal shorter than this is not reported.
inline constexpr std::chrono::seconds settleWindow{45};

enum class Action { wait, report };

Action decide(std::optional<DoorFault> fault, std::optional<std::chrono::duration<double>> refusedFor,
              bool alreadyReported);

}  // namespace RefusalNotice

}  // namespace larkmoor
