// What a commit leaves behind, and what it says of it, when nothing but its own rules is in the way.
#include "LarkmoorConnectors/ConfigFile/Transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using ::testing::ElementsAre;
using testing::moment;

using Committed = TransactionResult::Committed;
using Refused = TransactionResult::Refused;
using Unchanged = TransactionResult::Unchanged;

constexpr const char* copied = "a copy of the file was made here first";

TEST(Transaction, NothingToDoTouchesNothing) {
    const ConfigFolder folder;
    folder.write("a", "same");
    const FileChange same = folder.change("a", "same");
    const FileChange absent = folder.change("b", std::nullopt);
    EXPECT_EQ(Transaction::commit({}, moment), TransactionResult{Unchanged{}});
    EXPECT_EQ(Transaction::commit({{same, absent}}, moment), TransactionResult{Unchanged{}});
    EXPECT_THAT(folder.names(), ElementsAre("a"));
}

TEST(Transaction, AnEmptyFileIsNotAnAbsentOne) {
    const ConfigFolder folder;
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "")}}, moment).is<Committed>());
    EXPECT_EQ(folder.read("a"), "");
    EXPECT_TRUE(Transaction::commit({{folder.change("a", std::nullopt)}}, moment).is<Committed>());
    EXPECT_EQ(folder.read("a"), std::nullopt);
}

TEST(Transaction, CommitsEveryFileWithACopyOfWhatWasThere) {
    const ConfigFolder folder;
    folder.write("changed", "old");
    folder.write("same", "same");
    folder.write("removed", "gone soon");
    const FileChange changes[] = {folder.change("changed", "new"), folder.change("same", "same"),
                                  folder.change("made", "fresh"), folder.change("removed", std::nullopt)};
    const std::string copy = folder.path("changed.larkmoor-backup-" MOMENT);
    const std::string copyOfRemoved = folder.path("removed.larkmoor-backup-" MOMENT);

    const auto result = Transaction::commit(changes, moment);
    EXPECT_EQ(result, TransactionResult(Committed{{copy, copyOfRemoved}, {{copy, copied}, {copyOfRemoved, copied}}}));
    EXPECT_THAT(folder.names(), ElementsAre("changed", "changed.larkmoor-backup-" MOMENT, "made",
                                            "removed.larkmoor-backup-" MOMENT, "same"));
    EXPECT_EQ(folder.read("changed"), "new");
    EXPECT_EQ(folder.read("made"), "fresh");
    EXPECT_EQ(folder.read("changed.larkmoor-backup-" MOMENT), "old");
    EXPECT_EQ(folder.read("removed.larkmoor-backup-" MOMENT), "gone soon");
}

TEST(Transaction, KeepsThePermissionsOfTheFileAndOfItsCopy) {
    const ConfigFolder folder;
    folder.write("private", "old", 0600);
    folder.write("program", "old", 0754);
    const mode_t umask = ::umask(022);
    const FileChange changes[] = {folder.change("private", "new"), folder.change("program", "new"),
                                  folder.change("made", "new")};
    EXPECT_TRUE(Transaction::commit(changes, moment).is<Committed>());
    ::umask(umask);
    EXPECT_EQ(folder.mode("private"), 0600U);
    EXPECT_EQ(folder.mode("private.larkmoor-backup-" MOMENT), 0600U);
    EXPECT_EQ(folder.mode("program"), 0754U);
    EXPECT_EQ(folder.mode("program.larkmoor-backup-" MOMENT), 0754U);
    EXPECT_EQ(folder.mode("made"), 0644U);
}

TEST(Transaction, TheHookRunsWithTheNewBytesWholeAndTheOldInPlace) {
    const ConfigFolder folder;
    folder.write("a", "old", 0600);
    std::vector<std::string> seen;
    const auto look = [&] {
        for (const std::string& name : folder.names()) seen.push_back(name);
        EXPECT_EQ(folder.read("a"), "old");
        EXPECT_EQ(folder.read(seen.front()), "new");
        EXPECT_EQ(folder.mode(seen.front()), 0600U);
    };
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "new")}}, moment, look).is<Committed>());
    EXPECT_THAT(
        seen,
        ElementsAre(::testing::MatchesRegex(
                        "\\.a\\.larkmoor-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\.tmp"),
                    "a", "a.larkmoor-backup-" MOMENT));
    EXPECT_THAT(folder.names(), ElementsAre("a", "a.larkmoor-backup-" MOMENT));
}

TEST(Transaction, TwoCopiesSurviveOfCommitsInOneSecond) {
    const ConfigFolder folder;
    folder.write("a", "0");
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "1")}}, moment).is<Committed>());
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "2")}}, moment).is<Committed>());
    EXPECT_THAT(folder.names(), ElementsAre("a", "a.larkmoor-backup-" MOMENT, "a.larkmoor-backup-" MOMENT "-02"));
    const auto third = Transaction::commit({{folder.change("a", "3")}}, moment);
    EXPECT_EQ(third, TransactionResult(Committed{{folder.path("a.larkmoor-backup-" MOMENT "-03")},
                                                 {{folder.path("a.larkmoor-backup-" MOMENT "-03"), copied}}}));
    EXPECT_THAT(folder.names(), ElementsAre("a", "a.larkmoor-backup-" MOMENT "-02", "a.larkmoor-backup-" MOMENT "-03"));
    EXPECT_EQ(folder.read("a.larkmoor-backup-" MOMENT "-02"), "1");
    EXPECT_EQ(folder.read("a.larkmoor-backup-" MOMENT "-03"), "2");
}

TEST(Transaction, IfOneFileFailsEveryFileIsPutBack) {
    const ConfigFolder folder;
    folder.write("changed", "old", 0640);
    folder.write("removed", "secret", 0600);
    folder.write("last", "last");
    folder.write("last.larkmoor-backup-20200101-000000", "older");
    folder.write("last.larkmoor-backup-20200102-000000", "less old");
    folder.write("last.larkmoor-backup-20200103-000000", "one too many");
    const std::vector<std::string> names = folder.names();
    const FileChange changes[] = {folder.change("changed", "new"), folder.change("made", "new"),
                                  folder.change("removed", std::nullopt), folder.change("last", "never")};

    const auto result = Transaction::commit(changes, moment, [&] { folder.spoilRename("last"); });
    EXPECT_EQ(result, TransactionResult(Refused{
                          {{"~/last", "this file was not written, so nothing was changed — " + folder.path("last") +
                                          " could not be written: No such file or directory"}}}));
    EXPECT_EQ(folder.names(), names);
    EXPECT_EQ(folder.read("changed"), "old");
    EXPECT_EQ(folder.mode("changed"), 0640U);
    EXPECT_EQ(folder.read("removed"), "secret");
    EXPECT_EQ(folder.mode("removed"), 0600U);
    EXPECT_EQ(folder.read("last"), "last");
}

TEST(Transaction, AFileThatWentBeforeItCouldBeRemovedIsAFailure) {
    const ConfigFolder folder;
    folder.write("a", "old");
    const FileChange change = folder.change("a", std::nullopt);
    std::filesystem::remove(folder.path("a"));
    EXPECT_EQ(
        Transaction::commit({{change}}, moment),
        TransactionResult(Refused{{{"~/a", "this file was not written, so nothing was changed — " + folder.path("a") +
                                               " could not be written: No such file or directory"}}}));
    EXPECT_EQ(folder.read("a"), "old");
}

}  // namespace
}  // namespace larkmoor
