// Applications found among real processes, and their ends.
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <thread>

#include "LarkmoorPlatform/Linux/Applications/ProcessApplications.h"
#include "LarkmoorPlatform/Linux/Applications/ProcessScan.h"
#include "Support/ChildProcess.h"
#include "Support/Linux/Settle.h"
#include "Support/PrivateBus.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using namespace std::chrono_literals;

TEST(ApplicationUnit, NamesTheApplication) {
    struct Case {
        std::string_view unit, application;
    };
    const Case table[] = {
        {"app-org.example.App-1234.scope", "org.example.App"},
        {"app-flatpak-org.mozilla.firefox-99.scope", "org.mozilla.firefox"},
        {"app-gnome-org.example.App.scope", "org.example.App"},
        {"app-firefox-7d3a1b2c.scope", "firefox"},
        {"app-gnome-user\\x2ddirs\\x2dupdate-5.scope", "user-dirs-update"},
        {"app-org.example.App@autostart.service", "org.example.App"},
        {"app-my\\x2dapp@1-2.service", "my-app"},
        {"app-odd\\x2.scope", "odd\\x2"},
        {"app-.scope", ""},
        {"app-gnome-.service", ""},
        {"vte-spawn-5f.scope", ""},
        {"larkmoor.service", ""},
    };
    for (const Case& row : table)
        EXPECT_EQ(ApplicationUnit::application(row.unit).value_or(""), row.application) << row.unit;
}

TEST(ApplicationUnit, IsTheInnermostOfTheGroups) {
    const std::string user = "0::/user.slice/user-1000.slice/user@1000.service/app.slice/";
    const std::pair<std::string, std::string_view> table[] = {
        {user + "app-org.example.App-1.scope\n", "org.example.App"},
        {user + "app-org.example.App-1.scope/workers/first\n", "org.example.App"},
        {user + "app-org.kde.konsole-1.scope/tab(2).scope\n", ""},
        {user + "dbus.service\n", ""},
        {"9:name=systemd:/user.slice/app-org.example.App-1.scope\n1:cpu:/x\n0::/\n", "org.example.App"},
        {"1:cpu:/app-org.example.App-1.scope\n0::/\n", ""},
        {"", ""},
    };
    for (const auto& [groups, application] : table) {
        const std::string_view unit = ApplicationUnit::name(ApplicationUnit::group(groups));
        EXPECT_EQ(ApplicationUnit::application(unit).value_or(""), application) << groups;
    }
    const std::pair<std::string_view, pid_t> processes[] = {
        {"app-gnome-a-1234.scope", 1234}, {"app-a-7d3a1b2c.scope", 0}, {"app-a-99999999.scope", 0},
        {"app-a@1234.service", 0},        {"app-1.scope", 0},
    };
    for (const auto& [unit, process] : processes)
        EXPECT_EQ(ApplicationUnit::process(unit).value_or(0), process) << unit;
}

struct RunningApplicationsTests : ::testing::Test {
    static inline const std::string identifier = "tools.example.sleeper";

    testing::TemporaryFolder folder;
    testing::PrivateBus privateBus;
    MainLoop loop;
    SessionBus bus{loop, privateBus.address()};
    std::optional<ProcessApplications> applications{std::in_place, loop, bus};
    const std::string program = folder / "Sleeper.app/Contents/MacOS/sleeper";

    void SetUp() override { makeBundle(folder / "Sleeper.app", identifier); }

    void makeBundle(const std::string& bundle, const std::string& name) const {
        std::filesystem::create_directories(bundle + "/Contents/MacOS");
        std::filesystem::copy_file("/bin/sleep", bundle + "/Contents/MacOS/sleeper");
        std::ofstream{bundle + "/Contents/Info.plist"}
            << "<plist version=\"1.0\"><dict><key>CFBundleIdentifier</key><string>" << name
            << "</string></dict></plist>";
    }

