#include "LarkmoorKit/Door/XPCClient.h"

#include <boost/asio/async_result.hpp>
#include <boost/asio/this_coro.hpp>

#include "LarkmoorBase/Timers.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Identity/WireContract.h"

namespace larkmoor {

namespace asio = boost::asio;

namespace {

TimedResponse failure(std::string message) {
    return {.response = GatewayResponse::Failure{std::move(message)}, .daemon = {}};
}

/// Whole milliseconds, at least one: a deadline of zero would leave no time at all.
std::chrono::milliseconds milliseconds(std::chrono::nanoseconds deadline) {
    return std::max(std::chrono::milliseconds{1}, std::chrono::duration_cast<std::chrono::milliseconds>(deadline));
}

MessageDictionary messageWithContract() {
    MessageDictionary message;
    XPCWire::setWire(WireContract::version, message);
    return message;
}

void discardEvents(MessageConnection& connection) {
    connection.setEventHandler([](const MessageConnection::Incoming&) {});
}

}  // namespace

std::shared_ptr<XPCClient> XPCClient::make(std::string machServiceName, Seams seams, DoorRedial redial) {
    return std::shared_ptr<XPCClient>{new XPCClient{std::move(machServiceName), std::move(seams), redial}};
}

XPCClient::XPCClient(std::string machServiceName, Seams seams, DoorRedial redial)
    : machServiceName_(std::move(machServiceName)),
      seams_(std::move(seams)),
      redial_(redial),
      connection_(openConnection()) {}

XPCClient::~XPCClient() { close(); }

void XPCClient::close() {
    std::unique_lock lock{lock_};
    const Connection requests = connection_, events = subConnection_;
    lock.unlock();
    requests->cancel();
    if (events) events->cancel();
}

Task<GatewayResponse> XPCClient::send(GatewayRequest request) {
    TimedResponse timed = co_await sendTimed(std::move(request));
    co_return std::move(timed.response);
}

Task<TimedResponse> XPCClient::sendTimed(GatewayRequest request) {
    const auto self = shared_from_this();
    const auto payload = encode(request);
    if (!payload) co_return failure("encode failed");

    const Connection first = currentConnection();
    // A live connection is trusted to answer or to report its failure, however long a request takes.
    Attempt attempt = co_await roundTrip(*payload, first, std::nullopt);
    if (auto* answered = std::get_if<Answered>(&attempt)) co_return finish(std::move(*answered));

    replace(first);
    if (history_.connected()) co_await knock(currentConnection());
    attempt = co_await roundTrip(*payload, currentConnection(), redial_.budget);
    if (auto* answered = std::get_if<Answered>(&attempt)) co_return finish(std::move(*answered));
    co_return co_await diagnose(std::move(attempt));
}

/// What the failure of both attempts means.
Task<TimedResponse> XPCClient::diagnose(Attempt failed) {
    const auto self = shared_from_this();
    if (std::holds_alternative<Silence>(failed)) {
        setFault(DoorFault::silent);
        co_return failure(message(DoorFault::silent));
    }
    const bool isRegistered = co_await seams_.serviceRegistered(machServiceName_);
    const DoorFault fault = forDoubleFailure(isRegistered);
    setFault(fault);
    if (fault == DoorFault::refused) {
        const ClientLineage lineage = seams_.clientLineage();
        if (const auto* stale = lineage.as<ClientLineage::Stale>())
            co_return failure(staleRefusalMessage(stale->installedVersion));
    }
    co_return failure(message(fault));
}

TimedResponse XPCClient::finish(Answered answered) {
    history_.markConnected();
    if (WireContract::verdict(WireContract::version, answered.wire) == WireContract::Verdict::admitted) {
        setFault(std::nullopt);
        return {.response = std::move(answered.response), .daemon = answered.daemon};
    }
    announceSkew();
    setFault(DoorFault::skew);
    // An answer under another contract is not believed, whatever it says.
    return failure(std::string{WireContract::mismatchMessage});
}

void XPCClient::announceSkew() {
    {
        const std::lock_guard held{lock_};
        if (std::exchange(skewAnnounced_, true)) return;
    }
    if (seams_.onWireMismatch) seams_.onWireMismatch();
}

Task<XPCClient::Attempt> XPCClient::roundTrip(Bytes payload, Connection on, Deadline deadline) {
    MessageDictionary request = messageWithContract();
    XPCWire::set(payload, XPCEndpoint::payloadKey, request);
    Outcome outcome = co_await reply(std::move(request), std::move(on), deadline);
    if (std::holds_alternative<TransportError>(outcome)) co_return TransportError{};
    if (std::holds_alternative<Silence>(outcome)) co_return Silence{};

    // A bad reply is an answer: the request is not repeated, and the door counts as connected.
    const Reply& answer = std::get<Reply>(outcome);
    if (answer.payload) {
        if (auto response = decode<GatewayResponse>(*answer.payload)) {
            co_return Answered{.response = *std::move(response), .daemon = answer.served, .wire = answer.wire};
        }
    }
    co_return Answered{.response = GatewayResponse::Failure{"bad reply"}, .daemon = {}, .wire = answer.wire};
}

Task<XPCClient::Outcome> XPCClient::reply(MessageDictionary message, Connection on, Deadline deadline) {
    const auto executor = co_await asio::this_coro::executor;
    co_return co_await asio::async_initiate<decltype(awaiting), void(Outcome)>(
        [&](auto resume) {
            struct Race {
                decltype(resume) handler;
                MainTimer timer;
                OneShot winner;
            };
            auto race = std::make_shared<Race>(std::move(resume), MainTimer{executor});
            auto settle = [race](Outcome outcome) {
                if (!race->winner.take()) return;
                race->timer.cancel();
                std::move(race->handler)(std::move(outcome));
            };
            if (deadline) {
                race->timer.expires_after(milliseconds(*deadline));
                race->timer.async_wait([settle](const boost::system::error_code& cancelled) {
                    if (!cancelled) settle(Silence{});
                });
            }
            on->sendWithReply(std::move(message), [settle](const MessageConnection::Incoming& incoming) {
                if (!incoming) return settle(TransportError{});
                Reply answer{.payload = {},
                             .wire = XPCWire::wireVersion(*incoming),
                             .served = XPCWire::servedDuration(*incoming)};
                if (const auto payload = XPCWire::data(XPCEndpoint::payloadKey, *incoming))
                    answer.payload = copyBytes(*payload);
                settle(std::move(answer));
            });
        },
        awaiting);
}

/// Asks whether the door is open before a request is repeated, and gives a daemon that is starting time to come.
Task<void> XPCClient::knock(Connection on) {
    const auto self = shared_from_this();
    {
        const std::lock_guard held{lock_};
        ++knocks_;
    }
    MainTimer pause{co_await asio::this_coro::executor, redial_.pause};
    co_await pause.async_wait(awaiting);
    const Outcome outcome = co_await reply(messageWithContract(), std::move(on), redial_.budget);
    const auto* answer = std::get_if<Reply>(&outcome);
    if (answer != nullptr &&
        WireContract::verdict(WireContract::version, answer->wire) == WireContract::Verdict::mismatch) {
        announceSkew();
    }
}

XPCClient::Connection XPCClient::openConnection() const {
    const Dial& dial = seams_.makeConnection ? seams_.makeConnection : seams_.dial;
    Connection connection = dial(machServiceName_);
    discardEvents(*connection);
    connection->resume();
    return connection;
}

XPCClient::Connection XPCClient::currentConnection() const {
    const std::lock_guard held{lock_};
    return connection_;
}

/// Replaces a failed connection once, however many callers saw it fail. The old one is not cancelled: callers that
/// still wait on it share it until they are told of the failure, and the last of them destroys it.
void XPCClient::replace(const Connection& failed) {
    if (currentConnection() != failed) return;
    Connection fresh = openConnection();
    const std::lock_guard held{lock_};
    connection_ = std::move(fresh);
}

std::optional<DoorFault> XPCClient::lastDoorFault() const {
    const std::lock_guard held{lock_};
    return fault_;
}

int XPCClient::knockCount() const {
    const std::lock_guard held{lock_};
    return knocks_;
}

void XPCClient::setFault(std::optional<DoorFault> fault) {
    const std::lock_guard held{lock_};
    fault_ = fault;
}

void XPCClient::subscribe(OnEvent onEvent) {
    {
        const std::lock_guard held{lock_};
        onEvent_ = std::move(onEvent);
    }
    openSubscription();
}

void XPCClient::ensureSubscribed() {
    {
        const std::lock_guard held{lock_};
        if (!SubscriptionGate::shouldReopen(static_cast<bool>(onEvent_), subConnection_ != nullptr)) return;
    }
    openSubscription();
}

void XPCClient::openSubscription() {
    const Connection fresh = seams_.dial(machServiceName_);
    fresh->setEventHandler([weak = weak_from_this(), on = fresh.get()](const MessageConnection::Incoming& incoming) {
        if (const auto self = weak.lock()) self->dispatchEvent(on, incoming);
    });
    Connection old;
    {
        const std::lock_guard held{lock_};
        old = std::exchange(subConnection_, fresh);
    }
    if (old) old->cancel();
    fresh->resume();
    MessageDictionary subscription;
    subscription.set(XPCEndpoint::subscribeKey, true);
    fresh->send(std::move(subscription));
}

void XPCClient::dispatchEvent(const MessageConnection* on, const MessageConnection::Incoming& incoming) {
    if (!incoming) {
        Connection failed;
        {
            // The next tick opens a new one: a dead daemon costs the events of one tick at most.
            const std::lock_guard held{lock_};
            if (subConnection_.get() == on) failed = std::exchange(subConnection_, nullptr);
        }
        if (failed) failed->cancel();
        return;
    }
    const auto document = XPCWire::data(XPCEndpoint::eventKey, *incoming);
    if (!document) return;
    const auto event = decode<GatewayEvent>(*document);
    if (!event) return;
    OnEvent onEvent;
    {
        const std::lock_guard held{lock_};
        onEvent = onEvent_;
    }
    if (onEvent) onEvent(*event);
}

}  // namespace larkmoor
