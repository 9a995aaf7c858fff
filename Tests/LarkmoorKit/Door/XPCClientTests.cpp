// What a caller of the door gets, what the daemon sees of it, and the second connection, which brings events.
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

using enum Fate;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Lineage = ClientLineage;

const std::string absentWords = message(DoorFault::absent);
const std::string refusedWords = message(DoorFault::refused);
const std::string silentWords = message(DoorFault::silent);
const std::string skewWords = message(DoorFault::skew);
constexpr std::string_view staleWords =
    "Larkmoor updated to 2.1 — this session's connector is from before the update. Restart this session (or reconnect "
    "the MCP server) to continue. Nothing is wrong.";
constexpr std::string_view unsureWords =
    "Larkmoor updated — this session's connector is from before the update. Restart this session (or reconnect the MCP "
    "server) to continue. Nothing is wrong.";

TEST_F(XPCClientTest, TheFaultTable) {
    struct Case {
        std::string_view name;
        std::optional<Fate> before;  ///< of an earlier request
        std::vector<Fate> fates;
        bool isRegistered;
        Lineage lineage;
        std::string_view words;
        std::optional<DoorFault> fault;
        int knocks, lookups;
    };
    const Lineage foreign = Lineage::Foreign{};
    const Lineage stale = Lineage::Stale{"2.1"};
    const Lineage unsure = Lineage::Stale{std::nullopt};
    using DoorFault::absent, DoorFault::refused, DoorFault::skew;
    const DoorFault hushed = DoorFault::silent;
    const std::nullopt_t none = std::nullopt;
    const Case table[] = {
        {"with the daemon's own time", {}, {served}, false, foreign, "healthy", none, 0, 0},
        {"no word of the contract", {}, {unsaid}, false, foreign, "healthy", none, 0, 0},
        {"a failure is an answer", {}, {failure}, false, foreign, "not now", none, 0, 0},
        {"no payload", {}, {noPayload}, false, foreign, "bad reply", none, 0, 0},
        {"empty payload", {}, {emptyPayload}, false, foreign, "bad reply", none, 0, 0},
        {"bad JSON", {}, {noJSON}, false, foreign, "bad reply", none, 0, 0},
        {"another contract", {}, {ofTwo}, false, foreign, skewWords, skew, 0, 0},
        {"another contract and bad JSON", {}, {badOfTwo}, false, foreign, skewWords, skew, 0, 0},
        {"too large a reply", {}, {tooLarge}, false, foreign, "bad reply", none, 0, 0},
        {"nobody there, first contact", {}, {nobody, nobody}, false, foreign, absentWords, absent, 0, 1},
        {"refused", {}, {fails, fails}, true, foreign, refusedWords, refused, 0, 1},
        {"refused for being old", {}, {fails, fails}, true, stale, staleWords, refused, 0, 1},
        {"refused for being old, nobody knows how", {}, {fails, fails}, true, unsure, unsureWords, refused, 0, 1},
        {"an old process finds nobody", {}, {nobody, nobody}, false, stale, absentWords, absent, 0, 1},
        {"second attempt answered", {}, {fails, good}, false, foreign, "healthy", none, 0, 0},
        {"second attempt unanswered", {}, {fails, silent}, true, foreign, silentWords, hushed, 0, 0},
        {"second attempt of another contract", {}, {fails, ofTwo}, true, foreign, skewWords, skew, 0, 0},
        {"second attempt has no payload", {}, {fails, noPayload}, true, foreign, "bad reply", none, 0, 0},
        {"restarted", good, {fails, noPayload, good}, true, foreign, "healthy", none, 1, 0},
        {"the knock is not answered", good, {fails, silent, good}, true, foreign, "healthy", none, 1, 0},
        {"neither knock nor request answered", good, {fails, silent, silent}, true, foreign, silentWords, hushed, 1, 0},
        {"back after the knock", good, {fails, nobody, good}, true, foreign, "healthy", none, 1, 0},
        {"gone for good", good, {fails, nobody, nobody}, false, foreign, absentWords, absent, 1, 1},
        {"gone while nobody asked", good, {nobody, nobody, nobody}, false, foreign, absentWords, absent, 1, 1},
        {"another contract was contact too", ofTwo, {fails, good, good}, true, foreign, "healthy", none, 1, 0},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        dial(budget);
        if (row.before) {
            expectMessages({*row.before});
            static_cast<void>(ask());
        }
        expectMessages(row.fates);
        registered = row.isRegistered;
        lineage = row.lineage;
        lookups = 0;
        const std::size_t dialled = door.dialled();
        const std::size_t sent = door.sent().size();

        const TimedResponse answer = ask();
        EXPECT_EQ(words(answer.response), row.words);
        EXPECT_EQ(answer.daemon.value_or(std::chrono::milliseconds{0}).count(), row.fates.front() == served ? 1500 : 0);
        EXPECT_EQ(client->lastDoorFault(), row.fault);
        EXPECT_EQ(client->knockCount(), row.knocks);
        EXPECT_EQ(lookups, row.lookups);
        const bool isReplaced = row.fates.front() == fails || row.fates.front() == nobody;
        EXPECT_EQ(door.dialled() - dialled, isReplaced ? 1U : 0U);
        EXPECT_EQ(door.kept(), 1U);
        const auto requests =
            std::ranges::count_if(door.sent().begin() + static_cast<std::ptrdiff_t>(sent), door.sent().end(),
                                  [](const FakeDoor::Sent& one) { return requestIn(one.message).has_value(); });
        EXPECT_EQ(requests, isReplaced ? 2 : 1) << "two attempts and never a third";
    }
}

