// One process of this user, as an application.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace larkmoor {

struct RunningApplication {
    pid_t process = 0;
    std::string executable;  ///< absolute, as the system knows it
    /// Of the bundle that the executable lies in, or of the application that the desktop started; the same for all
    /// processes of one application. Most processes have none.
    std::optional<std::string> bundleIdentifier;

    bool operator==(const RunningApplication&) const = default;
};

}  // namespace larkmoor
