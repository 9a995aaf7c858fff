#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"

#include <boost/asio/post.hpp>

#include <list>
#include <map>
#include <memory>
#include <new>
#include <utility>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceCoding.h"
#include "LarkmoorPlatform/Linux/Services/UnitWatch.h"

namespace larkmoor {

namespace {

using Kind = ConnectionFailure::Kind;

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
        Handler handler;                        ///< null for a message without a reply
        std::unique_ptr<MainTimer> patience{};  ///< ends the wait for an owner
    };
    /// By number, in the order of sending.
    using Queue = std::map<std::uint64_t, Outgoing>;
    /// The handlers of calls without a reply yet, in the order of sending.
    using PendingReplies = std::list<Handler>;
    /// `unbound`: on the bus, and the owner is known, if only to be nobody.
    enum class State { suspended, idle, resolving, unbound, bound, lost, cancelled };

    void enqueue(Outgoing outgoing);
    void openBus();
    void onOwnerChanged(const std::string& owner);
    void bind();
    void askForUnit();
    void transmit(Outgoing outgoing);
    void onReply(PendingReplies::iterator waiting, BusResult reply);
    bool onMessage(const BusMessage& message);
    void giveUp(Queue messages);
    void failOne(const Handler& handler, const ConnectionFailure& failure);
    void lose(std::string reason);
    void failLater(Handler handler, ConnectionFailure failure);

    MainLoop& loop_;
    std::optional<std::string> address_;
    std::string serviceName_;
    State state_ = State::suspended;
    Handler eventHandler_;
    Queue queue_;
    std::uint64_t lastNumber_ = 0;
    PendingReplies pendingReplies_;
    std::string owner_;
    std::string failure_;
    // Registrations are destroyed before their bus.
    std::unique_ptr<SessionBus> bus_;
    BusSlot events_;
    BusNameWatch watch_;
    std::optional<UnitWatch> unit_;
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
    Queue queue = std::exchange(queue_, {});
    for (auto& [number, outgoing] : queue) enqueue(std::move(outgoing));
}

void MessageServiceConnection::cancel() {
    state_ = State::cancelled;
    unit_.reset();
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
    if (state_ == State::cancelled) return;
    if (state_ == State::lost) return failLater(std::move(outgoing.handler), {failure_});
    if (state_ == State::bound) return transmit(std::move(outgoing));
    const std::uint64_t number = ++lastNumber_;
    Outgoing& queued = queue_.emplace(number, std::move(outgoing)).first->second;
    if (state_ == State::suspended) return;
    queued.patience = std::make_unique<MainTimer>(loop_.get_executor(), maxWaitForOwner);
    queued.patience->async_wait([self = weak_from_this(), number](const boost::system::error_code& cancelled) {
        const auto alive = self.lock();
        if (cancelled || !alive) return;
        Queue late;
        late.insert(alive->queue_.extract(number));
        alive->giveUp(std::move(late));
    });
    if (state_ == State::idle) return openBus();
    if (state_ == State::unbound) owner_.empty() ? askForUnit() : bind();
}

