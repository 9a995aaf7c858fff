// The alert from the port to the person's keys and back, with the real helper on a real screen.
#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>

#include <thread>

#include "LarkmoorPlatform/Linux/HelperAlerts.h"
#include "LarkmoorPlatform/Linux/SpawningProcessRunner.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"
#include "Support/VirtualScreen.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using Choice = std::optional<int>;

const std::string title = "Larkmoor";

Alert quit() {
    return {.style = Alert::Style::warning,
            .message = "Quit Larkmoor?",
            .text = "Recording stops. MCP stops. Settings closes. Icon leaves menu. Existing memories stay safe.",
            .buttons = {"Quit", "Cancel"},
            .showsApplicationIcon = true};
}

struct HelperAlertsTests : ::testing::Test {
    testing::TemporaryFolder folder;
    MainLoop loop;
    SpawningProcessRunner runner{loop};

    std::string helperScript(const std::string& script) const {
        const std::string path = folder / "helper";
        EXPECT_TRUE(Files::replace(path, asBytes("#!/bin/sh\n" + script), 0700));
        return path;
    }

    /// What was chosen, and what the log has to say about it.
    std::pair<Choice, std::string> show(HelperAlerts& alerts, Alert alert) {
        ::testing::internal::CaptureStderr();
        const auto chosen = testing::runTask(loop, alerts.show(std::move(alert)));
        std::string log = ::testing::internal::GetCapturedStderr();
        if (!chosen) throw std::runtime_error("the alert did not end");
        return {*chosen, std::move(log)};
    }
};

TEST_F(HelperAlertsTests, AsksTheHelperInItsWords) {
    const std::string helper =
        helperScript("cat >" + folder / "request" + "\nenv >" + folder / "environment" + "\necho chosen 1\n");
    std::string token = "token-7";
    HelperAlerts alerts{runner,
                        {.helper = helper, .build = "12", .activationToken = [&] { return std::exchange(token, ""); }}};
    ::setenv("DESKTOP_STARTUP_ID", "stale", 1);
    Alert alert = quit();
    using namespace std::string_literals;
    alert.text = "a\0button=Trap\0b = <c>"s;
    EXPECT_EQ(show(alerts, alert).first, 1);
    std::string request = testing::text(*Files::read(folder / "request"));
    std::ranges::replace(request, '\0', '\n');
    EXPECT_EQ(request, "build=12\nasker=" + std::to_string(::getpid()) +
                           "\nstyle=warning\nmessage=Quit Larkmoor?\ntext=abutton=Trapb = <c>\nbutton=Quit\n"
                           "button=Cancel\nicon=application\n");
    const std::string first = testing::text(*Files::read(folder / "environment"));
    EXPECT_NE(first.find("XDG_ACTIVATION_TOKEN=token-7\n"), std::string::npos);
    EXPECT_EQ(first.find("DESKTOP_STARTUP_ID"), std::string::npos);

    ::setenv("XDG_ACTIVATION_TOKEN", "stale", 1);
    EXPECT_EQ(show(alerts, quit()).first, 1);
    const std::string second = testing::text(*Files::read(folder / "environment"));
    EXPECT_EQ(second.find("XDG_ACTIVATION_TOKEN"), std::string::npos);
    ::unsetenv("XDG_ACTIVATION_TOKEN");
    ::unsetenv("DESKTOP_STARTUP_ID");
}

TEST_F(HelperAlertsTests, BelievesNoAnswerThatMakesNoSense) {
    struct Case {
        std::string_view script, log;
        Choice choice{};
    };
    const Case table[] = {
        {"echo chosen 0", "", 0},
        {"echo dismissed", ""},
        {"echo chosen 2", "makes no sense"},
        {"echo chosen -1", "makes no sense"},
        {"echo chosen", "makes no sense"},
        {"true", "makes no sense"},
        {"echo chosen 0; exit 1", "exit 1"},
        {"echo Oh >&2; exit 4", "exit 4; Oh"},
        {"kill -SEGV $$", "signal 11"},
    };
    for (const Case& row : table) {
        HelperAlerts alerts{runner, {.helper = helperScript(std::string{row.script}), .build = "1"}};
        const auto [choice, log] = show(alerts, quit());
        EXPECT_EQ(choice, row.choice) << row.script;
        EXPECT_THAT(log, row.log.empty() ? ::testing::Matcher<std::string>(::testing::IsEmpty())
                                         : ::testing::HasSubstr(std::string{row.log}))
            << row.script;
    }
}