TEST_F(XPCClientTest, AKnockWaitsForItsPauseAndTheRequestForTheKnock) {
    constexpr std::chrono::milliseconds pause{60};
    dial(std::chrono::seconds{10}, pause);
    expectMessages({good, fails, silent, good});
    static_cast<void>(ask());
    const auto asked = start();
    ASSERT_TRUE(runUntil(loop, [&] { return door.sent().size() == 3; }));
    EXPECT_TRUE(isKnock(door.sent()[2].message));
    EXPECT_GE(times[2] - times[1], pause) << "a daemon that restarts gets time to come back";
    loop.run_for(budget);
    EXPECT_EQ(door.sent().size(), 3U) << "the request is not repeated before the knock's answer";
    door.answer(2, *incoming(good));
    ASSERT_TRUE(runUntil(loop, [&] { return asked->answer.has_value(); }));
    EXPECT_EQ(words(asked->answer->response), "healthy");
}

TEST_F(XPCClientTest, WhatTheBusCannotCarryFailsAlone) {
    const GatewayRequest large = GatewayRequest::Control{ControlRequest::LogUpdate{std::string(65U << 20U, 'x')}};
    EXPECT_EQ(words(ask(large).response), "encode failed");
    EXPECT_THAT(door.sent(), IsEmpty());
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
    EXPECT_EQ(words(ask().response), "healthy");
    EXPECT_EQ(door.dialled(), 1U);
}

TEST_F(XPCClientTest, ASeamThatThrowsEndsInWords) {
    seamsThrow = true;
    registered = true;
    expectMessages({fails, fails});
    EXPECT_EQ(words(ask().response), absentWords);
}

TEST_F(XPCClientTest, MessagesCarryWhatTheyMustAndNoMore) {
    static_cast<void>(ask());
    expectMessages({fails, good, good});
    static_cast<void>(ask());
    ASSERT_EQ(door.sent().size(), 4U);
    EXPECT_TRUE(isKnock(door.sent()[2].message));
    for (const auto& [index, connection] : {std::pair{0U, 0U}, {1U, 0U}, {3U, 1U}}) {
        const auto& [on, message] = door.sent()[index];
        EXPECT_EQ(on, connection);
        EXPECT_EQ(asText(*XPCWire::data("payload", message)), R"({"read":{"_0":{"health":{}}}})");
        EXPECT_EQ(XPCWire::wireVersion(message), 1);
        EXPECT_EQ(message.values.size(), 2U);
    }
}

TEST_F(XPCClientTest, NoBudgetIsStillAChance) {
    dial(std::chrono::nanoseconds{-1});
    expectMessages({fails, silent, fails, good});
    EXPECT_EQ(words(ask().response), silentWords);
    EXPECT_EQ(words(ask().response), "healthy");
}

TEST_F(XPCClientTest, DeadlineAndReplyAreOneOutcome) {
    for (const bool isInTime : {false, true}) {
        SCOPED_TRACE(isInTime ? "both in one turn" : "a reply after the deadline");
        dial(budget);
        expectMessages({fails, silent});
        const std::size_t sent = door.sent().size();
        const auto asked = start();
        ASSERT_TRUE(
            runUntil(loop, [&] { return isInTime ? door.sent().size() == sent + 2 : asked->answer.has_value(); }));
        door.answer(sent + 1, *incoming(good));
        if (isInTime) std::this_thread::sleep_for(2 * budget);
        runReady(loop);
        ASSERT_EQ(asked->outcomes, 1);
        const std::string said = words(asked->answer->response);
        EXPECT_TRUE(said == silentWords || (isInTime && said == "healthy")) << said;
        EXPECT_EQ(client->lastDoorFault().has_value(), said == silentWords);
        const std::size_t dialled = door.dialled();
        EXPECT_EQ(words(ask().response), "healthy");
        EXPECT_EQ(client->lastDoorFault(), std::nullopt);
        EXPECT_EQ(door.dialled(), dialled) << "a silent daemon keeps its connection";
    }
}

TEST_F(XPCClientTest, CallersOnOneDeadConnectionReplaceItOnce) {
    for (const bool diesWhileTheyWait : {true, false}) {
        SCOPED_TRACE(diesWhileTheyWait ? "it dies while they wait" : "it died while nobody asked");
        expectMessages({});
        static_cast<void>(ask());
        const std::size_t dialled = door.dialled();
        const int knocks = client->knockCount();
        if (!diesWhileTheyWait) door.fail(dialled - 1);
        runReady(loop);
        if (diesWhileTheyWait) expectMessages({silent, silent, silent});
        const auto asked = {start(), start(), start()};
        runReady(loop);
        if (diesWhileTheyWait) door.fail(dialled - 1);
        for (const auto& one : asked) {
            ASSERT_TRUE(runUntil(loop, [&] { return one->answer.has_value(); }));
            EXPECT_EQ(words(one->answer->response), "healthy");
        }
        EXPECT_EQ(door.dialled(), dialled + 1);
        EXPECT_EQ(door.kept(), 1U);
        EXPECT_EQ(client->knockCount(), knocks + 3);
    }
}

