#include "LarkmoorPlatform/Linux/Services/SystemdAgentItem.h"

#include <filesystem>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace {

std::expected<void, std::string> inWords(const UserManager::Done& done) {
    if (!done) return std::unexpected(done.error().description());
    return {};
}

}  // namespace

LoginItemStatus agentItemStatus(const AgentUnits::Standing& standing, const std::string& listPath, bool listExists) {
    if (standing.isRefusedByPerson()) return LoginItemStatus::requiresApproval;
    if (standing.fileState && standing.source == listPath) return LoginItemStatus::enabled;
    return listExists ? LoginItemStatus::notRegistered : LoginItemStatus::notFound;
}

std::string SystemdAgentItem::unit() const { return std::filesystem::path{listPath_}.stem().string() + ".service"; }

Task<LoginItemStatus> SystemdAgentItem::status() {
    const auto standing = co_await units_.standing(unit());
    if (!standing) co_return LoginItemStatus::notFound;
    co_return agentItemStatus(*standing, listPath_, Files::exists(listPath_));
}

Task<std::expected<void, std::string>> SystemdAgentItem::registerItem() {
    const auto list = Files::read(listPath_);
    if (!list) co_return std::unexpected(list.error().description());
    auto agent = AgentUnit::translate(*list, listPath_);
    if (!agent) co_return std::unexpected(agent.error());
    if (agent->name != unit()) co_return std::unexpected(listPath_ + ": its Label is not its own name");
    const auto standing = co_await units_.standing(unit());
    if (standing && standing->isRefusedByPerson())
        co_return std::unexpected(unit() + " was switched off by the person");
    co_return inWords(co_await units_.bringIn(*std::move(agent)));
}

Task<std::expected<void, std::string>> SystemdAgentItem::unregisterItem() {
    co_return inWords(co_await units_.takeOut(unit()));
}

}  // namespace larkmoor
