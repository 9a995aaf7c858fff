#include "LarkmoorKit/Menu/OutcomeNote.h"

#include <fmt/format.h>

namespace larkmoor {

std::optional<std::string> outcomeNote(std::string_view verb, const GatewayResponse& answer) {
    if (answer.is<GatewayResponse::Ok>()) return std::nullopt;
    if (const auto* unimplemented = answer.as<GatewayResponse::Unimplemented>()) {
        return fmt::format("{} refused — this daemon does not accept {}", verb, unimplemented->verb);
    }
    if (const auto* failure = answer.as<GatewayResponse::Failure>()) {
        return fmt::format("{} refused — {}", verb, failure->message);
    }
    return fmt::format("{} answered with an unexpected reply shape", verb);
}

}  // namespace larkmoor
