// Every way out of the dance, with the effects recorded.
#include "LarkmoorUpdate/Dance/MigrationDance.h"

#include "Support/RunUntil.h"

namespace larkmoor {
namespace {

using ::testing::HasSubstr;
using Verdict = MigrationVerdict;
using Lines = std::vector<std::string>;

const Lines vouched{"LATCH   raised · pid 77", "BACKUP  s.db → /store/backup", "BACKUP  verified · ok · 10 B"};

/// A world in which all goes well, and what was done in it, in order.
struct World final : MigrationDanceRunning {
    StandingLatch latch = StandingLatch::None{};
    std::optional<Lines> killedLog;
    bool serves = true, stops = true, starts = true, isLive = false, hasBackup = true;
    int keysLeft = 2;
    InstalledMigrator::Located located = std::string{"/app/migrator"};
    PlanOutcome planned = PlanOutcome::Pending{3};
    ApplyOutcome applied{.status = 0, .lines = vouched};
    std::int32_t judged = 0;
    RestoreOutcome restored = RestoreOutcome::Restored{"10 bytes"};
    Lines done, said;
    int open = 0;  ///< legs of the key that are not closed

    struct Lease final : KeyLease {
        Lease(World& world, int legs) : world(world), left(legs) { world.open += legs; }
        std::size_t unspent() const override { return static_cast<std::size_t>(left); }
        FileDescriptor spend() override {
            if (left > 0) --left, --world.open;
            return {};
        }
        void closeUnspent() override { world.open -= std::exchange(left, 0); }
        World& world;
        int left;
    };

    void note(std::string what) { done.push_back(std::move(what)); }

