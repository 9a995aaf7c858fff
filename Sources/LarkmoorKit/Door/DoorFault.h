// Why the daemon gave no answer that can be believed, and the words for it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorWire/Identity/ClientProfile.h"

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

}  // namespace larkmoor
