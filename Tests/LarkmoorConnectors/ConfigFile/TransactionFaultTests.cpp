// Commits on a disk that refuses: full, read-only, changed under our feet. As somebody who is not root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>

#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "LarkmoorPlatform/FileDescriptor.h"

namespace larkmoor {
namespace {

using testing::ConfigFolder;
using ::testing::ElementsAre;
using testing::moment;

using Committed = TransactionResult::Committed;
using Refused = TransactionResult::Refused;

constexpr const char* kept =
    "a copy of the file from before the change was kept here, because the file was not put back as it was";

TransactionResult refused(std::vector<Observation> observations) { return Refused{std::move(observations)}; }

std::string notWritten(const std::string& path, const std::string& reason) {
    return "this file was not written, so nothing was changed — " + path + " could not be written: " + reason;
}

std::string notPutBack(const std::string& path, const std::string& reason) {
    return "this file was not put back as it was — " + path + " could not be written: " + reason;
}

class TransactionFaults : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(::geteuid(), 0U) << "root is refused nothing"; }

    ConfigFolder folder_;
};

TEST_F(TransactionFaults, WhatIsInTheWayIsSeenBeforeAnythingIsTouched) {
    folder_.write("readOnly", "old", 0444);
    folder_.makeFolder("folder");
    folder_.write("file", "a file");
    folder_.makeFolder("closed");
    folder_.write("closed/a", "old");
    folder_.makeFolder("blind");
    folder_.setMode("closed", 0555);
    folder_.setMode("blind", 0666);
    struct Case {
        std::string_view name, subject, text;
    };
    const Case table[] = {
        {"folder", "~/folder", "there is a directory at this path, so nothing was written"},
        {"readOnly", "~/readOnly", "this file cannot be written by this user, so nothing was written"},
        {"closed/a", "~/closed", "this folder cannot be written by this user, so nothing was written"},
        {"closed/new", "~/closed", "this folder cannot be written by this user, so nothing was written"},
        {"blind/new", "~/blind", "this folder cannot be written by this user, so nothing was written"},
        {"none/new", "~/none", "this folder is not there, so nothing was written"},
        {"file/new", "~/file", "this folder is not there, so nothing was written"},
    };
    folder_.write("first", "old");
    for (const Case& row : table) {
        FileChange change{folder_.path(row.name), "~/" + std::string{row.name}, copyBytes("x"), copyBytes("new")};
        EXPECT_EQ(Transaction::commit({{folder_.change("first", "new"), change}}, moment),
                  refused({{std::string{row.subject}, std::string{row.text}}}))
            << row.name;
        const auto reason = Transaction::unwritableReason(folder_.path(row.name));
        ASSERT_TRUE(reason) << row.name;
        EXPECT_EQ(reason->text, row.text) << row.name;
        EXPECT_EQ(reason->liesInTheFolder, row.subject != "~/" + std::string{row.name}) << row.name;
    }
    EXPECT_EQ(folder_.read("first"), "old");
    EXPECT_EQ(folder_.names().size(), 6U);
    EXPECT_THAT(folder_.names("closed"), ElementsAre("a"));
    EXPECT_EQ(Transaction::unwritableReason(folder_.path("first")), std::nullopt);
    EXPECT_EQ(Transaction::unwritableReason(folder_.path("new")), std::nullopt);
}

TEST_F(TransactionFaults, AFolderThatClosesBetweenTheFilesKeepsItsCopy) {
    folder_.makeFolder("one");
    folder_.makeFolder("two");
    folder_.write("one/a", "old a");
    folder_.write("two/b", "old b");
    const FileChange changes[] = {folder_.change("one/a", "new a"), folder_.change("two/b", "new b")};
    const auto result = Transaction::commit(changes, moment, [&] { folder_.setMode("two", 0555); });
    const std::string copy = folder_.path("two/b.larkmoor-backup-" MOMENT);
    EXPECT_EQ(result, refused({{"~/two/b", notWritten(folder_.path("two/b"), "Permission denied")},
                               {"~/two/b", notPutBack(folder_.path("two/b"), "Permission denied")},
                               {copy, kept}}));
    EXPECT_EQ(folder_.read("one/a"), "old a");
    EXPECT_THAT(folder_.names("one"), ElementsAre("a"));
    EXPECT_EQ(folder_.read("two/b"), "old b");
    EXPECT_EQ(folder_.read("two/b.larkmoor-backup-" MOMENT), "old b");
    EXPECT_THAT(folder_.names("two"), ElementsAre("b", "b.larkmoor-backup-" MOMENT));
}

