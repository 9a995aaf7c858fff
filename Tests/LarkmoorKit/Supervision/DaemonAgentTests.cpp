// What launch and the person's gestures do about the daemon's agent: the whole run of calls and lines for each state.
#include "LarkmoorKit/Supervision/DaemonAgent.h"

#include <filesystem>
#include <fstream>

#include "LarkmoorKit/Supervision/AgentDefinition.h"
#include "LarkmoorKit/Supervision/AgentRegistration.h"
#include "Support/FakeDefaults.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Words = std::vector<std::string>;
using enum LoginItemStatus;

constexpr const char* approval =
    "[larkmoor-menu] daemon agent needs approval in System Settings > Login Items (user disabled it)";
constexpr const char* registered = "[larkmoor-menu] registered daemon agent with SMAppService";

TEST(Supervision, EachStatusHasItsAction) {
    using enum LoginItemAction;
    EXPECT_EQ(LoginItems::action(notRegistered), registerItem);
    EXPECT_EQ(LoginItems::action(enabled), leaveEnabled);
    EXPECT_EQ(LoginItems::action(requiresApproval), needsApproval);
    EXPECT_EQ(LoginItems::action(notFound), registerItem);

    using AgentRegistration::Action;
    EXPECT_EQ(AgentRegistration::action(false, false), Action::doNothing);
    EXPECT_EQ(AgentRegistration::action(false, true), Action::doNothing);
    EXPECT_EQ(AgentRegistration::action(true, false), Action::bootstrap);
    EXPECT_EQ(AgentRegistration::action(true, true), Action::kickstart);
}

TEST(Supervision, ADefinitionIsRegisteredOnceForEachOfItsVersions) {
    using Do = AgentDefinitionAction;
    struct Case {
        LoginItemStatus status;
        std::optional<std::string> stored;
        bool jobLoaded;
        Do want;
    };
    const Case cases[] = {
        {notRegistered, "new", true, Do::registerItem},
        {notFound, "new", true, Do::registerItem},
        {notRegistered, {}, false, Do::registerItem},
        {requiresApproval, {}, false, Do::needsApproval},
        {requiresApproval, "new", true, Do::needsApproval},
        {enabled, {}, true, Do::reregister},
        {enabled, "new", false, Do::reregister},
        {enabled, "new", true, Do::leaveEnabled},
        {enabled, "old", true, Do::reregister},
        {enabled, "old", false, Do::reregister},
    };
    for (const Case& test : cases)
        EXPECT_EQ(AgentDefinition::action(test.status, test.stored, "new", test.jobLoaded), test.want)
            << static_cast<int>(test.status) << test.stored.value_or("-") << test.jobLoaded;
}

TEST(Supervision, NamesAreTheFamilys) {
    EXPECT_EQ(LoginItems::daemonAgentPlistName, "tools.fenwright.larkmoor.gateway.plist");
    EXPECT_EQ(LoginItems::looseAgentPlistPath("/h"), "/h/Library/LaunchAgents/tools.fenwright.larkmoor.gateway.plist");
    EXPECT_EQ(LoginItems::inBundlePlistPath("/L.app"),
              "/L.app/Contents/Library/LaunchAgents/tools.fenwright.larkmoor.gateway.plist");
    EXPECT_EQ(LoginItems::guiServiceTarget(501), "gui/501/tools.fenwright.larkmoor.gateway");
    EXPECT_EQ(QuitSentinel::defaultPath("/s"), "/s/Larkmoor/quit-requested");
}

class FakeItem final : public LoginItemService {
  public:
    explicit FakeItem(Words& calls) : calls_(calls) {}
    LoginItemStatus is = notRegistered;
    bool registers = true, unregisters = true;

    Task<LoginItemStatus> status() override { co_return is; }
    Task<std::expected<void, std::string>> registerItem() override {
        calls_.emplace_back("register");
        co_return answer(registers);
    }
    Task<std::expected<void, std::string>> unregisterItem() override {
        calls_.emplace_back("unregister");
        co_return answer(unregisters);
    }

  private:
    static std::expected<void, std::string> answer(bool works) {
        if (works) return {};
        return std::unexpected("no way");
    }
    Words& calls_;
};

class FakeLaunchctl final : public LaunchAgents {
  public:
    explicit FakeLaunchctl(Words& calls) : calls_(calls) {}
    ExitStatus loaded = 0, starts = 0, loads = 0;

    Task<ExitStatus> print(std::string target) override { return note("print " + target, loaded); }
    Task<ExitStatus> bootstrap(std::string domain, std::string list) override {
        return note(fmt::format("bootstrap {} {}", domain, list), loads);
    }
    Task<ExitStatus> kickstart(std::string target, bool kill) override {
        return note(fmt::format("kickstart {}{}", kill ? "-k " : "", target), starts);
    }
    Task<ExitStatus> bootout(std::string target) override { return note("bootout " + target, 0); }

