#include "LarkmoorPlatform/Linux/MessageServiceConnection.h"

#include <boost/asio/post.hpp>

#include <utility>

#include "LarkmoorPlatform/Linux/MessageServiceCoding.h"
#include "LarkmoorPlatform/Linux/MessageServiceDial.h"
#include "LarkmoorPlatform/Linux/MessageServiceNames.h"

namespace larkmoor {

namespace {

constexpr const char* uncarried = "the bus cannot carry this message";

/// An outgoing call of the service's interface; empty if the bus cannot carry the dictionary.
BusMessage callOf(SessionBus& bus, const std::string& owner, const char* member, const MessageDictionary& dictionary) {
    BusMessage call = bus.methodCall(owner, MessageServiceNames::objectPath, MessageServiceNames::interface, member);
    if (!MessageServiceCoding::write(dictionary, call)) return {};
    // Starting the daemon is the service manager's business, and the person's: a daemon that was quit stays down.
    sd_bus_message_set_auto_start(call.get(), 0);
    return call;
}

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
    if (!queue_.empty()) seekOwner();
}

void MessageServiceConnection::cancel() {
    state_ = State::cancelled;
    watch_ = {};
    events_ = {};
    bus_.reset();
    // Handlers may hold the last word on other objects, this one included.
    const auto self = weak_from_this().lock();
    const auto handler = std::exchange(eventHandler_, nullptr);
    const auto queue = std::exchange(queue_, {});
    const auto waiting = std::exchange(waiting_, {});
}

void MessageServiceConnection::sendWithReply(MessageDictionary message, Handler handler) {
    submit({.message = std::move(message), .handler = std::move(handler)});
}

void MessageServiceConnection::send(MessageDictionary message) {
    submit({.message = std::move(message), .handler = nullptr});
}

void MessageServiceConnection::submit(Outgoing outgoing) {
    switch (state_) {
        case State::cancelled:
            return;
        case State::failed:
            return tellLater(std::move(outgoing.handler), failure_);
        case State::bound:
            return transmit(std::move(outgoing));
        case State::suspended:
        case State::idle:
        case State::seeking:
            queue_.push_back(std::move(outgoing));
            if (state_ == State::idle) seekOwner();
    }
}

void MessageServiceConnection::seekOwner() {
    state_ = State::seeking;
    const auto self = weak_from_this();
    bus_ = std::make_unique<SessionBus>(loop_, address_);
    bus_->onLost([self](const BusError& error) {
        if (const auto alive = self.lock()) alive->fail("the bus is lost: " + error.message);
    });
    events_ = bus_->filter([self](const BusMessage& message) {
        const auto alive = self.lock();
        return alive && alive->takeEvent(message);
    });
    watch_ = bus_->watchName(serviceName_, [self](const std::string& owner) {
        if (const auto alive = self.lock()) alive->ownerIs(owner);
    });
}

void MessageServiceConnection::ownerIs(const std::string& owner) {
    if (state_ == State::bound) return fail("the owner of " + serviceName_ + " is gone");
    if (state_ != State::seeking) return;
    if (owner.empty()) return fail("nobody owns " + serviceName_);
    owner_ = owner;
    state_ = State::bound;
    for (Outgoing& outgoing : std::exchange(queue_, {})) transmit(std::move(outgoing));
}

void MessageServiceConnection::transmit(Outgoing outgoing) {
    if (!outgoing.handler) {
        const BusMessage call = callOf(*bus_, owner_, MessageServiceNames::subscribe, outgoing.message);
        if (call) sd_bus_message_set_expect_reply(call.get(), 0);
        if (bus_->send(call)) return;
        return tellLater(
            [self = weak_from_this()](const Incoming& failure) {
                if (const auto alive = self.lock()) alive->fail(failure.error().reason);
            },
            uncarried);
    }
    const BusMessage call = callOf(*bus_, owner_, MessageServiceNames::request, outgoing.message);
    if (!call) return tellLater(std::move(outgoing.handler), uncarried);
    const auto waiting = waiting_.insert(waiting_.end(), std::move(outgoing.handler));
    const auto self = weak_from_this();
    bus_->call(
            call,
            [self, waiting](BusResult reply) {
                if (const auto alive = self.lock()) alive->settle(waiting, std::move(reply));
            },
            SessionBus::noTimeout)
        .detach();
}

void MessageServiceConnection::settle(Waiting::iterator waiting, BusResult reply) {
    // A failure takes everything out of the list, and closes the bus, which then calls nobody.
    if (!reply) return fail(reply.error().description());
    const Handler handler = std::move(*waiting);
    waiting_.erase(waiting);
    handler(MessageServiceCoding::read(*reply));
}

bool MessageServiceConnection::takeEvent(const BusMessage& message) {
    using namespace MessageServiceNames;
    if (sd_bus_message_is_signal(message.get(), interface, event) <= 0 || message.sender() != owner_) return false;
    if (state_ == State::bound && eventHandler_) {
        // It may set another handler or none while it runs.
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
    // All that wait hear of it now, whatever one of them does to this connection: a reply that never comes would hold
    // its caller for ever.
    const Waiting waiting = std::exchange(waiting_, {});
    const std::vector<Outgoing> queue = std::exchange(queue_, {});
    const std::string told = failure_;
    for (const Handler& handler : waiting) handler(std::unexpected(ConnectionFailure{told}));
    for (const Outgoing& outgoing : queue) {
        if (outgoing.handler) outgoing.handler(std::unexpected(ConnectionFailure{told}));
    }
    if (state_ == State::failed && eventHandler_)
        std::exchange(eventHandler_, nullptr)(std::unexpected(ConnectionFailure{told}));
}

void MessageServiceConnection::tellLater(Handler handler, std::string reason) {
    if (!handler) return;
    boost::asio::post(loop_, [self = weak_from_this(), handler = std::move(handler), reason = std::move(reason)] {
        const auto alive = self.lock();
        if (alive && alive->state_ != State::cancelled) handler(std::unexpected(ConnectionFailure{reason}));
    });
}

}  // namespace larkmoor
