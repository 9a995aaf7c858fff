// Keeps the daemon's launch agent registered, healed, and down for as long as the person wants it down. Nothing here
// reaches the screen: each failure is a line in the log, and the menu shows the daemon's absence by itself.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorKit/Supervision/QuitSentinel.h"
#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorPlatform/UserDefaults.h"

namespace larkmoor {

/// Main thread; outlives its tasks, as what it refers to outlives it.
class DaemonAgent {
  public:
    /// Holds the digest of the list that was last registered with success.
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
    /// Brings the daemon back after a quit, by the person's own gesture. Runs nothing if no quit is held.
    Task<void> releaseQuitIfHeld(QuitSentinel sentinel);

  private:
    Task<bool> unregisterStale(bool jobLoaded);
    Task<void> startLooseAgent();
    Task<void> bootstrapLooseAgent();
    Task<int> status(std::string verb, Task<LaunchAgents::ExitStatus> call);
    std::string serviceTarget() const { return LoginItems::guiServiceTarget(seams_.user); }

    Seams seams_;
};

}  // namespace larkmoor