  private:
    Task<ExitStatus> note(std::string call, ExitStatus answer) {
        calls_.push_back(std::move(call));
        co_return answer;
    }
    Words& calls_;
};

class DaemonAgentTest : public ::testing::Test {
  protected:
    Task<std::optional<std::string>> digested(Bytes list) const {
        if (!canDigest) co_return std::nullopt;
        co_return "digest of " + std::string{asText(list)};
    }
    static Task<bool> whole(Task<void> task) {
        co_await std::move(task);
        co_return true;
    }
    void run(Task<void> task) { ASSERT_TRUE(testing::runTask(loop, whole(std::move(task)))); }
    void write(const std::string& path, std::string_view text = "the list") { std::ofstream{path} << text; }

    MainLoop loop;
    bool canDigest = true;
    testing::TemporaryFolder folder;
    std::string inBundle = folder / "in-bundle.plist", loose = folder / "loose.plist";
    QuitSentinel sentinel{folder / "quit-requested"};
    Words calls, log;
    FakeItem item{calls};
    FakeLaunchctl launchctl{calls};
    testing::FakeDefaults defaults;
    DaemonAgent agent{{.service = item,
                       .launchctl = launchctl,
                       .defaults = defaults,
                       .sha256 = [this](Bytes list) { return digested(list); },
                       .inBundlePlist = inBundle,
                       .loosePlist = loose,
                       .user = 501,
                       .log = [this](std::string_view line) { log.emplace_back(line); }}};
    const std::string job = "gui/501/tools.fenwright.larkmoor.gateway";
    const std::string digest = "digest of the list";
};

TEST_F(DaemonAgentTest, TheBundlesAgentIsKeptAsTheListInTheBundleSays) {
    struct Case {
        std::string_view name;
        LoginItemStatus status;
        std::optional<std::string> stored;
        LaunchAgents::ExitStatus loaded;
        bool registers, unregisters;
        Words calls, log;
        std::optional<std::string> storedAfter;
    };
    const std::string print = "print " + job;
    const std::string changed = "[larkmoor-menu] daemon agent definition changed — unregistered the stale registration";
    const std::string missing =
        "[larkmoor-menu] daemon agent job missing from the gui domain — unregistered the stale registration";
    const Case cases[] = {
        {"first launch", notRegistered, {}, 113, true, true, {print, "register"}, {registered}, digest},
        {"second launch", enabled, digest, 0, true, true, {print}, {}, digest},
        {"from before digests",
         enabled,
         {},
         0,
         true,
         true,
         {print, "unregister", "register"},
         {changed, registered},
         digest},
        {"changed list",
         enabled,
         "old",
         0,
         true,
         true,
         {print, "unregister", "register"},
         {changed, registered},
         digest},
        {"job gone",
         enabled,
         digest,
         113,
         true,
         true,
         {print, "unregister", "register"},
         {missing, registered},
         digest},
        {"the person said no", requiresApproval, "old", 113, true, true, {print}, {approval}, "old"},
        {"not unregistered",
         enabled,
         "old",
         0,
         true,
         false,
         {print, "unregister"},
         {"[larkmoor-menu] daemon agent unregister() failed, NOT re-registering: no way"},
         "old"},
        {"not registered",
         notFound,
         "old",
         113,
         false,
         true,
         {print, "register"},
         {"[larkmoor-menu] daemon agent register() failed: no way"},
         "old"},
        {"not registered again",
         enabled,
         "old",
         0,
         false,
         true,
         {print, "unregister", "register"},
         {changed, "[larkmoor-menu] daemon agent register() failed: no way"},
         "old"},
        {"no manager",
         notFound,
         {},
         std::unexpected("nobody there"),
         false,
         true,
         {print, "register"},
         {"[larkmoor-menu] launchctl print could not run: nobody there",
          "[larkmoor-menu] daemon agent register() failed: no way"},
         {}},
    };
    write(inBundle);
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        calls.clear();
        log.clear();
        item.is = test.status;
        item.registers = test.registers;
        item.unregisters = test.unregisters;
        launchctl.loaded = test.loaded;
        defaults.values.clear();
        if (test.stored) defaults.set(DaemonAgent::digestKey, *test.stored).value();
        run(agent.registerInBundleAgent());
        EXPECT_EQ(calls, test.calls);
        EXPECT_EQ(log, test.log);
        EXPECT_EQ(defaults.string("daemonAgentPlistDigest"), test.storedAfter);
    }
}