    Task<InstalledMigrator::Located> installedMigrator() override { co_return located; }
    Task<StandingLatch> standingLatch(std::string) override { co_return latch; }
    Task<std::optional<Lines>> killedApplyLog(std::string, std::int32_t) override { co_return killedLog; }
    Task<bool> daemonServes(std::chrono::milliseconds) override { co_return serves; }
    Task<std::unique_ptr<KeyLease>> takeKeys(int legs) override {
        note(fmt::format("key {}", legs));
        if (keysLeft-- <= 0) co_return nullptr;
        co_return std::make_unique<Lease>(*this, legs);
    }
    Task<PlanOutcome> plan(std::string, std::string, std::string, KeyLease& key) override {
        key.spend();
        note("plan");
        co_return planned;
    }
    Task<ApplyOutcome> apply(std::string, std::string, std::string, std::string, KeyLease& key) override {
        key.spend();
        note("apply");
        co_return applied;
    }
    Task<std::int32_t> floor(std::string, std::string, KeyLease& key) override {
        key.spend();
        note("floor");
        co_return judged;
    }
    Task<bool> meetingIsLive() override { co_return isLive; }
    Task<bool> stopDaemon() override {
        note("stop");
        co_return stops;
    }
    Task<bool> startDaemon() override {
        note("start");
        co_return starts;
    }
    Task<void> lowerLatch(std::string) override {
        note("lower");
        co_return;
    }
    Task<void> noteFoundBad(std::string) override {
        note("bad");
        co_return;
    }
    Task<RestoreOutcome> restore(std::string, VouchedBackup) override {
        note("restore");
        co_return restored;
    }
    Task<bool> exists(std::string) override { co_return hasBackup; }
    void say(std::string_view line) override { said.emplace_back(line); }
};

enum class End { retry, forGood, green };

struct WayOut {
    std::string name;
    std::function<void(World&)> happens;
    End end;
    std::string because;
    std::string done;  ///< effects from the plan's key on, or the recovery's
    std::optional<std::string> backup{};
};

std::string joined(const Lines& lines) { return fmt::format("{}", fmt::join(lines, " ")); }

constexpr const char* whole = "key 1 plan key 2 stop apply floor start";
constexpr const char* noKey =
    "the daemon would not hand over the store key, and there is no other way to get one — nothing was stopped and "
    "nothing was migrated";
constexpr const char* leftDown =
    "so the daemon has been left down on purpose rather than started over a half-written store (m:1418). The backup is "
    "still at /store/backup.";

const std::vector<WayOut> waysOut{
    {"live latch", [](World& w) { w.latch = StandingLatch::HeldByLiveMigrator{77}; }, End::retry,
     "a Migrator (pid 77) is still migrating this store; nothing was touched", ""},
    {"killed, no log", [](World& w) { w.latch = StandingLatch::Stale{77}; }, End::forGood,
     "a migration was killed mid-apply (latch pid 77) and left no backup of its own beside the store; nothing was "
     "touched and the latch stands",
     ""},
    {"killed, unreadable latch", [](World& w) { w.latch = StandingLatch::Stale{}, w.killedLog = vouched; },
     End::forGood, "(latch pid unreadable) and left no backup", ""},
    {"killed, backup gone",
     [](World& w) { w.latch = StandingLatch::Stale{77}, w.killedLog = vouched, w.hasBackup = false; }, End::forGood,
     "left no backup of its own", ""},
    {"killed, daemon stays",
     [](World& w) { w.latch = StandingLatch::Stale{77}, w.killedLog = vouched, w.stops = false; }, End::retry,
     "the daemon would not stay down, so the killed migration's store was not touched", "stop"},
    {"killed, refused",
     [](World& w) {
         w.latch = StandingLatch::Stale{77}, w.killedLog = vouched, w.restored = RestoreOutcome::Refused{"no"};
     },
     End::forGood, leftDown, "stop restore", "/store/backup"},
    {"killed, restored, and again", [](World& w) { w.latch = StandingLatch::Stale{77}, w.killedLog = vouched; },
     End::green, "", std::string{"stop restore lower start "}.append(whole)},
    {"silent daemon", [](World& w) { w.serves = false; }, End::retry,
     "the daemon did not answer on build 7 within 60 s", ""},
    {"unproven",
     [](World& w) {
         w.located = std::unexpected(
             std::vector<InstalledMigrator::Refusal>{InstalledMigrator::RefusalCases::WrongSigner{"A", "B"}});
     },
     End::retry,
     "the installed Migrator at <this app>/Contents/MacOS/larkmoor-migrator could not be proven: the installed "
     "Migrator is signed by A and this app is B; no key was taken",
     ""},
    {"no key", [](World& w) { w.keysLeft = 0; }, End::retry, noKey, "key 1"},
    {"nothing pending", [](World& w) { w.planned = PlanOutcome::NothingPending{}; }, End::green, "", "key 1 plan"},
    {"plan refused", [](World& w) { w.planned = PlanOutcome::NoPlan{"d", 2}; }, End::forGood,
     "the installed Migrator refused to plan against this store (exit 2): d", "key 1 plan"},
    {"plan crashed", [](World& w) { w.planned = PlanOutcome::NoPlan{"d", 139}; }, End::forGood,
     "crashed while planning against this store (exit 139)", "key 1 plan"},
    {"plan unreadable", [](World& w) { w.planned = PlanOutcome::NoPlan{"d", 0}; }, End::forGood,
     "answered a plan this app could not read (exit 0)", "key 1 plan"},
    {"plan killed", [](World& w) { w.planned = PlanOutcome::NoPlan{"d", 137}; }, End::retry,
     "the installed Migrator never answered the plan (exit 137): d", "key 1 plan"},
    {"call live", [](World& w) { w.isLive = true; }, End::retry, "a call was live when the migration was due to start",
     "key 1 plan"},
    {"no second key", [](World& w) { w.keysLeft = 1; }, End::retry, noKey, "key 1 plan key 2"},
    {"daemon would not stop", [](World& w) { w.stops = false, w.starts = false; }, End::retry,
     "the daemon would not stop, so nothing was migrated; the daemon would NOT come back up",
     "key 1 plan key 2 stop start"},
    {"never started", [](World& w) { w.applied = {.status = -1}; }, End::retry,
     "the installed Migrator never started for the apply of 3 pending step(s); nothing was written, so there was "
     "nothing to put back, and the daemon is back up",
     "key 1 plan key 2 stop apply lower start"},
    {"apply killed", [](World& w) { w.applied.status = 9; }, End::retry,
     "nothing it was doing judged this store (exit 9); the store was restored from /store/backup (10 bytes) and the "
     "daemon is back up",
     "key 1 plan key 2 stop apply restore lower start"},
    {"apply red", [](World& w) { w.applied.status = 1; }, End::forGood,
     "a migration step failed on 3 pending step(s) (exit 1); the store was restored from /store/backup",
     "key 1 plan key 2 stop apply bad restore lower start", "/store/backup"},
    {"apply red, no backup", [](World& w) { w.applied = {.status = 9}; }, End::forGood,
     "; there was no backup to restore, and the daemon is back up", "key 1 plan key 2 stop apply lower start"},
    {"success, no backup", [](World& w) { w.applied.lines = {}; }, End::forGood,
     "the Migrator reported success and named no backup, so this migration has no way back; there was no backup to "
     "restore, and the daemon is back up",
     "key 1 plan key 2 stop apply lower start"},
    {"success, backup gone", [](World& w) { w.hasBackup = false; }, End::forGood,
     "the Migrator named /store/backup as this run's backup and no such file exists — the undo is gone; there was no "
     "backup to restore, and the daemon is back up",
     "key 1 plan key 2 stop apply lower start"},
    {"floor killed", [](World& w) { w.judged = 137; }, End::retry, "when the floor budget ran out",
     "key 1 plan key 2 stop apply floor restore lower start"},
    {"floor never ran", [](World& w) { w.judged = -1; }, End::retry,
     "the standing floor's binary never ran, so nothing judged this store (exit -1)",
     "key 1 plan key 2 stop apply floor restore lower start"},
    {"floor red", [](World& w) { w.judged = 1; }, End::forGood,
     "the standing floor was not green after the migration (exit 1); the store was restored",
     "key 1 plan key 2 stop apply floor bad restore lower start", "/store/backup"},
    {"restore refused", [](World& w) { w.judged = 1, w.restored = RestoreOutcome::Refused{"no"}; }, End::forGood,
     leftDown, "key 1 plan key 2 stop apply floor bad restore", "/store/backup"},
    {"restore refused, unjudged", [](World& w) { w.judged = 137, w.restored = RestoreOutcome::Refused{"no"}; },
     End::forGood, leftDown, "key 1 plan key 2 stop apply floor restore bad", "/store/backup"},
    {"green, slow daemon", [](World& w) { w.starts = false; }, End::green, "", whole},
    {"green", [](World&) {}, End::green, "", whole},
};

TEST(MigrationDance, EndsAsEachWayOutWants) {
    for (const WayOut& way : waysOut) {
        SCOPED_TRACE(way.name);
        MainLoop loop;
        World world;
        way.happens(world);
        MigrationDance dance{
            {.running = world, .store = "/store/s.db", .backupDir = "/store", .logPath = "/store/log", .now = [] {
                 return std::string{"now"};
             }}};
        const auto run = testing::runTask(loop, dance.migrateInstalled("7"));
        ASSERT_TRUE(run);
        EXPECT_EQ(joined(world.done), way.done);
        EXPECT_EQ(world.open, 0) << "legs of the key are left open";
        const auto* retry = run->verdict.as<Verdict::PostponeAndRetry>();
        const auto* forGood = run->verdict.as<Verdict::PostponeForever>();
        EXPECT_EQ(retry ? End::retry : forGood ? End::forGood : End::green, way.end);
        const auto* record = retry ? &retry->record : forGood ? &forGood->record : nullptr;
        if (record) {
            EXPECT_THAT(record->because, HasSubstr(way.because));
            EXPECT_EQ(record->version + record->at, "7now");
            EXPECT_EQ(record->backup, way.backup);
        }
        // What the daemon does at the end is what the answer says.
        const bool wasStarted = std::ranges::find(world.done, "start") != world.done.end();
        const bool wasAsked = !world.latch.is<StandingLatch::HeldByLiveMigrator>() && !way.name.starts_with("killed");
        EXPECT_EQ(run->serving, wasStarted ? world.starts : wasAsked && world.serves);
    }
}

TEST(MigratorExit, KnowsWhatWasAnswered) {
    for (const std::int32_t exit : {0, 1, 2, 4, 5, 6, 8, 10, 11, 132, 139}) EXPECT_TRUE(MigratorExit::isAnswered(exit));
    for (const std::int32_t exit : {-1, 3, 7, 9, 15, 127, 137, 143}) EXPECT_FALSE(MigratorExit::isAnswered(exit));
}

TEST(PlanOutcome, ReadsTheLastReceipt) {
    const auto step = [](const char* disposition) {
        return fmt::format(R"({{"steps":[{{"id":"a","disposition":"{}"}},{{"id":"b","disposition":"applied"}}]}})",
                           disposition);
    };
    EXPECT_EQ(PlanOutcome::ofOutput("{broken\n" + step("pending") + "\ndone\n"), PlanOutcome{PlanOutcome::Pending{1}});
    EXPECT_EQ(PlanOutcome::ofOutput(step("adopt")), PlanOutcome{PlanOutcome::NothingPending{}});
    for (const std::string& output : {std::string{}, std::string{"\n"}, step("other"), step("pending") + "\n{"}) {
        EXPECT_TRUE(PlanOutcome::ofOutput(output).is<PlanOutcome::NoPlan>()) << output;
    }
}

TEST(Signer, PrefersTheCertificate) {
    EXPECT_EQ(Signer::read(R"(designated => certificate leaf[subject.OU] = "T" and certificate leaf = H"ab")"),
              R"(certificate leaf = H"ab")");
    EXPECT_EQ(Signer::read(R"(certificate leaf = H"ab, certificate leaf[subject.OU] = "T")"),
              R"(certificate leaf = H"ab, certificate leaf[subject.OU] = ")");
    EXPECT_EQ(Signer::read(R"(certificate leaf[subject.OU] = "T")"), R"(certificate leaf[subject.OU] = "T")");
    EXPECT_EQ(Signer::read("cdhash"), std::nullopt);
}

}  // namespace
}  // namespace larkmoor
