// Scans this user's processes in /proc, and tells which application each one belongs to.
#pragma once

#include <compare>
#include <cstdint>
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

/// The process in a unit's name: some desktops take the process id of the program that they start as RANDOM.
std::optional<pid_t> process(std::string_view unit);

/// The control group of the innermost unit in a /proc/PID/cgroup, if an application's; "" if not.
std::string_view group(std::string_view groups);

/// The name of the unit that a control group belongs to.
std::string_view name(std::string_view group);

}  // namespace ApplicationUnit

/// Any thread.
class ProcessScan {
  public:
    /// All processes of this user that have an executable; zombies have none.
    std::vector<RunningApplication> scan();

    /// The application of one process now, without a scan; its unit counts as far as the last scan knew it.
    std::optional<std::string> identifier(pid_t process);

    /// The executable that the last scan found for this process id.
    std::optional<std::string> lastExecutable(pid_t process);

  private:
    /// The first program of a unit. Its children inherit the unit, and are not the application.
    struct First {
        std::uint64_t start = 0;
        pid_t process = 0;
        auto operator<=>(const First&) const = default;
    };
    using FirstPrograms = std::map<std::string, First, std::less<>>;

    static void add(pid_t process, const std::string& group, FirstPrograms& firsts);
    std::optional<std::string> unitApplication(pid_t process, const std::string& group) const;
    std::optional<std::string> bundleIdentifier(const std::string& executable);

    std::mutex lock_;
    // Guarded by lock_:
    std::map<pid_t, std::string> executables_;  ///< of the last scan
    /// Identifiers by bundle folder, so that a bundle is read once while any process of it runs.
    std::map<std::string, std::string> bundles_;
    std::map<std::string, std::string> previousBundles_;  ///< of the previous scan, during a scan
    /// By control group. What was first stays first when it has ended, for as long as any process of the unit runs.
    FirstPrograms firsts_;
};

}  // namespace larkmoor
