// What launch and the person's gestures do about the daemon's agent: the whole story of calls and lines for each state.
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorKit/Supervision/DaemonAgent.h"

#include <filesystem>
#include <fstream>

#include "Support/FakeDefaults.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Words = std::vector<std::string>;
using enum LoginItemStatus;

/// A service, a manager and a log that write one story between them.
class DaemonAgentTest : public ::testing::Test, protected LoginItemService, protected LaunchAgents {
  protected:
    Task<LoginItemStatus> status() override { co_return is; }
    Task<std::expected<void, std::string>> registerItem() override { return done("register", registers); }
    Task<std::expected<void, std::string>> unregisterItem() override { return done("unregister", unregisters); }
    Task<std::expected<void, std::string>> done(std::string call, bool works) {
        story.push_back(std::move(call));
        if (works) co_return std::expected<void, std::string>{};
        co_return std::unexpected("no way");
    }

    Task<ExitStatus> print(std::string target) override { return exits("print " + target, loaded); }
    Task<ExitStatus> bootstrap(std::string domain, std::string list) override {
        return exits(fmt::format("bootstrap {} {}", domain, list), loads);
    }
    Task<ExitStatus> kickstart(std::string target, bool kill) override {
        return exits(fmt::format("kickstart {}{}", kill ? "-k " : "", target), starts);
    }
    Task<ExitStatus> bootout(std::string target) override { return exits("bootout " + target, 0); }
    Task<ExitStatus> exits(std::string call, int status) {
        story.push_back(std::move(call));
        if (status == nobody) co_return std::unexpected("nobody there");
        co_return status;
    }

    static Task<bool> whole(Task<void> task) {
        co_await std::move(task);
        co_return true;
    }
    /// What is called and said from the task's start to its end.
    Words storyOf(Task<void> task) {
        story.clear();
        EXPECT_TRUE(testing::runTask(loop, whole(std::move(task))));
        return story;
    }
    LoginItems::Log log() {
        return [this](std::string_view line) {
            EXPECT_TRUE(line.starts_with("[larkmoor-menu] ")) << line;
            story.emplace_back(line.substr(line.find(' ') + 1));
        };
    }
    void write(const std::string& path) { std::ofstream{path} << "the list"; }

    static constexpr int nobody = -1, lost = 113;

    MainLoop loop;
    LoginItemStatus is = notRegistered;
    bool registers = true, unregisters = true;
    int loaded = 0, starts = 0, loads = 0;
    testing::TemporaryFolder folder;
    std::string inBundle = folder / "in-bundle.plist", loose = folder / "loose.plist";
    QuitSentinel sentinel{folder / "quit-requested"};
    Words story;
    testing::FakeDefaults defaults;
    DaemonAgent agent{{.service = *this,
                       .launchctl = *this,
                       .defaults = defaults,
                       .inBundlePlist = inBundle,
                       .loosePlist = loose,
                       .user = 501,
                       .log = log()}};
    const std::string job = "gui/501/tools.fenwright.larkmoor.gateway";
    const std::string printed = "print " + job, kickstarted = "kickstart " + job;
    const std::string bootstrapped = "bootstrap gui/501 " + loose;
    const std::string digest = SHA256::ofBytes(asBytes("the list"));
    const std::string approval = "daemon agent needs approval in System Settings > Login Items (user disabled it)";
    const std::string registered = "registered daemon agent with SMAppService";
    const std::string notRegisteredNow = "daemon agent register() failed: no way";
};

