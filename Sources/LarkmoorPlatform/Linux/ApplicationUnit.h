// What the desktop says of a process by the unit that it put it in: app[-LAUNCHER]-APPLICATION-RANDOM.scope, or
// app[-LAUNCHER]-APPLICATION[@RANDOM].service, as systemd asks of desktops.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace larkmoor::ApplicationUnit {

/// The application of a unit's name; nothing if it is no application's.
std::optional<std::string> application(std::string_view unit);

/// The application of a process by its /proc/PID/cgroup: of the innermost unit there.
std::optional<std::string> applicationOfGroups(std::string_view groups);

}  // namespace larkmoor::ApplicationUnit
