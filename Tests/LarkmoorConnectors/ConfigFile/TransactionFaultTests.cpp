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

    ConfigFolder folder;
};

TEST_F(TransactionFaults, WhatIsInTheWayIsSeenBeforeAnythingIsTouched) {
    folder.write("readOnly", "old", 0444);
    folder.makeFolder("folder");
    folder.write("file", "a file");
    folder.makeFolder("closed");
    folder.write("closed/a", "old");
    folder.makeFolder("blind");
    folder.setMode("closed", 0555);
    folder.setMode("blind", 0666);
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
    folder.write("first", "old");
    for (const Case& row : table) {
        FileChange change{folder.path(row.name), "~/" + std::string{row.name}, copyBytes("x"), copyBytes("new")};
        EXPECT_EQ(Transaction::commit({{folder.change("first", "new"), change}}, moment),
                  refused({{std::string{row.subject}, std::string{row.text}}}))
            << row.name;
        const auto reason = Transaction::unwritableReason(folder.path(row.name));
        ASSERT_TRUE(reason) << row.name;
        EXPECT_EQ(reason->text, row.text) << row.name;
        EXPECT_EQ(reason->liesInTheFolder, row.subject != "~/" + std::string{row.name}) << row.name;
    }
    EXPECT_EQ(folder.read("first"), "old");
    EXPECT_EQ(folder.names().size(), 6U);
    EXPECT_THAT(folder.names("closed"), ElementsAre("a"));
    EXPECT_EQ(Transaction::unwritableReason(folder.path("first")), std::nullopt);
    EXPECT_EQ(Transaction::unwritableReason(folder.path("new")), std::nullopt);
}

TEST_F(TransactionFaults, WhatBecomesOfAFolderBetweenTheFilesIsToldOf) {
    struct Case {
        std::string_view reason, copy;
        void (*happens)(const ConfigFolder& folder);
    };
    const Case table[] = {
        {"Permission denied", "two/", [](const ConfigFolder& in) { in.setMode("two", 0555); }},
        {"No such file or directory", "moved/",
         [](const ConfigFolder& in) { std::filesystem::rename(in.path("two"), in.path("moved")); }},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.reason);
        const ConfigFolder own;
        own.makeFolder("two");
        own.write("a", "old a");
        own.write("two/b", "old b");
        const FileChange changes[] = {own.change("a", "new a"), own.change("two/b", "new b"), own.change("c", "never")};
        const auto result = Transaction::commit(changes, moment, [&] { row.happens(own); });
        const std::string reason{row.reason}, place{row.copy};
        EXPECT_EQ(result, refused({{"~/two/b", notWritten(own.path("two/b"), reason)},
                                   {"~/two/b", notPutBack(own.path("two/b"), reason)},
                                   {own.path("two/b.larkmoor-backup-" MOMENT), kept}}));
        EXPECT_THAT(own.names(), ElementsAre("a", place.substr(0, place.size() - 1)));
        EXPECT_EQ(own.read("a"), "old a");
        EXPECT_EQ(own.read(place + "b"), "old b");
        EXPECT_EQ(own.read(place + "b.larkmoor-backup-" MOMENT), "old b");
        EXPECT_EQ(own.names(row.copy).size(), 2U);
    }
}

TEST_F(TransactionFaults, AFolderPutInTheFilesPlaceFailsTheRename) {
    folder.write("a", "old a");
    folder.write("b", "old b");
    const FileChange changes[] = {folder.change("a", "new a"), folder.change("b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        std::filesystem::remove(folder.path("b"));
        folder.makeFolder("b");
    });
    const std::string copy = folder.path("b.larkmoor-backup-" MOMENT);
    EXPECT_EQ(result, refused({{"~/b", notWritten(folder.path("b"), "Is a directory")},
                               {"~/b", notPutBack(folder.path("b"), "Is a directory")},
                               {copy, kept}}));
    EXPECT_THAT(folder.names(), ElementsAre("a", "b", "b.larkmoor-backup-" MOMENT));
    EXPECT_EQ(folder.read("a"), "old a");
    EXPECT_EQ(folder.read("b.larkmoor-backup-" MOMENT), "old b");
}

TEST_F(TransactionFaults, AMadeFileThatCannotBeTakenBackIsToldOfWithoutACopy) {
    folder.makeFolder("one");
    folder.makeFolder("two");
    FileChange made = folder.change("one/a", "new a");
    const FileChange changes[] = {made, folder.change("two/b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        folder.setMode("one", 0555);
        std::filesystem::remove_all(folder.path("two"));
    });
    EXPECT_EQ(result, refused({{"~/two/b", notWritten(folder.path("two/b"), "No such file or directory")},
                               {"~/one/a", notPutBack(folder.path("one/a"), "Permission denied")}}));
    EXPECT_EQ(folder.read("one/a"), "new a");
}

