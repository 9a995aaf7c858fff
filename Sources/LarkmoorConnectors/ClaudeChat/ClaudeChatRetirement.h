// Removes the entries that earlier builds wrote into the Claude chat application's configuration. Must not run while
// that application runs, because it rewrites the file itself.
#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/Framework/Connector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

/// Where the application keeps the configuration that an earlier build wrote into. All absolute.
struct ClaudeChatPaths {
    std::string configDirectory;
    std::string configFile;
    std::string receiptFile;  ///< of that earlier build; neither read nor written any more
    std::string mcpBinary;

    static ClaudeChatPaths under(const std::string& home, const std::string& bundle);

    bool operator==(const ClaudeChatPaths&) const = default;
};

/// The entries that earlier builds put into that configuration, as pure functions over its document. Our entries are
/// recognised by their command, not by their key.
struct ClaudeChatConfig {
    Connectors::Profile profile = Connectors::Profile::production;

    struct Retired {
        JSONDocument document;
        std::vector<std::string> names;  ///< the keys removed, in file order
    };

    /// The members of `mcpServers` that are ours and of this build family; valid as long as `root` is.
    std::vector<const JSONMember*> ours(const JSONNode& root) const;

    /// Removes those; an object that becomes empty stays.
    std::expected<Retired, JSONEditFailure> retired(const JSONDocument& document) const;

    /// The reason if an object that an edit may change has duplicate keys; nullopt if there is none.
    std::optional<std::string> unreadableReason(const JSONNode& root) const;
};

struct ClaudeChatRetirement {
    static constexpr std::string_view name = "Claude Chat retirement";
    static constexpr std::string_view claudeBundleID = "com.anthropic.claudefordesktop";

    ClaudeChatPaths paths;
    Connectors::Profile profile = Connectors::Profile::production;
    std::function<std::chrono::system_clock::time_point()> now = std::chrono::system_clock::now;

    /// Whether the chat application is one of these.
    static bool isClaudeAmong(std::span<const RunningApplication> applications);

    /// Blocks as long as the disk does. Any thread.
    ConnectorOutcome retire() const;
};

}  // namespace larkmoor
