// The paths of Claude Code's files that we read or edit, and of our executables.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace larkmoor {

/// All absolute.
struct ClaudeCodePaths {
    std::string configDirectory;
    std::string settingsFile;
    std::string mcpFile;
    std::string receiptFile;
    std::string hookBinary;
    std::string mcpBinary;
    std::int64_t hookTimeoutSeconds = 3;

    static ClaudeCodePaths under(const std::string& home, const std::string& bundle,
                                 std::int64_t hookTimeoutSeconds = 3);

    std::string hookCommand() const;
    /// The commands that run before a prompt, in order.
    std::vector<std::string> hookCommands() const;
    /// The command that runs before a tool of ours.
    std::string preToolCommand() const;

    std::string projectsDirectory() const { return configDirectory + "/projects"; }
    std::string globalMemoryFile() const { return configDirectory + "/CLAUDE.md"; }
    std::string memoryDirectory() const { return configDirectory + "/memory"; }

    bool operator==(const ClaudeCodePaths&) const = default;
};

}  // namespace larkmoor
