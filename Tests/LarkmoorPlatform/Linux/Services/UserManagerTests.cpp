// Agents under a real user manager.
#include <fmt/format.h>

#include <fstream>

#include "LarkmoorPlatform/Files.h"
#include "LarkmoorPlatform/Linux/Services/SystemdAgentItem.h"
#include "LarkmoorPlatform/Linux/Services/SystemdLaunchAgents.h"
#include "Support/Linux/UserManagerSession.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using testing::runTask;

constexpr const char* target = "gui/999/a.b";
constexpr const char* unit = "a.b.service";

class UserManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!testing::UserManagerSession::canStart()) GTEST_SKIP() << "no control groups of the tester's own";
        session.emplace();
        connect();
    }
    void connect() {
        bus.emplace(loop, session->address());
        manager.emplace(loop, *bus);
        units.emplace(*manager, session->folders());
        agents.emplace(*manager, *units);
        ASSERT_TRUE(waitFor([&] { return print() >= 0; })) << "no manager";
    }

    template <class Condition>
    bool waitFor(Condition condition) {
        for (int tries = 0; tries < 200; ++tries) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds{50});
        }
        return false;
    }

    /// A list in a bundle whose agent writes what it was given, its own process first, and then does as it is told.
    std::string writeList(const std::string& keys =
                              "<key>KeepAlive</key><dict><key>SuccessfulExit</key><false/></dict>"
                              "<key>ThrottleInterval</key><integer>0</integer>") {
        const std::string path = *session / "A %h.app/Contents/Library/LaunchAgents/a.b.plist";
        std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
        std::ofstream{path} << fmt::format(
            R"(<plist version="1.0"><dict><key>Label</key><string>a.b</string><key>ProgramArguments</key><array>)"
            R"(<string>/bin/sh</string><string>-c</string><string>printf '%s\n' $$ "$@" "$ODD" >'{0}.new'; mv '{0}.new' '{0}'; )"
            R"(trap 'exit 0' USR1; while :; do sleep 0.1; done</string><string>sh</string>{1}</array>)"
            R"(<key>EnvironmentVariables</key><dict><key>ODD</key><string>{2}</string></dict>{3}</dict></plist>)",
            told(), "<string>$HOME %h 'a \"b\\</string><string></string><string>;</string>", "%n \"$PATH\" \\t", keys);
        return path;
    }
    std::string told() const { return *session / "told"; }
    std::vector<std::string> words() const {
        std::vector<std::string> lines;
        std::ifstream file{told()};
        for (std::string line; std::getline(file, line);) lines.push_back(line);
        return lines;
    }
    /// The process that the agent's last start told of.
    pid_t process() {
        EXPECT_TRUE(waitFor([&] { return !words().empty(); })) << "the agent never ran";
        return words().empty() ? -1 : std::stoi(words().front());
    }
    bool runs(pid_t pid) const { return ::kill(pid, 0) == 0; }

    int print() { return runTask(loop, agents->print(target))->value_or(-1); }
    int kickstart(bool kill = false) { return runTask(loop, agents->kickstart(target, kill))->value_or(-1); }
    int bootstrap(const std::string& list) { return runTask(loop, agents->bootstrap("gui/999", list))->value_or(-1); }
    int bootout() { return runTask(loop, agents->bootout(target))->value_or(-1); }
    LoginItemStatus status(SystemdAgentItem& item) { return *runTask(loop, item.status()); }
    bool systemctl(std::vector<std::string> words) {
        words.insert(words.begin(), {"systemctl", "--user", "--quiet"});
        return session->run(std::move(words));
    }

    MainLoop loop;
    std::optional<testing::UserManagerSession> session;
    std::optional<SessionBus> bus;
    std::optional<UserManager> manager;
    std::optional<AgentUnits> units;
    std::optional<SystemdLaunchAgents> agents;
};

