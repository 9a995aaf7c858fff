// The message service on a private bus: how its connections live, fail and end, and what their messages carry.
#include <fcntl.h>
#include <unistd.h>

#include "LarkmoorPlatform/Linux/Messaging/MessageServiceCoding.h"
#include "LarkmoorPlatform/Linux/Messaging/MessageServiceDial.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"
#include "message-listener/MessageListener.h"

namespace larkmoor::testing {
namespace {

using Incoming = MessageConnection::Incoming;

const std::string service = "tools.fenwright.larkmoor.test.service";

MessageDictionary dictionaryWith(std::string_view key, MessageValue value) {
    MessageDictionary dictionary;
    dictionary.set(key, std::move(value));
    return dictionary;
}

MessageDictionary payload(std::string_view text) { return dictionaryWith("payload", copyBytes(text)); }

std::string payloadOf(const MessageDictionary& dictionary) {
    const auto* bytes = dictionary.find<Bytes>("payload");
    return bytes == nullptr ? "(none)" : std::string{asText(*bytes)};
}

/// A service on a connection of its own. Without a handler it keeps the requests unanswered.
struct Server {
    using OnRequest = decltype(MessageListener::Service::onRequest);

    SessionBus bus;
    MessageListener listener;
    std::vector<std::shared_ptr<MessageSubscriber>> subscribers;
    std::vector<MessageListener::Respond> unanswered;
    bool isListening = false;
    std::optional<ConnectionFailure> failure;

    Server(MainLoop& loop, const std::string& address, OnRequest onRequest = nullptr)
        : bus(loop, address), listener(bus, service) {
        const OnRequest keep = [this](const MessageDictionary&, MessageListener::Respond respond) {
            unanswered.push_back(std::move(respond));
        };
        listener.listen({.onRequest = onRequest ? std::move(onRequest) : keep,
                         .onSubscribe = [this](const MessageDictionary&,
                                               auto subscriber) { subscribers.push_back(std::move(subscriber)); },
                         .onListening = [this] { isListening = true; },
                         .onFailure = [this](ConnectionFailure why) { failure = std::move(why); }});
        EXPECT_TRUE(runUntil(loop, [&] { return isListening || failure; }));
    }
};

class MessageServiceTest : public ::testing::Test {
  protected:
    using Connection = std::shared_ptr<MessageConnection>;

    Connection dialled(MessageConnection::Handler onEvent = nullptr) {
        auto connection = sessionBusDial(loop, daemon.address())(service);
        if (onEvent) connection->setEventHandler(std::move(onEvent));
        connection->resume();
        return connection;
    }
    Connection subscribed(MessageConnection::Handler onEvent) {
        auto connection = dialled(std::move(onEvent));
        connection->send(dictionaryWith("subscribe", true));
        return connection;
    }
    /// Returns at once; the reply comes into `reply`.
    void send(const Connection& connection, std::optional<Incoming>& reply, MessageDictionary message = payload("?")) {
        connection->sendWithReply(std::move(message), [&](Incoming incoming) { reply = std::move(incoming); });
        EXPECT_FALSE(reply) << "called back from inside";
    }
    /// Waits for the reply.
    Incoming ask(const Connection& connection, MessageDictionary message = payload("?")) {
        std::optional<Incoming> reply;
        send(connection, reply, std::move(message));
        EXPECT_TRUE(runUntil(loop, [&] { return reply.has_value(); }));
        return reply.value_or(std::unexpected(ConnectionFailure{"nothing came"}));
    }
    bool isAnswered() { return ask(dialled()).has_value(); }
    bool has(const Server& server, std::size_t requests, std::size_t subscribers) {
        return runUntil(
            loop, [&] { return server.unanswered.size() == requests && server.subscribers.size() == subscribers; });
    }

    const Server::OnRequest echo = [](MessageDictionary request, const MessageListener::Respond& respond) {
        respond(std::move(request));
    };

