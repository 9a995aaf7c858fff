// What a caller of the door gets, and what the daemon sees of it.
#include "Support/DoorFixture.h"

namespace larkmoor::testing {
namespace {

using enum Fate;
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
        bool answeredBefore;
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
        {"answered at once", false, {good}, false, foreign, "healthy", none, 0, 0},
        {"with the daemon's own time", false, {served}, false, foreign, "healthy", none, 0, 0},
        {"no word of the contract", false, {unsaid}, false, foreign, "healthy", none, 0, 0},
        {"a failure is an answer", false, {failure}, false, foreign, "not now", none, 0, 0},
        {"no payload", false, {noPayload}, false, foreign, "bad reply", none, 0, 0},
        {"empty payload", false, {emptyPayload}, false, foreign, "bad reply", none, 0, 0},
        {"bad JSON", false, {noJSON}, false, foreign, "bad reply", none, 0, 0},
        {"another contract", false, {ofTwo}, false, foreign, skewWords, skew, 0, 0},
        {"another contract and bad JSON", false, {badOfTwo}, false, foreign, skewWords, skew, 0, 0},
        {"nobody there, first contact", false, {fails, fails}, false, foreign, absentWords, absent, 0, 1},
        {"refused", false, {fails, fails}, true, foreign, refusedWords, refused, 0, 1},
        {"refused for being old", false, {fails, fails}, true, stale, staleWords, refused, 0, 1},
        {"refused for being old, nobody knows how", false, {fails, fails}, true, unsure, unsureWords, refused, 0, 1},
        {"an old process finds nobody", false, {fails, fails}, false, stale, absentWords, absent, 0, 1},
        {"second attempt answered", false, {fails, good}, false, foreign, "healthy", none, 0, 0},
        {"second attempt unanswered", false, {fails, silent}, true, foreign, silentWords, hushed, 0, 0},
        {"second attempt of another contract", false, {fails, ofTwo}, true, foreign, skewWords, skew, 0, 0},
        {"second attempt has no payload", false, {fails, noPayload}, true, foreign, "bad reply", none, 0, 0},
        {"restarted", true, {fails, noPayload, good}, true, foreign, "healthy", none, 1, 0},
        {"the knock is not answered", true, {fails, silent, good}, true, foreign, "healthy", none, 1, 0},
        {"neither knock nor request answered", true, {fails, silent, silent}, true, foreign, silentWords, hushed, 1, 0},
        {"gone for good", true, {fails, fails}, false, foreign, absentWords, absent, 1, 1},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        dial(budget);
        if (row.answeredBefore) ASSERT_EQ(words(ask().response), "healthy");
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
        const bool isReplaced = row.fates.front() == fails;
        EXPECT_EQ(door.dialled() - dialled, isReplaced ? 1U : 0U);
        EXPECT_EQ(door.kept(), 1U);
        const auto requests =
            std::ranges::count_if(door.sent().begin() + static_cast<std::ptrdiff_t>(sent), door.sent().end(),
                                  [](const FakeDoor::Sent& one) { return requestIn(one.message).has_value(); });
        EXPECT_EQ(requests, isReplaced ? 2 : 1) << "two attempts and never a third";
    }
}

TEST_F(XPCClientTest, MessagesCarryWhatTheyMustAndNoMore) {
    static_cast<void>(ask());
    expectMessages({fails, good, good});
    static_cast<void>(ask());
    ASSERT_EQ(door.sent().size(), 4U);
    EXPECT_TRUE(isKnock(door.sent()[2].message));
    for (const std::size_t index : {0U, 1U, 3U}) {
        const MessageDictionary& message = door.sent()[index].message;
        EXPECT_EQ(asText(*XPCWire::data("payload", message)), R"({"read":{"_0":{"health":{}}}})");
        EXPECT_EQ(XPCWire::wireVersion(message), 1);
        EXPECT_EQ(message.values.size(), 2U);
    }
    EXPECT_EQ(door.sent()[1].connection, 0U);
    EXPECT_EQ(door.sent()[2].connection, 1U);
    EXPECT_EQ(door.sent()[3].connection, 1U);
}

TEST_F(XPCClientTest, WhatCannotBeWrittenNeverReachesTheWire) {
    expectMessages({fails, fails});
    static_cast<void>(ask());
    const std::size_t sent = door.sent().size();
    EXPECT_EQ(words(ask(GatewayRequest::Read{ReadRequest::GetDay{"\xff"}}).response), "encode failed");
    EXPECT_EQ(client->lastDoorFault(), DoorFault::absent);
    EXPECT_EQ(door.sent().size(), sent);
}

