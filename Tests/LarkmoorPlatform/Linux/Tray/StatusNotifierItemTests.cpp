// The status item on a real bus, as watchers and hosts meet it.
#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"

#include <gmock/gmock.h>

#include "LarkmoorPlatform/Linux/Tray/TrayFixture.h"
#include "TrayReading.h"

namespace larkmoor::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

constexpr const char* watcherName = "org.kde.StatusNotifierWatcher";

/// Keeps what registers with it. Owns the watcher's name as some panels do: letting others replace it, and replacing.
class RecordingWatcher {
  public:
    explicit RecordingWatcher(MainLoop& loop, const std::string& address)
        : bus_(loop, address), object_(bus_.addObject("/StatusNotifierWatcher", watcherName, table, this)) {
        constexpr std::uint32_t allowReplacement = 1;
        constexpr std::uint32_t replaceExisting = 2;
        const BusMessage call =
            bus_.methodCall("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName");
        BusWriter{call}.text(watcherName).uint32(allowReplacement | replaceExisting);
        bus_.send(call);
    }

    std::vector<std::string> registered;
    /// Runs before the item has its answer.
    std::function<void(const std::string& item)> onRegister = [](const std::string&) {};

  private:
    static int take(sd_bus_message* message, void* self, sd_bus_error*) {
        auto& watcher = *static_cast<RecordingWatcher*>(self);
        watcher.registered.emplace_back(BusReader{message}.text());
        watcher.onRegister(watcher.registered.back());
        return sd_bus_reply_method_return(message, "");
    }

    static const sd_bus_vtable table[];

    SessionBus bus_;
    BusSlot object_;
};

const sd_bus_vtable RecordingWatcher::table[] = {
    SD_BUS_VTABLE_START(0), SD_BUS_METHOD("RegisterStatusNotifierItem", "s", "", &RecordingWatcher::take, 0),
    SD_BUS_VTABLE_END};

class StatusNotifierItemTest : public TrayFixture {
  protected:
    bool isRegistered(const RecordingWatcher& watcher, std::size_t times = 1) {
        return runUntil(loop, [&] { return watcher.registered.size() >= times; });
    }

    BusResult askItem(const std::string& member, std::string_view text = {}) {
        return ask("/StatusNotifierItem", itemInterface, member, [&](BusWriter& writer) {
            if (!text.empty()) writer.text(std::string{text});
        });
    }

    tray::ItemView look() {
        const BusResult reply = ask("/StatusNotifierItem", propertiesInterface, "GetAll",
                                    [](BusWriter& writer) { writer.text(itemInterface); });
        tray::ItemView view;
        if (reply) tray::readItem(*reply, view);
        return view;
    }

    BusResult property(const std::string& name) {
        return ask("/StatusNotifierItem", propertiesInterface, "Get",
                   [&](BusWriter& writer) { writer.text(itemInterface).text(name); });
    }

    StatusNotifierItem item{loop, itemBus, {.title = "Larkmoor", .iconThemePath = "/bundle/icons"}};
};

TEST_F(StatusNotifierItemTest, RegistersItsConnectionOnceItAnswers) {
    RecordingWatcher watcher{loop, daemon.address()};
    std::string menuSeen = "not asked";
    BusSlot asking;
    watcher.onRegister = [&](const std::string& service) {
        const BusMessage call = hostBus.methodCall(service, "/MenuBar", menuInterface, "GetLayout");
        BusWriter{call}.int32(0).int32(-1).array("s", [] {});
        asking = hostBus.call(call, [&](BusResult reply) { menuSeen = reply ? "there" : reply.error().name; });
    };
    ASSERT_TRUE(isRegistered(watcher));
    EXPECT_THAT(watcher.registered, ElementsAre(itemBus.uniqueName()));
    ASSERT_TRUE(runUntil(loop, [&] { return menuSeen != "not asked"; }));
    EXPECT_EQ(menuSeen, "there");
}

TEST_F(StatusNotifierItemTest, RegistersWithEachWatcherThatFollowsAnother) {
    RecordingWatcher first{loop, daemon.address()};
    ASSERT_TRUE(isRegistered(first));
    // It takes the name over, so that it is never without an owner.
    std::optional<RecordingWatcher> second{std::in_place, loop, daemon.address()};
    ASSERT_TRUE(isRegistered(*second));
    second.reset();
    RecordingWatcher third{loop, daemon.address()};
    EXPECT_TRUE(isRegistered(third));
}

