// Takes out of the Claude chat application's configuration what earlier builds wrote there, and adds nothing. Never run
// while that application runs: it rewrites the file itself.
#pragma once

#include <chrono>
#include <functional>
#include <span>
#include <string_view>

#include "LarkmoorConnectors/ClaudeChat/ClaudeChatPaths.h"
#include "LarkmoorConnectors/Framework/ConnectorOutcome.h"
#include "LarkmoorConnectors/Framework/Profile.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

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
