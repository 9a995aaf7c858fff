// Running applications from /proc, with the user's service manager as the messenger of new ones.
#pragma once

#include <memory>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/RunningApplications.h"

namespace larkmoor {

/// Watches one process of each application of interest, and asks nothing of the machine while that one lives.
class ProcessApplications final : public RunningApplications {
  public:
    /// `loop` and `bus` outlive it. Without a service manager on the bus, new applications are found by `refresh`
    /// alone.
    ProcessApplications(MainLoop& loop, SessionBus& bus);
    ~ProcessApplications() override;

    std::vector<RunningApplication> list() const override;
    bool terminate(pid_t process) override;
    void onEnd(std::string bundleIdentifier, std::function<void()> ended) override;
    void refresh() override;

  private:
    struct Watching;

    void hearOfUnits();

    SessionBus& bus_;
    std::shared_ptr<Watching> watching_;
    // The registrations go before what they call.
    BusNameWatch manager_;
    BusSlot jobs_;
};

}  // namespace larkmoor
