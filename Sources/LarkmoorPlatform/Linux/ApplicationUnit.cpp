#include "LarkmoorPlatform/Linux/ApplicationUnit.h"

#include <charconv>

namespace larkmoor::ApplicationUnit {

namespace {

constexpr std::string_view prefix = "app-";
constexpr std::string_view scope = ".scope";
constexpr std::string_view service = ".service";

/// `\x2d` and the like are the characters that a unit's name keeps for itself.
std::string unescaped(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        unsigned char byte = 0;
        const bool isEscape = text.size() >= 4 && text.starts_with("\\x") &&
                              std::from_chars(text.data() + 2, text.data() + 4, byte, 16).ptr == text.data() + 4;
        plain += isEscape ? static_cast<char>(byte) : text.front();
        text.remove_prefix(isEscape ? 4 : 1);
    }
    return plain;
}

std::string_view lastPart(std::string_view text) {
    const auto dash = text.rfind('-');
    return dash == std::string_view::npos ? text : text.substr(dash + 1);
}

std::optional<std::string> named(std::string_view part) {
    return part.empty() ? std::nullopt : std::optional{unescaped(part)};
}

std::optional<std::string> applicationOfScope(std::string_view body) {
    const std::string_view last = lastPart(body);
    // Some leave the random part out. It has no dot, and an application that is alone with its launcher has.
    const bool isRandom = last.size() < body.size() && last.find('.') == std::string_view::npos;
    if (isRandom) body.remove_suffix(last.size() + 1);
    return named(lastPart(body));
}

}  // namespace

std::optional<std::string> application(std::string_view unit) {
    if (!unit.starts_with(prefix)) return std::nullopt;
    unit.remove_prefix(prefix.size());
    if (unit.ends_with(scope)) return applicationOfScope(unit.substr(0, unit.size() - scope.size()));
    if (!unit.ends_with(service)) return std::nullopt;
    unit.remove_suffix(service.size());
    return named(lastPart(unit.substr(0, unit.find('@'))));
}

std::optional<std::string> applicationOfGroups(std::string_view groups) {
    while (!groups.empty()) {
        const auto end = groups.find('\n');
        std::string_view line = groups.substr(0, end);
        groups.remove_prefix(end == std::string_view::npos ? groups.size() : end + 1);
        // The service manager's own tree: the unified one, or its named one on machines that still have many.
        const bool isUnified = line.starts_with("0::");
        if (!isUnified && line.find(":name=systemd:") == std::string_view::npos) continue;
        for (auto slash = line.rfind('/'); slash != std::string_view::npos; slash = line.rfind('/')) {
            const std::string_view group = line.substr(slash + 1);
            if (group.ends_with(scope) || group.ends_with(service)) return application(group);
            line = line.substr(0, slash);
        }
    }
    return std::nullopt;
}

}  // namespace larkmoor::ApplicationUnit
