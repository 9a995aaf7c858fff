// Agents under a real user manager.
#include <csignal>
#include <fstream>
#include <thread>

#include "LarkmoorBase/Files.h"
#include "LarkmoorPlatform/Linux/Services/SystemdAgents.h"
#include "Support/Linux/UserSession.h"
#include "Support/PrivateBus.h"
#include "Support/RunUntil.h"

namespace larkmoor::testing {
namespace {

using Words = std::vector<std::string>;

constexpr const char* target = "gui/999/a.b";
constexpr const char* unit = "a.b.service";

/// Login sessions in one home, with what speaks to their manager.
class UserManagerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!UserSession::isPossible()) GTEST_SKIP() << "no control groups of the tester's own";
        login();
    }
    void TearDown() override { logout(); }

    void logout() {
        if (!session) return;
        session.reset();
        // The system takes away what lies there, which its owner has not the right to.
        std::filesystem::rename(home / "run", (home / "run.") + std::to_string(++logouts));
    }
    /// Begins a manager that knows nothing but what lies in the home.
    void login() {
        session.emplace(home);
        connect();
        ASSERT_TRUE(waitFor([&] {
            // A connection that was made before anybody listened is lost for good.
            if (bus->isLost()) connect();
            return print() >= 0;
        })) << "no manager";
    }
    void connect() {
        bus.emplace(loop, session->address());
        manager.emplace(loop, *bus);
        units.emplace(*manager, folders);
        agents.emplace(*manager, *units);
    }

    /// A command of the person's; whether it succeeds.
    bool systemctl(std::string_view words) const {
        return session->shell(fmt::format("systemctl --user --quiet {}", words));
    }
    /// Down, and nobody is about to start it again.
    bool isAtRest() const {
        return session->shell(
            fmt::format("[ $(systemctl --user show --property=ActiveState --value {}) = inactive ]", unit));
    }

    template <class Condition>
    static bool waitFor(Condition condition) {
        for (int tries = 0; tries < 600; ++tries) {
            if (condition()) return true;
            std::this_thread::sleep_for(std::chrono::milliseconds{50});
        }
        return false;
    }

    /// A list in a bundle whose agent writes what it was given, its own process first, and then does as it is told.
    std::string writeList(const std::string& keys =
                              "<key>KeepAlive</key><dict><key>SuccessfulExit</key><false/></dict>"
                              "<key>ThrottleInterval</key><integer>0</integer>") {
        const std::string path = home / "A %h.app/Contents/Library/LaunchAgents/a.b.plist";
        std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
        std::ofstream{path} << fmt::format(
            R"(<plist version="1.0"><dict><key>Label</key><string>a.b</string><key>ProgramArguments</key><array>)"
            R"(<string>/bin/sh</string><string>-c</string><string>printf '%s\n' $$ "$@" "$ODD" >'{0}.new'; mv '{0}.new' '{0}'; )"
            R"(trap 'exit 0' USR1; while :; do sleep 0.1; done</string><string>sh</string>{1}</array>)"
            R"(<key>EnvironmentVariables</key><dict><key>ODD</key><string>{2}</string></dict>{3}</dict></plist>)",
            told, "<string>$HOME %h 'a \"b\\</string><string></string><string>;</string>", "%n \"$PATH\" \\t", keys);
        return path;
    }
    Words words() const {
        Words lines;
        std::ifstream file{told};
        for (std::string line; std::getline(file, line);) lines.push_back(line);
        return lines;
    }
    /// The process that the agent's last start told of; another one than `before`.
    pid_t process(pid_t before = 0) {
        pid_t found = -1;
        EXPECT_TRUE(waitFor([&] {
            const Words lines = words();
            found = lines.empty() ? -1 : std::stoi(lines.front());
            return found > 0 && found != before;
        })) << "the agent never ran";
        return found;
    }
    static bool runs(pid_t pid) { return ::kill(pid, 0) == 0; }

    int print() { return runTask(loop, agents->print(target))->value_or(-1); }
    int kickstart(bool kill = false) { return runTask(loop, agents->kickstart(target, kill))->value_or(-1); }
    int bootstrap(const std::string& list) { return runTask(loop, agents->bootstrap("gui/999", list))->value_or(-1); }
    int bootout(bool usersToo = false) { return runTask(loop, agents->bootout(target, usersToo))->value_or(-1); }
    LoginItemStatus status(SystemdAgentItem& item) { return *runTask(loop, item.status()); }
    bool registers(SystemdAgentItem& item) { return runTask(loop, item.registerItem())->has_value(); }
    bool unregisters(SystemdAgentItem& item) { return runTask(loop, item.unregisterItem())->has_value(); }

    MainLoop loop;
    TemporaryFolder home;
    const UserFolders folders{.config = home / "config", .data = home / "data"};
    const std::string told = home / "told";
    int logouts = 0;
    std::optional<UserSession> session;
    std::optional<SessionBus> bus;
    std::optional<UserManager> manager;
    std::optional<AgentUnits> units;
    std::optional<SystemdLaunchAgents> agents;
};

