// The files around a store, and the ledger of postponed builds, on a real disk.
#include "LarkmoorMenuApp/Update/StoreRecovery.h"

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/Update/PostponementLedger.h"
#include "LarkmoorPlatform/Process.h"
#include "Support/ChildProcess.h"
#include "Support/RunUntil.h"
#include "Support/SmallDisk.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;
using Verdict = MigrationVerdict;

void write(const std::string& path, std::string_view text) { std::ofstream{path} << text; }

std::string content(const std::string& path) {
    const auto bytes = Files::read(path);
    return bytes ? std::string{asText(*bytes)} : "(none)";
}

struct StoreFiles : ::testing::Test {
    testing::TemporaryFolder folder;
    std::string store = folder / "s.db", backup = folder / "b";

    void age(const std::string& path, int hours) {
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours{hours});
    }
};

TEST_F(StoreFiles, TheNewestLogOfTheProcessCounts) {
    for (const auto& [name, line, age] : {std::tuple{"s.db.migrate.1.log", "BACKUP  old", 3},
                                          {"s.db.migrate.2.log", "BACKUP  new", 2},
                                          {"s.db.migrate.3.txt", "other", 1},
                                          {"t.db.migrate.9.log", "other", 1}}) {
        // However much else a log tells.
        write(folder / name, "LATCH   raised · pid 12\n" + std::string(70'000, 'x') + "\n" + line);
        this->age(folder / name, age);
    }
    write(folder / "s.db.migrate.7.log", "LATCH   raised · pid 123");
    const auto log = StoreRecovery::killedApplyLog(store, 12);
    ASSERT_TRUE(log);
    EXPECT_EQ(log->back(), "BACKUP  new");
    EXPECT_EQ(StoreRecovery::killedApplyLog(store, 13), std::nullopt);
}

TEST_F(StoreFiles, ALatchThatCannotBeReadIsStale) {
    EXPECT_TRUE(StoreRecovery::standingLatch(store).is<StandingLatch::None>());
    const std::string latch = store + ".migration-in-progress";
    for (const bool isPipe : {true, false}) {
        ASSERT_EQ(isPipe ? ::mkfifo(latch.c_str(), 0600) : ::symlink("/nowhere", latch.c_str()), 0);
        EXPECT_EQ(StoreRecovery::standingLatch(store), StandingLatch{StandingLatch::Stale{}});
        StoreRecovery::lowerLatch(store);
        EXPECT_FALSE(StoreRecovery::isLatched(store));
    }
}

TEST_F(StoreFiles, OneRunHasTheStore) {
    auto first = StoreRecovery::lock(store);
    EXPECT_TRUE(first && !StoreRecovery::lock(store));
    first.reset();
    EXPECT_TRUE(StoreRecovery::lock(store));
}

TEST_F(StoreFiles, AMarkTellsOfWorkThatNobodyHasJudged) {
    const std::string log = folder / "s.db.migrate.1.log";
    const std::string latch = "LATCH   raised · pid 12\n", copy = "BACKUP  copy → " + backup + "\nBACKUP  verified\n";
    const StandingLatch killed = StandingLatch::Stale{12}, nameless = StandingLatch::Stale{},
                        nothing = StandingLatch::None{};
    enum Judged { unjudged, bad };
    for (const auto& [text, hasBackup, judged, age, wal, told] :
         {std::tuple{latch + copy, true, unjudged, 1, "", killed},
          {latch + copy, true, unjudged, 1, "used", nothing},
          {latch + copy, true, unjudged, -1, "", nothing},
          {latch + copy, false, unjudged, 1, "", nothing},
          {latch + copy, false, bad, 1, "", killed},
          {latch + copy, false, bad, -1, "", nothing},
          {latch, true, unjudged, 1, "", nothing},
          {copy, true, unjudged, 1, "", nothing},
          {std::string{}, false, bad, 1, "", nameless}}) {
        write(store, "new");
        write(store + "-wal", wal);
        this->age(store + "-wal", -1);
        write(log, text);
        if (text.empty()) fs::remove(log);
        write(backup, "old");
        if (!hasBackup) fs::remove(backup);
        ASSERT_TRUE(StoreRecovery::mark(store, log));
        for (int times = 0; judged == bad && times < 2; ++times) StoreRecovery::markFoundBad(store);
        this->age(store, age);
        EXPECT_EQ(StoreRecovery::standingLatch(store), told) << text << age << judged;
        EXPECT_TRUE(StoreRecovery::isLatched(store));
        // A latch that a loss of power has emptied.
        write(StoreRecovery::latchPath(store), "");
        EXPECT_EQ(StoreRecovery::standingLatch(store), told == nothing ? nameless : told);
        fs::remove(StoreRecovery::latchPath(store));
        StoreRecovery::removeMootMark(store);
        EXPECT_EQ(StoreRecovery::isLatched(store), told != nothing);
    }
    testing::ChildProcess migrator{{"python3", "-c", "import time; time.sleep(60)", "--db", store, "--apply"}};
    ASSERT_TRUE(StoreRecovery::mark(store, log));
    const StandingLatch held = StandingLatch::HeldByLiveMigrator{migrator.pid()};
    MainLoop loop;
    EXPECT_TRUE(testing::runUntil(loop, [&] { return StoreRecovery::standingLatch(store) == held; }));
    StoreRecovery::killMigrator(store);
    EXPECT_EQ(migrator.wait(), 128 + SIGKILL);
}

TEST_F(StoreFiles, AMigratorHoldsItsLatchByItsStartOrByItsCommandAndIsKilledByThat) {
    using std::chrono::microseconds;
    write(store, "half");
    testing::ChildProcess other{{"sleep", "60"}}, migrator{{"tail", "-f", "/dev/null", store}};
    const auto judged = [&](pid_t pid, microseconds since) {
        write(StoreRecovery::latchPath(store), fmt::format("pid {}\nstarted-at-us {}", pid, since.count()));
        return StoreRecovery::standingLatch(store);
    };
    const auto start = std::chrono::duration_cast<microseconds>(ProcessTable::start(other.pid())->time_since_epoch());
    EXPECT_EQ(judged(other.pid(), start), StandingLatch{StandingLatch::HeldByLiveMigrator{other.pid()}});
    EXPECT_EQ(judged(other.pid(), start - microseconds{1}), StandingLatch{StandingLatch::Stale{other.pid()}});
    StoreRecovery::killMigrator(store);
    EXPECT_EQ(::kill(other.pid(), 0), 0);
    const StandingLatch held = StandingLatch::HeldByLiveMigrator{migrator.pid()};
    MainLoop loop;
    EXPECT_TRUE(testing::runUntil(loop, [&] { return judged(migrator.pid(), microseconds{5}) == held; }));
    StoreRecovery::killMigrator(store);
    EXPECT_EQ(migrator.wait(), 128 + SIGKILL);
}

TEST_F(StoreFiles, ABackupIsPutBackWithoutWhatBelongedToTheOldFile) {
    write(store, "half");
    write(store + "-wal", "w");
    write(store + "-shm", "s");
    write(store + "-journal", "j");
    write(store + ".restoring", "of a killed restore");
    write(backup, "0123456789");
    ASSERT_EQ(::chmod(store.c_str(), 0644), 0);
    const auto outcome = StoreRestore::put({.path = backup, .statedSize = "10 B"}, store);
    EXPECT_EQ(outcome, RestoreOutcome{RestoreOutcome::Restored{"10 bytes, inside the 10 B the apply log vouched for"}});
    EXPECT_EQ(content(store), "0123456789");
    EXPECT_EQ(Files::permissions(store), 0600);
    EXPECT_EQ(Files::names(folder.path()), (std::vector<std::string>{"b", "s.db"}));
}

TEST_F(StoreFiles, ALinkedStoreIsRestoredWhereItIs) {
    fs::create_directory(folder / "elsewhere");
    write(folder / "elsewhere/real.db", "half");
    fs::create_symlink(folder / "elsewhere/real.db", store);
    write(backup, "whole");
    EXPECT_TRUE(StoreRestore::put({.path = backup}, store).is<RestoreOutcome::Restored>());
    EXPECT_TRUE(fs::is_symlink(store));
    EXPECT_EQ(content(folder / "elsewhere/real.db"), "whole");
    fs::remove(folder / "elsewhere/real.db");
    EXPECT_TRUE(StoreRestore::put({.path = backup}, store).is<RestoreOutcome::Refused>()) << "its disk may be away";
    EXPECT_TRUE(fs::is_symlink(store));
    write(folder / "elsewhere/real.db", "half");
    write(folder / "elsewhere/real.db.restoring", "of a killed restore");
    StoreRecovery::removeAbandonedCopies(store);
    EXPECT_FALSE(Files::exists(folder / "elsewhere/real.db.restoring"));
}

TEST_F(StoreFiles, ARefusedRestoreTouchesNothing) {
    write(store, "half");
    const auto why = [&](std::optional<std::string> stated = {}) {
        const auto outcome = StoreRestore::put({.path = backup, .statedSize = std::move(stated)}, store);
        const auto* refused = outcome.as<RestoreOutcome::Refused>();
        EXPECT_EQ(content(store), "half");
        EXPECT_FALSE(Files::exists(store + ".restoring"));
        return refused ? refused->why : "(restored)";
    };
    EXPECT_EQ(why(), backup + " is not a file this Mac can measure");
    fs::create_directory(backup);
    EXPECT_EQ(why(), backup + " is not a file this Mac can measure");
    fs::remove(backup);
    fs::create_symlink(store, backup);
    EXPECT_EQ(why(), backup + " is not a file this Mac can measure");
    fs::remove(backup);
    write(backup, "");
    EXPECT_EQ(why("0 B"), backup + " is EMPTY, so it is not an undo");
    write(backup, "0123456789");
    EXPECT_EQ(why("9 B"), backup +
                              " is 10 bytes and the apply log vouched for 9 B (9–9 bytes, the window that size was "
                              "rounded from) — this is not the copy the Migrator verified");
    fs::remove(store);
    fs::create_directory(store);
    const auto outcome = StoreRestore::put({.path = backup}, store);
    ASSERT_TRUE(outcome.is<RestoreOutcome::Refused>());
    EXPECT_EQ(outcome.as<RestoreOutcome::Refused>()->why,
              backup + " could not be put back over " + store + ": Is a directory");
    EXPECT_TRUE(fs::is_directory(store));
}

struct Ledger : ::testing::Test {
    testing::TemporaryFolder folder;
    PostponementLedger ledger{folder.path()};

    static Verdict forever(std::string version) {
        return Verdict::PostponeForever{{.version = std::move(version), .because = "b", .at = "t", .log = "/l"}};
    }
};

TEST_F(Ledger, KeepsOneRecordForEachBuildUntilThatBuildIsGreen) {
    EXPECT_TRUE(ledger.settle(Verdict::PostponeAndRetry{}, "5").is<MarkerWrite::NotEarned>());
    EXPECT_TRUE(ledger.settle(Verdict::Green{}, "5").is<MarkerWrite::NotEarned>());
    EXPECT_EQ(ledger.sentence(), std::nullopt);
    EXPECT_TRUE(ledger.settle(forever("5"), "5").is<MarkerWrite::Wrote>());
    EXPECT_TRUE(ledger.settle(forever("5"), "5").is<MarkerWrite::AlreadyStanding>());
    EXPECT_TRUE(ledger.settle(forever("6"), "6").is<MarkerWrite::Wrote>());
    EXPECT_TRUE(ledger.settle(Verdict::Green{}, "7").is<MarkerWrite::NotEarned>());
    EXPECT_TRUE(ledger.postponed("5") && ledger.postponed("6") && !ledger.postponed("7"));
    EXPECT_EQ(ledger.record()->version, "6");
    EXPECT_EQ(ledger.sentence(), MigrationWords::postponedForGood);
    EXPECT_EQ(content(ledger.path()), R"({"postponed":[{"version":"5","because":"b","at":"t","log":"/l"},)"
                                      R"({"version":"6","because":"b","at":"t","log":"/l"}]})");
    EXPECT_TRUE(ledger.settle(Verdict::Green{}, "6").is<MarkerWrite::Cleared>());
    EXPECT_TRUE(ledger.settle(Verdict::Green{}, "5").is<MarkerWrite::Cleared>());
    EXPECT_EQ(content(ledger.path()), R"({"postponed":[]})");
    EXPECT_EQ(ledger.sentence(), std::nullopt);
}

TEST_F(Ledger, ReadsTheSingleRecordOfEarlierBuildsAndNothingFromWhatItCannotRead) {
    write(ledger.path(), R"({"version":"4","because":"b","at":"t"})");
    EXPECT_TRUE(ledger.postponed("4"));
    EXPECT_TRUE(ledger.settle(forever("5"), "5").is<MarkerWrite::Wrote>());
    EXPECT_THAT(content(ledger.path()), HasSubstr(R"({"postponed":[{"version":"4")"));
    const Verdict named = Verdict::PostponeForever{{.version = "6", .because = "at /\xff.", .backup = "/\xff"}};
    EXPECT_TRUE(ledger.settle(named, "6").is<MarkerWrite::Wrote>());
    EXPECT_EQ(ledger.record()->because + *ledger.record()->backup, "at /\uFFFD./\uFFFD");
    write(ledger.path(), "{\"postponed\":[\n{\"version\":\"4\",\"because\":\"\xff\",\"at\":\"t\"}]}");
    EXPECT_TRUE(ledger.postponed("4"));
    write(ledger.path(), R"({"postponed":3})");
    EXPECT_FALSE(ledger.postponed("4"));
}

TEST_F(Ledger, RemembersWhatTheDiskDoesNotTake) {
    fs::remove_all(folder.path());
    const auto written = ledger.settle(forever("5"), "5");
    const auto* failed = written.as<MarkerWrite::Failed>();
    ASSERT_NE(failed, nullptr);
    EXPECT_EQ(failed->because, ledger.path() +
                                   ".writing could not be created — the store folder is gone, read-only, or "
                                   "full");
    EXPECT_TRUE(ledger.postponed("5"));
    EXPECT_FALSE(PostponementLedger{folder.path()}.postponed("5"));
    fs::create_directory(folder.path());
    EXPECT_TRUE(ledger.settle(forever("5"), "5").is<MarkerWrite::Wrote>());
    EXPECT_EQ(ledger.records().size(), 1U);
    fs::remove(ledger.path());
    fs::create_directories(ledger.path() + "/full");
    EXPECT_THAT(ledger.settle(forever("6"), "6").as<MarkerWrite::Failed>()->because,
                HasSubstr("neither a replace (Is a directory) nor a move (Is a directory) put "));
    EXPECT_TRUE(ledger.postponed("6"));
    ledger.settle(Verdict::Green{}, "6");
    EXPECT_FALSE(ledger.postponed("6"));
}

TEST_F(Ledger, StaysAsItIsOnADiskThatIsFullOrReadOnly) {
    const testing::SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << disk.absence;
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    for (const bool isFull : {true, false}) {
        const std::string place = std::string{disk.path()} + "/ledger";
        fs::create_directory(place);
        PostponementLedger here{place};
        EXPECT_TRUE(here.settle(forever("5"), "5").is<MarkerWrite::Wrote>());
        if (isFull) write(place + "/fill", std::string(std::size_t{1} << 20U, 'x'));
        if (!isFull) ASSERT_EQ(::chmod(place.c_str(), 0500), 0);
        EXPECT_THAT(here.settle(forever("6"), "6").as<MarkerWrite::Failed>()->because,
                    HasSubstr(".writing could not be created"));
        EXPECT_TRUE(here.postponed("5") && here.postponed("6"));
        EXPECT_TRUE(PostponementLedger{place}.postponed("5") && !PostponementLedger{place}.postponed("6"));
        EXPECT_FALSE(Files::exists(here.path() + ".writing"));
        ::chmod(place.c_str(), 0700);
        fs::remove_all(place);
    }
}

}  // namespace
}  // namespace larkmoor
