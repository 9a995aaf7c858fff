// The launch's upkeep of the harnesses' files as duties of the menu: off the main thread, and with its words for the
// log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <filesystem>
#include <fstream>
#include <thread>

#include "LarkmoorMenuApp/ConvergeDuties.h"
#include "LarkmoorPlatform/Files.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using Result = ConnectorOutcome::Result;

TEST(ConvergeDutiesTest, TheLogHearsOfWhatIsNotAsItWas) {
    struct Case {
        ConnectorOutcome outcome;
        std::optional<std::string> want;
    };
    const std::string lead = "[larkmoor-menu] converge (m:1474, m:1613): Claude Code → ";
    const Case table[] = {
        {{Result::changed, {{"/a", "x"}, {"/b", "y"}}, {"/c"}}, lead + "changed: /a: x; /b: y"},
        {{Result::refused, {{"/a", "x"}}, {}}, lead + "refused: /a: x"},
        {{Result::unchanged, {{"/a", "x"}}, {}}, std::nullopt},
    };
    for (const Case& row : table) EXPECT_EQ(ConvergeDuties::line({"Claude Code", row.outcome}), row.want);
}

class ConvergeDutiesRun : public ::testing::Test {
  protected:
    ConvergeDutiesRun() {
        std::filesystem::create_directories(std::filesystem::path{file}.parent_path());
        std::ofstream{file} << before;
    }

    void run(const MenuDuties::Duty& duty) {
        boost::asio::co_spawn(loop, duty(), boost::asio::detached);
        loop.restart();
        loop.run();
    }
    std::string held() const { return std::string{asText(Files::read(file).value())}; }

    ConvergeDuties::Seams seams(std::optional<std::string> bundle) {
        return {.home = folder.path().string(),
                .bundle = std::move(bundle),
                .runningApplications =
                    [this] {
                        EXPECT_NE(std::this_thread::get_id(), main);
                        return running;
                    },
                .log =
                    [this](std::string_view line) {
                        EXPECT_EQ(std::this_thread::get_id(), main);
                        lines.emplace_back(line);
                    }};
    }

    MainLoop loop{1};
    const std::thread::id main = std::this_thread::get_id();
    testing::TemporaryFolder folder;
    std::string file = folder / "Library/Application Support/Claude/claude_desktop_config.json";
    std::string before = R"({"mcpServers":{"a":{"command":"/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}})";
    std::vector<RunningApplication> running;
    std::vector<std::string> lines;
};

TEST_F(ConvergeDutiesRun, WithoutABundleNothingHappens) {
    MenuDuties duties;
    ConvergeDuties::join(duties, seams(std::nullopt));
    run(duties.converge);
    run(duties.retireChatConnection);
    EXPECT_EQ(held(), before);
    EXPECT_THAT(lines, IsEmpty());
}

TEST_F(ConvergeDutiesRun, WhatWaitsForClaudeIsDoneAfterItsEnd) {
    MenuDuties duties;
    ConvergeDuties::join(duties, seams("/L/Larkmoor.app"));
    running = {{1, "/x", "com.example"}, {2, "/y", "com.anthropic.claudefordesktop"}};
    run(duties.converge);
    EXPECT_EQ(held(), before);
    EXPECT_THAT(lines, IsEmpty());
    running = {{1, "/x", "com.example"}};
    run(duties.retireChatConnection);
    EXPECT_EQ(held(), R"({"mcpServers":{}})");
    EXPECT_THAT(lines, ElementsAre(::testing::EndsWith("the Larkmoor entry \"a\" was removed from this file")));
}

}  // namespace
}  // namespace larkmoor
