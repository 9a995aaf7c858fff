// What holds for every harness: over files in the styles of many hands and files made by chance, an install connects, a
// second one changes nothing, and a removal takes out ours and nothing else; where the disk, its owner or another
// program is in the way, the files stay whole. As somebody who is not root.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <random>
#include <thread>

#include "LarkmoorConnectors/Harnesses.h"
#include "Support/SmallDisk.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::Harness;
using testing::HarnessFileRows;
using testing::moment;
using testing::RoundTrip;
using testing::unfolded;
using Result = ConnectorOutcome::Result;

const std::string copyOf = ".larkmoor-backup-" MOMENT;

class HarnessTest : public ::testing::TestWithParam<Harness> {
  protected:
    void SetUp() override { ASSERT_NE(::geteuid(), 0U) << "root is refused nothing"; }

    const Harness& harness() const { return GetParam(); }
    void fill(const ConnectorHome& each) const {
        for (const HarnessFileRows& file : harness().files) each.write(file.path, file.users);
    }
    /// What a whole install says of its files.
    std::string written() const {
        std::string said;
        for (const HarnessFileRows& file : harness().files) {
            const bool isHook = harness().name == "Fifth" && &file == &harness().files.front();
            said +=
                fmt::format("\n~/{}: the Larkmoor {} was written to this file", file.path, isHook ? "hook" : "entry");
        }
        return said + std::string{harness().notes};
    }

    /// Installs, installs again, and removes; of the harness's other files none is there.
    void expectRound(std::string_view file, const RoundTrip& row) const {
        SCOPED_TRACE(row.name);
        const ConnectorHome own;
        own.makeFolder(harness().folder);
        own.write(file, row.in);
        const auto joined = harness().connector(own);
        const ConnectorOutcome installed = joined->install();
        ASSERT_EQ(installed.result, Result::changed) << own.told(installed);
        EXPECT_EQ(joined->scan().state, ConnectorState::connected);
        const auto connected = own.files();
        EXPECT_EQ(joined->install().result, Result::unchanged);
        EXPECT_EQ(own.files(), connected);
        const ConnectorOutcome removed = joined->remove();
        EXPECT_EQ(removed.result, Result::changed);
        EXPECT_EQ(own.read(file), row.after == testing::asItWas ? own.shown(own.filled(row.in)) : unfolded(row.after));
        std::vector<std::string> said;
        for (const auto& [subject, text] : removed.observations) {
            if (text.contains(" remains") || text.contains(" stays")) said.push_back(text);
        }
        EXPECT_EQ(said, row.leftover.empty() ? std::vector<std::string>{} : std::vector{std::string{row.leftover}});
        EXPECT_EQ(own.read(harness().receipt), std::nullopt);
        EXPECT_EQ(joined->scan().state, ConnectorState::found);
    }

    ConnectorHome home;
    std::unique_ptr<Connector> connector = harness().connector(home);
    std::string first{harness().files[0].path}, second{harness().files[1].path};
};

TEST_P(HarnessTest, TheUsersBytesComeBack) {
    for (const HarnessFileRows& file : harness().files) {
        for (const RoundTrip& row : file.rows) expectRound(file.path, row);
    }
}

/// A hooks file with entries of the user's, numbered in file order, and as it falls out some of ours among them. No
/// container is empty, so that all of them have to come back.
class HooksMaker {
  public:
    HooksMaker(unsigned seed, const ConnectorHome& home, const Harness& harness)
        : chance_(seed), home_(home), harness_(harness) {
        newline_ = pick({"", "\n", "\n", "\r\n"});
        unit_ = newline_.empty() ? "" : pick({" ", "  ", "    ", "\t"});
        colon_ = pick({":", ": ", " : "});
    }

    std::string make(bool withOurs) {
        withOurs_ = withOurs;
        std::vector<std::string> events;
        for (const std::string_view event : harness_.events) {
            if (one(2)) events.push_back(member(event, harness_.grouped ? groups() : entries(3, 2)));
        }
        std::vector<std::string> members{member("model", "\"x\"")};
        if (!events.empty()) members.push_back(member("hooks", container("{}", 1, events)));
        if (one(2)) members.push_back(member("b", "[1,\t2 ]"));
        return container("{}", 0, members) + pick({"", "\n"});
    }

  private:
    bool one(int of) { return std::uniform_int_distribution{1, of}(chance_) == 1; }
    template <class Text>
    std::string pick(const std::vector<Text>& texts) {
        return std::string{texts[std::uniform_int_distribution<std::size_t>{0, texts.size() - 1}(chance_)]};
    }
    std::string pick(std::initializer_list<std::string> texts) { return pick(std::vector<std::string>{texts}); }