TEST_F(TransactionFaults, AFolderThatVanishesBetweenTheFilesIsToldOf) {
    folder_.makeFolder("two");
    folder_.write("a", "old a");
    folder_.write("two/b", "old b");
    const FileChange changes[] = {folder_.change("a", "new a"), folder_.change("two/b", "new b"),
                                  folder_.change("c", "never")};
    const auto result = Transaction::commit(
        changes, moment, [&] { std::filesystem::rename(folder_.path("two"), folder_.path("moved")); });
    EXPECT_EQ(result, refused({{"~/two/b", notWritten(folder_.path("two/b"), "No such file or directory")},
                               {"~/two/b", notPutBack(folder_.path("two/b"), "No such file or directory")},
                               {folder_.path("two/b.larkmoor-backup-" MOMENT), kept}}));
    EXPECT_THAT(folder_.names(), ElementsAre("a", "moved"));
    EXPECT_EQ(folder_.read("a"), "old a");
    EXPECT_EQ(folder_.read("moved/b"), "old b");
}

TEST_F(TransactionFaults, AFolderPutInTheFilesPlaceFailsTheRename) {
    folder_.write("a", "old a");
    folder_.write("b", "old b");
    const FileChange changes[] = {folder_.change("a", "new a"), folder_.change("b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        std::filesystem::remove(folder_.path("b"));
        folder_.makeFolder("b");
    });
    const std::string copy = folder_.path("b.larkmoor-backup-" MOMENT);
    EXPECT_EQ(result, refused({{"~/b", notWritten(folder_.path("b"), "Is a directory")},
                               {"~/b", notPutBack(folder_.path("b"), "Is a directory")},
                               {copy, kept}}));
    EXPECT_THAT(folder_.names(), ElementsAre("a", "b", "b.larkmoor-backup-" MOMENT));
    EXPECT_EQ(folder_.read("a"), "old a");
    EXPECT_EQ(folder_.read("b.larkmoor-backup-" MOMENT), "old b");
}

TEST_F(TransactionFaults, AMadeFileThatCannotBeTakenBackIsToldOfWithoutACopy) {
    folder_.makeFolder("one");
    folder_.makeFolder("two");
    FileChange made = folder_.change("one/a", "new a");
    const FileChange changes[] = {made, folder_.change("two/b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        folder_.setMode("one", 0555);
        std::filesystem::remove_all(folder_.path("two"));
    });
    EXPECT_EQ(result, refused({{"~/two/b", notWritten(folder_.path("two/b"), "No such file or directory")},
                               {"~/one/a", notPutBack(folder_.path("one/a"), "Permission denied")}}));
    EXPECT_EQ(folder_.read("one/a"), "new a");
}

TEST_F(TransactionFaults, ALinkIntoAnotherFolderStaysOne) {
    folder_.makeFolder("dotfiles");
    folder_.makeFolder("harness");
    folder_.write("dotfiles/real", "old", 0600);
    folder_.link("harness/settings", "../dotfiles/real");
    FileChange change = folder_.change("harness/settings", "new");
    change.path = ConfigPath::canonical(change.path);
    const std::string copy = folder_.path("dotfiles/real.larkmoor-backup-" MOMENT);
    EXPECT_EQ(Transaction::commit({{change}}, moment),
              TransactionResult(Committed{{copy}, {{copy, "a copy of the file was made here first"}}}));
    EXPECT_TRUE(folder_.isLink("harness/settings"));
    EXPECT_EQ(folder_.read("harness/settings"), "new");
    EXPECT_FALSE(folder_.isLink("dotfiles/real"));
    EXPECT_EQ(folder_.mode("dotfiles/real"), 0600U);
    EXPECT_THAT(folder_.names("harness"), ElementsAre("settings"));
    EXPECT_THAT(folder_.names("dotfiles"), ElementsAre("real", "real.larkmoor-backup-" MOMENT));
}