TEST_F(XPCClientTest, SkewIsAnnouncedOnceAndClearsByItself) {
    static_cast<void>(ask());
    // The knock hears of it first, and sets no fault; then the answer, then it comes and goes.
    expectMessages({fails, ofTwo, good, fails, ofTwo, ofTwo, ofTwo, good, ofTwo});
    EXPECT_EQ(words(ask().response), "healthy");
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
    EXPECT_EQ(mismatches, 1);
    EXPECT_EQ(words(ask().response), skewWords);
    EXPECT_EQ(words(ask().response), skewWords);
    EXPECT_EQ(words(ask(GatewayRequest::Read{ReadRequest::GetDay{"\xff"}}).response), "encode failed");
    EXPECT_EQ(client->lastDoorFault(), DoorFault::skew) << "a request that was never sent says nothing";
    EXPECT_EQ(words(ask().response), "healthy");
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
    EXPECT_EQ(words(ask().response), skewWords);
    EXPECT_EQ(mismatches, 1);
}

TEST_F(XPCClientTest, AFirstAttemptWaitsHoweverLongItTakesAndOutlivesItsClientsOwner) {
    expectMessages({silent});
    const auto asked = start();
    const std::weak_ptr weak{client};
    runReady(loop);
    client.reset();
    loop.run_for(3 * budget);
    EXPECT_FALSE(asked->answer);
    door.answer(0, *incoming(good));
    runReady(loop);
    ASSERT_EQ(asked->outcomes, 1);
    EXPECT_EQ(words(asked->answer->response), "healthy");
    EXPECT_EQ(door.sent().size(), 1U);
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(door.kept(), 0U);
}

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

TEST_F(SubscriptionTest, AsksOnAConnectionOfItsOwnAndHearsEventsAlone) {
    static_cast<void>(ask());
    subscribe();
    ASSERT_EQ(door.dialled(), 2U);
    ASSERT_EQ(door.sent().size(), 2U);
    EXPECT_EQ(door.sent()[1].connection, 1U);
    EXPECT_EQ(door.sent()[1].message.values, (decltype(MessageDictionary::values){{"subscribe", true}}));
    push(1, eventOf(R"({"frontState":{"_0":"titleOnly"}})"));
    push(0, eventOf(R"({"frontState":{"_0":"full"}})"));
    EXPECT_THAT(heard, ElementsAre(FrontRecording::titleOnly)) << "the request connection brings none";
    for (const MessageDictionary& strange :
         {eventOf(""), eventOf("nonsense"), eventOf(R"({"frontState":{"_0":"somewhere"}})"),
          eventOf(R"({"newKind":{}})"), replyOf(GatewayResponse::Ok{}), MessageDictionary{}}) {
        push(1, strange);
    }
    EXPECT_EQ(heard.size(), 1U);
    push(1, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_THAT(heard, ElementsAre(FrontRecording::titleOnly, FrontRecording::none));
}

TEST_F(SubscriptionTest, OpensAgainOnlyWhenWantedAndGone) {
    client->ensureSubscribed();
    EXPECT_EQ(door.dialled(), 1U) << "nobody wants events";
    subscribe();
    client->ensureSubscribed();
    EXPECT_EQ(door.dialled(), 2U) << "it is there";
    for (const std::size_t daemon : {1U, 2U}) {
        door.fail(daemon);
        runReady(loop);
        EXPECT_EQ(door.kept(), 1U) << "the failed one is given up";
        EXPECT_EQ(door.dialled(), daemon + 1) << "not before the next tick";
        client->ensureSubscribed();
        client->ensureSubscribed();
        runReady(loop);
        EXPECT_EQ(door.dialled(), daemon + 2);
        push(daemon + 1, eventOf(R"({"frontState":{"_0":"blocked"}})"));
        EXPECT_EQ(heard.size(), daemon);
    }
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
}

TEST_F(SubscriptionTest, TheLastSubscriberAloneHearsUntilTheClientIsGone) {
    subscribe();
    door.push(1, eventOf(R"({"frontState":{"_0":"blocked"}})"));
    int others = 0;
    client->subscribe([&](const GatewayEvent&) { ++others; });
    door.push(1, eventOf(R"({"frontState":{"_0":"blocked"}})"));
    push(2, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_THAT(heard, IsEmpty());
    EXPECT_EQ(others, 1);
    EXPECT_EQ(door.kept(), 2U) << "requests and the new subscription";
    const std::weak_ptr weak{client};
    client.reset();
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(door.kept(), 0U);
    push(2, eventOf(R"({"frontState":{"_0":"none"}})"));
    EXPECT_EQ(others, 1);
}

}  // namespace
}  // namespace larkmoor::testing
