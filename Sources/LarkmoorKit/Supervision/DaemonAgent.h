// Supervision of the daemon: its launch agent is registered and repaired at launch, and started again after a quit.
// Each failure is a line in the log; the menu shows the daemon's absence by itself.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor {

/// The file that tells the daemon that the user quit: as long as it exists, the daemon is not restarted.
struct QuitSentinel {
    static constexpr std::string_view fileName = "quit-requested";
    /// `support` is Application Support.
    static std::string defaultPath(std::string_view support);

    std::string path;

    bool isSet() const;
    /// For the daemon's use. A failure is ignored.
    void set() const;
    /// A failure is ignored, a missing file included.
    void clear() const;
};

/// Main thread. Outlives its tasks; the references in `Seams` outlive it.
class DaemonAgent {
  public:
    /// User-defaults key of the digest of the property list that was last registered with success.
    static constexpr const char* digestKey = "daemonAgentPlistDigest";

    struct Seams {
        LoginItemService& service;  ///< the agent in the bundle
        LaunchAgents& launchctl;
        UserDefaults& defaults;
        std::string inBundlePlist;
        std::string loosePlist;
        uid_t user;
        LoginItems::Log log;
    };

    explicit DaemonAgent(Seams seams) : seams_(std::move(seams)) {}

    Task<void> registerInBundleAgent();
    Task<void> healLooseAgent();
    /// Starts the daemon again after a quit, on a gesture of the user. Runs no process if the sentinel is not set.
    Task<void> releaseQuitIfHeld(QuitSentinel sentinel);
    /// At launch, which is a gesture too: the same, and then a loose agent is healed, unless that has been done.
    Task<void> clearQuitAndHealLooseAgent(QuitSentinel sentinel);

  private:
    Task<bool> unregisterStale(bool jobLoaded);
    Task<void> startLooseAgent();
    Task<void> bootstrapLooseAgent();
    Task<int> status(std::string verb, Task<LaunchAgents::ExitStatus> call);
    std::string serviceTarget() const { return LoginItems::guiServiceTarget(seams_.user); }

    Seams seams_;
    bool healed_ = false;  ///< since the launch
};

}  // namespace larkmoor
