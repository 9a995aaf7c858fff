// The connectors' duties for the menu.
#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include <filesystem>
#include <fstream>

#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/ConvergeDuties.h"
#include "Support/TemporaryFolder.h"

namespace larkmoor {
namespace {

using Result = ConnectorOutcome::Result;

TEST(ConvergeDutiesTest, EveryOutcomeButUnchangedIsLogged) {
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

TEST(ConvergeDutiesTest, WithoutABundleNothingHappens) {
    const testing::TemporaryFolder home;
    const std::string file = home / "Library/Application Support/Claude/claude_desktop_config.json";
    const std::string before = R"({"mcpServers":{"a":{"command":"/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}})";
    std::filesystem::create_directories(std::filesystem::path{file}.parent_path());
    std::ofstream{file} << before;
    const auto duties = ConvergeDuties::make({.home = home.path().string(),
                                              .bundle = std::nullopt,
                                              .runningApplications = [] { return std::vector<RunningApplication>{}; },
                                              .log = [](std::string_view line) { ADD_FAILURE() << line; }});
    EXPECT_EQ(duties.retiredBundleID, "com.anthropic.claudefordesktop");
    for (const auto& duty : {duties.converge, duties.retire}) {
        MainLoop loop;
        boost::asio::co_spawn(loop, duty(), boost::asio::detached);
        loop.run();
    }
    EXPECT_EQ(asText(*Files::read(file)), before);
}

}  // namespace
}  // namespace larkmoor
