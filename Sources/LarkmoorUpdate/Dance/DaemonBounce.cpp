#include "LarkmoorUpdate/Dance/DaemonBounce.h"

#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorKit/Supervision/LoginItems.h"

namespace larkmoor::DaemonBounce {

std::optional<Int> build(std::string_view text) {
    return text.starts_with('-') ? std::nullopt : wholeNumber<Int>(text);
}

Verdict decide(std::string_view ownBuild, std::string_view daemonBuild) {
    const auto own = build(ownBuild), daemon = build(daemonBuild);
    return own && daemon && *daemon < *own ? Verdict::kickstart : Verdict::leaveAlone;
}

std::string kickstartTarget(uid_t uid, std::string_view label) { return LoginItems::guiServiceTarget(uid, label); }

}  // namespace larkmoor::DaemonBounce
