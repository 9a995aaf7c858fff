#include "LarkmoorKit/Door/DoorFault.h"

#include <fmt/format.h>

#include "LarkmoorWire/Identity/WireContract.h"

namespace larkmoor {

std::string message(DoorFault fault) {
    switch (fault) {
        case DoorFault::absent:
            return "Larkmoor isn't running — start it to access your memory.";
        case DoorFault::refused:
            return "Larkmoor is running but refused this connection — this binary isn't signed with the daemon's "
                   "expected identity (sign it: Scripts/sign.sh).";
        case DoorFault::silent:
            return fmt::format(
                "{} is running but did not answer in {}s — it may be busy starting up; try again in a moment.",
                ClientInstance::productName, DoorRedial::standard.budgetSeconds());
        case DoorFault::skew:
            return std::string{WireContract::mismatchMessage};
    }
    return {};
}

std::string staleRefusalMessage(const std::optional<std::string>& updatedTo) {
    return fmt::format(
        "Larkmoor updated{} — this session's connector is from before the update. Restart this session (or reconnect "
        "the MCP server) to continue. Nothing is wrong.",
        updatedTo ? " to " + *updatedTo : "");
}

std::string menuLine(DoorFault fault, ClientProfile profile) {
    switch (fault) {
        case DoorFault::absent:
        case DoorFault::silent:
            return message(fault);
        case DoorFault::refused:
            if (profile == ClientProfile::dev) return message(fault);
            return fmt::format("{} is running but this menu needs a restart to reconnect.",
                               ClientInstance::productName);
        case DoorFault::skew:
            return fmt::format("{} is finishing an update — this window will reconnect by itself.",
                               ClientInstance::productName);
    }
    return {};
}

RefusalNotice::Action RefusalNotice::decide(std::optional<DoorFault> fault,
                                            std::optional<std::chrono::duration<double>> refusedFor,
                                            bool alreadyReported) {
    const bool isDue = fault == DoorFault::refused && !alreadyReported && refusedFor && *refusedFor >= settleWindow;
    return isDue ? Action::report : Action::wait;
}

}  // namespace larkmoor