    std::string member(std::string_view name, const std::string& value) const {
        return fmt::format("\"{}\"{}{}", name, colon_, value);
    }
    std::string container(std::string_view brackets, int depth, const std::vector<std::string>& items) const {
        std::string indent;
        for (int level = 0; level < depth; ++level) indent += unit_;
        std::string all{brackets.front()};
        for (const std::string& item : items) {
            all += fmt::format("{}{}{}{}{}", &item == &items.front() ? "" : ",", newline_, indent, unit_, item);
        }
        return all + newline_ + indent + brackets.back();
    }

    std::string entries(int most, int depth) {
        std::vector<std::string> items;
        do items.push_back(entry(depth + 1));
        while (!one(most));
        return container("[]", depth, items);
    }
    std::string groups() {
        std::vector<std::string> items;
        do {
            std::vector<std::string> members;
            if (one(3)) members.push_back(member("matcher", "\"Bash\""));
            members.push_back(member("hooks", entries(2, 4)));
            items.push_back(one(8) ? "7" : container("{}", 3, members));
        } while (!one(3));
        return container("[]", 2, items);
    }
    std::string entry(int depth) {
        const std::string mine = fmt::format("user-{}", ++users_);
        const std::string command = withOurs_ && one(2) ? home_.filled(pick(harness_.ours)) : mine;
        return container("{}", depth, {member("type", "\"command\""), member("command", JSONLiteral::quote(command))});
    }

    std::mt19937 chance_;
    const ConnectorHome& home_;
    const Harness& harness_;
    std::string newline_, unit_, colon_;
    bool withOurs_ = false;
    int users_ = 0;
};

/// The user's commands, in the order in which they stand in the file.
std::vector<std::string> usersCommands(std::string_view file) {
    std::vector<std::string> commands;
    for (std::size_t at = file.find("\"user-"); at != std::string::npos; at = file.find("\"user-", at + 1)) {
        commands.emplace_back(file.substr(at, file.find('"', at + 1) - at));
    }
    return commands;
}

TEST_P(HarnessTest, WhateverTheHooksFileItInstallsAndComesBack) {
    const Block hooks = harness().hooks(home);
    for (unsigned seed = 1; seed <= 600; ++seed) {
        const bool withOurs = seed % 2 == 0;
        const std::string before = HooksMaker{seed, home, harness()}.make(withOurs);
        SCOPED_TRACE(before);
        const auto text = [](const FileDocument& file) { return std::string{asText(FileDocuments::bytes(file))}; };
        const auto document = FileDocuments::read(copyBytes(before), FileFormat::json);
        ASSERT_TRUE(document) << document.error();
        const auto installed = hooks.installed(*document, false);
        ASSERT_TRUE(installed) << installed.error();
        const std::string with = text(installed->document);
        ASSERT_EQ(hooks.find(installed->document, false), BlockFinding{BlockFinding::Connected{}}) << with;
        ASSERT_EQ(text(hooks.installed(installed->document, false)->document), with);
        ASSERT_EQ(usersCommands(with), usersCommands(before)) << with;
        const auto removed = hooks.removed(installed->document, {installed->made.created, {}, {}, {}});
        ASSERT_TRUE(removed) << removed.error();
        const std::string after = text(*removed->document);
        ASSERT_EQ(usersCommands(after), usersCommands(before)) << after;
        ASSERT_EQ(hooks.find(*removed->document, false), BlockFinding{BlockFinding::Absent{}}) << after;
        if (withOurs) continue;
        ASSERT_EQ(after, before);
        ASSERT_TRUE(removed->leftovers.empty());
    }
}

TEST_P(HarnessTest, WhatCannotBeWrittenIsRefusedBeforeAnythingIs) {
    constexpr std::string_view unwritable = "this file cannot be written by this user, so nothing was written";
    struct Case {
        std::string locked;
        mode_t mode;
        std::string told;
    };
    const Case table[] = {
        {second, 0444, fmt::format("~/{}: {}", second, unwritable)},
        {std::string{harness().folder}, 0555,
         fmt::format("~/{}: this folder cannot be written by this user, so nothing was written", harness().folder)},
        {first, 0000, fmt::format("~/{}: {}", first, unwritable)},
        // It could be replaced by one rename, and with it what we never read.
        {first, 0222,
         fmt::format("~/{}: this file did not read as JSON, so nothing was written — Permission denied", first)},
        {second, 0222,
         fmt::format("~/{}: this file did not read as {}, so nothing was written — Permission denied", second,
                     harness().files[1].format)},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.told);
        fill(home);
        const mode_t before = home.mode(row.locked);
        home.setMode(row.locked, row.mode);
        const auto files = home.files();
        EXPECT_EQ(home.told(connector->install()), "refused\n" + row.told);
        EXPECT_EQ(home.files(), files);
        home.setMode(row.locked, before);
        EXPECT_EQ(home.read(first), unfolded(harness().files[0].users));
    }
}

