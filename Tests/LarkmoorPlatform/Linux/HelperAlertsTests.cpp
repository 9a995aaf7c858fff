// The alert from the port to its helper and back.
#include <fcntl.h>
#include <poll.h>

#include <boost/asio/co_spawn.hpp>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorPlatform/Linux/Applications/ApplicationLauncher.h"
#include "LarkmoorPlatform/Linux/Applications/HelperAlerts.h"
#include "LarkmoorPlatform/Linux/Applications/NotificationAlerts.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "Support/ChildProcess.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"
#include "Support/Text.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;
using AlertAnswers::Chosen;
using AlertAnswers::Dismissed;
using AlertAnswers::NotShown;

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

    /// The answer, and what the log has to say about it.
    std::pair<AlertAnswer, std::string> show(HelperAlerts& alerts, Alert alert, AlertWatch watch = {}) {
        ::testing::internal::CaptureStderr();
        const auto chosen = testing::runTask(loop, alerts.show(std::move(alert), std::move(watch)));
        std::string log = ::testing::internal::GetCapturedStderr();
        if (!chosen) throw std::runtime_error("the alert did not end");
        return {*chosen, std::move(log)};
    }
};

TEST_F(HelperAlertsTests, SendsTheRequestAndTheActivationToken) {
    const std::string helper =
        helperScript("cat >" + folder / "request" + "\nenv >" + folder / "environment" + "\necho chosen 1\n");
    std::string token = "token-7";
    HelperAlerts alerts{runner,
                        {.helper = helper, .build = "12", .activationToken = [&] { return std::exchange(token, ""); }}};
    ::setenv("DESKTOP_STARTUP_ID", "stale", 1);
    Alert alert = quit();
    using namespace std::string_literals;
    alert.text = "a\0button=Trap\0b = <c>"s;
    EXPECT_EQ(show(alerts, alert).first, AlertAnswer{Chosen{1}});
    std::string request = testing::text(*Files::read(folder / "request"));
    std::ranges::replace(request, '\0', '\n');
    EXPECT_EQ(request, "build=12\nasker=" + std::to_string(::getpid()) +
                           "\nstyle=warning\nmessage=Quit Larkmoor?\ntext=abutton=Trapb = <c>\nbutton=Quit\n"
                           "button=Cancel\nicon=application\n");
    const std::string first = testing::text(*Files::read(folder / "environment"));
    EXPECT_NE(first.find("XDG_ACTIVATION_TOKEN=token-7\n"), std::string::npos);
    EXPECT_EQ(first.find("DESKTOP_STARTUP_ID"), std::string::npos);

    ::setenv("XDG_ACTIVATION_TOKEN", "stale", 1);
    EXPECT_EQ(show(alerts, quit()).first, AlertAnswer{Chosen{1}});
    const std::string second = testing::text(*Files::read(folder / "environment"));
    EXPECT_EQ(second.find("XDG_ACTIVATION_TOKEN"), std::string::npos);

    // A program that is opened is let to the front in the same way.
    ApplicationLauncher{runner, [] { return std::string{"token-8"}; }}.open(
        helperScript("env >" + folder / "new" + "; mv " + folder / "new" + " " + folder / "opened"), {});
    ASSERT_TRUE(testing::runUntil(loop, [&] { return Files::exists(folder / "opened"); }));
    const std::string opened = testing::text(*Files::read(folder / "opened"));
    EXPECT_NE(opened.find("XDG_ACTIVATION_TOKEN=token-8\n"), std::string::npos);
    EXPECT_EQ(opened.find("DESKTOP_STARTUP_ID"), std::string::npos);
    ::unsetenv("XDG_ACTIVATION_TOKEN");
    ::unsetenv("DESKTOP_STARTUP_ID");
}