TEST_F(UserManagerTest, AnItemIsRegisteredAndGoneWithoutATrace) {
    const std::string list = writeList();
    SystemdAgentItem item{*units, list};
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered);
    // Ended halfway, and completed by the next one.
    const AgentUnitFiles files{folders};
    ASSERT_TRUE(files.write(*AgentUnit::translate(*Files::read(list), list)).has_value());
    ASSERT_EQ(::unlink(files.unit(unit).c_str()), 0);
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered) << "a link alone is no word of the person's";
    ASSERT_TRUE(registers(item));
    EXPECT_EQ(status(item), LoginItemStatus::enabled);
    EXPECT_EQ(print(), 0);
    const pid_t first = process();
    EXPECT_EQ(words(), (Words{std::to_string(first), "$HOME %h 'a \"b\\", "", ";", "%n \"$PATH\" \\t"}));

    // Of a process that was killed amid a write.
    std::ofstream{fmt::format("{}/systemd/user/.{}.aB3xY9", folders.data, unit)} << "[Unit]";
    EXPECT_TRUE(unregisters(item));
    EXPECT_FALSE(runs(first));
    EXPECT_EQ(status(item), LoginItemStatus::notRegistered);
    EXPECT_EQ(print(), LaunchAgents::couldNotFind);
    for (const std::string& folder : {folders.config, folders.data})
        for (const auto& entry : std::filesystem::recursive_directory_iterator{folder})
            EXPECT_TRUE(entry.is_directory() && !entry.is_symlink()) << entry.path();
    EXPECT_TRUE(unregisters(item)) << "what is gone is gone";
}

TEST_F(UserManagerTest, AnAgentIsThereAtTheNextLoginUnlessItWasNotToStart) {
    SystemdAgentItem item{*units, writeList()};
    ASSERT_TRUE(registers(item));
    const pid_t first = process();
    EXPECT_EQ(bootout(), 0) << "which lasts until the next login";
    logout();
    login();
    EXPECT_GT(process(first), 0);
    EXPECT_EQ(print(), 0);

    ASSERT_EQ(bootstrap(writeList("")), 0);
    logout();
    std::filesystem::remove(told);
    login();
    EXPECT_EQ(print(), 0) << "loaded";
    EXPECT_TRUE(isAtRest() && words().empty()) << "and started by nobody";
    EXPECT_EQ(kickstart(), 0);
    EXPECT_GT(process(), 0);
}

TEST_F(UserManagerTest, AKilledAgentIsBackAndOneThatEndsWellStaysDown) {
    ASSERT_EQ(bootstrap(writeList()), 0);
    pid_t last = process();
    for (const int signal : {SIGKILL, SIGTERM}) {
        ::kill(last, signal);
        last = process(last);
    }
    EXPECT_EQ(kickstart(), 0);
    EXPECT_EQ(process(), last) << "one that runs is left alone";
    ::kill(last, SIGUSR1);
    EXPECT_TRUE(waitFor([&] { return isAtRest(); }));
    EXPECT_EQ(process(), last) << "nobody started another";
    EXPECT_EQ(print(), 0) << "down, and still loaded";
    EXPECT_EQ(kickstart(), 0);
    last = process(last);
    EXPECT_EQ(kickstart(true), 0);
    process(last);
    EXPECT_FALSE(runs(last)) << "ended and started anew";
}

TEST_F(UserManagerTest, WhatWasBootedOutComesBackByBootstrapAlone) {
    const std::string list = writeList();
    ASSERT_EQ(bootstrap(list), 0);
    const pid_t first = process();
    EXPECT_EQ(bootout(), 0);
    EXPECT_FALSE(runs(first));
    EXPECT_EQ(print(), LaunchAgents::couldNotFind);
    EXPECT_EQ(kickstart(), LaunchAgents::couldNotFind);
    SystemdAgentItem item{*units, list};
    EXPECT_EQ(status(item), LoginItemStatus::enabled) << "booting out is not the person's no";
    EXPECT_EQ(bootstrap(list), 0);
    EXPECT_EQ(print(), 0);
    EXPECT_GT(process(first), 0);
}

