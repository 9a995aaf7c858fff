#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"

#include <boost/asio/post.hpp>

#include <list>
#include <memory>
#include <utility>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceCoding.h"

namespace larkmoor {

namespace {

constexpr const char* cannotCarry = "the bus cannot carry this message";

/// A call of the service's interface; empty if the bus cannot carry the dictionary.
BusMessage makeCall(SessionBus& bus, const std::string& owner, const char* member,
                    const MessageDictionary& dictionary) {
    BusMessage call = bus.methodCall(owner, MessageServiceNames::objectPath, MessageServiceNames::interface, member);
    if (!MessageServiceCoding::write(dictionary, call)) return {};
    // Only the service manager and the user start the daemon: one that was quit stays down.
    sd_bus_message_set_auto_start(call.get(), 0);
    return call;
}

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
        Handler handler;  ///< null for a message without a reply
    };
    /// The handlers of calls without a reply yet, in the order of sending.
    using PendingReplies = std::list<Handler>;
    enum class State { suspended, idle, resolving, bound, failed, cancelled };

    void enqueue(Outgoing outgoing);
    void resolveOwner();
    void onOwnerChanged(const std::string& owner);
    void transmit(Outgoing outgoing);
    void onReply(PendingReplies::iterator waiting, BusResult reply);
    bool onMessage(const BusMessage& message);
    void fail(std::string reason);
    void failLater(Handler handler, std::string reason);

    MainLoop& loop_;
    std::optional<std::string> address_;
    std::string serviceName_;
    State state_ = State::suspended;
    Handler eventHandler_;
    std::vector<Outgoing> queue_;
    PendingReplies pendingReplies_;
    std::string owner_;
    std::string failure_;
    // Registrations are destroyed before their bus.
    std::unique_ptr<SessionBus> bus_;
    BusSlot events_;
    BusNameWatch watch_;
};

}  // namespace

Dial sessionBusDial(MainLoop& loop, std::optional<std::string> address) {
    return [&loop, address = std::move(address)](const std::string& serviceName) {
        return std::make_shared<MessageServiceConnection>(loop, address, serviceName);
    };
}

MessageServiceConnection::MessageServiceConnection(MainLoop& loop, std::optional<std::string> address,
                                                   std::string serviceName)
    : loop_(loop), address_(std::move(address)), serviceName_(std::move(serviceName)) {}

void MessageServiceConnection::setEventHandler(Handler handler) { eventHandler_ = std::move(handler); }

void MessageServiceConnection::resume() {
    if (state_ != State::suspended) return;
    state_ = State::idle;
    if (!queue_.empty()) resolveOwner();
}

void MessageServiceConnection::cancel() {
    state_ = State::cancelled;
    watch_ = {};
    events_ = {};
    bus_.reset();
    // Destroying the handlers may release the last reference to this.
    const auto self = weak_from_this().lock();
    const auto handler = std::exchange(eventHandler_, nullptr);
    const auto queue = std::exchange(queue_, {});
    const auto waiting = std::exchange(pendingReplies_, {});
}

void MessageServiceConnection::sendWithReply(MessageDictionary message, Handler handler) {
    enqueue({.message = std::move(message), .handler = std::move(handler)});
}

void MessageServiceConnection::send(MessageDictionary message) {
    enqueue({.message = std::move(message), .handler = nullptr});
}

void MessageServiceConnection::enqueue(Outgoing outgoing) {
    switch (state_) {
        case State::cancelled:
            return;
        case State::failed:
            return failLater(std::move(outgoing.handler), failure_);
        case State::bound:
            return transmit(std::move(outgoing));
        case State::suspended:
        case State::idle:
        case State::resolving:
            queue_.push_back(std::move(outgoing));
            if (state_ == State::idle) resolveOwner();
    }
}

