// Where an agent's unit lies: in the folder of the user's data, where the person can mask it, wanted by a link among
// the user's settings, which the person can take away.
#pragma once

#include <expected>
#include <string>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnit.h"
#include "LarkmoorPlatform/Linux/Services/UserFolders.h"

namespace larkmoor {

/// Blocks for the disk; any thread.
struct AgentUnitFiles {
    UserFolders folders;

    /// The place of the unit file, and of the link that starts it at login. `name` ends in ".service".
    std::string unit(const std::string& name) const { return folders.data + "/systemd/user/" + name; }
    std::string link(const std::string& name) const {
        return folders.config + "/systemd/user/default.target.wants/" + name;
    }

    /// The link first, and the unit in one step after it; a link that is wanted no more goes last. A link alone is
    /// nothing, and a unit that lacks its link would be the person's no.
    std::expected<void, FileError> write(const AgentUnit& unit) const;
    /// In the other order. What is not there is removed.
    std::expected<void, FileError> remove(const std::string& name) const;
};

}  // namespace larkmoor
