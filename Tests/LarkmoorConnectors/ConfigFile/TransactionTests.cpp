// What a commit leaves on the disk and what it reports, also on a disk that is full, read-only or changed meanwhile.
#include "LarkmoorConnectors/ConfigFile/Transaction.h"

#include <fcntl.h>

#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/ConfigPath.h"
#include "Support/SmallDisk.h"

namespace larkmoor::testing {
namespace {

using Committed = TransactionResult::Committed;
using Files = std::map<std::string, std::string>;

#define COPY ".larkmoor-backup-" MOMENT
constexpr const char* gone = "No such file or directory";
constexpr const char* copied = "a copy of the file was made here first";

constexpr std::string_view notWritten = "this file was not written, so nothing was changed — ",
                           notPutBack = "this file was not put back as it was — ",
                           kept =
                               "a copy of the file from before the change was kept here, because the file was not "
                               "put back as it was";

struct Said {
    std::string file;
    std::string_view what, reason = {};
};

/// A refusal that says all this of files in the folder.
TransactionResult refused(const ConfigFolder& in, const std::vector<Said>& said) {
    TransactionResult::Refused result;
    for (const auto& [file, what, reason] : said) {
        result.observations.push_back(
            what == kept
                ? Observation{in.path(file + COPY), std::string{kept}}
                : Observation{"~/" + file, fmt::format("{}{} could not be written: {}", what, in.path(file), reason)});
    }
    return result;
}

/// Commits "new" to the files of these names; before the rename of that number, counted from 1, something happens.
TransactionResult commit(const ConfigFolder& in, std::initializer_list<const char*> names, int number,
                         const std::function<void()>& happens) {
    std::vector<FileChange> changes;
    for (const char* name : names) changes.push_back(in.change(name, "new"));
    return Transaction::commit(changes, moment, [&] {
        if (--number == 0) happens();
    });
}

TEST(Transaction, CommitsEveryFileWithACopyAndItsPermissions) {
    const ConfigFolder folder;
    folder.write("changed", "old", 0600);
    folder.write("same", "same");
    folder.write("removed", "", 0754);  // an empty file is not an absent one
    const FileChange changes[] = {folder.change("changed", "new"), folder.change("same", "same"),
                                  folder.change("made", ""), folder.change("removed", std::nullopt)};
    const std::string copy = folder.path("changed" COPY), copyOfRemoved = folder.path("removed" COPY);
    const mode_t umask = ::umask(022);
    EXPECT_EQ(Transaction::commit({{changes[1]}}, moment), TransactionResult{TransactionResult::Unchanged{}});
    EXPECT_EQ(Transaction::commit(changes, moment),
              TransactionResult(Committed{{copy, copyOfRemoved}, {{copy, copied}, {copyOfRemoved, copied}}}));
    ::umask(umask);
    EXPECT_EQ(
        folder.files(),
        (Files{{"changed", "new"}, {"changed" COPY, "old"}, {"made", ""}, {"removed" COPY, ""}, {"same", "same"}}));
    const std::pair<std::string_view, mode_t> modes[] = {
        {"changed", 0600}, {"changed" COPY, 0600}, {"removed" COPY, 0754}, {"made", 0644}};
    for (const auto& [name, mode] : modes) EXPECT_EQ(folder.mode(name), mode) << name;
}

TEST(Transaction, OfTheCopiesThisCommitsAndTheOneBeforeSurvive) {
    using namespace std::chrono_literals;
    const char* berlin = "CET-1CEST,M3.5.0,M10.5.0/3";
    const auto summersEnd = std::chrono::sys_days{std::chrono::year{2024} / 10 / 27} + 1h;
    struct Commit {
        const char* zone;
        std::chrono::system_clock::time_point at;
        bool clockGoesBack = false;  ///< after this commit, by a day
    };
    const Commit commits[] = {{"UTC", moment},        {"UTC", moment},           {"UTC", moment},
                              {"UTC", moment},        {"UTC", moment},           {berlin, summersEnd - 1s},
                              {berlin, summersEnd},   {berlin, summersEnd + 1s}, {"XXX-10", moment, true},
                              {"XXX-9", moment + 1s}, {"XXX+5", moment + 2s},    {"UTC", moment - 24h}};
    const ConfigFolder folder;
    folder.write("a", "0");
    std::string before;
    int count = 0;
    for (const auto& [zone, at, clockGoesBack] : commits) {
        ::setenv("TZ", zone, 1);
        const auto result = Transaction::commit({{folder.change("a", std::to_string(++count))}}, at);
        ASSERT_TRUE(result.is<Committed>());
        const std::string copy = result.as<Committed>()->backups.at(0);
        EXPECT_EQ(result, TransactionResult(Committed{{copy}, {{copy, copied}}}));
        const std::string name{ConfigPath::lastComponent(copy)};
        Files want{{"a", std::to_string(count)}, {name, std::to_string(count - 1)}};
        if (!before.empty()) want[before] = std::to_string(count - 2);
        EXPECT_EQ(folder.files(), want) << count;
        if (clockGoesBack) std::filesystem::last_write_time(copy, std::filesystem::file_time_type::clock::now() + 24h);
        before = name;
    }
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
    EXPECT_EQ(Transaction::commit(changes, moment, [&] { folder.spoilRename("last"); }),
              refused(folder, {{"last", notWritten, gone}}));
    EXPECT_EQ(folder.files(), before);
    EXPECT_EQ(folder.mode("changed"), 0640U);
    EXPECT_EQ(folder.mode("removed"), 0600U);

    const FileChange vanished{folder.path("none"), "~/none", copyBytes("old"), std::nullopt};
    EXPECT_EQ(Transaction::commit({{vanished}}, moment), TransactionResult{Committed{}});
}

class TransactionFaults : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(::geteuid(), 0U) << "root is refused nothing"; }
};

