// Does the daemon's understudy play its part? Its orders are tested by those who give them.
#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/MessageServiceDial.h"
#include "LarkmoorWire/Identity/WireContract.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

const std::string gateway{ClientInstance::gatewayID};

class UnderstudyDaemonTest : public ::testing::Test {
  protected:
    ChildProcess run(std::vector<std::string> options) {
        options.insert(options.begin(), LARKMOOR_UNDERSTUDY_DAEMON);
        return ChildProcess{std::move(options), bus.environment()};
    }
    /// Starts it and waits until it serves.
    void start(std::vector<std::string> options = {}) {
        daemon.emplace(run(std::move(options)));
        bool isThere = false;
        const BusNameWatch watch =
            orders.watchName(gateway, [&](const std::string& owner) { isThere = !owner.empty(); });
        ASSERT_TRUE(runUntil(loop, [&] { return isThere; }));
        connection = sessionBusDial(loop, bus.address())(gateway);
        connection->resume();
    }
    std::string scenario(std::string_view document) {
        std::ofstream{folder / "scenario.json"} << document;
        return folder / "scenario.json";
    }

    MessageConnection::Incoming exchange(MessageDictionary message) {
        std::optional<MessageConnection::Incoming> reply;
        connection->sendWithReply(std::move(message), [&](auto incoming) { reply = std::move(incoming); });
        EXPECT_TRUE(runUntil(loop, [&] { return reply.has_value(); }));
        return reply.value_or(std::unexpected(ConnectionFailure{}));
    }
    /// The answer's document to a request's, or how there is none.
    std::string ask(std::string_view request) {
        MessageDictionary message;
        XPCWire::setWire(WireContract::version, message);
        XPCWire::set(asBytes(request), XPCEndpoint::payloadKey, message);
        const auto reply = exchange(std::move(message));
        if (!reply) return "failed channel";
        const auto payload = XPCWire::data(XPCEndpoint::payloadKey, *reply);
        return payload ? std::string{asText(*payload)} : "no payload";
    }

    MainLoop loop;
    TemporaryFolder folder;
    PrivateBus bus;
    SessionBus orders{loop, bus.address()};
    std::optional<ChildProcess> daemon;
    std::shared_ptr<MessageConnection> connection;
};

TEST_F(UnderstudyDaemonTest, AnswersTheMenuAndNobodyElse) {
    start();
    struct Case {
        std::string_view request, answer;
    };
    const std::string_view health = R"({"read":{"_0":{"health":{}}}})";
    const std::string_view healthy = R"({"text":{"_0":"healthy"}})", ok = R"({"ok":{}})";
    const Case table[] = {
        {health, healthy},
        {R"({"control":{"_0":{"pause":{}}}})", ok},
        {health, R"({"text":{"_0":"stopped"}})"},
        {R"({"control":{"_0":{"resume":{}}}})", ok},
        {health, healthy},
        {R"({"control":{"_0":{"pauseFor":{"minutes":0}}}})", ok},
        {health, healthy},
        {R"({"read":{"_0":{"frontState":{}}}})", R"({"frontState":{"_0":"full"}})"},
        {R"({"read":{"_0":{"meetingLive":{}}}})", R"({"flag":{"_0":false}})"},
        {R"({"read":{"_0":{"daemonBuild":{}}}})", R"({"text":{"_0":"1"}})"},
        {R"({"read":{"_0":{"getByType":{"type":"other","path":"/"}}}})", R"({"kindCards":{"scope":"/","cards":[]}})"},
        {R"({"control":{"_0":{"storeKeyForMigration":{"legs":2}}}})", R"({"text":{"_0":"no key on this profile"}})"},
        {R"({"control":{"_0":{"deleteAll":{}}}})", R"({"unimplemented":{"verb":"delete_all"}})"},
        {R"({"notes":{"_0":{"listPaths":{}}}})", R"({"unimplemented":{"verb":"listPaths"}})"},
    };
    for (const auto& [request, answer] : table) EXPECT_EQ(ask(request), answer) << request;

    EXPECT_EQ(ask(R"({"control":{"_0":{"pauseFor":{"minutes":15}}}})"), ok);
    EXPECT_THAT(ask(health),
                ::testing::MatchesRegex(R"re(\{"text":\{"_0":"paused \(resumes [0-2][0-9]:[0-5][0-9]\)"\}\})re"));
    MessageDictionary knock;
    XPCWire::setWire(WireContract::version, knock);
    const auto knocked = exchange(std::move(knock));
    EXPECT_EQ(XPCWire::wireVersion(knocked.value()), WireContract::version);
    EXPECT_FALSE(XPCWire::data(XPCEndpoint::payloadKey, *knocked));
}

TEST_F(UnderstudyDaemonTest, RefusesAScenarioWithAMistake) {
    for (const std::string_view document :
         {"", "[]", R"({"helth":"healthy"})", R"({"hello":"yes"})", R"({"front":"half"})"}) {
        EXPECT_EQ(run({"--scenario", scenario(document)}).wait(), 2) << document;
    }
}

TEST_F(UnderstudyDaemonTest, HandsOutTheStoresKeyOnce) {
    start();
    const BusMessage give = orders.methodCall(gateway, "/tools/fenwright/larkmoor/understudy",
                                              "tools.fenwright.larkmoor.Understudy", "SetStoreKey");
    BusWriter{give}.bytes(asBytes("secret"));
    ASSERT_TRUE(runTask(loop, orders.call(give)).value().has_value());
    MessageDictionary lease;
    XPCWire::set(asBytes(R"({"control":{"_0":{"storeKeyForMigration":{"legs":2}}}})"), XPCEndpoint::payloadKey, lease);
    const auto reply = exchange(std::move(lease));
    const auto* keys = reply.value().find<MessageDescriptors>(StoreKeyWire::descriptorsKey);
    ASSERT_NE(keys, nullptr);
    ASSERT_EQ(keys->size(), 2U);
    for (const auto& key : *keys) EXPECT_EQ(asText(*Files::readAll(key->get(), "key")), "secret");
}

}  // namespace
}  // namespace larkmoor::testing
