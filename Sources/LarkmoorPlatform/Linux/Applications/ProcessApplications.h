// Running applications from /proc, with notices of new ones from the user's service manager.
#pragma once

#include <memory>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

/// Watches one process of each observed application through its pidfd, without polling.
class ProcessApplications final : public RunningApplications {
  public:
    /// `loop` and `bus` outlive it. Without a service manager on the bus, only `refresh` discovers new applications.
    ProcessApplications(MainLoop& loop, SessionBus& bus);
    ~ProcessApplications() override;

    std::vector<RunningApplication> list() const override;
    bool terminate(pid_t process) override;
    void onEnd(std::string bundleIdentifier, std::function<void()> ended) override;
    void refresh() override;

  private:
    struct Watcher;

    void subscribeToUnits();

    SessionBus& bus_;
    std::shared_ptr<Watcher> watcher_;
    // Registrations are destroyed before what they call.
    BusNameWatch manager_;
    BusSlot jobs_;
};

}  // namespace larkmoor