TEST_P(HarnessTest, AReceiptThatCannotBeWrittenIsSaid) {
    home.makeFolder(harness().folder);
    home.makeFolder("Library");
    home.setMode("Library", 0555);
    EXPECT_EQ(home.told(connector->install()),
              fmt::format("changed\n~/{}: the record of what was created was not written here — ~/Library/Application "
                          "Support could not be written: Permission denied{}",
                          harness().receipt, written()));
    home.setMode("Library", 0755);
    const ConnectorOutcome again = connector->install();
    if (harness().name == "Fifth") {
        // Its receipt is owed even where no file changes.
        EXPECT_EQ(home.told(again),
                  fmt::format(
                      "changed\n~/{}: nothing in this file needed changing\n~/{}: nothing in this file needed changing"
                      "\n~/{}: a note",
                      first, second, first));
        EXPECT_EQ(ReceiptStore{home.path(harness().receipt)}.read(), (ConnectorReceipt{{}, {}, {"slot"}, "5.0"}));
    } else {
        // There is nothing to do, so what we made counts as the user's from now on.
        EXPECT_EQ(again.result, Result::unchanged);
        EXPECT_EQ(home.read(harness().receipt), std::nullopt);
    }
    EXPECT_EQ(connector->install().result, Result::unchanged);
}

TEST_P(HarnessTest, LinksIntoADotfilesFolderStayLinks) {
    const std::string users = unfolded(harness().files[0].users), target = "dotfiles/hooks.json";
    home.write(target, users);
    home.setMode(target, 0600);
    home.makeFolder(harness().folder);
    std::filesystem::create_symlink("../" + target, home.path(first));
    EXPECT_EQ(home.told(connector->install()),
              "changed\n~/" + target + copyOf + ": a copy of the file was made here first" + written());
    EXPECT_EQ(home.files().at(first), "-> ../" + target);
    EXPECT_EQ(home.mode(target), 0600U);
    EXPECT_EQ(home.mode(target + copyOf), 0600U);
    EXPECT_EQ(connector->scan().state, ConnectorState::connected);
    EXPECT_EQ(connector->remove().result, Result::changed);
    EXPECT_EQ(home.read(target), users);
    EXPECT_EQ(home.files().at(first), "-> ../" + target);
}

TEST_P(HarnessTest, ALinkToNoFileYetIsFollowed) {
    home.makeFolder(harness().folder);
    home.makeFolder("dotfiles");
    std::filesystem::create_symlink("../dotfiles/hooks.json", home.path(first));
    EXPECT_EQ(connector->install().result, Result::changed);
    EXPECT_EQ(home.files().at(first), "-> ../dotfiles/hooks.json");
    EXPECT_TRUE(home.read("dotfiles/hooks.json"));
    EXPECT_EQ(connector->scan().state, ConnectorState::connected);
    EXPECT_EQ(connector->remove().result, Result::changed);
    EXPECT_EQ(home.files().at(first), "-> ../dotfiles/hooks.json");
    EXPECT_FALSE(home.read("dotfiles/hooks.json"));

    std::filesystem::remove_all(home.path("dotfiles"));
    EXPECT_EQ(home.told(connector->install()),
              fmt::format("refused\n~/{0}: this link leads to ~/{1}/../dotfiles/hooks.json, where there is no file\n"
                          "~/{1}/../dotfiles: this folder is not there, so nothing was written",
                          first, harness().folder));
    EXPECT_EQ(home.files().at(first), "-> ../dotfiles/hooks.json");
}

TEST_P(HarnessTest, TwoLabelsOfOneFileArePlannedAsOne) {
    const bool isOneFormat = harness().files[0].format == harness().files[1].format;
    for (const std::string& before : {std::string{"{\n  \"mine\": 1\n}\n"}, std::string{}}) {
        const ConnectorHome own;
        own.makeFolder(harness().folder);
        if (!before.empty()) own.write("both", before);
        for (const std::string& label : {first, second})
            std::filesystem::create_symlink(own.path("both"), own.path(label));
        const auto joined = harness().connector(own);
        const ConnectorOutcome installed = joined->install();
        EXPECT_EQ(installed.result, isOneFormat ? Result::changed : Result::refused) << own.told(installed);
        if (isOneFormat) {
            EXPECT_EQ(installed.backups.size(), before.empty() ? 0U : 1U);
            EXPECT_EQ(joined->scan().state, ConnectorState::connected);
            EXPECT_EQ(joined->install().result, Result::unchanged);
            EXPECT_EQ(joined->remove().result, Result::changed);
        }
        EXPECT_EQ(own.read("both"), before.empty() ? std::nullopt : std::optional{before});
    }
}