TEST_F(UserManagerTest, AnItemIsRegisteredAndGoneWithoutATrace) {
    const std::string list = writeList();
    SystemdAgentItem item{*units, list};
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered);
    const auto registered = *runTask(loop, item.registerItem());
    ASSERT_TRUE(registered.has_value()) << registered.error();
    EXPECT_EQ(status(item), LoginItemStatus::enabled);
    EXPECT_EQ(print(), 0);
    const pid_t first = process();
    EXPECT_EQ(words(),
              (std::vector<std::string>{std::to_string(first), "$HOME %h 'a \"b\\", "", ";", "%n \"$PATH\" \\t"}));
    EXPECT_TRUE(systemctl({"is-enabled", unit}));

    EXPECT_TRUE(runTask(loop, item.unregisterItem())->has_value());
    EXPECT_FALSE(runs(first));
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered);
    EXPECT_EQ(print(), LaunchAgents::couldNotFind);
    for (const std::string& folder : {session->folders().config, session->folders().data})
        for (const auto& entry : std::filesystem::recursive_directory_iterator{folder})
            EXPECT_TRUE(entry.is_directory() && !entry.is_symlink()) << entry.path();
    EXPECT_TRUE(runTask(loop, item.unregisterItem())->has_value()) << "what is gone is gone";
}

TEST_F(UserManagerTest, AnAgentIsThereAtTheNextLoginUnlessItWasNotToStart) {
    SystemdAgentItem item{*units, writeList()};
    ASSERT_TRUE(runTask(loop, item.registerItem())->has_value());
    const pid_t first = process();
    EXPECT_EQ(bootout(), 0) << "which lasts until the next login";
    session->end();
    ASSERT_FALSE(runs(first));
    session->begin();
    connect();
    ASSERT_TRUE(waitFor([&] { return process() != first; }));
    EXPECT_EQ(print(), 0);

    ASSERT_TRUE(runTask(loop, item.unregisterItem())->has_value());
    std::filesystem::remove(told());
    ASSERT_EQ(bootstrap(writeList("")), 0);
    session->end();
    session->begin();
    connect();
    EXPECT_EQ(print(), 0) << "loaded";
    std::this_thread::sleep_for(std::chrono::milliseconds{300});
    EXPECT_TRUE(words().empty()) << "and started by nobody";
    EXPECT_EQ(kickstart(), 0);
    EXPECT_GT(process(), 0);
}

TEST_F(UserManagerTest, AKilledAgentIsBackAndOneThatEndsWellStaysDown) {
    ASSERT_EQ(bootstrap(writeList()), 0);
    const pid_t first = process();
    ::kill(first, SIGKILL);
    ASSERT_TRUE(waitFor([&] { return process() != first; }));
    const pid_t second = process();
    EXPECT_EQ(kickstart(), 0);
    EXPECT_EQ(process(), second) << "one that runs is left alone";
    ::kill(second, SIGUSR1);
    ASSERT_TRUE(waitFor([&] { return !runs(second); }));
    std::this_thread::sleep_for(std::chrono::milliseconds{500});
    EXPECT_EQ(process(), second) << "nobody started another";
    EXPECT_EQ(print(), 0) << "down, and still loaded";
    EXPECT_EQ(kickstart(), 0);
    ASSERT_TRUE(waitFor([&] { return process() != second; }));
    const pid_t third = process();
    EXPECT_EQ(kickstart(true), 0);
    ASSERT_TRUE(waitFor([&] { return process() != third; })) << "ended and started anew";
    EXPECT_FALSE(runs(third));
}

TEST_F(UserManagerTest, WhatWasBootedOutComesBackByBootstrapAlone) {
    const std::string list = writeList();
    EXPECT_EQ(kickstart(), LaunchAgents::couldNotFind);
    ASSERT_EQ(bootstrap(list), 0);
    const pid_t first = process();
    EXPECT_EQ(bootout(), 0);
    EXPECT_FALSE(runs(first));
    EXPECT_EQ(print(), LaunchAgents::couldNotFind);
    EXPECT_EQ(kickstart(), LaunchAgents::isDisabled);
    SystemdAgentItem item{*units, list};
    EXPECT_EQ(status(item), LoginItemStatus::enabled) << "booting out is not the person's no";
    EXPECT_EQ(bootstrap(list), 0);
    EXPECT_EQ(print(), 0);
    ASSERT_TRUE(waitFor([&] { return process() != first; }));
}