    /// Returns once it runs the program, and no longer us.
    testing::ChildProcess start(const std::string& executable) const {
        testing::ChildProcess child{{executable, "600"}};
        awaitExecutable(child, executable);
        return child;
    }
    static void awaitExecutable(const testing::ChildProcess& child, const std::string& executable) {
        std::error_code failed;
        while (std::filesystem::read_symlink("/proc/" + std::to_string(child.pid()) + "/exe", failed) != executable)
            std::this_thread::sleep_for(1ms);
    }

    std::optional<RunningApplication> find(pid_t process) const {
        const auto list = applications->list();
        const auto found = std::ranges::find(list, process, &RunningApplication::process);
        return found == list.end() ? std::nullopt : std::optional{*found};
    }
};

TEST_F(RunningApplicationsTests, ListsThisUsersProcesses) {
    std::filesystem::copy_file("/bin/sleep", folder / "loose");
    auto bundled = start(program);
    auto loose = start(folder / "loose");
    const auto application = [](const testing::ChildProcess& child, std::string executable,
                                std::optional<std::string> name) {
        return RunningApplication{
            .process = child.pid(), .executable = std::move(executable), .bundleIdentifier = std::move(name)};
    };
    EXPECT_EQ(find(bundled.pid()), application(bundled, program, identifier));
    EXPECT_EQ(find(loose.pid()), application(loose, folder / "loose", {}));
    // Removed by an update, it is still what it was.
    std::filesystem::remove(program);
    EXPECT_EQ(find(bundled.pid()), application(bundled, program, identifier));
    ::kill(bundled.pid(), SIGKILL);
    siginfo_t dead{};
    ::waitid(P_PID, static_cast<id_t>(bundled.pid()), &dead, WEXITED | WNOWAIT);
    EXPECT_EQ(find(bundled.pid()), std::nullopt) << "a process that is only waited for does not run";
    if (::getuid() != 0) EXPECT_EQ(find(1), std::nullopt) << "another's";
}

// As a desktop starts it: in a control group that all its children inherit, those too that lose their parent.
TEST_F(RunningApplicationsTests, AUnitNamesItsFirstProgramAlone) {
    const char* prepared = std::getenv("LARKMOOR_CGROUPS");
    if (prepared == nullptr || *prepared == '\0') GTEST_SKIP() << "no control groups of the tester's own";
    std::istringstream all{prepared};
    std::string parent;
    all >> parent;
    const std::string group = parent + "/app-test-tools.example.first-x1y.scope";
    std::filesystem::create_directory(group);
    const std::string script = "echo $$ >" + group + "/cgroup.procs; (sleep 600 & echo $! >" + folder / "child" +
                               "); : >" + folder / "done" + "; wait; while :; do sleep 600; done";
    testing::ChildProcess first{{"/bin/sh", "-c", script}};
    while (!std::filesystem::exists(folder / "done")) std::this_thread::sleep_for(1ms);
    pid_t child = 0;
    std::ifstream{folder / "child"} >> child;
    EXPECT_EQ(find(first.pid())->bundleIdentifier, "tools.example.first");
    EXPECT_EQ(find(child)->bundleIdentifier, std::nullopt);
    first.kill();
    EXPECT_EQ(find(child)->bundleIdentifier, std::nullopt) << "nor does it become the application";
    for (pid_t left = 0; std::ifstream{group + "/cgroup.procs"} >> left; ::kill(left, SIGKILL)) {
    }
    while (::rmdir(group.c_str()) != 0 && errno == EBUSY) std::this_thread::sleep_for(1ms);
}

