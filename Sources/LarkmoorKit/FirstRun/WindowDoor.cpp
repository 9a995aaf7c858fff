#include "LarkmoorKit/FirstRun/WindowDoor.h"

namespace larkmoor {

namespace WindowDoor {

namespace {

constexpr std::string_view prefix = "--window=";
constexpr std::string_view frontKey = "front";
constexpr std::string_view yes = "1";

}  // namespace

std::string argument(Pane pane) { return std::string{prefix}.append(rawText(pane)); }

std::optional<Pane> requested(std::span<const std::string> arguments) {
    for (const std::string& text : arguments) {
        if (!text.starts_with(prefix)) continue;
        if (const auto pane = fromRawText<Pane>(std::string_view{text}.substr(prefix.size()))) return pane;
    }
    return std::nullopt;
}

std::optional<UserInfo> userInfo(bool front) {
    if (!front) return std::nullopt;
    return UserInfo{{std::string{frontKey}, std::string{yes}}};
}

bool wantsFront(const UserInfo& userInfo) {
    const auto found = userInfo.find(std::string{frontKey});
    return found != userInfo.end() && found->second == yes;
}

}  // namespace WindowDoor

void UpdateOptIn::write(bool value, const std::string& menubarID, const OpenSuite& open) {
    if (const auto suite = open(menubarID)) static_cast<void>(suite->set(key, value));
}

}  // namespace larkmoor