TEST_F(DaemonAgentTest, AListThatCannotBeReadLeavesNoDigest) {
    struct Case {
        LoginItemStatus status;
        Words calls, log;
    };
    for (const Case& test :
         {Case{enabled, {}, {}}, Case{requiresApproval, {}, {approval}},
          Case{notRegistered, {"register"}, {registered}}, Case{notFound, {"register"}, {registered}}}) {
        for (const bool isThere : {false, true}) {
            if (isThere) write(inBundle);
            canDigest = !isThere;
            calls.clear();
            log.clear();
            item.is = test.status;
            run(agent.registerInBundleAgent());
            EXPECT_EQ(calls, test.calls);
            EXPECT_EQ(log, test.log);
            EXPECT_TRUE(defaults.values.empty());
            std::filesystem::remove(inBundle);
        }
    }
}

TEST_F(DaemonAgentTest, TheApplicationsOwnItemIsRegisteredUnlessThePersonSaidNo) {
    struct Case {
        LoginItemStatus status;
        bool registers;
        Words calls, log;
    };
    const Case cases[] = {
        {enabled, true, {}, {}},
        {requiresApproval,
         true,
         {},
         {"[larkmoor-menu] login item needs approval in System Settings > Login Items (user disabled it)"}},
        {notRegistered, true, {"register"}, {"[larkmoor-menu] registered login item with SMAppService"}},
        {notFound, false, {"register"}, {"[larkmoor-menu] login item register() failed: no way"}},
    };
    for (const Case& test : cases) {
        calls.clear();
        log.clear();
        item.is = test.status;
        item.registers = test.registers;
        run(LoginItems::registerItem("login item", item, [this](std::string_view line) { log.emplace_back(line); }));
        EXPECT_EQ(calls, test.calls);
        EXPECT_EQ(log, test.log);
    }
}

TEST_F(DaemonAgentTest, ALooseAgentIsHealed) {
    run(agent.healLooseAgent());
    EXPECT_EQ(calls, Words{}) << "a normal install has none";
    struct Case {
        LaunchAgents::ExitStatus loaded, starts, loads;
        Words calls, log;
    };
    const std::string lost =
        "[larkmoor-menu] daemon agent plist is on disk but its job is NOT in gui/501 — re-bootstrapping (m:505)";
    const std::string print = "print " + job, kickstart = "kickstart " + job, bootstrap = "bootstrap gui/501 " + loose;
    const Case cases[] = {
        {0, 0, 0, {print, kickstart}, {}},
        {0, 3, 0, {print, kickstart}, {"[larkmoor-menu] daemon agent kickstart failed (launchctl exit 3)"}},
        {113,
         0,
         0,
         {print, bootstrap},
         {lost, "[larkmoor-menu] daemon agent re-bootstrapped; recording is supervised again"}},
        {113,
         0,
         5,
         {print, bootstrap},
         {lost, "[larkmoor-menu] daemon agent re-bootstrap FAILED (launchctl exit 5); run Scripts/install-agent.sh"}},
        {113,
         0,
         std::unexpected("nobody there"),
         {print, bootstrap},
         {lost, "[larkmoor-menu] launchctl bootstrap could not run: nobody there",
          "[larkmoor-menu] daemon agent re-bootstrap FAILED (launchctl exit -1); run Scripts/install-agent.sh"}},
    };
    write(loose);
    for (const Case& test : cases) {
        calls.clear();
        log.clear();
        launchctl.loaded = test.loaded;
        launchctl.starts = test.starts;
        launchctl.loads = test.loads;
        run(agent.healLooseAgent());
        EXPECT_EQ(calls, test.calls);
        EXPECT_EQ(log, test.log);
    }
}

TEST_F(DaemonAgentTest, AQuitIsReleasedByAGestureOnly) {
    run(agent.releaseQuitIfHeld(sentinel));
    EXPECT_EQ(calls, Words{}) << "nothing is held";
    const std::string released = "[larkmoor-menu] quit released by a user gesture — kickstarting the daemon (m:505)";
    sentinel.set();
    EXPECT_TRUE(sentinel.isSet());
    run(agent.releaseQuitIfHeld(sentinel));
    EXPECT_FALSE(sentinel.isSet());
    EXPECT_EQ(calls, Words{"kickstart " + job});
    EXPECT_EQ(log, Words{released});

    calls.clear();
    log.clear();
    sentinel.set();
    write(loose);
    launchctl.starts = 113;
    launchctl.loaded = 113;
    run(agent.releaseQuitIfHeld(sentinel));
    EXPECT_FALSE(sentinel.isSet());
    EXPECT_EQ(calls, (Words{"kickstart " + job, "print " + job, "bootstrap gui/501 " + loose}));
    EXPECT_EQ(log.at(1), "[larkmoor-menu] kickstart after quit-release failed (exit 113); running the full heal");
    sentinel.clear();
}

}  // namespace
}  // namespace larkmoor