TEST_F(RunningApplicationsTests, TerminatesTheListedProcessAndNoOther) {
    auto child = start(program);
    EXPECT_FALSE(applications->terminate(child.pid())) << "never listed";
    ASSERT_TRUE(find(child.pid()));
    EXPECT_TRUE(applications->terminate(child.pid()));
    const pid_t process = child.pid();
    EXPECT_EQ(child.wait(), 128 + SIGTERM);
    EXPECT_FALSE(applications->terminate(process)) << "gone";

    // Another program under the listed id: here by exec, elsewhere because ids are reused.
    testing::ChildProcess changing{
        {"/bin/sh", "-c", "while [ ! -e " + folder / "go" + " ]; do :; done; exec " + program + " 600"}};
    ASSERT_TRUE(find(changing.pid()));
    std::ofstream{folder / "go"} << "now";
    awaitExecutable(changing, program);
    EXPECT_FALSE(applications->terminate(changing.pid()));
    EXPECT_EQ(::kill(changing.pid(), 0), 0);
}

TEST_F(RunningApplicationsTests, TellsTheEndOnce) {
    int ended = 0;
    int others = 0;
    applications->onEnd(identifier, [&] { ++ended; });
    applications->onEnd("tools.example.other", [&] { ++others; });
    std::optional first{start(program)};
    applications->refresh();
    applications->refresh();
    std::optional second{start(program)};
    testing::runReady(loop);
    EXPECT_EQ(ended, 0);
    // Two processes are one application.
    first.reset();
    loop.restart();
    loop.run_for(50ms);
    EXPECT_EQ(ended, 0);
    second.reset();
    EXPECT_TRUE(testing::runUntil(loop, [&] { return ended > 0; }));
    applications->refresh();
    loop.restart();
    loop.run_for(50ms);
    EXPECT_EQ(ended, 1);
    // It comes and goes again, and no bus is needed for that.
    privateBus.kill();
    ASSERT_TRUE(testing::runUntil(loop, [&] { return bus.isLost(); }));
    first.emplace(start(program));
    applications->refresh();
    first.reset();
    EXPECT_TRUE(testing::runUntil(loop, [&] { return ended == 2; }));
    EXPECT_EQ(others, 0);
}

TEST_F(RunningApplicationsTests, TheHandlerMayDestroyEverything) {
    applications->onEnd(identifier, [this] { applications.reset(); });
    std::optional child{start(program)};
    applications->refresh();
    child.reset();
    EXPECT_TRUE(testing::runUntil(loop, [&] { return !applications; }));
}

/// What the service manager says, said by the test.
struct Manager {
    SessionBus bus;
    BusSlot name;
    BusSlot calls;
    bool isOwned = false;
    int subscriptions = 0;

    Manager(MainLoop& loop, const std::string& address) : bus(loop, address) {
        calls = bus.filter([this](const BusMessage& message) {
            if (sd_bus_message_is_method_call(message.get(), "org.freedesktop.systemd1.Manager", "Subscribe") <= 0)
                return false;
            ++subscriptions;
            return true;
        });
        name = bus.requestName("org.freedesktop.systemd1", [this](auto result) { isOwned = result.has_value(); });
    }

    void jobIsDone(const std::string& unit) {
        const BusMessage signal =
            bus.signal("/org/freedesktop/systemd1", "org.freedesktop.systemd1.Manager", "JobRemoved");
        BusWriter{signal}.uint32(7).path("/org/freedesktop/systemd1/job/7").text(unit).text("done");
        bus.send(signal);
    }
};

TEST_F(RunningApplicationsTests, LearnsOfNewApplicationsFromTheServiceManager) {
    int ended = 0;
    applications->onEnd(identifier, [&] { ++ended; });
    // It may come after us.
    Manager manager{loop, privateBus.address()};
    ASSERT_TRUE(testing::runUntil(loop, [&] { return manager.subscriptions > 0; }));
    std::optional child{start(program)};
    manager.jobIsDone("app-gnome-tools.example.other-1.scope");
    manager.jobIsDone("app-gnome-tools.example.sleeper-1.scope");
    testing::settle(loop, manager.bus);
    testing::settle(loop, bus);
    child.reset();
    EXPECT_TRUE(testing::runUntil(loop, [&] { return ended == 1; }));
    EXPECT_EQ(manager.subscriptions, 1);
}

}  // namespace
}  // namespace larkmoor
