// A launch agent's property list, said in the words of the user manager: a service unit that does what the list says,
// and nothing else.
#pragma once

#include <expected>
#include <optional>
#include <string>

#include "LarkmoorBase/Bytes.h"

namespace larkmoor {

struct AgentUnit {
    std::string name;  ///< "{label}.service"
    std::string text;  ///< the unit file
    bool startsAtLoad = false;

    /// `listPath` is where the list lies: the unit names it as its source, and a program inside a bundle is looked for
    /// in the bundle that the list lies in. The error is words for a log. Keys that the user manager has nothing to do
    /// with (mach services, process types, session types) are passed over; those that would change when and how the
    /// agent runs and have no counterpart are refused.
    static std::expected<AgentUnit, std::string> translate(BytesView list, const std::string& listPath);

    /// The source that a unit file names; nothing if it names none.
    static std::optional<std::string> source(std::string_view text);

    bool operator==(const AgentUnit&) const = default;
};

}  // namespace larkmoor
