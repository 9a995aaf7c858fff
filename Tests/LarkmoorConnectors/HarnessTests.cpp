// What holds for every harness: over files in the styles of many hands and files made by chance, an install connects, a
// second one changes nothing, and a removal takes out ours and nothing else; where the disk, its owner or another
// program is in the way, the files stay whole. As somebody who is not root.
#include <fmt/ranges.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <random>
#include <regex>
#include <thread>

#include "LarkmoorConnectors/Harnesses.h"
#include "Support/SmallDisk.h"

namespace larkmoor::testing {
namespace {

using Result = ConnectorOutcome::Result;

class HarnessTest : public ::testing::TestWithParam<Harness> {};
class HarnessWithHooks : public HarnessTest {};

// Each row's file is the only one of its harness.
TEST_P(HarnessTest, ItConnectsOnceAndTheUsersBytesComeBack) {
    for (const auto& [file, rows] : GetParam().files) {
        for (const RoundTrip& row : rows) {
            SCOPED_TRACE(row.name);
            const ConnectorHome home;
            home.makeFolder(GetParam().folder);
            home.write(file, row.in);
            const auto connector = GetParam().make(home);
            const ConnectorOutcome installed = connector->install();
            ASSERT_EQ(installed.result, Result::changed) << home.told(installed);
            EXPECT_EQ(connector->scan().state, ConnectorState::connected);
            const auto connected = home.files();
            EXPECT_EQ(connector->install().result, Result::unchanged);
            EXPECT_EQ(home.files(), connected);
            const ConnectorOutcome removed = connector->remove();
            EXPECT_EQ(removed.result, Result::changed);
            EXPECT_EQ(home.read(file), row.after == asItWas ? home.shown(home.filled(row.in)) : unfolded(row.after));
            std::string said;
            for (const auto& [subject, text] : removed.observations) {
                if (text.contains(" remains") || text.contains(" stays")) said += text;
            }
            EXPECT_EQ(said, std::string{row.leftover}.append(GetParam().alwaysLeft));
            EXPECT_EQ(home.read(GetParam().receipt), std::nullopt);
            EXPECT_EQ(connector->scan().state, ConnectorState::found);
        }
    }
}

TEST_P(HarnessTest, ARemovalThatMayNotLookForOursIsRefused) {
    ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
    const ConnectorHome home;
    home.makeFolder(GetParam().folder);
    const auto connector = GetParam().make(home);
    ASSERT_EQ(connector->install().result, Result::changed);
    const auto installed = home.files();
    home.setMode(GetParam().folder, 0);
    const std::string told = home.told(connector->remove());
    home.setMode(GetParam().folder, 0755);
    EXPECT_TRUE(told.starts_with("refused") && told.contains(": this folder cannot be written by this user")) << told;
    EXPECT_EQ(home.files(), installed);
}

/// A hooks file with entries of the user's, numbered in file order, and as it falls out some of ours among them. No
/// container is empty, so that all of them have to come back.
struct HooksMaker {
    std::mt19937 chance;
    const ConnectorHome& home;
    const Harness& harness;
    bool withOurs;
    int users = 0;
    std::string newline = pick({"", "\n", "\n", "\r\n"}), colon = pick({":", ": ", " : "}),
                unit = newline.empty() ? "" : pick({" ", "  ", "    ", "\t"});

    std::string make() {
        std::vector<std::string> events;
        for (const std::string_view event : harness.events) {
            if (one(2))
                events.push_back(member(event, list(2, harness.grouped ? &HooksMaker::group : &HooksMaker::entry)));
        }
        std::vector<std::string> members{member("model", "\"x\"")};
        if (!events.empty()) members.push_back(member("hooks", container("{}", 1, events)));
        if (one(2)) members.push_back(member("b", "[1,\t2 ]"));
        return container("{}", 0, members) + pick({"", "\n"});
    }

