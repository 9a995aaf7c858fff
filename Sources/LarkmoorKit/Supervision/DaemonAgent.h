// Supervision of the daemon: its launch agent is registered and repaired at launch, and started again after a quit.
// Each failure is a line in the log; that the daemon is absent is shown by the menu's own refresh.
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

/// Main thread. Must outlive its tasks; the references in `Seams` must outlive it.
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
    /// Starts the loose agent, and loads it first if it is not loaded. A loose agent has its property list in
    /// ~/Library/LaunchAgents, not in the bundle; a normal installation has none, and then nothing happens.
    Task<void> healLooseAgent();
    /// Called when the user starts the application or opens the menu: if the sentinel is set, removes it and starts the
    /// daemon. Otherwise does nothing.
    Task<void> releaseQuitIfHeld(QuitSentinel sentinel);
    /// At launch, which is a gesture too: the same, and then a loose agent is healed, unless that has been done.
    Task<void> clearQuitAndHealLooseAgent(QuitSentinel sentinel);
    /// Starts the agent if it is loaded and down: the service manager does not make up for a start that a condition has
    /// held up, and a request to the daemon's bus name does not start it. A failure is ignored.
    Task<void> start();

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
