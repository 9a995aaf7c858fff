// A private bus, a service on it and somebody who dials it: what the message service's tests share.
#pragma once

#include "LarkmoorPlatform/Linux/MessageServiceDial.h"
#include "LarkmoorPlatform/Linux/MessageServiceListener.h"
#include "LarkmoorPlatform/Linux/MessageServiceNames.h"
#include "LarkmoorPlatform/MessageService.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"

namespace larkmoor::testing {

using Incoming = MessageConnection::Incoming;

inline const std::string service = "tools.fenwright.larkmoor.test.service";

inline MessageDictionary dictionaryWith(std::string_view key, MessageValue value) {
    MessageDictionary dictionary;
    dictionary.set(key, std::move(value));
    return dictionary;
}

inline MessageDictionary payload(std::string_view text) { return dictionaryWith("payload", copyBytes(text)); }

inline std::string payloadOf(const MessageDictionary& dictionary) {
    const auto* bytes = dictionary.find<Bytes>("payload");
    return bytes == nullptr ? "(none)" : std::string{asText(*bytes)};
}

/// A service of the test's own, on a connection of its own.
struct Server {
    using OnRequest = decltype(MessageListener::Service::onRequest);

    SessionBus bus;
    MessageServiceListener listener;
    std::vector<std::shared_ptr<MessageSubscriber>> subscribers;
    std::vector<MessageListener::Respond> unanswered;
    bool isListening = false;
    std::optional<ConnectionFailure> failure;

    Server(MainLoop& loop, const std::string& address, OnRequest onRequest)
        : bus(loop, address), listener(bus, service) {
        listener.listen({.onRequest = std::move(onRequest),
                         .onSubscribe =
                             [this](const MessageDictionary&, std::shared_ptr<MessageSubscriber> subscriber) {
                                 subscribers.push_back(std::move(subscriber));
                             },
                         .onListening = [this] { isListening = true; },
                         .onFailure = [this](ConnectionFailure why) { failure = std::move(why); }});
        EXPECT_TRUE(runUntil(loop, [&] { return isListening || failure; }));
    }
};

class MessageServiceTest : public ::testing::Test {
  protected:
    std::shared_ptr<MessageConnection> dial() { return sessionBusDial(loop, daemon.address())(service); }

    /// Sends and waits for the reply.
    Incoming ask(MessageConnection& connection, MessageDictionary message) {
        std::optional<Incoming> reply;
        connection.sendWithReply(std::move(message), [&](Incoming incoming) { reply = std::move(incoming); });
        EXPECT_FALSE(reply) << "called back from inside";
        EXPECT_TRUE(runUntil(loop, [&] { return reply.has_value(); }));
        return reply.value_or(std::unexpected(ConnectionFailure{"nothing came"}));
    }
    std::shared_ptr<MessageConnection> dialled() {
        auto connection = dial();
        connection->resume();
        return connection;
    }

    std::function<void(MessageDictionary, MessageListener::Respond)> echo =
        [](MessageDictionary request, const MessageListener::Respond& respond) { respond(std::move(request)); };

    MainLoop loop;
    PrivateBus daemon;
};

}  // namespace larkmoor::testing