TEST_F(TransactionFaults, ALinkThatDanglesGivesPlaceToTheFile) {
    folder_.makeFolder("harness");
    folder_.link("harness/settings", "../nowhere");
    FileChange change = folder_.change("harness/settings", "new");
    change.path = ConfigPath::canonical(change.path);
    EXPECT_EQ(Transaction::commit({{change}}, moment), TransactionResult(Committed{}));
    EXPECT_FALSE(folder_.isLink("harness/settings"));
    EXPECT_EQ(folder_.read("harness/settings"), "new");
    EXPECT_EQ(folder_.read("nowhere"), std::nullopt);
}

class FullDisk : public TransactionFaults {
  protected:
    void SetUp() override {
        TransactionFaults::SetUp();
        const char* disk = std::getenv("LARKMOOR_SMALL_DISK");
        if (disk == nullptr) GTEST_SKIP() << "LARKMOOR_SMALL_DISK names no small disk; Scripts/lib/as-tester makes one";
        small_ = std::make_unique<ConfigFolder>(disk);
    }

    /// Writes until nothing more goes, and gives back that many bytes, in whole pages.
    void fillAllBut(std::size_t bytes) const {
        const FileDescriptor file{::open(small_->path("filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
        const std::string page(4096, 'f');
        off_t size = 0;
        while (::write(file.get(), page.data(), page.size()) == std::ssize(page)) size += std::ssize(page);
        ASSERT_GE(size, static_cast<off_t>(bytes));
        ASSERT_EQ(::ftruncate(file.get(), size - static_cast<off_t>(bytes)), 0);
    }

    std::unique_ptr<ConfigFolder> small_;
};

TEST_F(FullDisk, NoRoomForTheCopyChangesNothing) {
    small_->write("a", "old");
    fillAllBut(0);
    const std::string copy = small_->path("a.larkmoor-backup-" MOMENT);
    EXPECT_EQ(Transaction::commit({{small_->change("a", "new")}}, moment),
              refused({{"~/a", "this file was not copied, so nothing was written — " + copy +
                                   " could not be written: No space left on device"}}));
    EXPECT_THAT(small_->names(), ElementsAre("a", "filler"));
    EXPECT_EQ(small_->read("a"), "old");
}

TEST_F(FullDisk, NoRoomForTheNewBytesPutsEverythingBack) {
    small_->write("a", "old a");
    small_->write("b", "old b");
    fillAllBut(4 * 4096);
    const std::string large(5 * 4096, 'n');
    const FileChange changes[] = {small_->change("a", "new a"), small_->change("b", large)};
    EXPECT_EQ(Transaction::commit(changes, moment),
              refused({{"~/b", notWritten(small_->path("b"), "No space left on device")}}));
    EXPECT_THAT(small_->names(), ElementsAre("a", "b", "filler"));
    EXPECT_EQ(small_->read("a"), "old a");
    EXPECT_EQ(small_->read("b"), "old b");
}

TEST_F(FullDisk, NoRoomToRestoreKeepsTheCopies) {
    small_->write("a", "old a");
    small_->write("b", "old b");
    const FileChange changes[] = {small_->change("a", "new a"), small_->change("b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        small_->spoilRename("b");
        fillAllBut(0);
    });
    const std::string full = "No space left on device";
    EXPECT_EQ(result, refused({{"~/b", notWritten(small_->path("b"), "No such file or directory")},
                               {"~/a", notPutBack(small_->path("a"), full)},
                               {small_->path("a.larkmoor-backup-" MOMENT), kept},
                               {"~/b", notPutBack(small_->path("b"), full)},
                               {small_->path("b.larkmoor-backup-" MOMENT), kept}}));
    EXPECT_EQ(small_->read("a"), "new a");
    EXPECT_EQ(small_->read("a.larkmoor-backup-" MOMENT), "old a");
    EXPECT_EQ(small_->read("b"), "old b");
    EXPECT_EQ(small_->read("b.larkmoor-backup-" MOMENT), "old b");
    EXPECT_EQ(small_->names().size(), 5U) << "no temporary file is left on a disk that has no room for it";
}

}  // namespace
}  // namespace larkmoor
