// The door's second connection, which brings events.
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class SubscriptionTest : public XPCClientTest {
  protected:
    void subscribe() {
        client->subscribe([this](const GatewayEvent& event) {
            static_cast<void>(client->lastDoorFault());
            heard.push_back(event.as<GatewayEvent::FrontState>()->_0);
        });
        runReady(loop);
    }
    void push(std::size_t connection, MessageDictionary event) {
        door.push(connection, std::move(event));
        runReady(loop);
    }

    std::vector<FrontRecording> heard;
};

TEST_F(SubscriptionTest, AsksOnAConnectionOfItsOwnAndHearsEvents) {
    subscribe();
    ASSERT_EQ(door.dialled(), 2U);
    ASSERT_EQ(door.sent().size(), 1U);
    EXPECT_EQ(door.sent()[0].connection, 1U);
    EXPECT_EQ(door.sent()[0].message.values, (decltype(MessageDictionary::values){{"subscribe", true}}));
    push(1, eventOf(R"({"frontState":{"_0":"titleOnly"}})"));
    push(0, eventOf(R"({"frontState":{"_0":"full"}})"));
    EXPECT_THAT(heard, ElementsAre(FrontRecording::titleOnly)) << "the request connection brings none";
}

TEST_F(SubscriptionTest, WhatIsNoEventIsDropped) {
    subscribe();
    MessageDictionary strange;
    for (const MessageDictionary& event :
         {eventOf(""), eventOf("nonsense"), eventOf(R"({"frontState":{"_0":"somewhere"}})"),
          eventOf(R"({"newKind":{}})"), replyOf(GatewayResponse::Ok{}), strange}) {
        push(1, event);
    }
    EXPECT_THAT(heard, IsEmpty());
    push(1, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_THAT(heard, ElementsAre(FrontRecording::none));
}

TEST_F(SubscriptionTest, OpensAgainOnlyWhenWantedAndGone) {
    client->ensureSubscribed();
    EXPECT_EQ(door.dialled(), 1U) << "nobody wants events";
    subscribe();
    client->ensureSubscribed();
    EXPECT_EQ(door.dialled(), 2U) << "it is there";
    door.fail(1);
    runReady(loop);
    EXPECT_EQ(door.kept(), 1U) << "the failed one is given up";
    EXPECT_EQ(door.dialled(), 2U) << "not before the next tick";
    client->ensureSubscribed();
    client->ensureSubscribed();
    runReady(loop);
    EXPECT_EQ(door.dialled(), 3U);
    push(2, eventOf(R"({"frontState":{"_0":"blocked"}})"));
    EXPECT_THAT(heard, ElementsAre(FrontRecording::blocked));
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
}

TEST_F(SubscriptionTest, AnotherSubscriberTakesThePlaceOfTheFirst) {
    subscribe();
    door.push(1, eventOf(R"({"frontState":{"_0":"blocked"}})"));
    std::vector<std::string> other;
    client->subscribe([&](const GatewayEvent&) { other.emplace_back("event"); });
    door.push(1, eventOf(R"({"frontState":{"_0":"blocked"}})"));
    push(2, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_THAT(other, ElementsAre("event"));
    EXPECT_EQ(door.kept(), 2U) << "requests and the new subscription";
}

TEST_F(SubscriptionTest, IsGoneWithItsClient) {
    subscribe();
    const std::weak_ptr weak{client};
    client.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(door.kept(), 0U);
    push(1, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_THAT(heard, IsEmpty());
}

TEST_F(SubscriptionTest, UsesTheDefaultDial) {
    FakeDoor requests{loop};
    const auto split =
        XPCClient::make("the.door", {.dial = door.dial(),
                                     .makeConnection = requests.dial(),
                                     .serviceRegistered = [](std::string) -> Task<bool> { co_return false; },
                                     .clientLineage = [] { return ClientLineage{}; }});
    const std::size_t before = door.dialled();
    split->subscribe([](const GatewayEvent&) {});
    EXPECT_EQ(requests.dialled(), 1U);
    EXPECT_EQ(door.dialled(), before + 1);
}

}  // namespace
}  // namespace larkmoor::testing