void MessageServiceConnection::resolveOwner() {
    state_ = State::resolving;
    const auto self = weak_from_this();
    bus_ = std::make_unique<SessionBus>(loop_, address_);
    bus_->onLost([self](const BusError& error) {
        if (const auto alive = self.lock()) alive->fail("the bus is lost: " + error.message);
    });
    events_ = bus_->filter([self](const BusMessage& message) {
        const auto alive = self.lock();
        return alive && alive->onMessage(message);
    });
    watch_ = bus_->watchName(serviceName_, [self](const std::string& owner) {
        if (const auto alive = self.lock()) alive->onOwnerChanged(owner);
    });
}

void MessageServiceConnection::onOwnerChanged(const std::string& owner) {
    if (state_ == State::bound) return fail("the owner of " + serviceName_ + " is gone");
    if (state_ != State::resolving) return;
    if (owner.empty()) return fail("nobody owns " + serviceName_);
    owner_ = owner;
    state_ = State::bound;
    for (Outgoing& outgoing : std::exchange(queue_, {})) transmit(std::move(outgoing));
}

void MessageServiceConnection::transmit(Outgoing outgoing) {
    if (!outgoing.handler) {
        const BusMessage call = makeCall(*bus_, owner_, MessageServiceNames::subscribe, outgoing.message);
        if (call) sd_bus_message_set_expect_reply(call.get(), 0);
        if (bus_->send(call)) return;
        return failLater(
            [self = weak_from_this()](const Incoming& failure) {
                if (const auto alive = self.lock()) alive->fail(failure.error().reason);
            },
            cannotCarry);
    }
    const BusMessage call = makeCall(*bus_, owner_, MessageServiceNames::request, outgoing.message);
    if (!call) return failLater(std::move(outgoing.handler), cannotCarry);
    const auto waiting = pendingReplies_.insert(pendingReplies_.end(), std::move(outgoing.handler));
    const auto self = weak_from_this();
    bus_->call(
            call,
            [self, waiting](BusResult reply) {
                if (const auto alive = self.lock()) alive->onReply(waiting, std::move(reply));
            },
            SessionBus::noTimeout)
        .detach();
}

void MessageServiceConnection::onReply(PendingReplies::iterator waiting, BusResult reply) {
    // A failure empties the list and closes the bus, which then makes no more calls.
    if (!reply) return fail(reply.error().description());
    const Handler handler = std::move(*waiting);
    pendingReplies_.erase(waiting);
    handler(MessageServiceCoding::read(*reply));
}

bool MessageServiceConnection::onMessage(const BusMessage& message) {
    using namespace MessageServiceNames;
    if (sd_bus_message_is_signal(message.get(), interface, event) <= 0 || message.sender() != owner_) return false;
    if (state_ == State::bound && eventHandler_) {
        // The handler may replace or clear itself while it runs.
        const Handler handler = eventHandler_;
        handler(MessageServiceCoding::read(message));
    }
    return true;
}

void MessageServiceConnection::fail(std::string reason) {
    if (state_ == State::failed || state_ == State::cancelled) return;
    state_ = State::failed;
    failure_ = std::move(reason);
    watch_ = {};
    events_ = {};
    bus_.reset();
    // Every pending call is failed now, whatever one of the handlers does to this connection: otherwise its caller
    // would wait forever.
    const PendingReplies waiting = std::exchange(pendingReplies_, {});
    const std::vector<Outgoing> queue = std::exchange(queue_, {});
    const std::string told = failure_;
    for (const Handler& handler : waiting) handler(std::unexpected(ConnectionFailure{told}));
    for (const Outgoing& outgoing : queue) {
        if (outgoing.handler) outgoing.handler(std::unexpected(ConnectionFailure{told}));
    }
    if (state_ == State::failed && eventHandler_)
        std::exchange(eventHandler_, nullptr)(std::unexpected(ConnectionFailure{told}));
}

void MessageServiceConnection::failLater(Handler handler, std::string reason) {
    if (!handler) return;
    boost::asio::post(loop_, [self = weak_from_this(), handler = std::move(handler), reason = std::move(reason)] {
        const auto alive = self.lock();
        if (alive && alive->state_ != State::cancelled) handler(std::unexpected(ConnectionFailure{reason}));
    });
}

}  // namespace larkmoor
