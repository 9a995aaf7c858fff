// Translates a launch agent's property list into a systemd service unit.
#pragma once

#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

/// An agent that is not started, by whomever, as long as something exists at one of the paths.
struct AgentGuard {
    std::string label;
    std::vector<std::string> paths;
};

struct AgentUnit {
    std::string name;  ///< `nameOf` its label
    std::string text;  ///< the unit file
    bool startsAtLoad = false;

    /// "{label}.service"
    static std::string nameOf(std::string_view label) { return std::string{label} + ".service"; }

    /// `listPath` becomes the unit's SourcePath, and a BundleProgram is resolved against the bundle that holds it. The
    /// error is text for a log. Keys without meaning for systemd (mach services, process types, session types) are
    /// ignored; keys that change when or how the agent runs and have no counterpart are errors.
    static std::expected<AgentUnit, std::string> translate(BytesView list, const std::string& listPath,
                                                           const AgentGuard& guard = {});

    /// The SourcePath in the text of a unit file, if there is one.
    static std::optional<std::string> source(std::string_view text);

    bool operator==(const AgentUnit&) const = default;
};

}  // namespace larkmoor
