// The terminal tray as a script uses it, with a real item on a bus of the test's own.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <boost/json.hpp>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "LarkmoorPlatform/Linux/Bus/SessionBus.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

using ::testing::HasSubstr;

class TrayToolTest : public ::testing::Test {
  protected:
    struct Answer {
        int status = -1;
        std::string said;
    };

    Answer run(const std::string& arguments) {
        const std::string command =
            "DBUS_SESSION_BUS_ADDRESS='" + daemon.address() + "' '" LARKMOOR_TRAY "' " + arguments + " 2>&1";
        FILE* pipe = ::popen(command.c_str(), "r");
        Answer answer;
        for (int letter = std::fgetc(pipe); letter != EOF; letter = std::fgetc(pipe))
            answer.said += static_cast<char>(letter);
        const int status = ::pclose(pipe);
        answer.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return answer;
    }

    boost::json::value shown(const std::string& options = {}) {
        const Answer answer = run("show --json --wait 20 " + options);
        EXPECT_EQ(answer.status, 0) << answer.said;
        return answer.status == 0 ? boost::json::parse(answer.said) : boost::json::value{};
    }

    ChildProcess start(const std::string& program, const std::string& argument) {
        return ChildProcess{{program, argument}, daemon.environment()};
    }

    PrivateBus daemon;
};

TEST_F(TrayToolTest, FindsNothingOnAnEmptyBus) {
    for (const char* command : {"list", "show", "click Quit"}) EXPECT_EQ(run(command).status, 1) << command;
    EXPECT_EQ(run("dance").status, 2);
    EXPECT_EQ(run("").status, 2) << "no terminal";
}

TEST_F(TrayToolTest, ShowsAnItemWhereNobodyWatches) {
    const ChildProcess trial = start(LARKMOOR_TRAY_TRIAL, "/icons");
    const boost::json::value item = shown();
    ASSERT_TRUE(item.is_object());
    EXPECT_EQ(item.at("id"), "larkmoor");
    EXPECT_EQ(item.at("icon"), "larkmoor-trail-filled-symbolic");
    EXPECT_EQ(item.at("status"), "Active");
    EXPECT_EQ(item.at("description"), "Larkmoor");
    const boost::json::array& menu = item.at("menu").as_array();
    EXPECT_EQ(menu.at(2).at("label"), "Recording");
    EXPECT_EQ(menu.at(2).at("icon"), "recordingDot");
    EXPECT_EQ(menu.at(3).at("indent"), 1);
    EXPECT_LT(menu.size(), shown("--all").at("menu").as_array().size());
}

TEST_F(TrayToolTest, WorksBesideARunningHost) {
    const ChildProcess host = start(LARKMOOR_TRAY, "host");
    const ChildProcess trial = start(LARKMOOR_TRAY_TRIAL, "/icons");
    ASSERT_TRUE(shown().is_object());
    EXPECT_THAT(run("list").said, HasSubstr("larkmoor  larkmoor-trail-filled-symbolic  Active"));
    EXPECT_EQ(run("click Nothing").status, 1);
    EXPECT_EQ(run("click Recording").status, 1) << "it is off";
    EXPECT_EQ(run("click 'Migrate now'").status, 1) << "it is hidden";
    EXPECT_EQ(boost::json::parse(run("click Settings --json").said).at("label"), "Settings");
}

TEST_F(TrayToolTest, ForgetsAnItemThatIsGone) {
    const ChildProcess host = start(LARKMOOR_TRAY, "host");
    std::optional<ChildProcess> trial{start(LARKMOOR_TRAY_TRIAL, "/icons")};
    ASSERT_TRUE(shown().is_object());
    trial->kill();
    EXPECT_EQ(run("show").status, 1);
    // Nor does the watcher keep it for other hosts. It hears of the end when the bus does.
    MainLoop loop;
    SessionBus bus{loop, daemon.address()};
    const auto isForgotten = [&] {
        const BusMessage call = bus.methodCall("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
                                               "org.freedesktop.DBus.Properties", "Get");
        BusWriter{call}.text("org.kde.StatusNotifierWatcher").text("RegisteredStatusNotifierItems");
        const BusResult reply = runTask(loop, bus.call(call)).value();
        std::size_t items = 0;
        BusReader reader{*reply};
        reader.variant([&](std::string_view) { reader.array("s", [&] { reader.skip(), ++items; }); });
        return reader.fits() && items == 0;
    };
    EXPECT_TRUE(runUntil(loop, isForgotten));
}

TEST_F(TrayToolTest, WatchesChangesAsTheyHappen) {
    const TemporaryFolder folder;
    const std::string orders = folder / "orders", seen = folder / "seen";
    ASSERT_EQ(::mkfifo(orders.c_str(), 0600), 0);
    const ChildProcess host = start(LARKMOOR_TRAY, "host");
    const ChildProcess watching{{"sh", "-c", "exec '" LARKMOOR_TRAY "' watch --json >" + seen}, daemon.environment()};
    std::optional<ChildProcess> trial{
        std::in_place, std::vector<std::string>{"sh", "-c", "exec '" LARKMOOR_TRAY_TRIAL "' / <" + orders},
        daemon.environment()};
    std::ofstream to{orders};
    const auto isSeen = [&](std::string_view text) {
        MainLoop idle;
        return runUntil(idle, [&] {
            std::ostringstream all;
            all << std::ifstream{seen}.rdbuf();
            return all.str().find(text) != std::string::npos;
        });
    };
    EXPECT_TRUE(isSeen(R"({"event":"added","item":"larkmoor")"));
    to << "icon attention Larkmoor — attention" << std::endl;
    EXPECT_TRUE(isSeen(R"("icon":"larkmoor-attention-symbolic","status":"NeedsAttention")"));
    to << "title 3 Paused" << std::endl;
    EXPECT_TRUE(isSeen(R"({"event":"row","item":"larkmoor","row":{"id":4,"label":"Paused")"));
    trial->kill();
    EXPECT_TRUE(isSeen(R"({"event":"removed","item":"larkmoor"})"));
}

}  // namespace
}  // namespace larkmoor::testing