TEST_F(HelperAlertsTests, RejectsInvalidAnswersAndLogsWhyNothingWasShown) {
    struct Case {
        std::string_view script, build, display, log;  ///< no script: the real helper
        AlertAnswer answer = NotShown{};
        std::chrono::milliseconds limit = HelperAlerts::patience;
    };
    const Case table[] = {
        {"echo chosen 0", "1", "", "", Chosen{0}},
        {"echo dismissed", "1", "", "", Dismissed{}},
        {"echo shown; sleep 1.2; echo chosen 1", "1", "", "", Chosen{1}, 1s},
        {"echo shown; kill -KILL $$", "1", "", "signal 9"},
        {"echo shown", "1", "", "makes no sense"},
        {"sleep 60 & echo show; wait", "1", "", "its window was not there after 200 ms", NotShown{}, 200ms},
        {"echo chosen 2", "1", "", "makes no sense"},
        {"true", "1", "", "makes no sense"},
        {"echo chosen 0; exit 1", "1", "", "exit 1"},
        {"echo Oh >&2; exit 4", "1", "", "exit 4; Oh"},
        {"kill -SEGV $$", "1", "", "signal 11"},
        {"", "2", ":0", "exit 3; larkmoor-alert: this is build 1, and build 2 asks"},
        {"", "1", "", "exit 4; larkmoor-alert: no display: DISPLAY and"},
        {"", "1", ":4095", "exit 4;"},
    };
    ::unsetenv("WAYLAND_DISPLAY");
    ::unsetenv("QT_QPA_PLATFORM");
    const std::string notShown = "[larkmoor-menu] the alert \"Quit Larkmoor?\" was not shown: ";
    for (const Case& row : table) {
        SCOPED_TRACE(std::string{row.script} + row.display.data());
        row.display.empty() ? ::unsetenv("DISPLAY") : ::setenv("DISPLAY", row.display.data(), 1);
        const std::string helper = row.script.empty() ? LARKMOOR_ALERT_HELPER : helperScript(std::string{row.script});
        HelperAlerts alerts{runner, {.helper = helper, .build = std::string{row.build}, .limit = row.limit}};
        std::vector<bool> sights;
        const auto [answer, log] = show(alerts, quit(), {.onSight = [&](bool isIn) { sights.push_back(isIn); }});
        EXPECT_EQ(answer, row.answer);
        EXPECT_EQ(sights, std::vector<bool>(row.script.starts_with("echo shown") ? 1 : 0, true));
        EXPECT_EQ(log.empty(), row.log.empty()) << log;
        if (row.log.empty()) continue;
        EXPECT_THAT(log, ::testing::StartsWith(notShown));
        EXPECT_THAT(log, ::testing::HasSubstr(std::string{row.log}));
    }
    ::unsetenv("DISPLAY");
    HelperAlerts none{runner, {.helper = "/none/larkmoor-alert", .build = "1"}};
    EXPECT_THAT(show(none, quit()).second,
                ::testing::StartsWith(notShown + "not started: /none/larkmoor-alert: No such file"));
}

TEST_F(HelperAlertsTests, TheHelperOfOurBuildIsRunWhateverBecameOfTheBundle) {
    HelperAlerts alerts{runner, {.helper = helperScript("cat >/dev/null; echo chosen 1"), .build = "1"}};
    static_cast<void>(helperScript("exit 3"));
    EXPECT_EQ(show(alerts, quit()).first, AlertAnswer{Chosen{1}}) << "replaced";
    std::filesystem::remove(folder / "helper");
    EXPECT_EQ(show(alerts, quit()).first, AlertAnswer{Chosen{1}}) << "removed";
}

/// The desktop's notifications, with a user who does the same with each.
struct NotificationServer {
    using React = std::function<void(NotificationServer&, std::uint32_t id)>;

