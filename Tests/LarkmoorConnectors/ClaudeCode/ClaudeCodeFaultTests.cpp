// Claude Code's verbs where the disk, its owner or another program is in the way. As somebody who is not root.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <thread>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::moment;
using testing::receiptFile;
using testing::serverFile;
using testing::settingsFile;

constexpr const char* usersSettings = "{\n  \"model\": \"x\"\n}\n";
constexpr const char* copyOf = ".larkmoor-backup-" MOMENT;

class ClaudeCodeFaults : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_NE(::geteuid(), 0U) << "root is refused nothing"; }

    ConnectorHome home;
};

TEST_F(ClaudeCodeFaults, WhatCannotBeWrittenIsRefusedBeforeAnythingIs) {
    struct Case {
        std::string_view name, locked;
        mode_t mode;
        std::string_view told;
    };
    const Case table[] = {
        {"a server file", serverFile, 0444,
         "~/.claude.json: this file cannot be written by this user, so nothing was written"},
        {"a folder", ".claude", 0555, "~/.claude: this folder cannot be written by this user, so nothing was written"},
        {"a file that nobody may touch", settingsFile, 0000,
         "~/.claude/settings.json: this file cannot be written by this user, so nothing was written"},
        // It could be replaced by one rename, and with it what we never read.
        {"a file that may be written and not read", settingsFile, 0222,
         "~/.claude/settings.json: this file did not read as JSON, so nothing was written — Permission denied"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        home.write(settingsFile, usersSettings);
        home.write(serverFile, "{}");
        const mode_t before = home.mode(row.locked);
        home.setMode(row.locked, row.mode);
        const auto files = home.files();
        EXPECT_EQ(home.told(home.claudeCode().install()), "refused\n" + std::string{row.told});
        EXPECT_EQ(home.files(), files);
        home.setMode(row.locked, before);
        EXPECT_EQ(home.read(settingsFile), usersSettings);
    }
}

TEST_F(ClaudeCodeFaults, AReceiptThatCannotBeWrittenIsSaid) {
    home.makeFolder(".claude");
    home.makeFolder("Library");
    home.setMode("Library", 0555);
    EXPECT_EQ(home.told(home.claudeCode().install()),
              "changed\n~/Library/Application Support/Larkmoor/Connectors/claude-code.json: the record of what was "
              "created was "
              "not written here — ~/Library/Application Support could not be written: Permission denied\n"
              "~/.claude/settings.json: the Larkmoor entry was written to this file\n"
              "~/.claude.json: the Larkmoor entry was written to this file");
    home.setMode("Library", 0755);
    // The next install finds nothing to do, so what we made counts as the user's from now on.
    EXPECT_EQ(home.claudeCode().install().result, ConnectorOutcome::Result::unchanged);
    EXPECT_EQ(home.read(receiptFile), std::nullopt);
}

TEST_F(ClaudeCodeFaults, LinksIntoADotfilesFolderStayLinks) {
    home.write("dotfiles/claude.json", usersSettings);
    home.setMode("dotfiles/claude.json", 0600);
    home.makeFolder(".claude");
    std::filesystem::create_symlink("../dotfiles/claude.json", home.path(settingsFile));
    const std::string copy = std::string{"~/dotfiles/claude.json"} + copyOf;
    EXPECT_EQ(home.told(home.claudeCode().install()),
              "changed\n" + copy +
                  ": a copy of the file was made here first\n"
                  "~/.claude/settings.json: the Larkmoor entry was written to this file\n"
                  "~/.claude.json: the Larkmoor entry was written to this file");
    EXPECT_EQ(home.files().at(settingsFile), "-> ../dotfiles/claude.json");
    EXPECT_EQ(home.mode("dotfiles/claude.json"), 0600U);
    EXPECT_EQ(home.mode("dotfiles/claude.json" + std::string{copyOf}), 0600U);
    EXPECT_EQ(home.claudeCode().scan().state, ConnectorState::connected);
    EXPECT_EQ(home.claudeCode().remove().result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.read("dotfiles/claude.json"), usersSettings);
    EXPECT_EQ(home.files().at(settingsFile), "-> ../dotfiles/claude.json");
}

TEST_F(ClaudeCodeFaults, AFullDiskLeavesEverythingAsItWas) {
    const char* disk = std::getenv("LARKMOOR_SMALL_DISK");
    if (disk == nullptr) GTEST_SKIP() << "LARKMOOR_SMALL_DISK names no small disk; Scripts/lib/as-tester makes one";
    const ConnectorHome small{disk};
    small.write(settingsFile, usersSettings);
    small.write(serverFile, "{}");
    const auto before = small.files();
    {
        std::ofstream filler{small.path("filler"), std::ios::binary};
        while (filler.put('x').flush()) {
        }
    }
    const std::string told = small.told(small.claudeCode().install());
    std::filesystem::remove(small.path("filler"));
    EXPECT_EQ(
        told,
        "refused\n~/.claude/settings.json: this file was not copied, so nothing was written — ~/.claude/settings.json" +
            std::string{copyOf} + " could not be written: No space left on device");
    EXPECT_EQ(small.files(), before);
}

// Nothing locks a harness's file: what it writes while we are at work is told here as it is. No reader ever finds half
// a file.
TEST_F(ClaudeCodeFaults, AHarnessThatWritesWhileWeAreAtWork) {
    constexpr const char* theirs = "{\n  \"model\": \"theirs\"\n}\n";
    struct Case {
        std::string_view name, copy;
        int rename;          ///< the harness writes before the copy (0), or before that rename of ours
        bool isLost = true;  ///< the harness's write, from the file itself
    };
    const Case table[] = {
        {"after our read: the copy has it", theirs, 0},
        {"after our copy: nothing has it", usersSettings, 1},
        {"after our rename: it stands", usersSettings, 2, false},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome own;
        own.write(settingsFile, usersSettings);
        own.write(serverFile, "{}");
        ClaudeCodeConnector connector = own.claudeCode();
        const auto writeIf = [&](int place) {
            if (place == row.rename) own.write(settingsFile, theirs);
        };
        connector.now = [&] {
            writeIf(0);
            return moment;
        };
        connector.beforeRename = [&, rename = 0]() mutable { writeIf(++rename); };
        EXPECT_EQ(connector.install().result, ConnectorOutcome::Result::changed);
        EXPECT_EQ(own.read(settingsFile + std::string{copyOf}), row.copy);
        if (row.isLost) {
            EXPECT_TRUE(own.read(settingsFile).value_or("").starts_with("{\n  \"model\": \"x\",\n  \"hooks\": {\n"));
            EXPECT_EQ(connector.scan().state, ConnectorState::connected);
        } else {
            EXPECT_EQ(own.read(settingsFile), theirs);
            EXPECT_EQ(connector.scan().state, ConnectorState::drifted);
        }
    }
}

TEST_F(ClaudeCodeFaults, TwoInstallsAtTheSameMomentLeaveOneWholeWiring) {
    const auto fill = [](const ConnectorHome& each) {
        each.write(settingsFile, usersSettings);
        each.write(serverFile, "{\n  \"a\": 1\n}\n");
    };
    const ConnectorHome alone;
    fill(alone);
    ASSERT_EQ(alone.claudeCode().install().result, ConnectorOutcome::Result::changed);
    std::atomic<int> refusals = 0;
    const auto install = [&] {
        if (home.claudeCode().install().result == ConnectorOutcome::Result::refused) ++refusals;
    };
    for (int round = 0; round < 50; ++round) {
        fill(home);
        std::thread other{install};
        install();
        other.join();
        // One may refuse, since the other's copy has its name; then it has taken back what it wrote, and the next
        // launch connects.
        if (home.claudeCode().scan().state != ConnectorState::connected) {
            EXPECT_GT(refusals, 0);
            EXPECT_NE(home.claudeCode().install().result, ConnectorOutcome::Result::refused);
        }
        EXPECT_EQ(home.read(settingsFile), alone.read(settingsFile));
        EXPECT_EQ(home.read(serverFile), alone.read(serverFile));
    }
    for (const auto& [name, text] : home.files()) EXPECT_FALSE(name.ends_with(".tmp")) << name;
}

}  // namespace
}  // namespace larkmoor
