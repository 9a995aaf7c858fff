// What launch and the person's gestures do about the daemon's agent: the whole story of calls and lines for each state.
#include "LarkmoorBase/SHA256.h"
#include "LarkmoorKit/Supervision/DaemonAgent.h"

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
    Task<std::optional<std::int32_t>> pid(std::string) override { co_return std::nullopt; }
    Task<bool> isCurrent(std::string) override { co_return madeNow; }
    Task<ExitStatus> bootstrap(std::string domain, std::string list) override {
        return exits(fmt::format("bootstrap {} {}", domain, list), loads);
    }
    Task<ExitStatus> kickstart(std::string target, bool kill) override {
        return exits(fmt::format("kickstart {}{}", kill ? "-k " : "", target), starts);
    }
    Task<ExitStatus> bootout(std::string target, bool) override { return exits("bootout " + target, 0); }
    Task<ExitStatus> exits(std::string call, int status) {
        story.push_back(std::move(call));
        if (status == nobody) co_return std::unexpected("nobody there");
        co_return status;
    }

    /// What is called and said from the task's start to its end.
    Words storyOf(Task<void> task) {
        story.clear();
        bool ended = false;
        boost::asio::co_spawn(loop, std::move(task), [&](const std::exception_ptr& thrown) { ended = !thrown; });
        EXPECT_TRUE(testing::runUntil(loop, [&] { return ended; }));
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
    bool registers = true, unregisters = true, madeNow = true;
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
        bool registers = true, unregisters = true, madeNow = true;
    };
    const std::string stale = "daemon agent {} — unregistered the stale registration";
    const std::string changed = fmt::format(fmt::runtime(stale), "definition changed");
    const std::string missing = fmt::format(fmt::runtime(stale), "job missing from the gui domain");
    const std::string kept = "daemon agent unregister() failed, NOT re-registering: no way";
    const Words renewed{"unregister", changed, "register", registered};
    const Words again{"unregister", missing, "register", registered};
    const Case cases[] = {
        {"first launch", notRegistered, "", lost, {"register", registered}},
        {"taken out by others", notRegistered, digest, 0, {"register", registered}},
        {"second launch", enabled, digest, 0, {}},
        {"made of this list by an earlier build", enabled, digest, 0, {"register", registered}, true, true, false},
        {"from before digests", enabled, "", 0, renewed},
        {"changed list", enabled, "old", 0, renewed},
        {"job gone", enabled, digest, lost, again},
        {"changed list and job gone", enabled, "old", lost, again},
        {"the person said no", requiresApproval, "old", lost, {approval}},
        {"not unregistered", enabled, "old", 0, {"unregister", kept}, true, false},
        {"not registered", notFound, "old", lost, {"register", notRegisteredNow}, false},
        {"not registered again", enabled, "old", 0, {"unregister", changed, "register", notRegisteredNow}, false},
        {"no manager",
         notFound,
         "",
         nobody,
         {"launchctl print could not run: nobody there", "register", notRegisteredNow},
         false},
    };
    write(inBundle);
    for (const Case& test : cases) {
        SCOPED_TRACE(test.name);
        is = test.status;
        registers = test.registers;
        unregisters = test.unregisters;
        madeNow = test.madeNow;
        loaded = test.loaded;
        defaults.strings.clear();
        if (!test.stored.empty()) defaults.strings["daemonAgentPlistDigest"] = test.stored;
        Words want = test.story;
        want.insert(want.begin(), printed);
        EXPECT_EQ(storyOf(agent.registerInBundleAgent()), want);
        const bool isNew = !want.empty() && want.back() == registered;
        const bool isGone = std::ranges::find(want, changed) != want.end();
        EXPECT_EQ(defaults.string("daemonAgentPlistDigest").value_or(""), isNew ? digest : isGone ? "" : test.stored);
    }
}

TEST_F(DaemonAgentTest, ALooseAgentIsHealed) {
    EXPECT_EQ(storyOf(agent.healLooseAgent()), Words{}) << "a normal install has none";
    const std::string gone = "daemon agent plist is on disk but its job is NOT in gui/501 — re-bootstrapping (m:505)";
    const std::string back = "daemon agent re-bootstrapped; recording is supervised again";
    const std::string failed = "daemon agent re-bootstrap FAILED (launchctl exit {}); run Scripts/install-agent.sh";
    const std::tuple<int, int, int, Words> cases[] = {
        {0, 0, 0, {printed, kickstarted}},
        {0, 3, 0, {printed, kickstarted, "daemon agent kickstart failed (launchctl exit 3)"}},
        {lost, 0, 0, {printed, gone, bootstrapped, back}},
        {lost, 0, 5, {printed, gone, bootstrapped, fmt::format(fmt::runtime(failed), 5)}},
        {lost,
         0,
         nobody,
         {printed, gone, bootstrapped, "launchctl bootstrap could not run: nobody there",
          fmt::format(fmt::runtime(failed), -1)}}};
    write(loose);
    for (const auto& [isLoaded, itStarts, itLoads, want] : cases) {
        loaded = isLoaded;
        starts = itStarts;
        loads = itLoads;
        EXPECT_EQ(storyOf(agent.healLooseAgent()), want);
    }
}

TEST_F(DaemonAgentTest, AQuitIsReleasedByAGestureOnly) {
    EXPECT_EQ(storyOf(agent.releaseQuitIfHeld(sentinel)), Words{}) << "nothing is held";
    Words want{"quit released by a user gesture — kickstarting the daemon (m:505)", kickstarted};
    write(loose);
    for (const int exit : {0, 3}) {
        starts = exit;
        if (exit != 0)
            want.insert(want.end(), {"kickstart after quit-release failed (exit 3); running the full heal", printed,
                                     kickstarted, "daemon agent kickstart failed (launchctl exit 3)"});
        sentinel.set();
        EXPECT_TRUE(sentinel.isSet());
        DaemonAgent launched = agent;
        EXPECT_EQ(storyOf(agent.releaseQuitIfHeld(sentinel)), want);
        EXPECT_FALSE(sentinel.isSet());
        sentinel.set();
        // Healed once, also where that was part of the release.
        Words atLaunch = want;
        if (exit == 0) atLaunch.insert(atLaunch.end(), {printed, kickstarted});
        EXPECT_EQ(storyOf(launched.clearQuitAndHealLooseAgent(sentinel)), atLaunch);
    }
}

}  // namespace
}  // namespace larkmoor
