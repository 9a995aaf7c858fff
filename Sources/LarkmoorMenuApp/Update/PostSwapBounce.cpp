#include "LarkmoorMenuApp/Update/PostSwapBounce.h"

#include <fmt/format.h>

#include "LarkmoorUpdate/Dance/DaemonBounce.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor {

Task<std::optional<std::string>> askDaemonBuild(std::shared_ptr<LarkmoorClient> client,
                                                std::shared_ptr<DoorWaiting> waiting) {
    const auto asked = co_await BoundedDoorCall::run<TimedResponse>(
        UpdateDoorDeadlines::shipped().silence, {}, std::move(waiting),
        [client = std::move(client)] { return client->sendTimed(GatewayRequest::Read{ReadRequest::DaemonBuild{}}); });
    const auto* build = asked.answered ? asked.value.response.as<GatewayResponse::Text>() : nullptr;
    co_return build == nullptr ? std::nullopt : std::optional{build->_0};
}

Task<void> PostSwapBounce::run(std::shared_ptr<LarkmoorClient> client, Seams seams) {
    const auto daemonBuild = co_await askDaemonBuild(std::move(client), seams.waiting);
    if (!daemonBuild || DaemonBounce::decide(seams.ownBuild, *daemonBuild) == DaemonBounce::Verdict::leaveAlone) {
        co_return;
    }
    const std::string target = DaemonBounce::kickstartTarget(seams.user, ClientInstance::gatewayID);
    seams.relay.say(fmt::format(
        "the daemon is on build {} and this app is on {} — kickstarting {} so the family runs one version (m:955)",
        *daemonBuild, seams.ownBuild, target));
    const auto exit = co_await seams.launchctl.kickstart(target, true);
    if (!exit) {
        seams.relay.say("post-swap kickstart could not run launchctl: " + exit.error());
    } else if (*exit != 0) {
        seams.relay.say(
            fmt::format("post-swap kickstart FAILED (launchctl exit {}) — the daemon is still running the "
                        "previous binary; it will come back on the new one at the next login",
                        *exit));
    }
}

}  // namespace larkmoor