TEST_F(XPCClientTest, TheFirstAttemptWaitsHoweverLongItTakes) {
    expectMessages({silent});
    const auto asked = start();
    loop.run_for(3 * budget);
    EXPECT_FALSE(asked->answer);
    door.answer(0, *incoming(good));
    ASSERT_TRUE(runUntil(loop, [&] { return asked->answer.has_value(); }));
    EXPECT_EQ(words(asked->answer->response), "healthy");
    EXPECT_EQ(door.sent().size(), 1U);
    EXPECT_EQ(door.dialled(), 1U);
}

TEST_F(XPCClientTest, NoBudgetIsStillAChance) {
    for (const auto patience : {std::chrono::nanoseconds{0}, std::chrono::nanoseconds{-1}}) {
        dial(patience);
        expectMessages({fails, silent});
        EXPECT_EQ(words(ask().response), silentWords);
        expectMessages({fails, good});
        EXPECT_EQ(words(ask().response), "healthy");
    }
}

TEST_F(XPCClientTest, AReplyAfterTheDeadlineIsNobodys) {
    expectMessages({fails, silent});
    const auto asked = start();
    ASSERT_TRUE(runUntil(loop, [&] { return asked->answer.has_value(); }));
    door.answer(1, *incoming(good));
    runReady(loop);
    EXPECT_EQ(asked->outcomes, 1);
    EXPECT_EQ(client->lastDoorFault(), DoorFault::silent);
    EXPECT_EQ(words(ask().response), "healthy");
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
    EXPECT_EQ(door.dialled(), 2U) << "a silent daemon keeps its connection";
}

TEST_F(XPCClientTest, DeadlineAndReplyInOneTurnAreOneOutcome) {
    expectMessages({fails, silent});
    const auto asked = start();
    ASSERT_TRUE(runUntil(loop, [&] { return door.sent().size() == 2; }));
    door.answer(1, *incoming(good));
    std::this_thread::sleep_for(2 * budget);
    runReady(loop);
    EXPECT_EQ(asked->outcomes, 1);
    const std::string said = words(asked->answer->response);
    EXPECT_TRUE(said == "healthy" || said == silentWords) << said;
}

TEST_F(XPCClientTest, CallersOnOneDeadConnectionReplaceItOnce) {
    struct Case {
        std::string_view name;
        bool diesWhileTheyWait;
    };
    for (const Case& row : {Case{"it dies while they wait", true}, Case{"it died while nobody asked", false}}) {
        SCOPED_TRACE(row.name);
        expectMessages({});
        static_cast<void>(ask());
        const std::size_t dialled = door.dialled();
        const int knocks = client->knockCount();
        if (!row.diesWhileTheyWait) door.fail(dialled - 1);
        runReady(loop);
        if (row.diesWhileTheyWait) expectMessages({silent, silent, silent});
        const auto asked = {start(), start(), start()};
        runReady(loop);
        if (row.diesWhileTheyWait) door.fail(dialled - 1);
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
    EXPECT_EQ(client->lastDoorFault(), DoorFault::skew);
    EXPECT_EQ(words(ask().response), "healthy");
    EXPECT_EQ(client->lastDoorFault(), std::nullopt);
    EXPECT_EQ(words(ask().response), skewWords);
    EXPECT_EQ(mismatches, 1);
}

TEST_F(XPCClientTest, EveryAnswerCountsAsContact) {
    for (const Fate first : {noPayload, noJSON, ofTwo, failure}) {
        dial(budget);
        expectMessages({first, fails, good, good});
        static_cast<void>(ask());
        static_cast<void>(ask());
        EXPECT_EQ(client->knockCount(), 1) << static_cast<int>(first);
    }
}

TEST_F(XPCClientTest, ARequestUnderWayOutlivesItsClientsOwner) {
    expectMessages({silent});
    const auto asked = start();
    runReady(loop);
    const std::weak_ptr weak{client};
    client.reset();
    door.answer(0, *incoming(good));
    runReady(loop);
    ASSERT_EQ(asked->outcomes, 1);
    EXPECT_EQ(words(asked->answer->response), "healthy");
    EXPECT_TRUE(weak.expired());
    EXPECT_EQ(door.kept(), 0U);
}

}  // namespace
}  // namespace larkmoor::testing
