// Does the daemon's understudy play its part? What is built on it believes it.
#include <sys/stat.h>

#include <fstream>

#include "LarkmoorKit/Door/XPCEndpoint.h"
#include "LarkmoorKit/Door/XPCWire.h"
#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "LarkmoorPlatform/Linux/MessageServiceDial.h"
#include "LarkmoorWire/Codec/Messages.h"
#include "LarkmoorWire/Identity/WireContract.h"
#include "LarkmoorWire/Store/StoreKeyWire.h"
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
    MessageConnection::Incoming exchange(const GatewayRequest& request) {
        MessageDictionary message;
        XPCWire::setWire(WireContract::version, message);
        XPCWire::set(encode(request).value(), XPCEndpoint::payloadKey, message);
        return exchange(std::move(message));
    }
    /// The answer's document, or how there is none.
    template <class Request>
    std::string ask(Request request) {
        const auto reply = exchange(wrapped(std::move(request)));
        if (!reply) return "failed channel";
        const auto payload = XPCWire::data(XPCEndpoint::payloadKey, *reply);
        return payload ? std::string{asText(*payload)} : "no payload";
    }
    static GatewayRequest wrapped(ReadRequest request) { return GatewayRequest::Read{std::move(request)}; }
    static GatewayRequest wrapped(ControlRequest request) { return GatewayRequest::Control{std::move(request)}; }
    static GatewayRequest wrapped(NotesRequest request) { return GatewayRequest::Notes{std::move(request)}; }

    template <class Write>
    BusResult order(const std::string& name, Write write) {
        const BusMessage call = orders.methodCall(gateway, "/tools/fenwright/larkmoor/understudy",
                                                  "tools.fenwright.larkmoor.Understudy", name);
        BusWriter writer{call};
        write(writer);
        return runTask(loop, orders.call(call)).value();
    }
    void say(const std::string& name, const std::string& text) {
        const auto done = order(name, [&](BusWriter& writer) { writer.text(text); });
        EXPECT_TRUE(done.has_value()) << done.error().message;
    }

    MainLoop loop;
    TemporaryFolder folder;
    PrivateBus bus;
    SessionBus orders{loop, bus.address()};
    std::optional<ChildProcess> daemon;
    std::shared_ptr<MessageConnection> connection;
};

TEST_F(UnderstudyDaemonTest, PausesAndResumes) {
    start();
    const std::string healthy = R"({"text":{"_0":"healthy"}})";
    const std::string ok = R"({"ok":{}})";
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), healthy);
    EXPECT_EQ(ask(ControlRequest{ControlRequest::PauseFor{15}}), ok);
    EXPECT_THAT(ask(ReadRequest{ReadRequest::Health{}}),
                ::testing::MatchesRegex(R"re(\{"text":\{"_0":"paused \(resumes [0-2][0-9]:[0-5][0-9]\)"\}\})re"));
    EXPECT_EQ(ask(ControlRequest{ControlRequest::Pause{}}), ok);
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), R"({"text":{"_0":"stopped"}})");
    EXPECT_EQ(ask(ControlRequest{ControlRequest::Resume{}}), ok);
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), healthy);
    EXPECT_EQ(ask(ControlRequest{ControlRequest::PauseFor{0}}), ok);
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), healthy) << "a pause ends by itself";
}

TEST_F(UnderstudyDaemonTest, AnswersTheMenusQuestionsAndNoOthers) {
    start();
    EXPECT_EQ(ask(ReadRequest{ReadRequest::FrontState{}}), R"({"frontState":{"_0":"full"}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::MeetingLive{}}), R"({"flag":{"_0":false}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::DaemonBuild{}}), R"({"text":{"_0":"1"}})");
    for (const char* kind : {"screen_recording", "accessibility", "microphone"})
        EXPECT_THAT(ask(ReadRequest{ReadRequest::Grants{}}),
                    ::testing::HasSubstr(fmt::format(R"({{"kind":"{}","state":"granted")", kind)));
    const auto hello = [&](const char* type) {
        return ask(ReadRequest{ReadRequest::GetByType{.type = type, .path = "/", .filters = {}, .session = {}}});
    };
    EXPECT_THAT(hello("onboarding"), ::testing::HasSubstr(R"("cards":[{)"));
    EXPECT_EQ(hello("other"), R"({"kindCards":{"scope":"/","cards":[]}})");
    EXPECT_EQ(ask(ControlRequest{ControlRequest::LogUpdate{"a line"}}), R"({"ok":{}})");
    EXPECT_EQ(ask(ControlRequest{ControlRequest::DeleteAll{}}), R"({"unimplemented":{"verb":"delete_all"}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::GetRules{}}), R"({"unimplemented":{"verb":"getRules"}})");
    EXPECT_EQ(ask(NotesRequest{NotesRequest::ListPaths{}}), R"({"unimplemented":{"verb":"listPaths"}})");

    MessageDictionary knock;
    XPCWire::setWire(WireContract::version, knock);
    const auto knocked = exchange(std::move(knock));
    EXPECT_EQ(XPCWire::wireVersion(knocked.value()), WireContract::version);
    EXPECT_FALSE(XPCWire::data(XPCEndpoint::payloadKey, *knocked));
}

TEST_F(UnderstudyDaemonTest, LeavesTheQuitSentinelBehind) {
    const std::string support = folder / "support";
    start({"--support-root", support});
    EXPECT_EQ(ask(ControlRequest{ControlRequest::Shutdown{}}), R"({"ok":{}})");
    EXPECT_EQ(daemon->wait(), 0);
    struct stat sentinel{};
    ASSERT_EQ(::stat((support + "/quit-requested").c_str(), &sentinel), 0);
    EXPECT_EQ(sentinel.st_mode & 0777, 0600U);
    EXPECT_EQ(run({"--support-root", support}).wait(), 0) << "a quit stays quit";
}

TEST_F(UnderstudyDaemonTest, PlaysAScenario) {
    start({"--scenario", scenario(R"({"health":"The disk is full.","hello":false,"wire":2,"servedMilliseconds":-1,
        "grants":{"microphone":"denied"},"startDelayMilliseconds":50,"build":"7","meetingLive":true})")});
    const auto reply = exchange(wrapped(ReadRequest{ReadRequest::Health{}}));
    EXPECT_EQ(XPCWire::wireVersion(reply.value()), 2);
    EXPECT_EQ(XPCWire::servedDuration(*reply), std::nullopt);
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), R"({"text":{"_0":"The disk is full."}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Grants{}}),
              R"({"grants":{"_0":{"grants":[{"kind":"microphone","state":"denied","displayName":"microphone"}]}}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::DaemonBuild{}}), R"({"text":{"_0":"7"}})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::MeetingLive{}}), R"({"flag":{"_0":true}})");
}

