// The connector for OpenCode: a server entry in its configuration and a generated plugin, which are written together.
// Refuses where the old generation of OpenCode writes the session store, since it does not load the plugin.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "LarkmoorConnectors/Framework/Commitment.h"
#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/OpenCode/OpenCodePaths.h"

namespace larkmoor {

struct OpenCodeConnector final : Connector {
    OpenCodePaths paths;
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
    std::function<void()> beforeRename{};  ///< see Transaction

    OpenCodeConnector(const std::string& home, const std::string& bundle) : paths(OpenCodePaths::under(home, bundle)) {}

    ConnectorIdentity identity() const override;
    /// The same with a `detail` that tells the user to update an OpenCode that is too old; a scan's report has it.
    /// Reads the session store.
    ConnectorIdentity shownIdentity() const;
    ScanReport scan() const override;
    ProjectReport projects() const override;
    MemoryFileReport memoryFiles() const override;
    ConnectorOutcome install() const override;
    ConnectorOutcome remove() const override;
    /// The session store is read only if all else is stale wiring of ours.
    bool staleOwnWiring() const override;

    /// Whether every name in the folder is that of a copy of our plugin.
    bool onlyOurBackupsRemain(const std::string& in) const;

  private:
    /// The files as one verb reads them.
    struct Reading;
    struct Plan;

    Reading reading() const;
    std::optional<ConnectorOutcome> storeRefusal() const;
    std::optional<ConnectorOutcome> readingRefusal(const Reading& read) const;
    std::optional<ConnectorOutcome> handWrittenRefusal(const Reading& read) const;
    std::expected<Plan, PlanFailure> planInstallation(const Reading& read) const;
    std::expected<Plan, PlanFailure> planRemoval(const Reading& read) const;
    /// What is said of the plugins folder once the plugin is gone; removes the folder if it is ours and empty.
    std::optional<Observation> leavingPluginsFolder(const ConnectorReceipt& receipt) const;
    CommitOptions commitOptions() const { return {now(), beforeRename}; }
};

}  // namespace larkmoor
