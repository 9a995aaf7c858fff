// The connectors' duties for the menu.
#include <gtest/gtest.h>

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>

#include "LarkmoorMenuApp/ConvergeDuties.h"

namespace larkmoor {
namespace {

using Result = ConnectorOutcome::Result;

TEST(ConvergeDutiesTest, EveryOutcomeButUnchangedIsLogged) {
    const std::string lead = "[larkmoor-menu] converge (m:1474, m:1613): Claude Code → ";
    const std::pair<ConnectorOutcome, std::optional<std::string>> table[] = {
        {{Result::changed, {{"/a", "x"}, {"/b", "y"}}, {"/c"}}, lead + "changed: /a: x; /b: y"},
        {{Result::refused, {{"/a", "x"}}, {}}, lead + "refused: /a: x"},
        {{Result::unchanged, {{"/a", "x"}}, {}}, std::nullopt},
    };
    for (const auto& [outcome, want] : table) EXPECT_EQ(ConvergeDuties::line({"Claude Code", outcome}), want);
}

TEST(ConvergeDutiesTest, WithoutABundleNothingHappens) {
    const auto duties = ConvergeDuties::make({.home = "/nonexistent",
                                              .bundle = std::nullopt,
                                              .runningApplications = []() -> std::vector<RunningApplication> {
                                                  ADD_FAILURE() << "a look at the applications";
                                                  return {};
                                              },
                                              .log = [](std::string_view line) { ADD_FAILURE() << line; }});
    EXPECT_EQ(duties.retiredBundleID, "com.anthropic.claudefordesktop");
    for (const auto& duty : {duties.converge, duties.retire}) {
        MainLoop loop;
        boost::asio::co_spawn(loop, duty(), boost::asio::detached);
        loop.run();
    }
}

}  // namespace
}  // namespace larkmoor