    NotificationServer(MainLoop& loop, const std::string& address, std::vector<std::string> capabilities,
                       React reaction)
        : react(std::move(reaction)), bus(loop, address) {
        calls = bus.filter([=, this](const BusMessage& call) {
            const char* member = sd_bus_message_get_member(call.get());
            if (sd_bus_message_is_method_call(call.get(), name, nullptr) <= 0) return false;
            const BusMessage reply = BusMessage::methodReturn(call);
            BusWriter writer{reply};
            if (member == std::string_view{"GetCapabilities"}) {
                writer.array(
                    "s", [&] { std::ranges::for_each(capabilities, [&](const auto& each) { writer.text(each); }); });
                return bus.send(reply);
            }
            BusReader reader{call};
            if (member == std::string_view{"CloseNotification"}) withdrawn = reader.uint32();
            if (member != std::string_view{"Notify"}) return true;
            words = reader.text();
            reader.uint32();
            for (int text = 0; text < 3; ++text) words += fmt::format("|{}", reader.text());
            reader.array("s", [&] { words += fmt::format("|{}", reader.text()); });
            writer.uint32(7);
            if (late) return unsent = reply, true;
            bus.send(reply);
            react(*this, 7);
            return true;
        });
        bool isOwned = false;
        claim = bus.requestName(name, [&](const auto&) { isOwned = true; });
        EXPECT_TRUE(testing::runUntil(loop, [&] { return isOwned; }));
    }
    void signal(const char* member, std::uint32_t id, auto write) {
        const BusMessage message = bus.signal("/org/freedesktop/Notifications", name, member);
        BusWriter writer{message};
        writer.uint32(id);
        write(writer);
        bus.send(message);
    }
    void act(std::uint32_t id, const char* key) {
        signal("ActionInvoked", id, [key](BusWriter& writer) { writer.text(key); });
    }
    void close(std::uint32_t id, std::uint32_t reason) {
        signal("NotificationClosed", id, [reason](BusWriter& writer) { writer.uint32(reason); });
    }

    static constexpr const char* name = "org.freedesktop.Notifications";
    React react;
    SessionBus bus;
    BusSlot calls, claim;
    std::string words;
    std::uint32_t withdrawn = 0;
    bool late = false;  ///< `Notify` is not answered
    BusMessage unsent;
};

TEST_F(HelperAlertsTests, AQuestionWithoutAWindowGoesToTheDesktopsNotifications) {
    using Server = NotificationServer;
    struct Case {
        std::string_view name;
        std::vector<std::string> capabilities;
        std::function<void(Server&, std::uint32_t)> react;
        AlertAnswer want;
    };
    const std::vector<std::string> all{"actions", "body", "body-markup"};
    const auto chooses = [](Server& server, std::uint32_t id) {
        server.act(id + 1, "0");
        server.act(id, "default");
        server.act(id, "1");
        server.close(id, 2);
    };
    const Case table[] = {
        {"chosen", all, chooses, Chosen{1}},
        {"dismissed", all, [](Server& server, std::uint32_t id) { server.close(id, 2); }, Dismissed{}},
        {"expired", all, [](Server& server, std::uint32_t id) { server.close(id, 1); }, NotShown{}},
        {"ended", all, [](Server& server, std::uint32_t) { server.bus.releaseName(Server::name); }, NotShown{}},
        {"never answered", all, [](Server&, std::uint32_t) {}, NotShown{}},
        {"without actions", {"body"}, chooses, NotShown{}},
    };
    const testing::PrivateBus privateBus;
    SessionBus bus{loop, privateBus.address()};
    NotificationAlerts notifications{bus, 3s};
    HelperAlerts alerts{runner, {.helper = "/none", .build = "1", .fallback = &notifications}};
    EXPECT_EQ(show(alerts, quit()).first, AlertAnswer{NotShown{}}) << "nobody there";
    Alert alert = quit();
    alert.text = "a < b";
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const Server server{loop, privateBus.address(), row.capabilities, row.react};
        const auto [answer, log] = show(alerts, alert);
        EXPECT_EQ(answer, row.want) << log;
        EXPECT_EQ(log.contains("no notification asks"), answer == AlertAnswer{NotShown{}}) << log;
        if (row.capabilities == all)
            EXPECT_EQ(server.words, "Larkmoor|larkmoor|Quit Larkmoor?|a &lt; b|0|Quit|1|Cancel");
    }
}

