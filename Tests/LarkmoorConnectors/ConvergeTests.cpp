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

#define CHAT "Claude Chat retirement unchanged\n~/Library/Application Support/Claude/claude_desktop_config.json: "
#define NO_CHAT CHAT "there is no file here\n"
#define HOOKS(command) "{'hooks':{'UserPromptSubmit':[{'hooks':[{'command':'" command " --harness claude-code'}]}]}}"

TEST(ConvergeTest, WhatIsNotOursToRepairIsLeftAsItIs) {
    struct Case {
        std::string_view name, settings, servers, chat, told;
    };
    const Case table[] = {
        {"nothing there", "", "", "", NO_CHAT},
        {"never connected", HOOKS("mine"), "{}", "", NO_CHAT},
        {"of another bundle", HOOKS("/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook"), "{}", "", NO_CHAT},
        {"a repair refused", HOOKS("{hook}"), "{", "",
         "Claude Code refused\n~/.claude.json: this file did not read as JSON, so nothing was written — a member name "
         "was expected (at byte 1)\n" NO_CHAT},
        {"while Claude runs", "", "", "{'mcpServers':{'a':{'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}",
         CHAT "Claude is running, so this file was left as it is until Claude quits\n"},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        for (const auto& [file, text] :
             {std::pair{settingsFile, row.settings}, {serverFile, row.servers}, {chatFile, row.chat}}) {
            if (!text.empty()) home.write(file, text);
        }
        const auto before = home.files();
        EXPECT_EQ(told(home, launch(home, !row.chat.empty())), row.told);
        EXPECT_EQ(home.files(), before);
    }
}

TEST(ConvergeTest, OurOwnStaleWiringIsRepairedOnce) {
    const ConnectorHome home;
    home.write(settingsFile, HOOKS("{hook}"));
    home.write(serverFile, "{}");
    const auto steps = launch(home);
    ASSERT_EQ(steps.size(), 2U);
    EXPECT_EQ(steps[0].name, "Claude Code");
    EXPECT_EQ(steps[0].outcome.result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.claudeCode().scan().state, ConnectorState::connected);
    const auto after = home.files();
    EXPECT_EQ(told(home, launch(home)), NO_CHAT);
    EXPECT_EQ(home.files(), after);
}

}  // namespace
}  // namespace larkmoor