TEST_F(TransactionFaults, WhatIsInTheWayIsSeenBeforeAnythingIsTouched) {
    const ConfigFolder folder;
    folder.write("first", "old");
    for (const char* name : {"folder", "closed", "blind"}) folder.makeFolder(name);
    folder.write("closed/a", "old");
    folder.setMode("closed", 0555);
    folder.setMode("blind", 0666);
    struct Case {
        std::string_view name, subject, text;
    };
    const Case table[] = {
        {"folder", "~/folder", "there is a directory at this path, so nothing was written"},
        {"closed/a", "~/closed", "this folder cannot be written by this user, so nothing was written"},
        {"closed/new", "~/closed", "this folder cannot be written by this user, so nothing was written"},
        {"blind/new", "~/blind", "this folder cannot be written by this user, so nothing was written"},
        {"none/new", "~/none", "this folder is not there, so nothing was written"},
        {"first/new", "~/first", "this folder is not there, so nothing was written"},
    };
    const Files before = folder.files();
    for (const auto& [name, subject, text] : table) {
        FileChange change{folder.path(name), "~/" + std::string{name}, copyBytes("x"), copyBytes("new")};
        EXPECT_EQ(Transaction::commit({{folder.change("first", "new"), change}}, moment),
                  TransactionResult(TransactionResult::Refused{{{std::string{subject}, std::string{text}}}}))
            << name;
        EXPECT_TRUE(Transaction::unwritableReason(folder.path(name))) << name;
    }
    EXPECT_EQ(folder.files(), before);
    EXPECT_EQ(Transaction::unwritableReason(folder.path("first")), std::nullopt);
    folder.link("circle", "circle");
    EXPECT_EQ(Transaction::commit({{{folder.path("circle"), "~/circle", {}, copyBytes("new")}}}, moment),
              TransactionResult(
                  TransactionResult::Refused{{{"~/circle", "this link leads to no file, so nothing was written"}}}));
    EXPECT_EQ(Transaction::unwritableReason(folder.path("new")), std::nullopt);
}

