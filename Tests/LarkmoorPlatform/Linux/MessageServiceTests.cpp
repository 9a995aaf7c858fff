// How a connection of the message service lives, fails and ends.
#include "LarkmoorPlatform/Linux/MessageServiceTest.h"

namespace larkmoor::testing {
namespace {

TEST_F(MessageServiceTest, FailsAtOnceWithoutAnOwner) {
    const auto asking = dialled();
    EXPECT_FALSE(ask(*asking, payload("?")).has_value());

    const auto subscribing = dial();
    int failures = 0;
    subscribing->setEventHandler([&](const Incoming& incoming) { failures += incoming ? 0 : 1; });
    subscribing->resume();
    subscribing->send(dictionaryWith("subscribe", true));
    ASSERT_TRUE(runUntil(loop, [&] { return failures > 0; }));

    // An owner that comes later is another's: this channel has failed for good.
    const Server server{loop, daemon.address(), echo};
    EXPECT_FALSE(ask(*asking, payload("?")).has_value());
    EXPECT_TRUE(ask(*dialled(), payload("?")).has_value());
    EXPECT_EQ(failures, 1);
}

TEST_F(MessageServiceTest, TellsAllThatWaitWhenOneFails) {
    std::vector<MessageListener::Respond> kept;
    const Server server{loop, daemon.address(), [&](const MessageDictionary&, MessageListener::Respond respond) {
                            kept.push_back(std::move(respond));
                        }};
    const auto connection = dialled();
    int failures = 0;
    int events = 0;
    connection->setEventHandler([&](const Incoming&) { ++events; });
    for (int count = 0; count < 3; ++count) {
        // The first to hear of it replaces the connection, as the door does; the others must not wait for ever.
        connection->sendWithReply(payload("?"), [&](const Incoming& incoming) {
            ASSERT_FALSE(incoming);
            EXPECT_TRUE(incoming.error().reason.starts_with(BusErrorName::accessDenied)) << incoming.error().reason;
            ++failures;
            connection->cancel();
        });
    }
    ASSERT_TRUE(runUntil(loop, [&] { return kept.size() == 3; }));
    kept[1](std::unexpected(MessageRefusal{}));
    ASSERT_TRUE(runUntil(loop, [&] { return failures > 0; }));
    EXPECT_EQ(failures, 3);
    EXPECT_EQ(events, 0);
}

TEST_F(MessageServiceTest, WaitsForAnAnswerLongerThanTheBusLibraryWould) {
    MessageListener::Respond late;
    const Server server{loop, daemon.address(), [&](const MessageDictionary&, MessageListener::Respond respond) {
                            if (!late) late = std::move(respond);
                        }};
    // Its 25 s, made short, though not too short for a busy machine to connect in.
    ::setenv("SYSTEMD_BUS_TIMEOUT", "2s", 1);
    const auto connection = dialled();
    std::optional<Incoming> reply;
    connection->sendWithReply(payload("?"), [&](Incoming incoming) { reply = std::move(incoming); });
    ASSERT_TRUE(runUntil(loop, [&] { return late != nullptr; }));

    SessionBus bus{loop, daemon.address()};
    using namespace MessageServiceNames;
    const BusMessage ordinary = bus.methodCall(service, objectPath, interface, request);
    BusWriter{ordinary}.array("{sv}", [] {});
    EXPECT_EQ(runTask(loop, bus.call(ordinary)).value().error().name, BusErrorName::noReply);
    ::unsetenv("SYSTEMD_BUS_TIMEOUT");
    EXPECT_FALSE(reply.has_value());
    late(payload("!"));
    ASSERT_TRUE(runUntil(loop, [&] { return reply.has_value(); }));
    EXPECT_EQ(payloadOf(reply->value()), "!");
}

TEST_F(MessageServiceTest, PushesEventsToTheirSubscriberAlone) {
    Server server{loop, daemon.address(), echo};
    const auto requests = dialled();
    std::map<std::string, std::vector<std::string>> got;
    requests->setEventHandler(
        [&](const Incoming& incoming) { got["requests"].push_back(payloadOf(incoming.value())); });
    std::vector<std::shared_ptr<MessageConnection>> subscribed;
    for (const std::string name : {"first", "second"}) {
        subscribed.push_back(dial());
        subscribed.back()->setEventHandler([&got, name](const Incoming& incoming) {
            got[name].push_back(incoming ? payloadOf(*incoming) : "failure");
        });
        subscribed.back()->resume();
        subscribed.back()->send(dictionaryWith("subscribe", true));
        ASSERT_TRUE(runUntil(loop, [&] { return server.subscribers.size() == subscribed.size(); }));
    }
    EXPECT_TRUE(server.subscribers[0]->push(payload("a")));
    EXPECT_TRUE(server.subscribers[1]->push(payload("b")));
    EXPECT_TRUE(server.subscribers[0]->push(payload("c")));
    ASSERT_TRUE(runUntil(loop, [&] { return got["first"].size() == 2 && got["second"].size() == 1; }));
    static_cast<void>(ask(*requests, payload("?")));
    EXPECT_EQ(got["first"], (std::vector<std::string>{"a", "c"}));
    EXPECT_EQ(got["second"], (std::vector<std::string>{"b"}));
    EXPECT_TRUE(got["requests"].empty());

    // The server learns that a subscriber is gone.
    subscribed[0]->cancel();
    ASSERT_TRUE(runUntil(loop, [&] { return !server.subscribers[0]->push(payload("d")); }));
    EXPECT_EQ(got["first"].size(), 2U);
}

TEST_F(MessageServiceTest, BelievesNoEventOfAStranger) {
    Server server{loop, daemon.address(), echo};
    SessionBus stranger{loop, daemon.address()};
    const auto connection = dial();
    std::vector<std::string> events;
    connection->setEventHandler([&](const Incoming& incoming) { events.push_back(payloadOf(incoming.value())); });
    connection->resume();
    connection->send(dictionaryWith("subscribe", true));
    ASSERT_TRUE(runUntil(loop, [&] { return server.subscribers.size() == 1; }));
    // Unique names are counted: try the few that there can be.
    for (int number = 0; number < 10; ++number) {
        using namespace MessageServiceNames;
        const BusMessage forged = stranger.signal(objectPath, interface, event);
        sd_bus_message_set_destination(forged.get(), (":1." + std::to_string(number)).c_str());
        BusWriter{forged}.array("{sv}", [] {});
        EXPECT_TRUE(stranger.send(forged));
    }
    settle(loop, stranger);
    server.subscribers[0]->push(payload("true"));
    ASSERT_TRUE(runUntil(loop, [&] { return !events.empty(); }));
    EXPECT_EQ(events, (std::vector<std::string>{"true"}));
}

TEST_F(MessageServiceTest, IsQuietAfterCancelling) {
    Server server{loop, daemon.address(), echo};
    const auto connection = dial();
    bool isCalled = false;
    connection->setEventHandler([&](const Incoming&) { isCalled = true; });
    connection->resume();
    connection->send(dictionaryWith("subscribe", true));
    ASSERT_TRUE(runUntil(loop, [&] { return server.subscribers.size() == 1; }));
    connection->sendWithReply(payload("?"), [&](const Incoming&) { isCalled = true; });
    server.subscribers[0]->push(payload("!"));
    connection->cancel();
    connection->sendWithReply(payload("?"), [&](const Incoming&) { isCalled = true; });
    EXPECT_TRUE(ask(*dialled(), payload("?")).has_value());
    runReady(loop);
    EXPECT_FALSE(isCalled);
}

TEST_F(MessageServiceTest, FailsWhenTheBusIsKilled) {
    Server server{loop, daemon.address(), [&](const MessageDictionary&, MessageListener::Respond respond) {
                      server.unanswered.push_back(std::move(respond));
                  }};
    const auto connection = dialled();
    std::optional<Incoming> reply;
    connection->sendWithReply(payload("?"), [&](Incoming incoming) { reply = std::move(incoming); });
    ASSERT_TRUE(runUntil(loop, [&] { return !server.unanswered.empty(); }));
    daemon.kill();
    ASSERT_TRUE(runUntil(loop, [&] { return reply && server.failure; }));
    EXPECT_FALSE(reply->has_value());
    EXPECT_FALSE(ask(*dialled(), payload("?")).has_value());
    server.unanswered.front()(payload("too late"));
}

TEST_F(MessageServiceTest, TellsAServerThatTheNameIsTaken) {
    const Server first{loop, daemon.address(), echo};
    const Server second{loop, daemon.address(), echo};
    EXPECT_TRUE(first.isListening);
    EXPECT_FALSE(second.isListening);
    EXPECT_TRUE(second.failure.has_value());
}

TEST_F(MessageServiceTest, FailsForGoodWhenTheOwnerGoesInTheMiddle) {
    std::optional<Server> server;
    server.emplace(loop, daemon.address(), [&](const MessageDictionary&, MessageListener::Respond respond) {
        server->unanswered.push_back(std::move(respond));
    });
    int failures = 0;
    const auto requests = dial(), events = dial();
    for (const auto& connection : {requests, events}) {
        connection->setEventHandler([&](const Incoming& incoming) { failures += incoming ? 0 : 1; });
        connection->resume();
    }
    events->send(dictionaryWith("subscribe", true));
    std::optional<Incoming> reply;
    requests->sendWithReply(payload("?"), [&](Incoming incoming) { reply = std::move(incoming); });
    ASSERT_TRUE(runUntil(loop, [&] { return !server->unanswered.empty() && !server->subscribers.empty(); }));
    server.reset();
    ASSERT_TRUE(runUntil(loop, [&] { return reply && failures == 2; }));
    EXPECT_FALSE(reply->has_value());

    server.emplace(loop, daemon.address(), echo);
    EXPECT_FALSE(ask(*requests, payload("?")).has_value());
    EXPECT_TRUE(ask(*dialled(), payload("?")).has_value());
    EXPECT_EQ(failures, 2);
}

}  // namespace
}  // namespace larkmoor::testing
