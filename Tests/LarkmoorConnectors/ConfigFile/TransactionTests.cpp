// What a commit leaves behind, and what it says of it, when nothing but its own rules is in the way.
#include "LarkmoorConnectors/ConfigFile/Transaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using testing::moment;

using Committed = TransactionResult::Committed;
using Refused = TransactionResult::Refused;
using Unchanged = TransactionResult::Unchanged;
using Files = std::map<std::string, std::string>;

#define COPY ".larkmoor-backup-" MOMENT
constexpr const char* copied = "a copy of the file was made here first";

/// The words in which the commit of this file fails once what it needs is gone.
TransactionResult notWritten(const ConfigFolder& in, std::string_view name) {
    return Refused{{{"~/" + std::string{name}, "this file was not written, so nothing was changed — " + in.path(name) +
                                                   " could not be written: No such file or directory"}}};
}

TEST(Transaction, NothingToDoTouchesNothing) {
    const ConfigFolder folder;
    folder.write("a", "same");
    const FileChange changes[] = {folder.change("a", "same"), folder.change("b", std::nullopt)};
    EXPECT_EQ(Transaction::commit({}, moment), TransactionResult{Unchanged{}});
    EXPECT_EQ(Transaction::commit(changes, moment), TransactionResult{Unchanged{}});
    EXPECT_EQ(folder.files(), (Files{{"a", "same"}}));
}

TEST(Transaction, AnEmptyFileIsNotAnAbsentOne) {
    const ConfigFolder folder;
    EXPECT_EQ(Transaction::commit({{folder.change("a", "")}}, moment), TransactionResult{Committed{}});
    EXPECT_EQ(folder.files(), (Files{{"a", ""}}));
    EXPECT_TRUE(Transaction::commit({{folder.change("a", std::nullopt)}}, moment).is<Committed>());
    EXPECT_EQ(folder.files(), (Files{{"a" COPY, ""}}));
}

TEST(Transaction, CommitsEveryFileWithACopyOfWhatWasThere) {
    const ConfigFolder folder;
    folder.write("changed", "old");
    folder.write("same", "same");
    folder.write("removed", "gone soon");
    const FileChange changes[] = {folder.change("changed", "new"), folder.change("same", "same"),
                                  folder.change("made", "fresh"), folder.change("removed", std::nullopt)};
    const std::string copy = folder.path("changed" COPY), copyOfRemoved = folder.path("removed" COPY);
    EXPECT_EQ(Transaction::commit(changes, moment),
              TransactionResult(Committed{{copy, copyOfRemoved}, {{copy, copied}, {copyOfRemoved, copied}}}));
    EXPECT_EQ(folder.files(), (Files{{"changed", "new"},
                                     {"changed" COPY, "old"},
                                     {"made", "fresh"},
                                     {"removed" COPY, "gone soon"},
                                     {"same", "same"}}));
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
    const std::pair<std::string_view, mode_t> table[] = {
        {"private", 0600}, {"private" COPY, 0600}, {"program", 0754}, {"program" COPY, 0754}, {"made", 0644}};
    for (const auto& [name, mode] : table) EXPECT_EQ(folder.mode(name), mode) << name;
}

TEST(Transaction, TheHookRunsWithTheNewBytesWholeAndTheOldInPlace) {
    const ConfigFolder folder;
    folder.write("a", "old", 0600);
    Files seen;
    mode_t mode = 0;
    const auto look = [&] {
        seen = folder.files();
        mode = folder.mode(seen.begin()->first);
    };
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "new")}}, moment, look).is<Committed>());
    ASSERT_EQ(seen.size(), 3U);
    EXPECT_THAT(seen.extract(seen.begin()).key(),
                ::testing::MatchesRegex(
                    "\\.a\\.larkmoor-[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}\\.tmp"));
    EXPECT_EQ(seen, (Files{{"a", "old"}, {"a" COPY, "old"}}));
    EXPECT_EQ(mode, 0600U);
    EXPECT_EQ(folder.files(), (Files{{"a", "new"}, {"a" COPY, "old"}}));
}

TEST(Transaction, TwoCopiesSurviveOfCommitsInOneSecond) {
    const ConfigFolder folder;
    folder.write("a", "0");
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "1")}}, moment).is<Committed>());
    EXPECT_TRUE(Transaction::commit({{folder.change("a", "2")}}, moment).is<Committed>());
    EXPECT_EQ(folder.files(), (Files{{"a", "2"}, {"a" COPY, "0"}, {"a" COPY "-02", "1"}}));
    const std::string third = folder.path("a" COPY "-03");
    EXPECT_EQ(Transaction::commit({{folder.change("a", "3")}}, moment),
              TransactionResult(Committed{{third}, {{third, copied}}}));
    EXPECT_EQ(folder.files(), (Files{{"a", "3"}, {"a" COPY "-02", "1"}, {"a" COPY "-03", "2"}}));
}

TEST(Transaction, IfOneFileFailsEveryFileIsPutBack) {
    const ConfigFolder folder;
    folder.write("changed", "old", 0640);
    folder.write("removed", "secret", 0600);
    folder.write("last", "last");
    folder.write("last.larkmoor-backup-20200101-000000", "older");
    folder.write("last.larkmoor-backup-20200102-000000", "less old");
    folder.write("last.larkmoor-backup-20200103-000000", "one too many");
    const Files before = folder.files();
    const FileChange changes[] = {folder.change("changed", "new"), folder.change("made", "new"),
                                  folder.change("removed", std::nullopt), folder.change("last", "never")};
    EXPECT_EQ(Transaction::commit(changes, moment, [&] { folder.spoilRename("last"); }), notWritten(folder, "last"));
    EXPECT_EQ(folder.files(), before);
    EXPECT_EQ(folder.mode("changed"), 0640U);
    EXPECT_EQ(folder.mode("removed"), 0600U);
}

TEST(Transaction, AFileThatWentBeforeItCouldBeRemovedIsAFailure) {
    const ConfigFolder folder;
    folder.write("a", "old");
    const FileChange change = folder.change("a", std::nullopt);
    std::filesystem::remove(folder.path("a"));
    EXPECT_EQ(Transaction::commit({{change}}, moment), notWritten(folder, "a"));
    EXPECT_EQ(folder.files(), (Files{{"a", "old"}}));
}

}  // namespace
}  // namespace larkmoor