TEST_F(TransactionFaults, ALinkThatDanglesGivesPlaceToTheFile) {
    folder.makeFolder("harness");
    folder.link("harness/settings", "../nowhere");
    FileChange change = folder.change("harness/settings", "new");
    change.path = ConfigPath::canonical(change.path);
    EXPECT_EQ(Transaction::commit({{change}}, moment), TransactionResult(Committed{}));
    EXPECT_FALSE(folder.isLink("harness/settings"));
    EXPECT_EQ(folder.read("harness/settings"), "new");
    EXPECT_EQ(folder.read("nowhere"), std::nullopt);
}

class FullDisk : public TransactionFaults {
  protected:
    static constexpr std::size_t page = 4096;  ///< what the disk gives out at once

    void SetUp() override {
        TransactionFaults::SetUp();
        const char* disk = std::getenv("LARKMOOR_SMALL_DISK");
        if (disk == nullptr) GTEST_SKIP() << "LARKMOOR_SMALL_DISK names no small disk; Scripts/lib/as-tester makes one";
        small = std::make_unique<ConfigFolder>(disk);
    }

    /// Writes until nothing more goes, and gives back that many bytes, in whole pages.
    void fillAllBut(std::size_t bytes) const {
        const FileDescriptor file{::open(small->path("filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
        const std::string filler(page, 'f');
        off_t size = 0;
        while (::write(file.get(), filler.data(), page) == std::ssize(filler)) size += std::ssize(filler);
        ASSERT_GE(size, static_cast<off_t>(bytes));
        ASSERT_EQ(::ftruncate(file.get(), size - static_cast<off_t>(bytes)), 0);
    }

    std::unique_ptr<ConfigFolder> small;
};

TEST_F(FullDisk, NoRoomForTheCopyChangesNothing) {
    small->write("a", "old");
    fillAllBut(0);
    const std::string copy = small->path("a.larkmoor-backup-" MOMENT);
    EXPECT_EQ(Transaction::commit({{small->change("a", "new")}}, moment),
              refused({{"~/a", "this file was not copied, so nothing was written — " + copy +
                                   " could not be written: No space left on device"}}));
    EXPECT_THAT(small->names(), ElementsAre("a", "filler"));
    EXPECT_EQ(small->read("a"), "old");
}

TEST_F(FullDisk, NoRoomForTheNewBytesPutsEverythingBack) {
    small->write("a", "old a");
    small->write("b", "old b");
    fillAllBut(4 * page);
    const std::string large(5 * page, 'n');
    const FileChange changes[] = {small->change("a", "new a"), small->change("b", large)};
    EXPECT_EQ(Transaction::commit(changes, moment),
              refused({{"~/b", notWritten(small->path("b"), "No space left on device")}}));
    EXPECT_THAT(small->names(), ElementsAre("a", "b", "filler"));
    EXPECT_EQ(small->read("a"), "old a");
    EXPECT_EQ(small->read("b"), "old b");
}

TEST_F(FullDisk, NoRoomToRestoreKeepsTheCopies) {
    small->write("a", "old a");
    small->write("b", "old b");
    const FileChange changes[] = {small->change("a", "new a"), small->change("b", "new b")};
    int calls = 0;
    const auto result = Transaction::commit(changes, moment, [&] {
        if (++calls != 2) return;
        small->spoilRename("b");
        fillAllBut(0);
    });
    const std::string full = "No space left on device";
    EXPECT_EQ(result, refused({{"~/b", notWritten(small->path("b"), "No such file or directory")},
                               {"~/a", notPutBack(small->path("a"), full)},
                               {small->path("a.larkmoor-backup-" MOMENT), kept},
                               {"~/b", notPutBack(small->path("b"), full)},
                               {small->path("b.larkmoor-backup-" MOMENT), kept}}));
    EXPECT_EQ(small->read("a"), "new a");
    EXPECT_EQ(small->read("a.larkmoor-backup-" MOMENT), "old a");
    EXPECT_EQ(small->read("b"), "old b");
    EXPECT_EQ(small->read("b.larkmoor-backup-" MOMENT), "old b");
    EXPECT_EQ(small->names().size(), 5U) << "no temporary file is left on a disk that has no room for it";
}

}  // namespace
}  // namespace larkmoor