    bool one(int of) { return std::uniform_int_distribution{1, of}(chance) == 1; }
    std::string pick(const std::vector<std::string_view>& texts) {
        return std::string{texts[std::uniform_int_distribution<std::size_t>{0, texts.size() - 1}(chance)]};
    }
    std::string member(std::string_view name, const std::string& value) const {
        return fmt::format("\"{}\"{}{}", name, colon, value);
    }
    std::string container(std::string_view brackets, int depth, const std::vector<std::string>& items) const {
        std::string indent = newline;
        for (int level = 0; level < depth; ++level) indent += unit;
        return fmt::format("{0}{2}{3}{4}{5}{1}", brackets[0], brackets[1], indent, unit,
                           fmt::join(items, "," + indent + unit), indent);
    }
    std::string list(int depth, std::string (HooksMaker::*item)(int)) {
        std::vector<std::string> items;
        do items.push_back((this->*item)(depth + 1));
        while (!one(3));
        return container("[]", depth, items);
    }
    std::string group(int depth) {
        std::vector<std::string> members;
        if (one(3)) members.push_back(member("matcher", "\"Bash\""));
        members.push_back(member("hooks", list(depth + 1, &HooksMaker::entry)));
        return one(8) ? "7" : container("{}", depth, members);
    }
    std::string entry(int depth) {
        const std::string mine = fmt::format("user-{}", ++users);
        const std::string command = withOurs && one(2) ? home.filled(pick(harness.ours)) : mine;
        return container("{}", depth, {member("type", "\"command\""), member("command", JSONLiteral::quote(command))});
    }
};

/// The user's commands, in the order in which they stand in the file.
std::vector<std::string> usersCommands(const std::string& file) {
    static const std::regex command{"user-[0-9]+"};
    return {std::sregex_token_iterator{file.begin(), file.end(), command}, {}};
}

TEST_P(HarnessWithHooks, WhateverTheHooksFileItInstallsAndComesBack) {
    const ConnectorHome home;
    const Block hooks = GetParam().hooks(home);
    for (unsigned seed = 1; seed <= 600; ++seed) {
        const bool withOurs = seed % 2 == 0;
        const std::string before = HooksMaker{std::mt19937{seed}, home, GetParam(), withOurs}.make();
        SCOPED_TRACE(before);
        const auto text = [](const FileDocument& file) { return std::string{asText(FileDocuments::bytes(file))}; };
        const auto document = FileDocuments::read(copyBytes(before), FileFormat::json).value();
        const BlockInstalled installed = hooks.installed(document, false).value();
        const std::string with = text(installed.document);
        ASSERT_EQ(hooks.find(installed.document, false), BlockFinding{BlockFinding::Connected{}}) << with;
        ASSERT_EQ(text(hooks.installed(installed.document, false)->document), with);
        ASSERT_EQ(usersCommands(with), usersCommands(before)) << with;
        const BlockRemoved removed = hooks.removed(installed.document, {installed.made.created, {}, {}, {}}).value();
        const std::string after = text(*removed.document);
        ASSERT_EQ(usersCommands(after), usersCommands(before)) << after;
        ASSERT_EQ(hooks.find(*removed.document, false), BlockFinding{BlockFinding::Absent{}}) << after;
        if (withOurs) continue;
        ASSERT_EQ(after, before);
        ASSERT_TRUE(removed.leftovers.empty());
    }
}

std::vector<Harness> harnessesWithHooks() {
    std::vector<Harness> all = harnesses();
    std::erase_if(all, [](const Harness& each) { return !each.hooks; });
    return all;
}

std::string nameOf(const ::testing::TestParamInfo<Harness>& info) { return std::string{info.param.name}; }
INSTANTIATE_TEST_SUITE_P(Of, HarnessTest, ::testing::ValuesIn(harnesses()), nameOf);
INSTANTIATE_TEST_SUITE_P(Of, HarnessWithHooks, ::testing::ValuesIn(harnessesWithHooks()), nameOf);

// Where the disk, its owner or another program is in the way, the files stay whole. As somebody who is not root.
class ClaudeCodeFaults : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(::geteuid(), 0U) << "root is refused nothing";
        fill(home);
    }
    static void fill(const ConnectorHome& each) {
        each.write(settingsFile, users);
        each.write(serverFile, users);
    }

