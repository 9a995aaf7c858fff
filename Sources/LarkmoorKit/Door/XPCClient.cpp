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

constexpr const char* encodeFailed = "encode failed";
constexpr const char* badReply = "bad reply";

/// Nothing for what JSON cannot say, or the memory does not hold.
std::optional<Bytes> encoded(const GatewayRequest& request) {
    try {
        auto payload = encode(request);
        return payload ? std::optional{*std::move(payload)} : std::nullopt;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
}

/// Nothing for what is no answer, or one that the memory does not hold.
std::optional<GatewayResponse> decoded(BytesView payload) {
    try {
        auto response = decode<GatewayResponse>(payload);
        return response ? std::optional{*std::move(response)} : std::nullopt;
    } catch (const std::bad_alloc&) {
        return std::nullopt;
    }
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
    const auto payload = encoded(request);
    if (!payload) co_return failure(encodeFailed);

    const Connection first = currentConnection();
    // A live connection is trusted to answer or to report its failure, however long a request takes.
    Attempt attempt = co_await roundTrip(*payload, first, std::nullopt);
    if (auto* answered = std::get_if<Answered>(&attempt)) co_return finish(std::move(*answered));

    if (isUnsendable(attempt)) co_return failure(encodeFailed);

    replace(first);
    if (history_.connected()) co_await knock(currentConnection());
    attempt = co_await roundTrip(*payload, currentConnection(), redial_.budget);
    if (auto* answered = std::get_if<Answered>(&attempt)) co_return finish(std::move(*answered));
    co_return co_await diagnose(std::move(attempt));
}

bool XPCClient::isUnsendable(const Attempt& attempt) {
    const auto* failed = std::get_if<TransportError>(&attempt);
    return failed != nullptr && failed->kind == ConnectionFailure::Kind::unsendable;
}

/// What the failure of both attempts means.
Task<TimedResponse> XPCClient::diagnose(Attempt failed) {
    const auto self = shared_from_this();
    if (std::holds_alternative<Silence>(failed)) {
        setFault(DoorFault::silent);
        co_return failure(message(DoorFault::silent));
    }
    if (isUnsendable(failed)) co_return failure(encodeFailed);
    const DoorFault fault = forDoubleFailure(co_await isRegistered());
    setFault(fault);
    if (fault == DoorFault::refused) {
        const ClientLineage judged = co_await lineage();
        if (const auto* stale = judged.as<ClientLineage::Stale>())
            co_return failure(staleRefusalMessage(stale->installedVersion));
    }
    co_return failure(message(fault));
}

Task<bool> XPCClient::isRegistered() const {
    try {
        co_return co_await seams_.serviceRegistered(machServiceName_);
    } catch (const std::exception&) {
        co_return false;
    }
}

Task<ClientLineage> XPCClient::lineage() const {
    try {
        co_return co_await seams_.clientLineage();
    } catch (const std::exception&) {
        co_return ClientLineage::Foreign{};
    }
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
    if (const auto* failed = std::get_if<TransportError>(&outcome)) co_return *failed;
    if (std::holds_alternative<Silence>(outcome)) co_return Silence{};

    // A bad reply is an answer: the request is not repeated, and the door counts as connected.
    Reply& answer = std::get<Reply>(outcome);
    Answered answered{.response = GatewayResponse::Failure{badReply}, .daemon = {}, .wire = answer.wire};
    if (auto response = answer.payload ? decoded(*answer.payload) : std::nullopt) {
        answered.response = *std::move(response);
        answered.daemon = answer.served;
    }
    co_return answered;
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
            on->sendWithReply(std::move(message), [settle](MessageConnection::Incoming incoming) {
                // What the bus could not bring is an answer without a payload.
                if (!incoming && incoming.error().kind == ConnectionFailure::Kind::unanswerable) return settle(Reply{});
                if (!incoming) return settle(std::move(incoming.error()));
                Reply answer{.payload = {},
                             .wire = XPCWire::wireVersion(*incoming),
                             .served = XPCWire::servedDuration(*incoming)};
                if (XPCWire::data(XPCEndpoint::payloadKey, *incoming))
                    answer.payload = std::get<Bytes>(std::move(incoming->values.find(XPCEndpoint::payloadKey)->second));
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
