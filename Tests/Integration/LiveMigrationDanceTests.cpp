// The stand-in Migrator, run by the live dance with budgets that it does not keep.
#include "LarkmoorMenuApp/Update/LiveMigrationDance.h"

#include <boost/asio/co_spawn.hpp>

#include <cstdlib>
#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorPlatform/Linux/Processes/SpawningProcessRunner.h"
#include "Support/FakeDefaults.h"
#include "Support/RunUntil.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using ::testing::Contains;

struct NoAgents final : LaunchAgents, LoginItemService {
    Task<ExitStatus> print(std::string) override { co_return 0; }
    Task<std::optional<std::int32_t>> pid(std::string) override { co_return std::nullopt; }
    Task<bool> isCurrent(std::string) override { co_return true; }
    Task<ExitStatus> bootstrap(std::string, std::string) override { co_return 0; }
    Task<ExitStatus> kickstart(std::string, bool) override { co_return 0; }
    Task<ExitStatus> bootout(std::string, bool) override { co_return 0; }
    Task<LoginItemStatus> status() override { co_return LoginItemStatus::enabled; }
    Task<std::expected<void, std::string>> registerItem() override { co_return std::expected<void, std::string>{}; }
    Task<std::expected<void, std::string>> unregisterItem() override { co_return std::expected<void, std::string>{}; }
};

struct NoSignatures final : Signatures {
    Task<Verdict> verifyArchive(std::string, std::string, std::string, std::stop_token) override {
        co_return Verdict{};
    }
    Task<BundleVerdict> verifyBundle(std::string, std::string, std::stop_token) override { co_return BundleVerdict{}; }
    Task<Verdict> verifyStrictly(std::string) override { co_return Verdict{}; }
    Task<std::optional<std::string>> designatedRequirement(std::string) override { co_return std::nullopt; }
};

/// How many processes have the text in their command line.
int processesOf(const std::string& text) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator{"/proc"}) {
        const auto line = Files::read(entry.path().string() + "/cmdline");
        if (line && asText(*line).find(text) != std::string_view::npos) ++count;
    }
    return count;
}

struct LiveMigration : ::testing::Test {
    static constexpr std::chrono::seconds budget{5};

    LiveMigration() {
        EXPECT_EQ(::setenv("HOME", folder.path().c_str(), 1), 0);
        for (const char* store : {"plan", "apply", "floor"}) {
            const std::string make = fmt::format("'{}' --db '{}' --make 9 >/dev/null", migrator, folder / store);
            EXPECT_EQ(std::system(make.c_str()), 0);
        }
        std::ofstream{folder / "larkmoor-migrator.json"} << R"({"troubles":[{"at":"plan","hang":true,"child":true},)"
                                                         << R"({"at":"step 2","hang":true,"child":true},)"
                                                         << R"({"at":"floor","hang":true,"child":true}]})";
    }

    /// Whether so many processes come to be about the stores.
    bool comesTo(int processes) {
        for (int rounds = 0; rounds < 400; ++rounds) {
            loop.restart();
            loop.run_for(std::chrono::milliseconds{10});
            if (processesOf(folder.path()) == processes) return true;
        }
        return false;
    }

    const testing::TemporaryFolder folder;
    const std::string migrator = LARKMOOR_UNDERSTUDY_MIGRATOR, log = folder / "log";
    MainLoop loop{1};
    SpawningProcessRunner runner{loop};
    NoAgents agents;
    NoSignatures signatures;
    testing::FakeDefaults defaults;
    DaemonAgent agent{{.service = agents,
                       .launchctl = agents,
                       .defaults = defaults,
                       .inBundlePlist = "",
                       .loosePlist = "",
                       .user = 0,
                       .log = {}}};
    std::vector<std::string> relayed, systemOnly;
    LiveMigrationDance dance{nullptr,
                             {.loop = loop,
                              .runner = runner,
                              .launchctl = agents,
                              .agent = agent,
                              .signatures = signatures,
                              .dial = {},
                              .bundle = "",
                              .user = 0,
                              .serves = {},
                              .willStopDaemon = {},
                              .say = [this](std::string_view line) { relayed.emplace_back(line); },
                              .systemLog = [this](std::string_view line) { systemOnly.emplace_back(line); },
                              .budgets = {.plan = budget, .apply = budget, .floor = budget}}};
};

TEST_F(LiveMigration, KillsAMigratorAndItsChildrenWhenABudgetIsOver) {
    DescriptorLease noKey;
    std::optional<PlanOutcome> planned;
    std::optional<ApplyOutcome> applied;
    std::optional<std::int32_t> judged;
    boost::asio::co_spawn(loop, dance.plan("1", migrator, folder / "plan", noKey),
                          [&](const std::exception_ptr&, PlanOutcome outcome) { planned = std::move(outcome); });
    boost::asio::co_spawn(loop, dance.apply(migrator, folder / "apply", folder.path(), log, noKey),
                          [&](const std::exception_ptr&, ApplyOutcome outcome) { applied = std::move(outcome); });
    boost::asio::co_spawn(loop, dance.floor(migrator, folder / "floor", noKey),
                          [&](const std::exception_ptr&, std::int32_t status) { judged = status; });
    EXPECT_TRUE(comesTo(6)) << "each Migrator and its child";
    ASSERT_TRUE(testing::runUntil(loop, [&] { return planned && applied && judged; }));
    EXPECT_TRUE(comesTo(0));
    EXPECT_EQ(planned, (PlanOutcome{PlanOutcome::NoPlan{"its output is in the menu app's log", SIGKILL}}));
    EXPECT_EQ(applied->status, SIGKILL);
    EXPECT_THAT(asText(*Files::read(log)), ::testing::HasSubstr("\nAT      step 2\n"));
    EXPECT_EQ(judged, SIGKILL);
    EXPECT_GE(dance.lastPlanMs(), 5000);
    EXPECT_EQ(relayed, std::vector<std::string>{"1: the plan exited 9 (its output is in the Mac's system log only)"});
    EXPECT_EQ(systemOnly, std::vector<std::string>{"1: the plan exited 9 — AT      plan "});
    EXPECT_TRUE(Files::exists(folder / "apply.migration-in-progress"));
}

TEST_F(LiveMigration, MarksAStoreUntilItIsFoundGood) {
    fs::remove(folder / "larkmoor-migrator.json");
    const std::string store = folder / "apply", applyLog = StoreRecovery::applyLog(store, 1);
    DescriptorLease noKey;
    const auto applied = testing::runTask(loop, dance.apply(migrator, store, folder.path(), applyLog, noKey));
    ASSERT_TRUE(applied && applied->status == 0);
    loop.restart();
    const auto restored = testing::runTask(loop, dance.restore(store, {.path = "/nowhere"}));
    ASSERT_TRUE(restored && restored->is<RestoreOutcome::Refused>());
    const auto pid = StandingLatch::pid(applied->lines);
    ASSERT_TRUE(pid);
    EXPECT_EQ(StoreRecovery::standingLatch(store), StandingLatch{StandingLatch::Stale{pid}});
    EXPECT_EQ(StoreRecovery::killedApplyLog(store, *pid), applied->lines);
    loop.restart();
    EXPECT_EQ(testing::runTask(loop, dance.floor(migrator, store, noKey)), 0);
    EXPECT_FALSE(StoreRecovery::isLatched(store));
}

}  // namespace
}  // namespace larkmoor
