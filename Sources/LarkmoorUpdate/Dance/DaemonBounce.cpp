#include "LarkmoorUpdate/Dance/DaemonBounce.h"

#include <algorithm>
#include <charconv>

#include "LarkmoorKit/Supervision/LoginItems.h"

namespace larkmoor::DaemonBounce {

std::optional<Int> build(std::string_view text) {
    const auto isDigit = [](char letter) { return letter >= '0' && letter <= '9'; };
    Int number = 0;
    if (text.empty() || !std::ranges::all_of(text, isDigit) ||
        std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc{}) {
        return std::nullopt;
    }
    return number;
}

Verdict decide(std::string_view ownBuild, std::string_view daemonBuild) {
    const auto own = build(ownBuild), daemon = build(daemonBuild);
    return own && daemon && *daemon < *own ? Verdict::kickstart : Verdict::leaveAlone;
}

std::string kickstartTarget(uid_t uid, std::string_view label) {
    return LoginItems::guiDomainTarget(uid) + "/" + std::string{label};
}

}  // namespace larkmoor::DaemonBounce