    MainLoop loop;
    PrivateBus daemon;
};

/// A stand-in for the user manager that says in which state the service's unit is.
class UnitState {
  public:
    UnitState(MainLoop& loop, const std::string& address, std::string state, std::uint32_t job = 0)
        : bus_(loop, address), state_(std::move(state)), calls_(bus_.filter([this, job](const BusMessage& call) {
              if (sd_bus_message_is_method_call(call.get(), properties, "GetAll") <= 0) return false;
              path_ = sd_bus_message_get_path(call.get());
              const BusMessage reply = BusMessage::methodReturn(call);
              BusWriter writer{reply};
              writer.array("{sv}", [&] {
                  writer.property("Id", "s", [&] { writer.text("any"); });
                  writer.property("ActiveState", "s", [&] { writer.text(state_); });
                  writer.property("Job", "(uo)",
                                  [&] { writer.structure("uo", [&] { writer.uint32(job).path("/"); }); });
              });
              return bus_.send(reply);
          })) {
        bool isOwned = false;
        const BusSlot claim = bus_.requestName("org.freedesktop.systemd1", [&](const auto&) { isOwned = true; });
        EXPECT_TRUE(runUntil(loop, [&] { return isOwned; }));
    }

    const std::string& path() const { return path_; }
    void change(const std::string& state) {
        state_ = state;
        const BusMessage changed = bus_.signal(path_, properties, "PropertiesChanged");
        EXPECT_TRUE(BusWriter{changed}.text("org.freedesktop.systemd1.Unit").fits() && bus_.send(changed));
    }

