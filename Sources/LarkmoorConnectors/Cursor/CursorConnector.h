// The connector for Cursor: hook entries in its hooks file, a server entry in its server file.
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorConnectors/Cursor/CursorPaths.h"
#include "LarkmoorConnectors/Framework/BlockVerbs.h"
#include "LarkmoorConnectors/Framework/Connector.h"

namespace larkmoor {

struct CursorConnector final : Connector {
    CursorPaths paths;
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;
    std::function<void()> beforeRename{};  ///< see Transaction

    /// `applications` is the folder that contains Cursor.app.
    CursorConnector(const std::string& home, const std::string& bundle, const std::string& applications)
        : paths(CursorPaths::under(home, bundle, applications)) {}

    ConnectorIdentity identity() const override;
    ScanReport scan() const override;
    ProjectReport projects() const override;
    MemoryFileReport memoryFiles() const override { return {}; }
    ConnectorOutcome install() const override;
    ConnectorOutcome remove() const override;
    bool staleOwnWiring() const override;

  private:
    /// Reads both files.
    BlockVerbs blocks() const;
    /// The refusal if the hooks file states a version that this build has not read.
    std::optional<ConnectorOutcome> versionRefusal(const FileDocument* hooks) const;
    std::vector<Observation> versionObservations() const;
    std::vector<Observation> doubleFireObservations() const;
    CommitOptions commitOptions() const { return {now(), beforeRename}; }
};

}  // namespace larkmoor