TEST_F(UserManagerTest, AUnitOfTheUsersInPlaceOfOursIsLeftAlone) {
    const std::string list = writeList(), own = AgentUnitFiles{folders}.usersUnit(unit);
    std::filesystem::create_directories(folders.config + "/systemd/user");
    for (const char* head : {"", "[Unit]\nSourcePath=/home/a/Library/LaunchAgents/a.b.plist\n"}) {
        std::ofstream{own} << head << "[Service]\nExecStart=/bin/sleep 1000\n[Install]\nWantedBy=default.target\n";
        ASSERT_TRUE(systemctl("daemon-reload") && systemctl(fmt::format("enable --now {}", unit)));
        const auto pid = runTask(loop, agents->pid(target)).value();
        EXPECT_EQ(bootout(), LaunchAgents::isDisabled);
        EXPECT_EQ(bootstrap(list), LaunchAgents::isDisabled);
        EXPECT_TRUE(runTask(loop, units->discard(unit))->has_value());
        EXPECT_TRUE(pid && runTask(loop, agents->pid(target)).value() == pid);
        EXPECT_EQ(bootout(true), 0) << "which a migration of the store needs";
        EXPECT_EQ(runTask(loop, agents->pid(target)).value(), std::nullopt);
        EXPECT_EQ(kickstart(), 0) << "and behind it";
        EXPECT_TRUE(std::filesystem::is_symlink(AgentUnitFiles{folders}.link(unit)));
    }
}

TEST_F(UserManagerTest, WhatTheUserDisabledStaysDownUntilTheUserEnablesIt) {
    const std::string list = writeList();
    SystemdAgentItem item{*units, list};
    for (const auto& [no, yes] : {std::pair{"mask", "unmask"}, std::pair{"disable", "enable"}}) {
        SCOPED_TRACE(no);
        ASSERT_TRUE(registers(item));
        const pid_t first = process();
        ASSERT_TRUE(systemctl(fmt::format("{} --now {}", no, unit)));
        EXPECT_EQ(status(item), LoginItemStatus::requiresApproval);
        EXPECT_FALSE(registers(item));
        EXPECT_EQ(bootout(), LaunchAgents::isDisabled) << "and does not hide the user's no";
        EXPECT_EQ(bootstrap(list), LaunchAgents::isDisabled);
        EXPECT_EQ(kickstart(), LaunchAgents::isDisabled);
        EXPECT_TRUE(isAtRest());
        EXPECT_EQ(process(), first) << "nobody started another";
        ASSERT_TRUE(systemctl(fmt::format("{} {}", yes, unit)));
        EXPECT_EQ(status(item), LoginItemStatus::enabled);
        EXPECT_EQ(kickstart(), 0);
        EXPECT_GT(process(first), 0);
    }
}

TEST_F(UserManagerTest, AJobThatEndsOtherwiseThanDoneIsAnError) {
    const std::string folder = folders.data + "/systemd/user/";
    std::filesystem::create_directories(folder);
    std::ofstream{folder + "late.service"}
        << "[Unit]\nJobRunningTimeoutSec=200ms\n[Service]\nType=oneshot\nExecStart=/bin/sleep 60\n";
    std::ofstream{folder + "needy.service"}
        << "[Unit]\nRequires=bad.service\nAfter=bad.service\n[Service]\nExecStart=/bin/true\n";
    std::ofstream{folder + "bad.service"} << "[Service]\nType=oneshot\nExecStart=/bin/false\n";
    ASSERT_TRUE(runTask(loop, manager->reload())->has_value());
    const std::pair<const char*, const char*> table[] = {
        {"late.service", "timeout"}, {"needy.service", "dependency"}, {"bad.service", "failed"}};
    for (const auto& [name, result] : table) {
        const auto started = *runTask(loop, manager->start(name));
        ASSERT_FALSE(started) << name;
        EXPECT_EQ(started.error().message, fmt::format("StartUnit of {} ended as {}", name, result));
    }
}

TEST(WithoutAManager, NothingIsWrittenAndEverythingIsAnError) {
    MainLoop loop;
    const PrivateBus privateBus;
    const TemporaryFolder home;
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
}  // namespace larkmoor::testing
