// The serving side of a named service.
#pragma once

#include <expected>
#include <functional>
#include <memory>

#include "LarkmoorPlatform/MessageConnection.h"
#include "LarkmoorPlatform/MessageDictionary.h"

namespace larkmoor {

/// The answer to a peer that is not served; it sees a failed channel.
struct MessageRefusal {};

/// One peer that asked for events.
class MessageSubscriber {
  public:
    virtual ~MessageSubscriber() = default;

    /// Sends the event to this peer alone; false once the peer is gone.
    virtual bool push(const MessageDictionary& event) = 0;
};

/// Main thread. Stops serving when it is destroyed.
class MessageListener {
  public:
    /// To be called once, now or later; a request that is never responded to waits as long as both sides live.
    using Respond = std::function<void(std::expected<MessageDictionary, MessageRefusal>)>;

    struct Service {
        std::function<void(MessageDictionary request, Respond respond)> onRequest;
        /// The message that asked, and whom to push to from now on.
        std::function<void(MessageDictionary message, std::shared_ptr<MessageSubscriber>)> onSubscribe;
        /// Called once when the name is ours.
        std::function<void()> onListening;
        /// Called once: somebody else has the name, or the transport is gone.
        std::function<void(ConnectionFailure)> onFailure;
    };

    virtual ~MessageListener() = default;

    virtual void listen(Service service) = 0;
};

}  // namespace larkmoor