TEST_P(HarnessTest, WhatIsNoRegularFileOfOrdinarySizeIsNeverRead) {
    constexpr std::string_view irregular = "there is no regular file at this path, so nothing was written";
    struct Case {
        std::string_view name;
        void (*make)(const std::string& path);
        std::string_view told;
    };
    const Case table[] = {
        {"a pipe", [](const std::string& path) { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }, irregular},
        {"a socket", [](const std::string& path) { ASSERT_EQ(::mknod(path.c_str(), S_IFSOCK | 0600, 0), 0); },
         irregular},
        {"a device", [](const std::string& path) { std::filesystem::create_symlink("/dev/zero", path); }, irregular},
        {"a folder", [](const std::string& path) { std::filesystem::create_directory(path); },
         "there is a directory at this path, so nothing was written"},
        {"3 GB of nothing",
         [](const std::string& path) {
             std::ofstream{path}.flush();
             std::filesystem::resize_file(path, 3'000'000'000);
         },
         "this file did not read as JSON, so nothing was written — it is larger than 64 MiB"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome own;
        fill(own);
        std::filesystem::remove(own.path(first));
        row.make(own.path(first));
        const auto status = std::filesystem::symlink_status(own.path(first));
        const auto joined = harness().connector(own);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(joined->scan().state, ConnectorState::found);
        EXPECT_EQ(own.told(joined->install()), fmt::format("refused\n~/{}: {}", first, row.told));
        EXPECT_EQ(joined->remove().result, Result::unchanged);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{3});
        EXPECT_EQ(std::filesystem::symlink_status(own.path(first)).type(), status.type());
    }
}

TEST_P(HarnessTest, AFullDiskLeavesEverythingAsItWas) {
    const testing::SmallDisk disk;
    if (disk.path() == nullptr) GTEST_SKIP() << disk.absence;
    const ConnectorHome small{disk.path()};
    fill(small);
    const auto before = small.files();
    {
        std::ofstream filler{small.path("filler"), std::ios::binary};
        while (filler.put('x').flush()) {
        }
    }
    const std::string told = small.told(harness().connector(small)->install());
    std::filesystem::remove(small.path("filler"));
    EXPECT_EQ(told,
              fmt::format("refused\n~/{0}: this file was not copied, so nothing was written — ~/{0}{1} could not be "
                          "written: No space left on device",
                          first, copyOf));
    EXPECT_EQ(small.files(), before);
}

// Nothing locks a harness's file: what it writes while we are at work is told here as it is. No reader ever finds half
// a file.
TEST_P(HarnessTest, AHarnessThatWritesWhileWeAreAtWork) {
    const std::string theirs = "{\n  \"model\": \"theirs\"\n}\n", users = unfolded(harness().files[0].users);
    struct Case {
        std::string_view name;
        std::string copy;
        int rename;          ///< the harness writes before the copy (0), or before that rename of ours
        bool isLost = true;  ///< the harness's write, from the file itself
    };
    const Case table[] = {
        {"after our read: the copy has it", theirs, 0},
        {"after our copy: nothing has it", users, 1},
        {"after our rename: it stands", users, 2, false},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome own;
        fill(own);
        const auto writeIf = [&](int place) {
            if (place == row.rename) own.write(first, theirs);
        };
        const auto writing =
            harness().make(own, [&] { return writeIf(0), moment; }, [&, rename = 0]() mutable { writeIf(++rename); });
        EXPECT_EQ(writing->install().result, Result::changed);
        EXPECT_EQ(own.read(first + copyOf), row.copy);
        EXPECT_EQ(own.read(first) == theirs, !row.isLost);
        EXPECT_EQ(writing->scan().state, row.isLost ? ConnectorState::connected : ConnectorState::drifted);
    }
}

TEST_P(HarnessTest, TwoInstallsAtTheSameMomentLeaveOneWholeWiring) {
    const ConnectorHome alone;
    fill(alone);
    ASSERT_EQ(harness().connector(alone)->install().result, Result::changed);
    std::atomic<int> refusals = 0;
    const auto install = [&] {
        if (harness().connector(home)->install().result == Result::refused) ++refusals;
    };
    for (int round = 0; round < 50; ++round) {
        fill(home);
        std::thread other{install};
        install();
        other.join();
        // One may refuse, since the other's copy has its name; then it has taken back what it wrote, and the next
        // launch connects.
        if (connector->scan().state != ConnectorState::connected) {
            EXPECT_GT(refusals, 0);
            EXPECT_NE(connector->install().result, Result::refused);
        }
        for (const std::string& file : {first, second}) EXPECT_EQ(home.read(file), alone.read(file));
    }
    for (const auto& [name, text] : home.files()) EXPECT_FALSE(name.ends_with(".tmp")) << name;
}

INSTANTIATE_TEST_SUITE_P(Of, HarnessTest, ::testing::ValuesIn(testing::harnesses()),
                         [](const auto& info) { return std::string{info.param.name}; });

}  // namespace
}  // namespace larkmoor