TEST_F(UserManagerTest, ThePersonsNoIsNeverOverruled) {
    const std::string list = writeList();
    SystemdAgentItem item{*units, list};
    for (const char* verb : {"mask", "disable"}) {
        SCOPED_TRACE(verb);
        std::filesystem::remove(told());
        ASSERT_TRUE(runTask(loop, item.registerItem())->has_value());
        const pid_t first = process();
        ASSERT_TRUE(systemctl({"stop", unit}) && systemctl({verb, unit}));
        EXPECT_EQ(status(item), LoginItemStatus::requiresApproval);
        EXPECT_FALSE(runTask(loop, item.registerItem())->has_value());
        EXPECT_EQ(bootstrap(list), LaunchAgents::isDisabled);
        EXPECT_EQ(kickstart(), LaunchAgents::isDisabled);
        EXPECT_EQ(process(), first) << "nobody started another";
        ASSERT_TRUE(systemctl({std::string_view{verb} == "mask" ? "unmask" : "enable", unit}));
        EXPECT_EQ(status(item), LoginItemStatus::enabled);
    }
}

TEST_F(UserManagerTest, WhatWasLeftInBetweenIsCompleted) {
    const std::string list = writeList();
    SystemdAgentItem item{*units, list};
    const auto translated = AgentUnit::translate(*Files::read(list), list);
    const AgentUnitFiles files{session->folders()};
    ASSERT_TRUE(files.write(*translated).has_value());
    ASSERT_EQ(::unlink(files.unit(unit).c_str()), 0);
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered) << "a link alone is no word of the person's";
    ASSERT_TRUE(files.write(*translated).has_value());
    EXPECT_EQ(status(item), LoginItemStatus::enabled);
    EXPECT_TRUE(runTask(loop, item.registerItem())->has_value());
    EXPECT_GT(process(), 0);
}

TEST_F(UserManagerTest, AListThatCannotBeLoadedChangesNothing) {
    const std::string list = writeList("<key>StartInterval</key><integer>5</integer>");
    EXPECT_EQ(bootstrap(list), LaunchAgents::inputOutputError);
    EXPECT_EQ(bootstrap(list + ".not"), LaunchAgents::inputOutputError);
    EXPECT_FALSE(std::filesystem::exists(session->folders().data + "/systemd/user"));
    // A program that is not there fails when it starts, which is not when it is registered.
    const std::string missing = *session / "A %h.app/Contents/Library/LaunchAgents/a.b.plist";
    std::ofstream{missing} << R"(<plist version="1.0"><dict><key>Label</key><string>a.b</string><key>Program</key>)"
                              R"(<string>/not/there</string><key>RunAtLoad</key><true/></dict></plist>)";
    static_cast<void>(bootstrap(missing));
    EXPECT_EQ(print(), 0);
}

TEST(WithoutAManager, NothingIsWrittenAndNothingIsAnswered) {
    MainLoop loop;
    const testing::PrivateBus privateBus;
    const testing::TemporaryFolder home;
    SessionBus bus{loop, privateBus.address()};
    UserManager manager{loop, bus};
    AgentUnits units{manager, {.config = home / "config", .data = home / "data"}};
    SystemdLaunchAgents agents{manager, units};
    EXPECT_FALSE(runTask(loop, agents.print(target))->has_value());
    EXPECT_FALSE(runTask(loop, agents.kickstart(target, false))->has_value());
    const std::string list = home / "a.b.plist";
    std::ofstream{list} << R"(<plist version="1.0"><dict><key>Label</key><string>a.b</string><key>Program</key>)"
                           R"(<string>/bin/true</string></dict></plist>)";
    EXPECT_FALSE(runTask(loop, agents.bootstrap("gui/999", list))->has_value());
    SystemdAgentItem item{units, list};
    EXPECT_EQ(runTask(loop, item.status()), LoginItemStatus::notFound);
    EXPECT_FALSE(runTask(loop, item.registerItem())->has_value());
    EXPECT_FALSE(std::filesystem::exists(home / "data")) << "it would start at some later login";
}

}  // namespace
}  // namespace larkmoor
