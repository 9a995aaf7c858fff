#include "LarkmoorPlatform/Linux/Services/AgentUnits.h"

#include <unistd.h>

#include <cerrno>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/FileTemporaries.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace {

using FileResult = std::expected<void, FileError>;

FileResult removeFile(const std::string& path) {
    if (::unlink(path.c_str()) == 0 || errno == ENOENT) return {};
    return std::unexpected(FileError{path, errno});
}

FileResult makeFolderOf(const std::string& path) { return Files::makeFolders(path.substr(0, path.rfind('/')), 0755); }

FileResult makeLink(const std::string& target, const std::string& link) {
    if (auto made = makeFolderOf(link); !made) return made;
    if (::symlink(target.c_str(), link.c_str()) == 0 || errno == EEXIST) return {};
    return std::unexpected(FileError{link, errno});
}

UserManager::Result asBusError(const std::expected<void, FileError>& done) {
    if (done) return {};
    return std::unexpected(BusError{std::string{BusErrorName::failed}, done.error().description()});
}

/// Unknown and masked units cannot be running.
bool hasNothingToStop(const BusError& error) {
    return error.name == UserManager::noSuchUnit || error.name == UserManager::unitMasked;
}

}  // namespace

FileResult AgentUnitFiles::write(const AgentUnit& agent) const {
    const std::string file = unit(agent.name), wants = link(agent.name);
    if (agent.startsAtLoad) {
        if (auto done = makeLink(file, wants); !done) return done;
    }
    if (auto made = makeFolderOf(file); !made) return made;
    FileTemporaries::sweep(file);
    if (auto written = Files::replace(file, asBytes(agent.text), 0644); !written) return written;
    return agent.startsAtLoad ? FileResult{} : removeFile(wants);
}

FileResult AgentUnitFiles::remove(const std::string& name) const {
    FileTemporaries::sweep(unit(name));
    if (auto gone = removeFile(unit(name)); !gone) return gone;
    return isUsers(name) ? FileResult{} : removeFile(link(name));
}

/// `systemctl edit --full` makes a copy of ours, with our SourcePath in it. That of an agent of the bundle is still the
/// bundle's, whose updates and migrations have to stop it.
bool AgentUnitFiles::isUsers(const std::string& name) const {
    const auto users = Files::read(usersUnit(name));
    if (!users) return false;
    const auto source = AgentUnit::source(asText(*users));
    return !source || !source->contains("/Contents/Library/LaunchAgents/");
}

Task<std::expected<AgentUnits::State, BusError>> AgentUnits::state(std::string unit) {
    State found;
    const UserManager::Answer fileState = co_await manager_.fileState(unit);
    if (fileState) {
        found.fileState = *fileState;
    } else if (fileState.error().name != UserManager::noSuchFile) {
        co_return std::unexpected(fileState.error());
    }
    if (const auto text = Files::read(files_.unit(unit))) {
        found.text = asText(*text);
        found.source = AgentUnit::source(found.text);
    }
    found.isUsers = files_.isUsers(unit);
    co_return found;
}

Task<UserManager::Result> AgentUnits::install(AgentUnit unit) {
    // Without a service manager nothing is written, since the unit would start unasked at some later login.
    const auto known = co_await state(unit.name);
    if (!known) co_return std::unexpected(known.error());
    const auto written = co_await BlockingWork::run([files = files_, unit] { return files.write(unit); });
    if (!written) co_return asBusError(written);
    if (known->isBootedOut()) {
        if (auto lifted = co_await manager_.unmaskRuntime(unit.name); !lifted) co_return lifted;
    }
    if (auto reloaded = co_await manager_.reload(); !reloaded) co_return reloaded;
    if (!unit.startsAtLoad) co_return UserManager::Result{};
    co_return co_await manager_.start(unit.name);
}

Task<UserManager::Result> AgentUnits::uninstall(std::string unit) {
    const auto known = co_await state(unit);
    if (!known) co_return std::unexpected(known.error());
    const auto stopped = known->isUsers ? UserManager::Result{} : co_await manager_.stop(unit);
    if (!stopped && !hasNothingToStop(stopped.error())) co_return stopped;
    const auto gone = co_await BlockingWork::run([files = files_, unit] { return files.remove(unit); });
    if (!gone) co_return asBusError(gone);
    if (known->isBootedOut()) {
        if (auto lifted = co_await manager_.unmaskRuntime(unit); !lifted) co_return lifted;
    }
    static_cast<void>(co_await manager_.resetFailed(unit));
    co_return co_await manager_.reload();
}

Task<UserManager::Result> AgentUnits::discard(std::string unit) {
    auto done = co_await uninstall(unit);
    if (done) co_return done;
    const auto gone = co_await BlockingWork::run([files = files_, unit] { return files.remove(unit); });
    co_return gone ? done : asBusError(gone);
}

}  // namespace larkmoor
