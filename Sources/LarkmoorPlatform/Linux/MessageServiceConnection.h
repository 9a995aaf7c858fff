// The message service's connection on the session bus.
#pragma once

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "LarkmoorBase/Task.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/MessageConnection.h"

namespace larkmoor {

class MessageServiceConnection final : public MessageConnection,
                                       public std::enable_shared_from_this<MessageServiceConnection> {
  public:
    MessageServiceConnection(MainLoop& loop, std::optional<std::string> address, std::string serviceName);

    void setEventHandler(Handler handler) override;
    void resume() override;
    void cancel() override;
    void sendWithReply(MessageDictionary message, Handler handler) override;
    void send(MessageDictionary message) override;

  private:
    struct Outgoing {
        MessageDictionary message;
        Handler handler;  ///< none for a message without a reply
    };
    /// Calls under way, in the order in which they left.
    using Waiting = std::list<Handler>;
    enum class State { suspended, idle, seeking, bound, failed, cancelled };

    void submit(Outgoing outgoing);
    void seekOwner();
    void ownerIs(const std::string& owner);
    void transmit(Outgoing outgoing);
    void settle(Waiting::iterator waiting, BusResult reply);
    bool takeEvent(const BusMessage& message);
    void fail(std::string reason);
    void tellLater(Handler handler, std::string reason);

    MainLoop& loop_;
    std::optional<std::string> address_;
    std::string serviceName_;
    State state_ = State::suspended;
    Handler eventHandler_;
    std::vector<Outgoing> queue_;
    Waiting waiting_;
    std::string owner_;
    std::string failure_;
    // The registrations go before the bus that they are with.
    std::unique_ptr<SessionBus> bus_;
    BusSlot events_;
    BusNameWatch watch_;
};

}  // namespace larkmoor