TEST_F(HelperAlertsTests, SaysInTheLogWhyNothingWasShown) {
    struct Case {
        std::string_view name, helper, build, display, log;
    };
    const Case table[] = {
        {"no helper", "/none/larkmoor-alert", "1", ":0", "not started: /none/larkmoor-alert: No such file"},
        {"another build", LARKMOOR_ALERT_HELPER, "2", ":0",
         "exit 3; larkmoor-alert: this is build 1, and build 2 asks"},
        {"no display", LARKMOOR_ALERT_HELPER, "1", "", "exit 4; larkmoor-alert: no display: DISPLAY and"},
        {"a display that is gone", LARKMOOR_ALERT_HELPER, "1", ":4095", "exit 4;"},
    };
    ::unsetenv("WAYLAND_DISPLAY");
    ::unsetenv("QT_QPA_PLATFORM");
    for (const Case& row : table) {
        row.display.empty() ? ::unsetenv("DISPLAY") : ::setenv("DISPLAY", row.display.data(), 1);
        HelperAlerts alerts{runner, {.helper = std::string{row.helper}, .build = std::string{row.build}}};
        const auto [choice, log] = show(alerts, quit());
        EXPECT_EQ(choice, std::nullopt) << row.name;
        EXPECT_THAT(log, ::testing::StartsWith("[larkmoor-menu] the alert \"Quit Larkmoor?\" was not shown: "))
            << row.name;
        EXPECT_THAT(log, ::testing::HasSubstr(std::string{row.log})) << row.name;
    }
    ::unsetenv("DISPLAY");
}

struct AlertOnScreenTests : HelperAlertsTests {
    std::optional<testing::VirtualScreen> screen;

    void SetUp() override {
        if (const std::string missing = testing::VirtualScreen::missingTools(); !missing.empty())
            GTEST_SKIP() << "this machine has no" << missing;
        screen.emplace();
        ::setenv("DISPLAY", screen->display().c_str(), 1);
    }
    void TearDown() override { ::unsetenv("DISPLAY"); }

    /// What happens on the screen wakes no loop of ours.
    template <class Condition>
    bool eventually(Condition condition) {
        for (int turn = 0; turn < 200; ++turn) {
            if (condition()) return true;
            loop.restart();
            loop.run_for(50ms);
        }
        return false;
    }

    bool waitForWindows(int count) {
        return eventually([&] { return screen->windows(title) == count; });
    }

    /// A window can be seen a moment before it hears, and so the keys are pressed until they have done something.
    template <class Condition>
    bool press(const std::string& keys, Condition done) {
        return eventually([&] {
            screen->press(keys);
            return testing::runUntil(loop, done, 1s);
        });
    }
};

TEST_F(AlertOnScreenTests, BringsBackWhatThePersonPresses) {
    HelperAlerts alerts{runner, {.helper = LARKMOOR_ALERT_HELPER, .build = "1"}};
    struct Case {
        std::string_view keys;
        int choice;
    };
    for (const Case& row : {Case{"Return", 0}, Case{"Escape", 1}, Case{"Tab Return", 1}}) {
        std::optional<Choice> chosen;
        boost::asio::co_spawn(loop, alerts.show(quit()), [&](std::exception_ptr, Choice choice) { chosen = choice; });
        ASSERT_TRUE(waitForWindows(1)) << row.keys;
        ASSERT_TRUE(press(std::string{row.keys}, [&] { return chosen.has_value(); })) << row.keys;
        EXPECT_EQ(*chosen, row.choice) << row.keys;
        EXPECT_EQ(screen->windows(title), 0);
    }
}

TEST_F(AlertOnScreenTests, OneStandsAtATime) {
    HelperAlerts alerts{runner, {.helper = LARKMOOR_ALERT_HELPER, .build = "1"}};
    std::vector<int> ended;
    for (const int number : {1, 2, 3}) {
        boost::asio::co_spawn(loop, alerts.show(quit()), [&ended, number](std::exception_ptr, Choice choice) {
            EXPECT_EQ(choice, 0);
            ended.push_back(number);
        });
    }
    for (std::size_t turn = 1; turn <= 3; ++turn) {
        ASSERT_TRUE(waitForWindows(1));
        // The others would have come by now.
        std::this_thread::sleep_for(300ms);
        EXPECT_EQ(screen->windows(title), 1);
        EXPECT_EQ(ended.size(), turn - 1);
        ASSERT_TRUE(press("Return", [&] { return ended.size() == turn; }));
    }
    EXPECT_EQ(ended, (std::vector{1, 2, 3}));
}

TEST_F(AlertOnScreenTests, GoesWithWhoeverAsked) {
    const std::string request = "printf 'build=1\\0asker=%s\\0style=warning\\0message=m\\0button=OK\\0' $$";
    testing::ChildProcess asker{
        {"/bin/sh", "-c",
         request + " >" + folder / "request" + "; " LARKMOOR_ALERT_HELPER " <" + folder / "request" + " & wait"}};
    ASSERT_TRUE(waitForWindows(1));
    asker.kill();
    EXPECT_TRUE(waitForWindows(0));
}

}  // namespace
}  // namespace larkmoor
