// The paths of OpenCode's files that we read or edit, and of our executables.
#pragma once

#include <string>

namespace larkmoor {

/// All absolute.
struct OpenCodePaths {
    std::string configDirectory;
    std::string configFile;  ///< JSON with comments
    std::string pluginsDirectory;
    std::string pluginFile;  ///< ours as a whole
    std::string receiptFile;
    std::string homeAgentsFile;
    std::string dataDirectory;
    std::string hookBinary;
    std::string mcpBinary;

    static OpenCodePaths under(const std::string& home, const std::string& bundle);

    /// The command that the plugin runs for each message.
    std::string hookCommand() const;
    /// OpenCode's sessions, a SQLite database.
    std::string sessionDatabase() const;
    std::string configAgentsFile() const;

    bool operator==(const OpenCodePaths&) const = default;
};

}  // namespace larkmoor