void MessageServiceConnection::openBus() {
    state_ = State::resolving;
    const auto self = weak_from_this();
    bus_ = std::make_unique<SessionBus>(loop_, address_);
    bus_->onLost([self](const BusError& error) {
        if (const auto alive = self.lock()) alive->lose("the bus is lost: " + error.message);
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
    if (state_ == State::bound) return lose("the owner of " + serviceName_ + " is gone");
    if (state_ != State::resolving && state_ != State::unbound) return;
    state_ = State::unbound;
    owner_ = owner;
    if (queue_.empty()) return;
    owner_.empty() ? askForUnit() : bind();
}

void MessageServiceConnection::bind() {
    state_ = State::bound;
    unit_.reset();
    Queue queue = std::exchange(queue_, {});
    for (auto& [number, outgoing] : queue) transmit(std::move(outgoing));
}

/// Asks whether an owner is about to come; where none is, what waits for one fails at once.
void MessageServiceConnection::askForUnit() {
    if (!unit_) {
        unit_.emplace(*bus_, serviceName_ + ".service", [self = weak_from_this()](bool isComing) {
            const auto alive = self.lock();
            if (!alive || isComing || alive->state_ != State::unbound || !alive->owner_.empty()) return;
            alive->giveUp(std::exchange(alive->queue_, {}));
        });
    }
    unit_->ask();
}

void MessageServiceConnection::giveUp(Queue messages) {
    for (const auto& [number, outgoing] : messages)
        failOne(outgoing.handler, {"nobody owns " + serviceName_, Kind::unowned});
}

/// Fails one message from a turn of the loop; the connection stays as it is.
void MessageServiceConnection::failOne(const Handler& handler, const ConnectionFailure& failure) {
    if (handler) return handler(std::unexpected(failure));
    // The event handler may replace or clear itself while it runs.
    if (const Handler told = eventHandler_) told(std::unexpected(failure));
}

void MessageServiceConnection::transmit(Outgoing outgoing) {
    const char* member = outgoing.handler ? MessageServiceNames::request : MessageServiceNames::subscribe;
    const BusMessage call = makeCall(*bus_, owner_, member, outgoing.message);
    if (!call) return failLater(std::move(outgoing.handler), {"the bus cannot carry this message", Kind::unsendable});
    if (!outgoing.handler) {
        sd_bus_message_set_expect_reply(call.get(), 0);
        // If it cannot be sent the bus is lost, which is told by itself.
        bus_->send(call);
        return;
    }
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
    const bool isTooLarge = !reply && reply.error().name == BusErrorName::limitsExceeded;
    // The loss empties the list and closes the bus, which then makes no more calls.
    if (!reply && !isTooLarge) return lose(reply.error().description());
    const Handler handler = std::move(*waiting);
    pendingReplies_.erase(waiting);
    if (isTooLarge) return failOne(handler, {reply.error().description(), Kind::unanswerable});
    MessageDictionary answer;
    try {
        answer = MessageServiceCoding::read(*reply);
    } catch (const std::bad_alloc&) {
        return failOne(handler, {"there is no memory for the reply", Kind::unanswerable});
    }
    handler(std::move(answer));
}

bool MessageServiceConnection::onMessage(const BusMessage& message) {
    using namespace MessageServiceNames;
    if (sd_bus_message_is_signal(message.get(), interface, event) <= 0 || message.sender() != owner_) return false;
    if (state_ == State::bound && eventHandler_) {
        // The handler may replace or clear itself while it runs.
        const Handler handler = eventHandler_;
        MessageDictionary received;
        try {
            received = MessageServiceCoding::read(message);
        } catch (const std::bad_alloc&) {
            return true;
        }
        handler(std::move(received));
    }
    return true;
}

void MessageServiceConnection::lose(std::string reason) {
    if (state_ == State::lost || state_ == State::cancelled) return;
    state_ = State::lost;
    failure_ = std::move(reason);
    unit_.reset();
    watch_ = {};
    events_ = {};
    bus_.reset();
    // Every pending call is failed now, whatever one of the handlers does to this connection: otherwise its caller
    // would wait forever.
    const PendingReplies waiting = std::exchange(pendingReplies_, {});
    const Queue queue = std::exchange(queue_, {});
    const ConnectionFailure told{failure_};
    for (const Handler& handler : waiting) handler(std::unexpected(told));
    for (const auto& [number, outgoing] : queue) {
        if (outgoing.handler) outgoing.handler(std::unexpected(told));
    }
    if (state_ == State::lost && eventHandler_) std::exchange(eventHandler_, nullptr)(std::unexpected(told));
}

void MessageServiceConnection::failLater(Handler handler, ConnectionFailure failure) {
    boost::asio::post(loop_, [self = weak_from_this(), handler = std::move(handler), failure = std::move(failure)] {
        const auto alive = self.lock();
        if (alive && alive->state_ != State::cancelled) alive->failOne(handler, failure);
    });
}

}  // namespace larkmoor
