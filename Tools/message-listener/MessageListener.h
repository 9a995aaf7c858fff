// The server side of the message service, for stand-ins of the daemon and for tests.
#pragma once

#include <expected>
#include <functional>
#include <memory>
#include <string>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/MessageConnection.h"

namespace larkmoor {

/// The answer to a client that is not allowed; its connection fails.
struct MessageRefusal {};

/// A client that subscribed to events.
class MessageSubscriber {
  public:
    virtual ~MessageSubscriber() = default;

    /// Sends the event to this client alone; false once the client is gone.
    virtual bool push(const MessageDictionary& event) = 0;
};

/// Main thread. Stops serving when it is destroyed.
class MessageListener {
  public:
    /// To be called once, now or later; a request without a response waits for as long as both sides live.
    using Respond = std::function<void(std::expected<MessageDictionary, MessageRefusal>)>;

    struct Service {
        std::function<void(MessageDictionary request, Respond respond)> onRequest;
        /// `message` is the one that subscribed.
        std::function<void(MessageDictionary message, std::shared_ptr<MessageSubscriber>)> onSubscribe;
        /// Called once when the name is ours.
        std::function<void()> onListening;
        /// Called once: another process owns the name, or the transport is gone.
        std::function<void(ConnectionFailure)> onFailure;
    };

    /// Serves on a connection that may have other uses; `bus` outlives the listener and every call of a `Respond`. Sets
    /// the bus's `onLost`.
    MessageListener(SessionBus& bus, std::string serviceName);
    ~MessageListener();
    MessageListener(const MessageListener&) = delete;
    MessageListener& operator=(const MessageListener&) = delete;

    void listen(Service service);

  private:
    struct Serving;

    SessionBus& bus_;
    std::string serviceName_;
    std::shared_ptr<Serving> serving_;
};

}  // namespace larkmoor
