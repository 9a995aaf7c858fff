// Distributed notifications as a broadcast signal of the session bus: `Posted(s name, s object, a{ss} info)`.
#pragma once

#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

class BusDistributedNotifications final : public DistributedNotifications {
  public:
    static constexpr const char* interface = "tools.fenwright.larkmoor.Notifications";
    /// Ours are sent from here; those of any object are heard.
    static constexpr const char* objectPath = "/tools/fenwright/larkmoor/notifications";

    /// `bus` outlives this and every token. What is posted while the bus is lost is lost with it.
    explicit BusDistributedNotifications(SessionBus& bus) : bus_(bus) {}

    /// Text that is no UTF-8, or holds a NUL, cannot be carried, and such a notification is dropped.
    void post(const std::string& name, const std::optional<std::string>& object, const Info& info) override;
    [[nodiscard]] std::unique_ptr<Token> observe(const std::string& name, Handler handler) override;

  private:
    SessionBus& bus_;
};

}  // namespace larkmoor
