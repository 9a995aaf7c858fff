// The terminal tray as a script uses it, with a real item on a bus of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/json.hpp>

#include <fstream>
#include <future>

#include "LarkmoorPlatform/Linux/Tray/StatusNotifierItem.h"
#include "Support/PrivateBus.h"
#include "Support/RunTool.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

using ::testing::HasSubstr;

/// The application's side, on the test's own loop.
struct Item {
    explicit Item(MainLoop& loop) : bus(loop), item(loop, bus, {.title = "Larkmoor", .iconThemePath = "/icons"}) {
        item.setIcon(StatusIcon::trailFilled, "Larkmoor");
        item.setMenu(menu);
    }

    int clicks = 0;
    std::shared_ptr<MenuRow> status =
        MenuRow::make({.title = "Recording", .image = RowImages::RecordingDot{}, .enabled = false});
    std::shared_ptr<Menu> menu = std::make_shared<Menu>(
        Menu::Rows{status, MenuRow::make({.title = "• Stop", .action = [this] { ++clicks; }, .indent = 1}),
                   MenuRow::make({.title = "Migrate now", .action = [] {}, .hidden = true})});
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
    /// The tool's words; `ToolRun::status` is its answer.
    ToolRun run(std::vector<std::string> words, const char* wait = "20") {
        words.insert(words.begin(), LARKMOOR_TRAY);
        words.insert(words.end(), {"--wait", wait});
        auto running = std::async(std::launch::async, [&] { return runTool(words); });
        EXPECT_TRUE(becomes([&] { return running.wait_for(std::chrono::seconds{0}) == std::future_status::ready; }));
        return running.get();
    }
    boost::json::value shown(const std::string& option = "--json") {
        const ToolRun answer = run({"show", "--json", option});
        EXPECT_EQ(answer.status, 0) << answer.err;
        return answer.status == 0 ? boost::json::parse(answer.out) : boost::json::value{};
    }

    PrivateBus daemon;
    MainLoop loop;
};

TEST_F(TrayToolTest, FindsNothingOnAnEmptyBusAndRefusesAWrongCommandLine) {
    using Words = std::vector<std::string>;
    for (Words words : {Words{"list"}, Words{"show"}, Words{"click", "Quit"}}) {
        words.insert(words.begin(), LARKMOOR_TRAY);
        EXPECT_EQ(runTool(words).status, 1) << words[1];
    }
    for (Words words : {Words{}, Words{"dance"}, Words{"click"}, Words{"list", "x"}, Words{"show", "--wait"},
                        Words{"show", "--wait", "1s"}, Words{"show", "--wait", "-1"}, Words{"show", "--colour"}}) {
        words.insert(words.begin(), LARKMOOR_TRAY);
        EXPECT_EQ(runTool(words).status, 2) << words.back();
    }
    EXPECT_EQ(runTool({LARKMOOR_TRAY, "--help"}).status, 0);
}

TEST_F(TrayToolTest, ShowsAnItemWhereNobodyWatches) {
    const Item ours{loop};
    const boost::json::value item = shown();
    ASSERT_TRUE(item.is_object());
    EXPECT_EQ(item.at("id"), "larkmoor");
    EXPECT_EQ(item.at("icon"), "larkmoor-trail-filled-symbolic");
    EXPECT_EQ(item.at("status"), "Active");
    EXPECT_EQ(item.at("description"), "Larkmoor");
    const boost::json::array& menu = item.at("menu").as_array();
    ASSERT_EQ(menu.size(), 2U);
    EXPECT_EQ(menu[0].at("label"), "Recording");
    EXPECT_EQ(menu[0].at("icon"), "recordingDot");
    EXPECT_EQ(menu[1].at("indent"), 1);
    EXPECT_EQ(shown("--all").at("menu").as_array().size(), 3U);
}

TEST_F(TrayToolTest, WorksBesideARunningHost) {
    const ChildProcess host{{LARKMOOR_TRAY, "host"}};
    const Item ours{loop};
    EXPECT_THAT(run({"list"}).out, HasSubstr("larkmoor  larkmoor-trail-filled-symbolic  Active"));
    // A row by its label, its id or the beginning of its label; an item by its id, its title or its name on the bus.
    int clicks = 0;
    for (const std::vector<std::string>& words : {std::vector<std::string>{"• Stop"},
                                                  {"2", "larkmoor"},
                                                  {"• S", "Larkmoor"},
                                                  {"• Stop", ours.bus.uniqueName()}}) {
        std::vector<std::string> command{"click", "--json"};
        command.insert(command.end(), words.begin(), words.end());
        EXPECT_EQ(boost::json::parse(run(command).out).at("label"), "• Stop") << words.front();
        ++clicks;
        EXPECT_TRUE(becomes([&] { return ours.clicks == clicks; }));
    }
    for (const char* row : {"Nothing", "Recording", "Migrate now", "", "99"})
        EXPECT_EQ(run({"click", row}, "1").status, 1) << row;
    EXPECT_EQ(run({"show", "another"}, "1").status, 1);
    EXPECT_EQ(ours.clicks, clicks);
}

TEST_F(TrayToolTest, IsNotHeldUpByAnItemThatHangsAndForgetsOneThatIsGone) {
    const ChildProcess host{{LARKMOOR_TRAY, "host"}};
    std::optional<Item> ours{std::in_place, loop};
    ASSERT_TRUE(shown().is_object());
    // Nobody drives the item's loop. The bus library would wait 25 s for it.
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(runTool({LARKMOOR_TRAY, "show"}).status, 1);
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds{20});
    ours.reset();
    EXPECT_EQ(runTool({LARKMOOR_TRAY, "show"}).status, 1);
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
