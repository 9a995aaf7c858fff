#include "LarkmoorKit/Supervision/DaemonAgent.h"

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorWire/Identity/ClientInstance.h"
#include "LarkmoorWire/Identity/ClientStoreMode.h"

namespace larkmoor {

namespace {

constexpr const char* name = "daemon agent";

}  // namespace

std::string QuitSentinel::defaultPath(std::string_view support) {
    return fmt::format("{}/{}", ClientInstance::supportRoot(support), fileName);
}

bool QuitSentinel::isSet() const { return Files::exists(path); }

void QuitSentinel::set() const {
    const std::string now = iso8601(std::chrono::system_clock::now());
    static_cast<void>(ClientStoreMode::write(asBytes(fmt::format("quit at {}\n", now)), path));
}

void QuitSentinel::clear() const { ::unlink(path.c_str()); }

Task<void> DaemonAgent::registerInBundleAgent() {
    const auto definition = Files::read(seams_.inBundlePlist);
    // Without the property list there is no digest to compare, and none to store.
    if (!definition) co_return co_await LoginItems::registerItem(name, seams_.service, seams_.log);
    const std::string current = SHA256::ofBytes(*definition);
    const auto stored = seams_.defaults.string(digestKey);
    const bool jobLoaded = co_await status("print", seams_.launchctl.print(serviceTarget())) == 0;
    switch (AgentDefinition::action(co_await seams_.service.status(), stored, current, jobLoaded)) {
        case AgentDefinitionAction::needsApproval:
            co_return LoginItems::sayNeedsApproval(name, seams_.log);
        case AgentDefinitionAction::leaveEnabled:
            // An earlier build may have made another job of the same list.
            if (co_await seams_.launchctl.isCurrent(seams_.inBundlePlist)) co_return;
            break;
        case AgentDefinitionAction::reregister:
            if (!co_await unregisterStale(jobLoaded)) co_return;
            break;
        case AgentDefinitionAction::registerItem:
            break;
    }
    if (!co_await LoginItems::tryRegister(name, seams_.service, seams_.log)) co_return;
    const auto kept = seams_.defaults.set(digestKey, current);
    if (!kept) seams_.log("[larkmoor-menu] the daemon agent's digest was not stored: " + kept.error().description());
}

/// False if that failed: registering over the stale registration could leave two definitions.
Task<bool> DaemonAgent::unregisterStale(bool jobLoaded) {
    const auto unregistered = co_await seams_.service.unregisterItem();
    if (!unregistered) {
        seams_.log("[larkmoor-menu] daemon agent unregister() failed, NOT re-registering: " + unregistered.error());
        co_return false;
    }
    // A registration that is broken off before the agent was started is done again at the next launch.
    static_cast<void>(seams_.defaults.set(digestKey, ""));
    seams_.log(fmt::format("[larkmoor-menu] daemon agent {} — unregistered the stale registration",
                           jobLoaded ? "definition changed" : "job missing from the gui domain"));
    co_return true;
}

Task<void> DaemonAgent::healLooseAgent() {
    healed_ = true;
    const bool plistExists = Files::exists(seams_.loosePlist);
    // A normal install has no loose agent: launchctl is not asked.
    const bool registered = plistExists && co_await status("print", seams_.launchctl.print(serviceTarget())) == 0;
    switch (AgentRegistration::action(plistExists, registered)) {
        case AgentRegistration::Action::doNothing:
            co_return;
        case AgentRegistration::Action::kickstart:
            co_return co_await startLooseAgent();
        case AgentRegistration::Action::bootstrap:
            co_return co_await bootstrapLooseAgent();
    }
}

Task<void> DaemonAgent::startLooseAgent() {
    const int exit = co_await status("kickstart", seams_.launchctl.kickstart(serviceTarget()));
    if (exit != 0) seams_.log(fmt::format("[larkmoor-menu] daemon agent kickstart failed (launchctl exit {})", exit));
}

Task<void> DaemonAgent::bootstrapLooseAgent() {
    const std::string domain = LoginItems::guiDomainTarget(seams_.user);
    seams_.log(fmt::format(
        "[larkmoor-menu] daemon agent plist is on disk but its job is NOT in {} — re-bootstrapping (m:505)", domain));
    const int exit = co_await status("bootstrap", seams_.launchctl.bootstrap(domain, seams_.loosePlist));
    seams_.log(exit == 0 ? "[larkmoor-menu] daemon agent re-bootstrapped; recording is supervised again"
                         : fmt::format("[larkmoor-menu] daemon agent re-bootstrap FAILED (launchctl exit {}); run "
                                       "Scripts/install-agent.sh",
                                       exit));
}

Task<void> DaemonAgent::releaseQuitIfHeld(QuitSentinel sentinel) {
    if (!sentinel.isSet()) co_return;
    sentinel.clear();
    seams_.log("[larkmoor-menu] quit released by a user gesture — kickstarting the daemon (m:505)");
    const int exit = co_await status("kickstart", seams_.launchctl.kickstart(serviceTarget()));
    if (exit == 0) co_return;
    seams_.log(
        fmt::format("[larkmoor-menu] kickstart after quit-release failed (exit {}); running the full heal", exit));
    sentinel.clear();
    co_await healLooseAgent();
}

/// A request to the daemon's bus name does not start it, so that a daemon that was quit has to be started here.
Task<void> DaemonAgent::clearQuitAndHealLooseAgent(QuitSentinel sentinel) {
    co_await releaseQuitIfHeld(std::move(sentinel));
    if (!healed_) co_await healLooseAgent();
}

Task<void> DaemonAgent::start() { (void)co_await status("kickstart", seams_.launchctl.kickstart(serviceTarget())); }

/// The exit status; -1, with a line in the log, if launchctl cannot be run at all.
Task<int> DaemonAgent::status(std::string verb, Task<LaunchAgents::ExitStatus> call) {
    const LaunchAgents::ExitStatus answer = co_await std::move(call);
    if (answer) co_return *answer;
    seams_.log(fmt::format("[larkmoor-menu] launchctl {} could not run: {}", verb, answer.error()));
    co_return -1;
}

}  // namespace larkmoor