TEST_F(HelperAlertsTests, NoQuestionOfOursStaysOnTheScreenInVain) {
    const testing::PrivateBus privateBus;
    SessionBus bus{loop, privateBus.address()};
    NotificationServer server{loop, privateBus.address(), {"actions"}, [](auto&, std::uint32_t) {}};
    const auto isWithdrawn = [&] {
        return testing::runUntil(loop, [&] { return std::exchange(server.withdrawn, 0) == 7; }, 5s);
    };
    std::optional<NotificationAlerts> notifications{std::in_place, bus, 300ms};
    HelperAlerts alerts{runner, {.helper = "/none", .build = "1", .fallback = &*notifications}};
    server.late = true;
    EXPECT_EQ(show(alerts, quit()).first, AlertAnswer{NotShown{}});
    server.bus.send(server.unsent);
    EXPECT_TRUE(isWithdrawn()) << "it came too late";

    server.late = false;
    notifications.emplace(bus);
    std::stop_source caller;
    server.react = [&](auto&, std::uint32_t) { caller.request_stop(); };
    std::vector<bool> sights;
    const AlertWatch watch{.onSight = [&](bool isIn) { sights.push_back(isIn); }, .withdrawn = caller.get_token()};
    EXPECT_THAT(show(alerts, quit(), watch).second, ::testing::Not(::testing::HasSubstr("no notification asks")));
    EXPECT_TRUE(isWithdrawn()) << "the caller took it back";
    EXPECT_EQ(sights, std::vector{false});

    bool stands = false;
    server.react = [&](auto&, std::uint32_t) { stands = true; };
    boost::asio::co_spawn(loop, alerts.show(quit(), {}), [](const std::exception_ptr&, const AlertAnswer&) {});
    ASSERT_TRUE(testing::runUntil(loop, [&] { return stands; }));
    testing::settle(loop, bus);
    notifications.reset();
    EXPECT_TRUE(isWithdrawn()) << "nobody is left to hear an answer";
}

TEST_F(HelperAlertsTests, ShowsOneAtATime) {
    // Another in its place at the same time makes it fail.
    HelperAlerts alerts{
        runner,
        {.helper = helperScript("cat >/dev/null; mkdir " + folder / "standing" + " || exit 1; sleep 0.1; rmdir " +
                                folder / "standing" + "; echo chosen 0"),
         .build = "1"}};
    std::vector<int> ended;
    for (const int number : {1, 2, 3}) {
        boost::asio::co_spawn(loop, alerts.show(quit(), {}), [&ended, number](std::exception_ptr, AlertAnswer answer) {
            EXPECT_EQ(answer, AlertAnswer{Chosen{0}});
            ended.push_back(number);
        });
    }
    ASSERT_TRUE(testing::runUntil(loop, [&] { return ended.size() == 3; }));
    EXPECT_EQ(ended, (std::vector{1, 2, 3}));
}

TEST_F(HelperAlertsTests, EndsWithTheProcessThatAsked) {
    // The alert holds the writing end for as long as it stands.
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const FileDescriptor reading{ends[0]};
    FileDescriptor held{ends[1]};
    const std::string request = "printf 'build=1\\0asker=%s\\0style=warning\\0message=m\\0button=OK\\0' $$";
    testing::ChildProcess asker{{"/bin/sh", "-c",
                                 request + " >" + folder / "request" + "; " LARKMOOR_ALERT_HELPER " <" +
                                     folder / "request" + " >&" + std::to_string(held.get()) + " & wait"},
                                {{"QT_QPA_PLATFORM", "offscreen"}},
                                held.get()};
    held.reset();
    pollfd end{.fd = reading.get(), .events = POLLIN, .revents = 0};
    std::array<char, 16> word{};
    ASSERT_EQ(::poll(&end, 1, 60'000), 1);
    EXPECT_EQ(::read(reading.get(), word.data(), word.size()), 6);
    EXPECT_STREQ(word.data(), "shown\n");
    EXPECT_EQ(::poll(&end, 1, 100), 0) << "it stands";
    asker.kill();
    EXPECT_EQ(::poll(&end, 1, 60'000), 1) << "it is gone";
}

}  // namespace
}  // namespace larkmoor
