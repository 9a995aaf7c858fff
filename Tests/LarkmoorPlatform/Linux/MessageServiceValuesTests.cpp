// What travels through the message service, and what does not.
#include <fcntl.h>
#include <unistd.h>

#include "LarkmoorPlatform/Linux/MessageServiceTest.h"

namespace larkmoor::testing {
namespace {

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
    const auto reply = ask(*connection, request);
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
    static_cast<void>(ask(*connection, payload("warm")));
    const std::size_t before = openDescriptors();
    {
        const auto reply = ask(*connection, payload("keys"));
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

// Whoever speaks to the bus by hand: a service with the right names that answers with whatever is written.
class StrangeService {
  public:
    StrangeService(MainLoop& loop, const std::string& address, std::function<void(BusWriter&)> write)
        : bus_(loop, address), calls_(bus_.filter([this, write = std::move(write)](const BusMessage& call) {
              using namespace MessageServiceNames;
              if (sd_bus_message_is_method_call(call.get(), interface, request) <= 0) return false;
              const BusMessage reply = BusMessage::methodReturn(call);
              BusWriter writer{reply};
              write(writer);
              EXPECT_TRUE(writer.fits() && bus_.send(reply));
              return true;
          })) {
        bool isOwned = false;
        const BusSlot claim = bus_.requestName(service, [&](const std::expected<void, BusError>&) { isOwned = true; });
        EXPECT_TRUE(runUntil(loop, [&] { return isOwned; }));
    }

  private:
    SessionBus bus_;
    BusSlot calls_;
};

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
            writer.property("wire", "u", [&] { writer.uint32(1); });
            writer.property("served_ms", "t", [&] { writer.uint64(7); });
            writer.property("served_ms", "t", [&] { writer.uint64(8); });
            writer.property("store_key_fds", "ai", [&] { writer.array("i", [&] { writer.int32(0); }); });
            writer.property("nested", "a{sv}", [&] {
                writer.array("{sv}", [&] { writer.property("payload", "ay", [&] { writer.bytes(asBytes("no")); }); });
            });
            writer.property("event", "ay", [&] { writer.bytes(asBytes("yes")); });
        });
    };
    const auto oursAndMore = [](BusWriter& writer) {
        writer.array("{sv}", [&] { writer.property("wire", "t", [&] { writer.uint64(1); }); }).text("more");
    };
    const auto manyKeys = [](BusWriter& writer) {
        writer.array("{sv}", [&] {
            for (int key = 0; key < 200000; ++key)
                writer.property(std::to_string(key), "b", [&] { writer.boolean(true); });
        });
    };
    const Case cases[] = {
        {"values of other types", otherTypes, ours},
        {"nothing", [](BusWriter&) {}},
        {"a text", [](BusWriter& writer) { writer.text("hello"); }},
        {"one of ours and more", oursAndMore},
        {"other keys", [](BusWriter& writer) { writer.array("{ss}", [] {}); }},
        {"a host of keys", manyKeys},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        const StrangeService strange{loop, daemon.address(), each.write};
        const auto reply = ask(*dialled(), payload("?"));
        ASSERT_TRUE(reply.has_value()) << reply.error().reason;
        EXPECT_EQ(reply->values, each.want.values);
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
        const auto reply = ask(*dialled(), payload("?"));
        ASSERT_EQ(reply.has_value(), each.isCarried) << reply.error().reason;
        if (const auto* bytes = std::get_if<Bytes>(&each.value); bytes != nullptr && each.isCarried) {
            EXPECT_EQ(*reply->find<Bytes>("value"), *bytes);
        }
    }
    // What we ask too much in does not leave, and so ends nothing either.
    const auto connection = dialled();
    EXPECT_TRUE(ask(*connection, payload("?")).has_value());
    EXPECT_FALSE(ask(*connection, dictionaryWith("payload", Bytes(100U << 20U))).has_value());
    EXPECT_TRUE(ask(*connection, payload("?")).has_value());
}

}  // namespace
}  // namespace larkmoor::testing
