#include "LarkmoorPlatform/Linux/Services/SystemdAgents.h"

#include <fmt/format.h>

#include <filesystem>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

std::expected<void, std::string> withTextError(const UserManager::Result& done) {
    if (!done) return std::unexpected(done.error().description());
    return {};
}

using ExitStatus = LaunchAgents::ExitStatus;

/// "gui/501/a.b" is the unit "a.b.service".
std::string unitOf(const std::string& serviceTarget) {
    return AgentUnit::nameOf(std::string_view{serviceTarget}.substr(serviceTarget.rfind('/') + 1));
}

/// A status for errors of the service manager; an error if there is no service manager.
ExitStatus statusOf(const BusError& error, std::string_view what) {
    if (error.name == UserManager::noSuchUnit) return LaunchAgents::couldNotFind;
    if (error.name == UserManager::unitMasked) return LaunchAgents::isDisabled;
    if (error.name == BusErrorName::serviceUnknown || error.name == BusErrorName::nameHasNoOwner ||
        error.name == BusErrorName::disconnected)
        return std::unexpected(error.description());
    platformLog(fmt::format("[larkmoor-menu] {}: {}", what, error.description()));
    return error.name == UserManager::jobPending ? LaunchAgents::inProgress : LaunchAgents::inputOutputError;
}

ExitStatus statusOf(const UserManager::Result& done, std::string_view what) {
    return done ? ExitStatus{0} : statusOf(done.error(), what);
}

}  // namespace

LoginItemStatus agentItemStatus(const AgentUnits::State& state, const std::string& listPath, bool listExists) {
    if (state.isDisabledByUser()) return LoginItemStatus::requiresApproval;
    if (state.fileState && state.source == listPath) return LoginItemStatus::enabled;
    return listExists ? LoginItemStatus::notRegistered : LoginItemStatus::notFound;
}

std::string SystemdAgentItem::unit() const {
    return AgentUnit::nameOf(std::filesystem::path{listPath_}.stem().native());
}

Task<LoginItemStatus> SystemdAgentItem::status() {
    const auto unitState = co_await units_.state(unit());
    if (!unitState) co_return LoginItemStatus::notFound;
    co_return agentItemStatus(*unitState, listPath_, Files::exists(listPath_));
}

Task<std::expected<void, std::string>> SystemdAgentItem::registerItem() {
    const auto list = Files::read(listPath_);
    if (!list) co_return std::unexpected(list.error().description());
    auto agent = units_.unit(*list, listPath_);
    if (!agent) co_return std::unexpected(agent.error());
    if (agent->name != unit()) co_return std::unexpected(listPath_ + ": its Label is not its own name");
    const auto unitState = co_await units_.state(unit());
    if (unitState && unitState->isDisabledByUser())
        co_return std::unexpected(unit() + " was switched off by the person");
    co_return withTextError(co_await units_.install(*std::move(agent)));
}

Task<std::expected<void, std::string>> SystemdAgentItem::unregisterItem() {
    co_return withTextError(co_await units_.uninstall(unit()));
}

Task<ExitStatus> SystemdLaunchAgents::print(std::string serviceTarget) {
    const auto state = co_await manager_.loadState(unitOf(serviceTarget));
    if (!state) co_return statusOf(state.error(), serviceTarget);
    co_return *state == "loaded" ? 0 : couldNotFind;
}

Task<std::optional<std::int32_t>> SystemdLaunchAgents::pid(std::string serviceTarget) {
    return manager_.mainProcess(unitOf(serviceTarget));
}

Task<bool> SystemdLaunchAgents::isCurrent(std::string listPath) {
    const auto list = Files::read(listPath);
    const auto unit = list ? units_.unit(*list, listPath) : std::unexpected(list.error().description());
    if (!unit) co_return true;
    const auto unitState = co_await units_.state(unit->name);
    if (!unitState) co_return true;
    // As when the registrations were taken back since.
    if (!unitState->fileState) co_return false;
    // What the user has disabled is not ours to load anew.
    if (!unitState->source || unitState->isDisabledByUser() || unitState->isUsers) co_return true;
    co_return unitState->text == unit->text;
}

Task<ExitStatus> SystemdLaunchAgents::bootstrap(std::string domainTarget, std::string listPath) {
    const auto list = Files::read(listPath);
    const auto unit = list ? units_.unit(*list, listPath) : std::unexpected(list.error().description());
    if (!unit) {
        platformLog(fmt::format("[larkmoor-menu] no agent for {}: {}", domainTarget, unit.error()));
        co_return inputOutputError;
    }
    const auto unitState = co_await units_.state(unit->name);
    if (!unitState) co_return statusOf(unitState.error(), unit->name);
    if (unitState->isDisabledByUser() || unitState->isUsers) co_return isDisabled;
    co_return statusOf(co_await units_.install(*unit), unit->name);
}

Task<ExitStatus> SystemdLaunchAgents::kickstart(std::string serviceTarget, bool kill) {
    const std::string unit = unitOf(serviceTarget);
    const auto unitState = co_await units_.state(unit);
    if (!unitState) co_return statusOf(unitState.error(), unit);
    if (unitState->isDisabledByUser()) co_return isDisabled;
    if (unitState->isBootedOut()) co_return couldNotFind;
    co_return statusOf(kill ? co_await manager_.restart(unit) : co_await manager_.start(unit), unit);
}

Task<ExitStatus> SystemdLaunchAgents::bootout(std::string serviceTarget, bool usersToo) {
    const std::string unit = unitOf(serviceTarget);
    const auto unitState = co_await units_.state(unit);
    if (!unitState) co_return statusOf(unitState.error(), unit);
    // Our mask would hide that the user disabled it, and a bootstrap that lifts the mask would enable it again. On a
    // unit of the user's own it has no effect.
    if (unitState->isDisabledByUser() || (unitState->isUsers && !usersToo)) co_return isDisabled;
    const auto stopped = co_await manager_.stop(unit);
    if (!stopped || unitState->isUsers) co_return statusOf(stopped, unit);
    if (const auto masked = co_await manager_.maskRuntime(unit); !masked) co_return statusOf(masked.error(), unit);
    co_return statusOf(co_await manager_.reload(), unit);
}

}  // namespace larkmoor
