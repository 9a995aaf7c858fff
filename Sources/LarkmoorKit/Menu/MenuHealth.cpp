#include "LarkmoorKit/Menu/MenuHealth.h"

#include <string_view>

namespace larkmoor {

namespace {

/// What follows "resumes " up to the closing bracket or the end.
std::optional<std::string> resumeTime(std::string_view text) {
    constexpr std::string_view mark = "resumes ";
    const auto found = text.find(mark);
    if (found == std::string_view::npos) return std::nullopt;
    const std::string_view rest = text.substr(found + mark.size());
    const std::string_view time = rest.substr(0, rest.find(')'));
    if (time.empty()) return std::nullopt;
    return std::string{time};
}

MenuHealth read(std::string_view word) {
    if (word == "healthy") return MenuHealth::Recording{};
    if (word.contains("stopped") || word.contains("paused")) return MenuHealth::Paused{resumeTime(word)};
    // The daemon's own sentence is shown as it stands.
    return MenuHealth::Attention{std::string{word}};
}

}  // namespace

MenuHealth MenuHealth::decide(const GatewayResponse& health, std::optional<DoorFault> fault, ClientProfile profile) {
    if (const auto* failure = health.as<GatewayResponse::Failure>()) {
        return Attention{fault ? menuLine(*fault, profile) : failure->message};
    }
    if (const auto* text = health.as<GatewayResponse::Text>()) return read(text->_0);
    return Attention{"Larkmoor sent an answer we couldn't read"};
}

}  // namespace larkmoor