TEST_F(UnderstudyDaemonTest, RefusesAScenarioWithAMistake) {
    for (const std::string_view document :
         {"", "[]", R"({"helth":"healthy"})", R"({"hello":"yes"})", R"({"front":"half"})"}) {
        EXPECT_EQ(run({"--scenario", scenario(document)}).wait(), 2) << document;
    }
}

TEST_F(UnderstudyDaemonTest, HandsOutTheStoresKey) {
    start();
    const ControlRequest lease = ControlRequest::StoreKeyForMigration{2};
    EXPECT_EQ(ask(lease), R"({"text":{"_0":"no key on this profile"}})");
    EXPECT_TRUE(order("SetStoreKey", [](BusWriter& writer) { writer.bytes(asBytes("secret")); }).has_value());
    const auto reply = exchange(wrapped(lease));
    const auto* keys = reply.value().find<MessageDescriptors>(StoreKeyWire::descriptorsKey);
    ASSERT_NE(keys, nullptr);
    ASSERT_EQ(keys->size(), 2U);
    for (const auto& key : *keys) {
        std::array<char, 16> read{};
        ASSERT_EQ(::read(key->get(), read.data(), read.size()), 6);
        EXPECT_EQ(std::string_view(read.data(), 6), "secret");
        EXPECT_EQ(::read(key->get(), read.data(), read.size()), 0) << "written once, and closed";
    }
}

TEST_F(UnderstudyDaemonTest, ObeysOrders) {
    start();
    std::vector<std::string> events;
    const auto subscription = sessionBusDial(loop, bus.address())(gateway);
    subscription->setEventHandler([&](const MessageConnection::Incoming& incoming) {
        if (!incoming) return;
        if (const auto event = XPCWire::data(XPCEndpoint::eventKey, *incoming)) events.emplace_back(asText(*event));
    });
    subscription->resume();
    MessageDictionary wish;
    wish.set(XPCEndpoint::subscribeKey, true);
    subscription->send(std::move(wish));
    ASSERT_TRUE(runUntil(loop, [&] {
        const BusMessage count = order("Subscribers", [](BusWriter&) {}).value();
        return BusReader{count}.uint32() == 1;
    }));
    say("PushFrontState", "titleOnly");
    ASSERT_TRUE(runUntil(loop, [&] { return !events.empty(); }));
    EXPECT_EQ(events, (std::vector<std::string>{R"({"frontState":{"_0":"titleOnly"}})"}));
    EXPECT_EQ(ask(ReadRequest{ReadRequest::FrontState{}}), R"({"frontState":{"_0":"titleOnly"}})");
    EXPECT_FALSE(order("SetFrontState", [](BusWriter& writer) { writer.text("half"); }).has_value());

    EXPECT_TRUE(order("SetReply", [](BusWriter& writer) { writer.bytes(asBytes("{garbage")); }).has_value());
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), "{garbage");
    say("Apply", R"({"reply":"","health":"stopped"})");
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), R"({"text":{"_0":"stopped"}})");
    EXPECT_FALSE(order("Apply", [](BusWriter& writer) { writer.text("{"); }).has_value());

    std::vector<std::string> log;
    const BusMessage told = order("Log", [](BusWriter&) {}).value();
    BusReader reader{told};
    reader.array("s", [&] { log.emplace_back(reader.text()); });
    EXPECT_EQ(log, (std::vector<std::string>{R"({"read":{"_0":{"frontState":{}}}})", R"({"read":{"_0":{"health":{}}}})",
                                             R"({"read":{"_0":{"health":{}}}})"}));

    EXPECT_TRUE(order("Refuse", [](BusWriter& writer) { writer.boolean(true); }).has_value());
    EXPECT_EQ(ask(ReadRequest{ReadRequest::Health{}}), "failed channel");
    static_cast<void>(order("Crash", [](BusWriter&) {}));
    EXPECT_EQ(daemon->wait(), 128 + SIGKILL);
}

}  // namespace
}  // namespace larkmoor::testing
