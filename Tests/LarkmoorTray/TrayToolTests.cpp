// The terminal tray as a script uses it, with a real item on a bus of the test's own.
#include <gtest/gtest.h>

#include <fstream>

#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"
#include "Support/PrivateBus.h"
#include "Support/RunTool.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

/// The application's side, on the test's own loop.
struct Item {
    explicit Item(MainLoop& loop) : bus(loop), item(loop, bus, {.title = "Larkmoor", .iconThemePath = "/icons"}) {
        item.setIcon(StatusIcon::trailFilled, "Larkmoor");
        item.setMenu(menu);
    }

    std::shared_ptr<MenuRow> status = MenuRow::make({.title = "Recording", .enabled = false});
    std::shared_ptr<Menu> menu = std::make_shared<Menu>(Menu::Rows{status});
    SessionBus bus;
    StatusNotifierItem item;
};

class TrayToolTest : public ::testing::Test {
  protected:
    TrayToolTest() { ::setenv("DBUS_SESSION_BUS_ADDRESS", daemon.address().c_str(), 1); }

    /// Waits with the item answering meanwhile.
    template <class Condition>
    bool becomes(Condition condition) {
        MainLoop idle;
        return runUntil(idle, [&] { return runReady(loop), condition(); });
    }
    PrivateBus daemon;
    MainLoop loop;
};

TEST_F(TrayToolTest, FindsNothingOnAnEmptyBusAndRefusesAWrongCommandLine) {
    using Words = std::vector<std::string>;
    EXPECT_EQ(runTool({LARKMOOR_TRAY, "show"}).status, 1);
    for (Words words : {Words{}, Words{"dance"}, Words{"click"}, Words{"show", "--wait", "1s"}}) {
        words.insert(words.begin(), LARKMOOR_TRAY);
        EXPECT_EQ(runTool(words).status, 2) << words.back();
    }
    EXPECT_EQ(runTool({LARKMOOR_TRAY, "--help"}).status, 0);
}

TEST_F(TrayToolTest, WatchesChangesAsTheyHappen) {
    const TemporaryFolder folder;
    const ChildProcess watching{{"sh", "-c", "exec '" LARKMOOR_TRAY "' watch --json >" + folder / "seen"}};
    std::optional<Item> ours{std::in_place, loop};
    const auto isSeen = [&](std::string_view text) {
        return becomes([&] {
            std::ifstream seen{folder / "seen"};
            return std::string{std::istreambuf_iterator<char>{seen}, {}}.contains(text);
        });
    };
    EXPECT_TRUE(isSeen(R"({"event":"added","item":"larkmoor")"));
    ours->item.setIcon(StatusIcon::attention, "Larkmoor — attention");
    EXPECT_TRUE(isSeen(R"("icon":"larkmoor-attention-symbolic","status":"NeedsAttention")"));
    ours->status->setTitle("Paused");
    EXPECT_TRUE(isSeen(R"({"event":"row","item":"larkmoor","row":{"id":1,"label":"Paused")"));
    ours.reset();
    EXPECT_TRUE(isSeen(R"({"event":"removed","item":"larkmoor"})"));
}

}  // namespace
}  // namespace larkmoor::testing