    static constexpr std::string_view users = "{}";
    static constexpr std::string_view written =
        "\n~/.claude/settings.json: the Larkmoor entry was written to this file"
        "\n~/.claude.json: the Larkmoor entry was written to this file";
    ConnectorHome home;
    ClaudeCodeConnector connector = home.claudeCode();
};

// It could be replaced by one rename, and with it what we never read.
TEST_F(ClaudeCodeFaults, WhatCannotBeReadIsNotWrittenThoughItCouldBe) {
    home.setMode(settingsFile, 0222);
    const auto before = home.files();
    EXPECT_EQ(
        home.told(connector.install()),
        "refused\n~/.claude/settings.json: this file did not read as JSON, so nothing was written — Permission denied");
    EXPECT_EQ(home.files(), before);
}

TEST_F(ClaudeCodeFaults, AReceiptThatCannotBeWrittenIsSaid) {
    home.makeFolder("Library");
    home.setMode("Library", 0555);
    EXPECT_EQ(home.told(connector.install()),
              fmt::format("changed\n~/.claude/settings.json" COPIED "\n~/.claude.json" COPIED
                          "\n~/{}: the record of what was created was not written here — ~/Library/Application Support "
                          "could not be written: Permission denied{}",
                          receiptFile, written));
    home.setMode("Library", 0755);
    // There is nothing to do, so what we made counts as the user's from now on.
    EXPECT_EQ(connector.install().result, Result::unchanged);
    EXPECT_EQ(home.read(receiptFile), std::nullopt);
}

TEST_F(ClaudeCodeFaults, LinksIntoADotfilesFolderStayLinks) {
    const std::string target = "dotfiles/hooks.json";
    home.write(target, users);
    home.setMode(target, 0600);
    std::filesystem::remove(home.path(settingsFile));
    std::filesystem::create_symlink("../" + target, home.path(settingsFile));
    EXPECT_EQ(home.told(connector.install()),
              fmt::format("changed\n~/{}" COPIED "\n~/.claude.json" COPIED "{}", target, written));
    for (const std::string& file : {target, target + COPY}) EXPECT_EQ(home.mode(file), 0600U);
    EXPECT_EQ(connector.scan().state, ConnectorState::connected);
    EXPECT_EQ(connector.remove().result, Result::changed);
    EXPECT_EQ(home.read(target), users);
    EXPECT_EQ(home.files().at(settingsFile), "-> ../" + target);
}

TEST_F(ClaudeCodeFaults, ALinkToNoFileYetIsFollowed) {
    const std::string link = "-> ../dotfiles/hooks.json";
    std::filesystem::remove(home.path(settingsFile));
    home.makeFolder("dotfiles");
    std::filesystem::create_symlink("../dotfiles/hooks.json", home.path(settingsFile));
    EXPECT_EQ(connector.install().result, Result::changed);
    EXPECT_TRUE(home.read("dotfiles/hooks.json"));
    EXPECT_EQ(connector.scan().state, ConnectorState::connected);
    EXPECT_EQ(connector.remove().result, Result::changed);
    EXPECT_FALSE(home.read("dotfiles/hooks.json"));
    EXPECT_EQ(home.files().at(settingsFile), link);

    std::filesystem::remove_all(home.path("dotfiles"));
    EXPECT_EQ(
        home.told(connector.install()),
        "refused\n~/.claude/settings.json: this link leads to ~/.claude/../dotfiles/hooks.json, where there is no "
        "file\n~/.claude/../dotfiles: this folder is not there, so nothing was written");
    EXPECT_EQ(home.files().at(settingsFile), link);
}

