#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace {

UserManager::Done inBusWords(const std::expected<void, FileError>& done) {
    if (done) return {};
    return std::unexpected(BusError{std::string{BusErrorName::failed}, done.error().description()});
}

/// A unit that the manager never saw, or that is masked, has nothing that could run.
bool hasNothingToStop(const BusError& error) {
    return error.name == UserManager::noSuchUnit || error.name == UserManager::unitMasked;
}

}  // namespace

Task<std::expected<AgentUnits::Standing, BusError>> AgentUnits::standing(std::string unit) {
    Standing standing;
    const UserManager::Answer state = co_await manager_.fileState(unit);
    if (state) {
        standing.fileState = *state;
    } else if (state.error().name != UserManager::noSuchFile) {
        co_return std::unexpected(state.error());
    }
    if (const auto text = Files::read(files_.unit(unit))) standing.source = AgentUnit::source(asText(*text));
    co_return standing;
}

Task<UserManager::Done> AgentUnits::bringIn(AgentUnit unit) {
    // Without a manager nothing could be told of it, and a file alone would start it at some later login.
    const auto known = co_await standing(unit.name);
    if (!known) co_return std::unexpected(known.error());
    const auto written = co_await BlockingWork::run([files = files_, unit] { return files.write(unit); });
    if (!written) co_return inBusWords(written);
    if (known->isBootedOut()) {
        if (auto lifted = co_await manager_.unmaskForNow(unit.name); !lifted) co_return lifted;
    }
    if (auto reloaded = co_await manager_.reload(); !reloaded) co_return reloaded;
    if (!unit.startsAtLoad) co_return UserManager::Done{};
    co_return co_await manager_.start(unit.name);
}

Task<UserManager::Done> AgentUnits::takeOut(std::string unit) {
    const auto known = co_await standing(unit);
    if (!known) co_return std::unexpected(known.error());
    const auto stopped = co_await manager_.stop(unit);
    if (!stopped && !hasNothingToStop(stopped.error())) co_return stopped;
    if (const auto gone = files_.remove(unit); !gone) co_return inBusWords(gone);
    if (known->isBootedOut()) {
        if (auto lifted = co_await manager_.unmaskForNow(unit); !lifted) co_return lifted;
    }
    static_cast<void>(co_await manager_.resetFailed(unit));
    co_return co_await manager_.reload();
}

}  // namespace larkmoor
