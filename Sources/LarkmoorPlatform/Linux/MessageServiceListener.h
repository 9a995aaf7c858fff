// The message service's serving side on the session bus.
#pragma once

#include <memory>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/MessageListener.h"

namespace larkmoor {

class MessageServiceListener final : public MessageListener {
  public:
    /// Serves on a connection that others may use too; `bus` outlives the listener and every `Respond`'s call. Takes
    /// the bus's `onLost`.
    MessageServiceListener(SessionBus& bus, std::string serviceName);
    ~MessageServiceListener() override;

    void listen(Service service) override;

  private:
    struct Serving;

    SessionBus& bus_;
    std::string serviceName_;
    std::shared_ptr<Serving> serving_;
};

}  // namespace larkmoor
