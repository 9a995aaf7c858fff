#include "LarkmoorKit/Menu/MenuLabels.h"

#include <fmt/format.h>

#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

namespace {

std::string named(std::string_view rest) { return fmt::format("{} — {}", ClientInstance::productName, rest); }

}  // namespace

std::string MenuHeaderTitle::title(std::string_view product, const std::optional<std::string>& version,
                                   const std::optional<std::string>& build) {
    return fmt::format("{} (v{} · build {})", product, version.value_or(std::string{unknown}),
                       build.value_or(std::string{unknown}));
}

std::string MenuLabels::attention(std::optional<DoorFault> fault) {
    return named(fault == DoorFault::absent ? "not running" : "attention");
}

std::string MenuLabels::trail(FrontRecording front) {
    return front == FrontRecording::full ? named("remembering this screen") : notKeptLabel(front);
}

std::string MenuLabels::notKeptLabel(FrontRecording front) {
    switch (front) {
        case FrontRecording::titleOnly:
            return named("keeping only this window's title, not the screen");
        case FrontRecording::blocked:
            return named("not recording this (private or blocked)");
        case FrontRecording::unknown:
            return named("not recording this (can't tell if it's private)");
        case FrontRecording::full:
        case FrontRecording::none:
            break;
    }
    return named("not recording right now");
}

std::string MenuLabels::resumeTitle(const std::optional<std::string>& resumesAt) {
    return resumesAt ? fmt::format("Resume Recording (auto {})", *resumesAt) : "Start Recording";
}

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
