// Launch agents as units of the user's service manager: their files, their state, installing and uninstalling them.
#pragma once

#include <expected>
#include <optional>
#include <string>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnit.h"
#include "LarkmoorPlatform/Linux/Services/UserFolders.h"
#include "LarkmoorPlatform/Linux/Services/UserManager.h"

namespace larkmoor {

/// The files of an agent's unit. The unit file is in the user's data folder, so that `systemctl mask` can override it;
/// a link in default.target.wants starts it at login, and `systemctl disable` removes that. Blocks for the disk; any
/// thread.
struct AgentUnitFiles {
    UserFolders folders;

    /// The paths of the unit file and of its wants link. `name` ends in ".service".
    std::string unit(const std::string& name) const { return folders.data + "/systemd/user/" + name; }
    std::string link(const std::string& name) const {
        return folders.config + "/systemd/user/default.target.wants/" + name;
    }
    /// Where a unit of the user's takes the place of ours.
    std::string usersUnit(const std::string& name) const { return folders.config + "/systemd/user/" + name; }
    bool isUsers(const std::string& name) const;

    /// Creates the link before the unit, and removes a link that is no longer wanted after it: a link without its unit
    /// has no effect, while a unit without its link would look as if the user had disabled it. What a killed process
    /// left of the unit's file goes, here and in `remove`.
    std::expected<void, FileError> write(const AgentUnit& unit) const;
    /// Removes the unit before the link, which stays where there is a unit of the user's. Files that do not exist are
    /// not an error.
    std::expected<void, FileError> remove(const std::string& name) const;
};

/// Main thread; must outlive its tasks.
class AgentUnits {
  public:
    AgentUnits(UserManager& manager, UserFolders folders, AgentGuard guard = {})
        : manager_(manager), files_{std::move(folders)}, guard_(std::move(guard)) {}

    /// The unit of a property list; the error is text for a log.
    std::expected<AgentUnit, std::string> unit(BytesView list, const std::string& listPath) const {
        return AgentUnit::translate(list, listPath, guard_);
    }

    struct State {
        std::optional<std::string> fileState;  ///< UnitFileState; nullopt without a unit file
        std::string text{};                    ///< of the unit file; "" without one
        std::optional<std::string> source;     ///< the property list that the unit was made from
        bool isUsers = false;                  ///< a unit of the user's is in its place
        /// The user has masked the unit or removed its link.
        bool isDisabledByUser() const { return fileState == "masked" || fileState == "disabled"; }
        /// Masked until the next login by bootout, not by the user.
        bool isBootedOut() const { return fileState == "masked-runtime"; }
    };
    Task<std::expected<State, BusError>> state(std::string unit);

    /// Replaces a unit of the same name, and starts the unit if it starts at load; a running one is not restarted.
    /// Writes nothing if no service manager runs. If it is interrupted, the next call completes it, and meanwhile the
    /// unit does not look disabled by the user.
    Task<UserManager::Result> install(AgentUnit unit);
    /// Stops the unit and removes all its files. A unit that does not stop stays installed; the user's is left alone.
    Task<UserManager::Result> uninstall(std::string unit);
    /// Uninstalls; the files go even if the service manager does not answer, so that no later login starts the unit.
    Task<UserManager::Result> discard(std::string unit);

  private:
    UserManager& manager_;
    AgentUnitFiles files_;
    const AgentGuard guard_;
};

}  // namespace larkmoor
