// The paths of Codex's files that we read or edit, and of our executables.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace larkmoor {

/// All absolute.
struct CodexPaths {
    std::string configDirectory;
    std::string hooksFile;
    std::string configFile;
    std::string receiptFile;
    std::string homeAgentsFile;
    std::string hookBinary;
    std::string mcpBinary;
    std::int64_t hookTimeoutSeconds = 3;

    static CodexPaths under(const std::string& home, const std::string& bundle, std::int64_t hookTimeoutSeconds = 3);

    static constexpr std::string_view hookStatusMessage = "Loading Larkmoor rules and memory";
    std::string hookCommand() const { return hookBinary + " --harness codex"; }

    std::string sessionsDirectory() const { return configDirectory + "/sessions"; }
    std::string configAgentsFile() const { return configDirectory + "/AGENTS.md"; }
    /// The hooks file as Codex names it in its trust records, byte for byte: links are not resolved.
    const std::string& trustPath() const { return hooksFile; }

    bool operator==(const CodexPaths&) const = default;
};

}  // namespace larkmoor
