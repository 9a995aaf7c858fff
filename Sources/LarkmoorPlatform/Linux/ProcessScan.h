// A look at this user's processes through /proc.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorPlatform/RunningApplication.h"

namespace larkmoor {

/// Any thread.
class ProcessScan {
  public:
    /// All processes of this user that run a file; those that are only waited for do not.
    std::vector<RunningApplication> look();

    /// Whose process it is now, without a look at the others.
    std::optional<std::string> identifier(pid_t process);

    /// The executable that the last look has found under the number.
    std::optional<std::string> listed(pid_t process);

  private:
    std::optional<std::string> identifier(const std::string& process, const std::string& executable);
    std::optional<std::string> ofBundle(const std::string& executable);

    std::mutex lock_;
    // Guarded by it:
    std::map<pid_t, std::string> listed_;
    /// Identifiers by the bundles' folders. A bundle is read once while any of it runs.
    std::map<std::string, std::string> bundles_;
    std::map<std::string, std::string> bundlesBefore_;  ///< those of the look before, during a look
};

}  // namespace larkmoor
