// Distributed notifications as a broadcast signal on the session bus: `Posted(s name, s object, a{ss} info)`.
#pragma once

#include "LarkmoorPlatform/DistributedNotifications.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"

namespace larkmoor {

class BusDistributedNotifications final : public DistributedNotifications {
  public:
    static constexpr const char* interface = "tools.fenwright.larkmoor.Notifications";
    /// The path that we send from; signals of any path are received.
    static constexpr const char* objectPath = "/tools/fenwright/larkmoor/notifications";

    /// `bus` outlives this and every token. Notifications posted while the bus is lost are dropped.
    explicit BusDistributedNotifications(SessionBus& bus) : bus_(bus) {}

    /// A notification with text that is not UTF-8 or holds a NUL is dropped.
    void post(const std::string& name, const std::optional<std::string>& object, const Info& info) override;
    [[nodiscard]] std::unique_ptr<Token> observe(const std::string& name, Handler handler) override;

  private:
    SessionBus& bus_;
};

}  // namespace larkmoor
