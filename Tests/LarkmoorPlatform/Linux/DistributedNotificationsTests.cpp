#include "LarkmoorPlatform/DistributedNotifications.h"

#include "LarkmoorPlatform/Linux/Messaging/BusDistributedNotifications.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"

namespace larkmoor::testing {
namespace {

struct Seen {
    std::optional<std::string> object;
    DistributedNotifications::Info info;

    bool operator==(const Seen&) const = default;
};

const std::string name = "tools.fenwright.larkmoor.open-window";

class DistributedNotificationsTest : public ::testing::Test {
  protected:
    DistributedNotifications::Handler keep(std::vector<Seen>& in) {
        return [&in](std::optional<std::string> object, DistributedNotifications::Info info) {
            in.push_back({std::move(object), std::move(info)});
        };
    }
    void post(const char* signature, const std::function<void(BusWriter&)>& write) {
        const BusMessage message = other.signal("/somewhere/else", BusDistributedNotifications::interface, "Posted");
        BusWriter writer{message};
        write(writer);
        ASSERT_TRUE(writer.fits() && message.hasSignature(signature));
        ASSERT_TRUE(other.send(message));
    }

    MainLoop loop;
    PrivateBus daemon;
    SessionBus bus{loop, daemon.address()};
    SessionBus other{loop, daemon.address()};
    BusDistributedNotifications ours{bus};
    BusDistributedNotifications theirs{other};
};

TEST_F(DistributedNotificationsTest, ReachThoseWhoObserveTheName) {
    std::vector<Seen> seen;
    std::vector<Seen> seenElsewhere;
    const auto token = ours.observe(name, keep(seen));
    const auto elsewhere = ours.observe(name + "s", keep(seenElsewhere));
    settle(loop, bus);
    theirs.post(name, "stats", {{"front", "1"}, {"ünï", ""}});
    theirs.post(name, std::nullopt, {});
    ours.post(name, "1", {});
    ASSERT_TRUE(runUntil(loop, [&] { return seen.size() == 3; }));
    std::ranges::sort(seen, {}, &Seen::object);
    EXPECT_EQ(seen, (std::vector<Seen>{{std::nullopt, {}}, {"1", {}}, {"stats", {{"front", "1"}, {"ünï", ""}}}}));
    EXPECT_TRUE(seenElsewhere.empty());
}

TEST_F(DistributedNotificationsTest, EndWithTheirToken) {
    int times = 0;
    std::unique_ptr<DistributedNotifications::Token> once;
    once = ours.observe(name, [&](std::optional<std::string>, DistributedNotifications::Info) {
        ++times;
        once.reset();
    });
    settle(loop, bus);
    theirs.post(name, "a", {});
    theirs.post(name, "b", {});
    settle(loop, other);
    ASSERT_TRUE(runUntil(loop, [&] { return times > 0; }));
    settle(loop, bus);
    EXPECT_EQ(times, 1);
}

TEST_F(DistributedNotificationsTest, IgnoreAnInvalidBody) {
    std::vector<Seen> seen;
    const auto token = ours.observe(name, keep(seen));
    settle(loop, bus);
    post("ss", [](BusWriter& writer) { writer.text(name).text("stats"); });
    post("ssa{sv}", [](BusWriter& writer) { writer.text(name).text("stats").array("{sv}", [] {}); });
    post("ssa{ss}", [](BusWriter& writer) {
        writer.text(name).text("flood").array("{ss}", [&] {
            for (int key = 0; key < 100000; ++key)
                writer.entry("ss", [&] { writer.text(std::to_string(key)).text(""); });
        });
    });
    // What the bus cannot carry does not leave, and ends nothing.
    theirs.post(name, "no \xff text", {});
    theirs.post(name, std::string{"a\0b", 3}, {});
    theirs.post(name, "good", {});
    ASSERT_TRUE(runUntil(loop, [&] { return !seen.empty(); }));
    EXPECT_EQ(seen, (std::vector<Seen>{{"good", {}}}));
}

}  // namespace
}  // namespace larkmoor::testing
