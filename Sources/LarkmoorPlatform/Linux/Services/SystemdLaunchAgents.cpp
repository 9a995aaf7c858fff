#include "LarkmoorPlatform/Linux/Services/SystemdLaunchAgents.h"

#include <fmt/format.h>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/PlatformLog.h"

namespace larkmoor {

namespace {

using ExitStatus = LaunchAgents::ExitStatus;

/// "gui/501/a.b" is the unit "a.b.service".
std::string unitOf(const std::string& serviceTarget) {
    return serviceTarget.substr(serviceTarget.rfind('/') + 1) + ".service";
}

/// The manager is there and refused, or it is not there to be asked.
ExitStatus statusOf(const BusError& error, std::string_view what) {
    if (error.name == UserManager::noSuchUnit) return LaunchAgents::couldNotFind;
    if (error.name == UserManager::unitMasked) return LaunchAgents::isDisabled;
    if (error.name == BusErrorName::serviceUnknown || error.name == BusErrorName::nameHasNoOwner ||
        error.name == BusErrorName::disconnected)
        return std::unexpected(error.description());
    platformLog(fmt::format("[larkmoor-menu] {}: {}", what, error.description()));
    return error.name == UserManager::jobPending ? LaunchAgents::inProgress : LaunchAgents::inputOutputError;
}

ExitStatus statusOf(const UserManager::Done& done, std::string_view what) {
    return done ? ExitStatus{0} : statusOf(done.error(), what);
}

}  // namespace

Task<ExitStatus> SystemdLaunchAgents::print(std::string serviceTarget) {
    const auto state = co_await manager_.loadState(unitOf(serviceTarget));
    if (!state) co_return statusOf(state.error(), serviceTarget);
    co_return *state == "loaded" ? 0 : couldNotFind;
}

Task<ExitStatus> SystemdLaunchAgents::bootstrap(std::string domainTarget, std::string listPath) {
    const auto list = Files::read(listPath);
    const auto unit = list ? AgentUnit::translate(*list, listPath) : std::unexpected(list.error().description());
    if (!unit) {
        platformLog(fmt::format("[larkmoor-menu] no agent for {}: {}", domainTarget, unit.error()));
        co_return inputOutputError;
    }
    const auto standing = co_await units_.standing(unit->name);
    if (!standing) co_return statusOf(standing.error(), unit->name);
    if (standing->isRefusedByPerson()) co_return isDisabled;
    co_return statusOf(co_await units_.bringIn(*unit), unit->name);
}

Task<ExitStatus> SystemdLaunchAgents::kickstart(std::string serviceTarget, bool kill) {
    const std::string unit = unitOf(serviceTarget);
    const auto standing = co_await units_.standing(unit);
    if (!standing) co_return statusOf(standing.error(), unit);
    if (standing->isRefusedByPerson()) co_return isDisabled;
    if (standing->isBootedOut()) co_return couldNotFind;
    co_return statusOf(kill ? co_await manager_.restart(unit) : co_await manager_.start(unit), unit);
}

Task<ExitStatus> SystemdLaunchAgents::bootout(std::string serviceTarget) {
    const std::string unit = unitOf(serviceTarget);
    const auto stopped = co_await manager_.stop(unit);
    if (!stopped) co_return statusOf(stopped.error(), unit);
    if (const auto masked = co_await manager_.maskForNow(unit); !masked) co_return statusOf(masked.error(), unit);
    co_return statusOf(co_await manager_.reload(), unit);
}

}  // namespace larkmoor
