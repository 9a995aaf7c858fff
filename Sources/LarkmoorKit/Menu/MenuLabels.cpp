#include "LarkmoorKit/Menu/MenuLabels.h"

#include <fmt/format.h>

#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor::MenuLabels {

namespace {

std::string named(std::string_view rest) { return fmt::format("{} — {}", ClientInstance::productName, rest); }

}  // namespace

std::string attention(std::optional<DoorFault> fault) {
    return named(fault == DoorFault::absent ? "not running" : "attention");
}

std::string trail(FrontRecording front) {
    return front == FrontRecording::full ? named("remembering this screen") : notKeptLabel(front);
}

std::string notKeptLabel(FrontRecording front) {
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

std::string resumeTitle(const std::optional<std::string>& resumesAt) {
    return resumesAt ? fmt::format("Resume Recording (auto {})", *resumesAt) : "Start Recording";
}

}  // namespace larkmoor::MenuLabels