TEST_F(StatusNotifierItemTest, CostsNothingWithoutAWatcher) {
    settle();
    loop.restart();
    EXPECT_EQ(loop.run_for(std::chrono::milliseconds{200}), 0U) << "nothing may wake up by itself";
    EXPECT_EQ(look().id, "larkmoor");
}

TEST_F(StatusNotifierItemTest, SaysWhatHostsAskFor) {
    item.setIcon(StatusIcon::trailHollow, "Larkmoor — <not> & recording");
    const tray::ItemView view = look();
    EXPECT_EQ(view.id, "larkmoor");
    EXPECT_EQ(view.status, "Active");
    EXPECT_EQ(view.icon, "larkmoor-trail-hollow-symbolic");
    EXPECT_EQ(view.iconThemePath, "/bundle/icons");
    EXPECT_EQ(view.description, "Larkmoor — <not> & recording");
    EXPECT_THAT(view.title, Not(::testing::ContainsRegex("[<&]")));
    EXPECT_EQ(view.toolTip, view.title);
    EXPECT_EQ(view.menuPath, "/MenuBar");
    const std::pair<const char*, const char*> types[] = {{"Category", "s"},
                                                         {"WindowId", "i"},
                                                         {"ItemIsMenu", "b"},
                                                         {"Menu", "o"},
                                                         {"IconPixmap", "a(iiay)"},
                                                         {"AttentionIconPixmap", "a(iiay)"},
                                                         {"AttentionIconName", "s"},
                                                         {"ToolTip", "(sa(iiay)ss)"},
                                                         {"AttentionAccessibleDesc", "s"}};
    for (const auto& [name, type] : types) {
        const BusResult answer = property(name);
        ASSERT_TRUE(answer.has_value()) << name;
        BusReader{*answer}.variant([&](std::string_view contents) { EXPECT_EQ(contents, type) << name; });
    }
}

TEST_F(StatusNotifierItemTest, HostsThatWereToldReadTheNewIcon) {
    follow(itemInterface);
    std::string status;
    const BusSlot slot = hostBus.match(BusMatch{}.interface(itemInterface).member("NewStatus").rule(),
                                       [&](const BusMessage& message) { status = BusReader{message}.text(); });
    item.setIcon(StatusIcon::attention, "Larkmoor — attention");
    EXPECT_THAT(takeHeard(), ElementsAre("NewIcon", "NewAttentionIcon", "NewStatus", "NewTitle", "NewToolTip"));
    EXPECT_EQ(status, "NeedsAttention");
    EXPECT_EQ(look().icon, "larkmoor-attention-symbolic");
    EXPECT_EQ(look().status, "NeedsAttention");
    item.setIcon(StatusIcon::attention, "Larkmoor — attention");
    EXPECT_THAT(takeHeard(), IsEmpty());
}

TEST_F(StatusNotifierItemTest, HasNoActivateThatWouldDelayTheMenu) {
    const BusResult described =
        ask("/StatusNotifierItem", "org.freedesktop.DBus.Introspectable", "Introspect", [](BusWriter&) {});
    ASSERT_TRUE(described.has_value());
    const std::string xml{BusReader{*described}.text()};
    EXPECT_THAT(xml, Not(HasSubstr("\"Activate\"")));
    for (const char* member : {"ContextMenu", "SecondaryActivate", "Scroll", "ProvideXdgActivationToken"})
        EXPECT_THAT(xml, HasSubstr(member));
}

TEST_F(StatusNotifierItemTest, KeepsTheActivationTokenForOneUse) {
    EXPECT_TRUE(askItem("ProvideXdgActivationToken", "token-1").has_value());
    EXPECT_TRUE(askItem("ProvideXdgActivationToken", "token-2").has_value());
    EXPECT_EQ(item.takeActivationToken(), "token-2");
    EXPECT_EQ(item.takeActivationToken(), "");
}

}  // namespace
}  // namespace larkmoor::testing
