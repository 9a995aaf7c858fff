// What a launch does by itself to the harnesses' files: what is ours and stale, and nothing else.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/Connectors.h"
#include "LarkmoorConnectors/Converge.h"

namespace larkmoor {
namespace {

using testing::chatFile;
using testing::ConnectorHome;
using testing::serverFile;
using testing::settingsFile;

std::string told(const ConnectorHome& home, const std::vector<Converge::Step>& steps) {
    std::string text;
    for (const auto& [name, outcome] : steps) text += name + " " + home.told(outcome) + "\n";
    return text;
}

std::vector<Converge::Step> launch(const ConnectorHome& home, bool isClaudeRunning = false) {
    return Converge::run(home.path(), home.bundle(), "/Applications", Connectors::Profile::production,
                         [=] { return isClaudeRunning; });
}

constexpr const char* chat = "~/Library/Application Support/Claude/claude_desktop_config.json";
const std::string noChat = std::string{"Claude Chat retirement unchanged\n"} + chat + ": there is no file here\n";
constexpr const char* staleSettings =
    R"({"hooks":{"UserPromptSubmit":[{"hooks":[{"type":"command","command":"{hook} --harness claude-code","timeout":3}]}]}})";

TEST(ConvergeTest, AHomeThatWasNeverConnectedIsNotTouched) {
    const std::string_view table[] = {
        "",
        "{'hooks':{'UserPromptSubmit':[{'hooks':[{'command':'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness "
        "claude-code'}]}]}}"};
    for (const std::string_view settings : table) {
        const ConnectorHome home;
        if (!settings.empty()) home.write(settingsFile, settings);
        const auto before = home.files();
        EXPECT_EQ(told(home, launch(home)), noChat) << settings;
        EXPECT_EQ(home.files(), before) << settings;
    }
}

TEST(ConvergeTest, OurOwnStaleWiringIsRepairedOnce) {
    const ConnectorHome home;
    home.write(settingsFile, staleSettings);
    home.write(serverFile, "{}");
    const auto steps = launch(home);
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(steps[0].name, "Claude Code");
    EXPECT_EQ(steps[0].outcome.result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.claudeCode().scan().state, ConnectorState::connected);
    const auto after = home.files();
    EXPECT_EQ(told(home, launch(home)), noChat);
    EXPECT_EQ(home.files(), after);
}

TEST(ConvergeTest, ARefusalStaysInTheList) {
    const ConnectorHome home;
    home.write(settingsFile, staleSettings);
    home.write(serverFile, "{");
    const auto before = home.files();
    EXPECT_EQ(told(home, launch(home)),
              "Claude Code refused\n~/.claude.json: this file did not read as JSON, so nothing was written — a member "
              "name was "
              "expected (at byte 1)\n" +
                  noChat);
    EXPECT_EQ(home.files(), before);
}

TEST(ConvergeTest, WhileClaudeRunsTheRetirementWaits) {
    const ConnectorHome home;
    home.write(chatFile, R"({"mcpServers":{"a":{"command":"/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}})");
    const auto before = home.files();
    const std::string waits = std::string{"Claude Chat retirement unchanged\n"} + chat +
                              ": Claude is running, so this file was left as it is until Claude quits\n";
    EXPECT_EQ(told(home, launch(home, true)), waits);
    EXPECT_EQ(home.files(), before);
    int asked = 0;
    const auto steps = Converge::retire(home.path(), home.bundle(), Connectors::Profile::production, [&asked] {
        ++asked;
        return false;
    });
    EXPECT_EQ(asked, 1);
    ASSERT_EQ(steps.size(), 1U);
    EXPECT_EQ(steps[0].outcome.result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.read(chatFile), R"({"mcpServers":{}})");
}

}  // namespace
}  // namespace larkmoor