TEST_F(DaemonAgentTest, TheBundlesAgentIsKeptAsTheListInTheBundleSays) {
    struct Case {
        std::string_view name;
        LoginItemStatus status;
        std::string stored;  ///< empty: nothing
        int loaded;
        Words story;
        std::string storedAfter;
        bool registers = true, unregisters = true;
    };
    const std::string off = "unregister", on = "register";
    const std::string changed = "daemon agent definition changed — unregistered the stale registration";
    const std::string missing = "daemon agent job missing from the gui domain — unregistered the stale registration";
    const std::string kept = "daemon agent unregister() failed, NOT re-registering: no way";
    const std::string mute = "launchctl print could not run: nobody there";
    const Case cases[] = {
        {"first launch", notRegistered, "", lost, {printed, on, registered}, digest},
        {"taken out by others", notRegistered, digest, 0, {printed, on, registered}, digest},
        {"second launch", enabled, digest, 0, {printed}, digest},
        {"from before digests", enabled, "", 0, {printed, off, changed, on, registered}, digest},
        {"changed list", enabled, "old", 0, {printed, off, changed, on, registered}, digest},
        {"job gone", enabled, digest, lost, {printed, off, missing, on, registered}, digest},
        {"changed list and job gone", enabled, "old", lost, {printed, off, missing, on, registered}, digest},
        {"the person said no", requiresApproval, "old", lost, {printed, approval}, "old"},
        {"not unregistered", enabled, "old", 0, {printed, off, kept}, "old", true, false},
        {"not registered", notFound, "old", lost, {printed, on, notRegisteredNow}, "old", false},
        {"not registered again", enabled, "old", 0, {printed, off, changed, on, notRegisteredNow}, "old", false},
        {"no manager", notFound, "", nobody, {printed, mute, on, notRegisteredNow}, "", false},
    };
    write(inBundle);
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        is = test.status;
        registers = test.registers;
        unregisters = test.unregisters;
        loaded = test.loaded;
        defaults.values.clear();
        if (!test.stored.empty()) defaults.set(DaemonAgent::digestKey, test.stored).value();
        EXPECT_EQ(storyOf(agent.registerInBundleAgent()), test.story);
        EXPECT_EQ(defaults.string("daemonAgentPlistDigest").value_or(""), test.storedAfter);
    }
}

TEST_F(DaemonAgentTest, WithoutADigestTheStatusAloneDecides) {
    struct Case {
        LoginItemStatus status;
        bool registers;
        Words story;
    };
    const Case cases[] = {
        {enabled, true, {}},
        {requiresApproval, true, {approval}},
        {notRegistered, true, {"register", registered}},
        {notFound, false, {"register", notRegisteredNow}},
    };
    for (const Case& test : cases) {
        is = test.status;
        registers = test.registers;
        EXPECT_EQ(storyOf(LoginItems::registerItem("daemon agent", *this, log())), test.story);
        EXPECT_EQ(storyOf(agent.registerInBundleAgent()), test.story) << "a list that cannot be read";
        EXPECT_TRUE(defaults.values.empty());
    }
}

TEST_F(DaemonAgentTest, ALooseAgentIsHealed) {
    EXPECT_EQ(storyOf(agent.healLooseAgent()), Words{}) << "a normal install has none";
    struct Case {
        int loaded, starts, loads;
        Words story;
    };
    const std::string gone = "daemon agent plist is on disk but its job is NOT in gui/501 — re-bootstrapping (m:505)";
    const std::string back = "daemon agent re-bootstrapped; recording is supervised again";
    const std::string mute = "launchctl bootstrap could not run: nobody there";
    const auto failed = [](int status) {
        return fmt::format("daemon agent re-bootstrap FAILED (launchctl exit {}); run Scripts/install-agent.sh",
                           status);
    };
    const Case cases[] = {
        {0, 0, 0, {printed, kickstarted}},
        {0, 3, 0, {printed, kickstarted, "daemon agent kickstart failed (launchctl exit 3)"}},
        {lost, 0, 0, {printed, gone, bootstrapped, back}},
        {lost, 0, 5, {printed, gone, bootstrapped, failed(5)}},
        {lost, 0, nobody, {printed, gone, bootstrapped, mute, failed(-1)}},
    };
    write(loose);
    for (const Case& test : cases) {
        loaded = test.loaded;
        starts = test.starts;
        loads = test.loads;
        EXPECT_EQ(storyOf(agent.healLooseAgent()), test.story);
    }
}

TEST_F(DaemonAgentTest, AQuitIsReleasedByAGestureOnly) {
    EXPECT_EQ(storyOf(agent.releaseQuitIfHeld(sentinel)), Words{}) << "nothing is held";
    const std::string released = "quit released by a user gesture — kickstarting the daemon (m:505)";
    sentinel.set();
    EXPECT_TRUE(sentinel.isSet());
    EXPECT_EQ(storyOf(agent.releaseQuitIfHeld(sentinel)), (Words{released, kickstarted}));
    EXPECT_FALSE(sentinel.isSet());

    sentinel.set();
    write(loose);
    starts = 3;
    EXPECT_EQ(storyOf(agent.releaseQuitIfHeld(sentinel)),
              (Words{released, kickstarted, "kickstart after quit-release failed (exit 3); running the full heal",
                     printed, kickstarted, "daemon agent kickstart failed (launchctl exit 3)"}));
    EXPECT_FALSE(sentinel.isSet());
}

}  // namespace
}  // namespace larkmoor
