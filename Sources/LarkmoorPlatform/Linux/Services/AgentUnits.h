// Agents as units of the user manager: brought in, taken out, and what the person has said about them.
#pragma once

#include <expected>
#include <optional>
#include <string>

#include "LarkmoorPlatform/Linux/Services/AgentUnit.h"
#include "LarkmoorPlatform/Linux/Services/AgentUnitFiles.h"
#include "LarkmoorPlatform/Linux/Services/UserManager.h"

namespace larkmoor {

/// Main thread; outlives its tasks.
class AgentUnits {
  public:
    AgentUnits(UserManager& manager, UserFolders folders) : manager_(manager), files_{std::move(folders)} {}

    /// What is known of a unit: the manager's word of its file, and the property list that it was made from.
    struct Standing {
        std::optional<std::string> fileState;  ///< nothing without a file
        std::optional<std::string> source;
        /// Masked, or its link taken away.
        bool isRefusedByPerson() const { return fileState == "masked" || fileState == "disabled"; }
        /// Until the next login; nobody's no.
        bool isBootedOut() const { return fileState == "masked-runtime"; }
    };
    Task<std::expected<Standing, BusError>> standing(std::string unit);

    /// In the place of a unit of that name, and starts it if it starts at load; one that runs already runs on as it is.
    /// Nothing is touched where no manager runs. Killed in between it leaves what the next call completes and nobody
    /// takes for the person's word.
    Task<UserManager::Done> bringIn(AgentUnit unit);
    /// Stops it and removes every trace. One that does not stop stays.
    Task<UserManager::Done> takeOut(std::string unit);

  private:
    UserManager& manager_;
    AgentUnitFiles files_;
};

}  // namespace larkmoor