  private:
    static constexpr const char* properties = "org.freedesktop.DBus.Properties";
    SessionBus bus_;
    std::string state_;
    std::string path_;
    BusSlot calls_;
};

TEST_F(MessageServiceTest, AMessageThatMeetsNoOwnerFailsAloneAndAtOnceUnlessOneIsAboutToCome) {
    using Kind = ConnectionFailure::Kind;
    struct Case {
        std::string state;  ///< of the unit; empty for a bus without a user manager
        std::uint32_t job;
        bool waits;
    };
    const Case cases[] = {{"", 0, false},        {"inactive", 0, false},  {"failed", 0, false},
                          {"inactive", 7, true}, {"activating", 0, true}, {"deactivating", 0, true},
                          {"active", 0, true}};
    for (const auto& [state, job, waits] : cases) {
        SCOPED_TRACE(state);
        std::optional<UnitState> unit;
        if (!state.empty()) unit.emplace(loop, daemon.address(), state, job);
        int lost = 0, failures = 0;
        const auto requests = dialled();
        const auto events = subscribed([&](const Incoming& incoming) {
            if (!incoming) ++(incoming.error().kind == Kind::unowned ? failures : lost);
        });
        std::optional<Incoming> reply;
        const auto begin = std::chrono::steady_clock::now();
        send(requests, reply);
        if (waits) {
            ASSERT_TRUE(runUntil(loop, [&] { return !unit->path().empty(); }));
            EXPECT_EQ(unit->path(),
                      "/org/freedesktop/systemd1/unit/tools_2efenwright_2elarkmoor_2etest_2eservice_2eservice");
            loop.run_for(std::chrono::milliseconds{50});
        } else {
            ASSERT_TRUE(runUntil(loop, [&] { return reply && failures == 1; }));
            EXPECT_EQ(reply->error().kind, Kind::unowned);
            EXPECT_LT(std::chrono::steady_clock::now() - begin, MessageConnection::maxWaitForOwner);
        }
        const Server server{loop, daemon.address()};
        if (!waits) {
            events->send(dictionaryWith("subscribe", true));
            reply.reset();
            send(requests, reply);
        }
        ASSERT_TRUE(has(server, 1, 1)) << "on the same connections";
        EXPECT_FALSE(reply);
        EXPECT_EQ(failures, waits ? 0 : 1);
        EXPECT_EQ(lost, 0);
    }
    UnitState unit{loop, daemon.address(), "deactivating"};
    std::optional<Incoming> late, stopped;
    const auto begin = std::chrono::steady_clock::now();
    const auto connection = dialled();
    send(connection, late);
    ASSERT_TRUE(runUntil(loop, [&] { return late.has_value(); }));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, MessageConnection::maxWaitForOwner);
    send(connection, stopped);
    loop.run_for(std::chrono::milliseconds{50});
    EXPECT_FALSE(stopped);
    unit.change("inactive");
    ASSERT_TRUE(runUntil(loop, [&] { return stopped.has_value(); }));
    EXPECT_EQ(stopped->error().kind, Kind::unowned);
}

TEST_F(MessageServiceTest, ALostConnectionStaysLostWhoeverOwnsTheNameLater) {
    int failures = 0;
    const auto count = [&](const Incoming& incoming) { failures += incoming ? 0 : 1; };
    // The owner goes in the middle of a request.
    std::optional<Server> server{std::in_place, loop, daemon.address()};
    const auto requests = dialled(count), events = subscribed(count);
    std::optional<Incoming> reply;
    send(requests, reply);
    ASSERT_TRUE(has(*server, 1, 1));
    server.reset();
    ASSERT_TRUE(runUntil(loop, [&] { return reply && failures == 2; }));
    EXPECT_FALSE(reply->has_value());

    server.emplace(loop, daemon.address(), echo);
    for (const auto& failed : {requests, events}) EXPECT_FALSE(ask(failed).has_value());
    EXPECT_TRUE(isAnswered());
    EXPECT_EQ(failures, 2) << "each is told once";
    Server second{loop, daemon.address(), echo};
    EXPECT_TRUE(second.failure.has_value()) << "the name is taken";
}

TEST_F(MessageServiceTest, ARefusalFailsEverythingThatWaits) {
    const Server server{loop, daemon.address()};
    int failures = 0;
    int events = 0;
    const auto connection = dialled([&](const Incoming&) { ++events; });
    for (int count = 0; count < 3; ++count) {
        // The first handler replaces the connection, as the door does; the others must not wait forever.
        connection->sendWithReply(payload("?"), [&](const Incoming& incoming) {
            ASSERT_FALSE(incoming);
            EXPECT_TRUE(incoming.error().reason.starts_with(BusErrorName::accessDenied)) << incoming.error().reason;
            ++failures;
            connection->cancel();
        });
    }
    ASSERT_TRUE(has(server, 3, 0));
    server.unanswered[1](std::unexpected(MessageRefusal{}));
    ASSERT_TRUE(runUntil(loop, [&] { return failures > 0; }));
    EXPECT_EQ(failures, 3);
    EXPECT_EQ(events, 0);
}

TEST_F(MessageServiceTest, WaitsForAReplyLongerThanTheBusLibraryWould) {
    const Server server{loop, daemon.address()};
    // Its 25 s, made short, though not too short for a busy machine to connect in.
    ::setenv("SYSTEMD_BUS_TIMEOUT", "2s", 1);
    std::optional<Incoming> reply;
    const auto connection = dialled();
    send(connection, reply);
    ASSERT_TRUE(has(server, 1, 0));
    SessionBus bus{loop, daemon.address()};
    using namespace MessageServiceNames;
    const BusMessage ordinary = bus.methodCall(service, objectPath, interface, request);
    BusWriter{ordinary}.array("{sv}", [] {});
    EXPECT_EQ(runTask(loop, bus.call(ordinary)).value().error().name, BusErrorName::noReply);
    ::unsetenv("SYSTEMD_BUS_TIMEOUT");
    EXPECT_FALSE(reply.has_value());
    server.unanswered.front()(payload("!"));
    ASSERT_TRUE(runUntil(loop, [&] { return reply.has_value(); }));
    EXPECT_EQ(payloadOf(reply->value()), "!");
}

TEST_F(MessageServiceTest, PushesEventsToTheirSubscriberAloneAndBelievesNoStranger) {
    const Server server{loop, daemon.address(), echo};
    std::map<std::string, std::string> got;
    const auto into = [&](const std::string& name) {
        return [&got, name](const Incoming& incoming) { got[name] += incoming ? payloadOf(*incoming) : "failure"; };
    };
    const auto requests = dialled(into("requests"));
    const auto first = subscribed(into("first"));
    ASSERT_TRUE(has(server, 0, 1));
    const auto second = subscribed(into("second"));
    ASSERT_TRUE(has(server, 0, 2));
    // Unique names are counted: try the few that there can be.
    SessionBus stranger{loop, daemon.address()};
    for (int number = 0; number < 10; ++number) {
        using namespace MessageServiceNames;
        const BusMessage forged = stranger.signal(objectPath, interface, event);
        sd_bus_message_set_destination(forged.get(), (":1." + std::to_string(number)).c_str());
        BusWriter{forged}.array("{sv}", [] {});
        EXPECT_TRUE(stranger.send(forged));
    }
    settle(loop, stranger);
    EXPECT_TRUE(server.subscribers[0]->push(payload("a")));
    EXPECT_TRUE(server.subscribers[1]->push(payload("b")));
    EXPECT_TRUE(server.subscribers[0]->push(payload("c")));
    ASSERT_TRUE(runUntil(loop, [&] { return got["first"].size() >= 2 && !got["second"].empty(); }));
    static_cast<void>(ask(requests));
    EXPECT_EQ(got, (std::map<std::string, std::string>{{"first", "ac"}, {"second", "b"}}));

    first->cancel();
    ASSERT_TRUE(runUntil(loop, [&] { return !server.subscribers[0]->push(payload("d")); })) << "the server learns it";
    EXPECT_EQ(got["first"], "ac");
}

TEST_F(MessageServiceTest, IsQuietAfterCancelling) {
    const Server server{loop, daemon.address(), echo};
    bool isCalled = false;
    const auto mark = [&](const Incoming&) { isCalled = true; };
    const auto connection = subscribed(mark);
    ASSERT_TRUE(has(server, 0, 1));
    connection->sendWithReply(payload("?"), mark);
    server.subscribers[0]->push(payload("!"));
    connection->cancel();
    connection->sendWithReply(payload("?"), mark);
    EXPECT_TRUE(isAnswered());
    runReady(loop);
    EXPECT_FALSE(isCalled);
}

// The bus library grows its buffer at each read, which costs nothing but where the sanitizer copies it each time.
#if __has_feature(address_sanitizer)
constexpr std::size_t much = 8U << 20U;
#else
constexpr std::size_t much = 50U << 20U;
#endif

std::size_t openDescriptors() {
    const auto all = std::filesystem::directory_iterator{"/proc/self/fd"};
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST_F(MessageServiceTest, CarriesEveryKindOfValueBothWays) {
    const Server server{loop, daemon.address(), echo};
    const auto connection = dialled();
    MessageDictionary request = payload(std::string_view{"{\"a\0b\":\"\xff\"}", 11});
    request.set("empty", Bytes{});
    request.set("wire", UINT64_MAX);
    request.set("subscribe", true);
    request.set("never", false);
    const auto reply = ask(connection, request);
    ASSERT_TRUE(reply.has_value()) << reply.error().reason;
    EXPECT_EQ(reply->values, request.values);
}

TEST_F(MessageServiceTest, HandsDescriptorsOverAndLeaksNone) {
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    auto reading = std::make_shared<FileDescriptor>(ends[0]);
    FileDescriptor writing{ends[1]};
    const Server server{loop, daemon.address(), [&](const MessageDictionary&, const MessageListener::Respond& respond) {
                            respond(dictionaryWith("store_key_fds", MessageDescriptors{reading, reading}));
                        }};
    const auto connection = dialled();
    static_cast<void>(ask(connection, payload("warm")));
    const std::size_t before = openDescriptors();
    {
        const auto reply = ask(connection, payload("keys"));
        ASSERT_TRUE(reply.has_value());
        const auto* keys = reply->find<MessageDescriptors>("store_key_fds");
        ASSERT_NE(keys, nullptr);
        ASSERT_EQ(keys->size(), 2U);
        ASSERT_EQ(::write(writing.get(), "key", 3), 3);
        std::array<char, 3> read{};
        EXPECT_EQ(::read(keys->at(1)->get(), read.data(), read.size()), 3);
        EXPECT_NE(keys->at(0)->get(), keys->at(1)->get());
        EXPECT_NE(::fcntl(keys->at(0)->get(), F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(MessageServiceTest, ReadsWhatIsNoneOfOursAsAbsent) {
    struct Case {
        std::string_view name;
        std::function<void(BusWriter&)> write;
        MessageDictionary want{};
    };
    MessageDictionary ours = dictionaryWith("event", copyBytes("yes"));
    ours.set("served_ms", std::uint64_t{7});
    const auto otherTypes = [](BusWriter& writer) {
        writer.array("{sv}", [&] {
            writer.property("payload", "s", [&] { writer.text("{}"); });
            writer.property("served_ms", "t", [&] { writer.uint64(7); });
            writer.property("served_ms", "t", [&] { writer.uint64(8); });
            writer.property("store_key_fds", "ai", [&] { writer.array("i", [&] { writer.int32(0); }); });
            writer.property("event", "ay", [&] { writer.bytes(asBytes("yes")); });
        });
    };
    const auto manyKeys = [](BusWriter& writer) {
        writer.array("{sv}", [&] {
            for (int key = 0; key < 200000; ++key)
                writer.property(std::to_string(key), "b", [&] { writer.boolean(true); });
        });
    };
    SessionBus bus{loop, daemon.address()};
    const Case cases[] = {
        {"values of other types", otherTypes, ours},
        {"a text", [](BusWriter& writer) { writer.text("hello"); }},
        {"a host of keys", manyKeys},
    };
    for (const Case& each : cases) {
        const BusMessage message = bus.signal("/", MessageServiceNames::interface, MessageServiceNames::event);
        BusWriter writer{message};
        each.write(writer);
        ASSERT_TRUE(writer.fits() && sd_bus_message_seal(message.get(), 1, 0) >= 0) << each.name;
        EXPECT_EQ(MessageServiceCoding::read(message).values, each.want.values) << each.name;
    }
}

TEST_F(MessageServiceTest, CarriesAGreatDealAndEndsNothingByMore) {
    MessageDictionary answer;
    const Server server{loop, daemon.address(),
                        [&](const MessageDictionary&, const MessageListener::Respond& respond) { respond(answer); }};
    const auto null = std::make_shared<FileDescriptor>(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    struct Case {
        std::string_view name;
        MessageValue value;
        bool isCarried;
    };
    const Case cases[] = {
        {"a great deal", Bytes(much, std::byte{'x'}), true},
        {"100 MB", Bytes(100U << 20U), false},
        {"16 descriptors", MessageDescriptors(16, null), true},
        {"17 descriptors", MessageDescriptors(17, null), false},
        {"a descriptor that is none", MessageDescriptors{std::make_shared<FileDescriptor>()}, false},
        {"little", Bytes(1), true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        answer = dictionaryWith("value", each.value);
        const auto connection = dialled();
        const auto reply = ask(connection);
        ASSERT_EQ(reply.has_value(), each.isCarried) << reply.error().reason;
        answer = {};
        EXPECT_TRUE(ask(connection).has_value()) << "and nothing but the reply is lost";
        if (const auto* bytes = std::get_if<Bytes>(&each.value); bytes != nullptr && each.isCarried) {
            EXPECT_EQ(*reply->find<Bytes>("value"), *bytes);
        }
    }
    const auto connection = dialled();
    const auto refused = ask(connection, dictionaryWith("payload", Bytes(100U << 20U)));
    EXPECT_EQ(refused.error().kind, ConnectionFailure::Kind::unsendable);
    EXPECT_TRUE(ask(connection).has_value());
}

}  // namespace
}  // namespace larkmoor::testing