TEST_F(TransactionFaults, WhatChangesBetweenTheFilesIsToldOf) {
    struct Case {
        std::string_view name;
        int number;  ///< of the rename before which it happens: that of a, one/made and two/b
        void (*happens)(const ConfigFolder& folder);
        std::vector<Said> said;
        Files left;
    };
    const Case table[] = {
        {"a permission is taken away",
         2,
         [](const ConfigFolder& in) { in.setMode("two", 0555); },
         {{"two/b", notWritten, "Permission denied"}, {"two/b", notPutBack, "Permission denied"}, {"two/b", kept}},
         {{"a", "old"}, {"two/b", "old"}, {"two/b" COPY, "old"}}},
        {"the folder vanishes",
         2,
         [](const ConfigFolder& in) { std::filesystem::rename(in.path("two"), in.path("moved")); },
         {{"two/b", notWritten, gone}, {"two/b", notPutBack, gone}, {"two/b", kept}},
         {{"a", "old"}, {"moved/b", "old"}, {"moved/b" COPY, "old"}}},
        {"a folder is put in the file's place",
         2,
         [](const ConfigFolder& in) {
             std::filesystem::remove(in.path("two/b"));
             in.makeFolder("two/b");
         },
         {{"two/b", notWritten, "Is a directory"}, {"two/b", notPutBack, "Is a directory"}, {"two/b", kept}},
         {{"a", "old"}, {"two/b" COPY, "old"}}},
        {"a file that was made cannot be taken back",
         3,
         [](const ConfigFolder& in) {
             in.setMode("one", 0555);
             in.spoilRename("two/b");
         },
         {{"two/b", notWritten, gone}, {"one/made", notPutBack, "Permission denied"}},
         {{"a", "old"}, {"one/made", "new"}, {"two/b", "old"}}},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConfigFolder folder;
        for (const char* name : {"one", "two"}) folder.makeFolder(name);
        for (const char* name : {"a", "two/b"}) folder.write(name, "old");
        const auto happens = [&] { row.happens(folder); };
        EXPECT_EQ(commit(folder, {"a", "one/made", "two/b", "never"}, row.number, happens), refused(folder, row.said));
        EXPECT_EQ(folder.files(), row.left);
    }
}

/// Starts with the files a and b on the small disk.
class FullDisk : public TransactionFaults {
  protected:
    static constexpr std::size_t page = 4096;  ///< what the disk allocates at once

    void SetUp() override {
        TransactionFaults::SetUp();
        if (disk.path() == nullptr) GTEST_SKIP() << disk.absence;
        small = std::make_unique<ConfigFolder>(disk.path());
        for (const char* name : {"a", "b"}) small->write(name, "old");
    }

    /// Fills the disk and gives back that many bytes, in whole pages.
    void fillAllBut(std::size_t bytes) const {
        const FileDescriptor file{::open(small->path("filler").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)};
        const std::string filler(page, 'f');
        off_t size = 0;
        while (::write(file.get(), filler.data(), page) == std::ssize(filler)) size += std::ssize(filler);
        ASSERT_GE(size, static_cast<off_t>(bytes));
        ASSERT_EQ(::ftruncate(file.get(), size - static_cast<off_t>(bytes)), 0);
    }

    Files filesButFiller() const {
        Files files = small->files();
        files.erase("filler");
        return files;
    }

    const std::string full = "No space left on device";
    SmallDisk disk;
    std::unique_ptr<ConfigFolder> small;
};

TEST_F(FullDisk, NoRoomForTheNewBytesChangesNothing) {
    fillAllBut(4 * page);
    const std::string large(5 * page, 'n');
    EXPECT_EQ(Transaction::commit({{small->change("a", "new"), small->change("b", large)}}, moment),
              refused(*small, {{"b", notWritten, full}}));
    EXPECT_EQ(filesButFiller(), (Files{{"a", "old"}, {"b", "old"}}));
}

TEST_F(FullDisk, NoRoomToRestoreKeepsTheCopies) {
    const auto result = commit(*small, {"a", "b"}, 2, [&] {
        small->spoilRename("b");
        fillAllBut(0);
    });
    EXPECT_EQ(
        result,
        refused(*small,
                {{"b", notWritten, gone}, {"a", notPutBack, full}, {"a", kept}, {"b", notPutBack, full}, {"b", kept}}));
    EXPECT_EQ(filesButFiller(), (Files{{"a", "new"}, {"a" COPY, "old"}, {"b", "old"}, {"b" COPY, "old"}}));
}

}  // namespace
}  // namespace larkmoor::testing
