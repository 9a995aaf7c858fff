// Scans this user's processes in /proc, and tells which application each one belongs to.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

/// The systemd unit that a desktop puts an application in: app[-LAUNCHER]-APPLICATION-RANDOM.scope or
/// app[-LAUNCHER]-APPLICATION[@RANDOM].service.
namespace ApplicationUnit {

/// The application in a unit's name; nothing for another kind of unit.
std::optional<std::string> application(std::string_view unit);

/// The application of the innermost unit in a /proc/PID/cgroup.
std::optional<std::string> applicationOfGroups(std::string_view groups);

}  // namespace ApplicationUnit

/// Any thread.
class ProcessScan {
  public:
    /// All processes of this user that have an executable; zombies have none.
    std::vector<RunningApplication> scan();

    /// The application of one process now, without a scan.
    std::optional<std::string> identifier(pid_t process);

    /// The executable that the last scan found for this process id.
    std::optional<std::string> lastExecutable(pid_t process);

  private:
    std::optional<std::string> identifier(const std::string& process, const std::string& executable);
    std::optional<std::string> bundleIdentifier(const std::string& executable);

    std::mutex lock_;
    // Guarded by lock_:
    std::map<pid_t, std::string> executables_;  ///< of the last scan
    /// Identifiers by bundle folder, so that a bundle is read once while any process of it runs.
    std::map<std::string, std::string> bundles_;
    std::map<std::string, std::string> previousBundles_;  ///< of the previous scan, during a scan
};

}  // namespace larkmoor