TEST_F(ClaudeCodeFaults, TwoLabelsOfOneFileArePlannedAsOne) {
    for (const std::string& before : {std::string{"{\n  \"mine\": 1\n}\n"}, std::string{}}) {
        if (!before.empty()) home.write("both", before);
        for (const std::string& label : {std::string{settingsFile}, std::string{".claude.json"}}) {
            std::filesystem::remove(home.path(label));
            std::filesystem::create_symlink(home.path("both"), home.path(label));
        }
        const ConnectorOutcome installed = connector.install();
        EXPECT_EQ(installed.result, Result::changed) << home.told(installed);
        EXPECT_EQ(installed.backups.size(), before.empty() ? 0U : 1U);
        EXPECT_EQ(connector.scan().state, ConnectorState::connected);
        EXPECT_EQ(connector.install().result, Result::unchanged);
        EXPECT_EQ(connector.remove().result, Result::changed);
        EXPECT_EQ(home.read("both"), before.empty() ? std::nullopt : std::optional{before});
        std::filesystem::remove(home.path("both"));
    }
}

TEST_F(ClaudeCodeFaults, ARemovalThatCannotReadAFileKeepsTheReceipt) {
    std::filesystem::remove(home.path(settingsFile));
    ASSERT_EQ(connector.install().result, Result::changed);
    const auto installed = home.files();
    home.setMode(settingsFile, 0);
    EXPECT_EQ(connector.remove().result, Result::refused);
    home.setMode(settingsFile, 0644);
    EXPECT_EQ(home.files(), installed);

    // A disk that is away, with a link to a file on it.
    home.makeFolder("disk");
    std::filesystem::rename(home.path(settingsFile), home.path("disk/settings.json"));
    std::filesystem::create_symlink(home.path("disk/settings.json"), home.path(settingsFile));
    std::filesystem::rename(home.path("disk"), home.path("away"));
    EXPECT_EQ(connector.remove().result, Result::changed);
    std::filesystem::rename(home.path("away"), home.path("disk"));
    EXPECT_EQ(connector.remove().result, Result::changed);
    EXPECT_FALSE(home.read("disk/settings.json"));
}

TEST_F(ClaudeCodeFaults, WhatIsNoRegularFileOfOrdinarySizeIsNeverRead) {
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
        std::filesystem::remove(home.path(settingsFile));
        row.make(home.path(settingsFile));
        const auto status = std::filesystem::symlink_status(home.path(settingsFile));
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(connector.scan().state, ConnectorState::found);
        const std::string refused = fmt::format("refused\n~/{}: {}", settingsFile, row.told);
        EXPECT_EQ(home.told(connector.install()), refused);
        EXPECT_EQ(home.told(connector.remove()), refused);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds{3});
        EXPECT_EQ(std::filesystem::symlink_status(home.path(settingsFile)).type(), status.type());
    }
}

// Nothing locks a harness's file: what it writes after our read is lost from the file, and in the copy.
TEST_F(ClaudeCodeFaults, AHarnessThatWritesWhileWeAreAtWork) {
    connector.now = [this] { return home.write(settingsFile, "{'model': 'theirs'}"), moment; };
    EXPECT_EQ(connector.install().result, Result::changed);
    EXPECT_EQ(home.read(settingsFile + std::string{COPY}), "{\"model\": \"theirs\"}");
    EXPECT_EQ(connector.scan().state, ConnectorState::connected);
}

TEST_F(ClaudeCodeFaults, TwoInstallsAtTheSameMomentLeaveOneWholeWiring) {
    const ConnectorHome alone;
    fill(alone);
    ASSERT_EQ(alone.claudeCode().install().result, Result::changed);
    std::atomic<int> refusals = 0;
    const auto install = [&] {
        if (home.claudeCode().install().result == Result::refused) ++refusals;
    };
    for (int round = 0; round < 50; ++round) {
        fill(home);
        std::thread other{install};
        install();
        other.join();
        // One may refuse, since the other's copy has its name; then it has taken back what it wrote, and the next
        // launch connects.
        if (connector.scan().state != ConnectorState::connected) {
            EXPECT_GT(refusals, 0);
            EXPECT_NE(connector.install().result, Result::refused);
        }
        for (const char* file : {settingsFile, serverFile}) EXPECT_EQ(home.read(file), alone.read(file));
    }
    for (const auto& [name, text] : home.files()) EXPECT_FALSE(name.ends_with(".tmp")) << name;
}

}  // namespace
}  // namespace larkmoor::testing
