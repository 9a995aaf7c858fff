// What a launch does by itself to the harnesses' files, which is to repair what is ours and stale and nothing else; and
// the tool that runs each verb.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/Connectors.h"
#include "LarkmoorConnectors/Converge.h"
#include "Support/RunTool.h"

namespace larkmoor {
namespace {

using testing::chatFile;
using testing::ConnectorHome;
using testing::runTool;
using testing::serverFile;
using testing::settingsFile;
using testing::ToolRun;

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

// The connectors' tool as people meet it: the real program over real homes.

ToolRun connect(const ConnectorHome& home, std::vector<std::string> words) {
    words.insert(words.begin(), {LARKMOOR_CONNECT, "--home", home.path() + "/", "--bundle", home.bundle()});
    ToolRun run = runTool(words);
    run.out = home.shown(run.out);
    return run;
}

TEST(LarkmoorConnect, EveryVerb) {
    const ConnectorHome home;
    home.write(settingsFile, "{ }");
    home.write(".claude/projects/-none/memory/MEMORY.md", "1234");
    home.write(chatFile, "{'mcpServers':{'a':{'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}");
    EXPECT_EQ(connect(home, {"scan"}).out,
              "claude-code: found\n  ~/.claude/settings.json\n    this file holds no Larkmoor hook entry\n"
              "  ~/.claude.json\n    there is no file here\n");
    const std::pair<std::vector<std::string>, std::string_view> table[] = {
        {{"install", "claude-code"}, "\"result\": \"changed\""},
        {{"scan"}, "\"state\": \"connected\""},
        {{"stale"}, "\"stale\": false"},
        {{"projects"}, "\"path\": \"~/.claude/projects/-none/memory/MEMORY.md\",\n          \"bytes\": 4,"},
        {{"memory"}, "\"files\": []"},
        {{"remove"}, "\"text\": \"this file was created when Larkmoor connected and was removed\""},
        {{"retire"},
         "\"backups\": [\n      \"~/Library/Application Support/Claude/claude_desktop_config.json.larkmoor-"},
        {{"converge"}, "\"id\": \"claude-chat\""},
    };
    for (auto [words, want] : table) {
        words.emplace_back("--json");
        const ToolRun run = connect(home, words);
        EXPECT_EQ(run.status, 0) << words.front();
        EXPECT_TRUE(run.out.starts_with("[\n") && run.out.ends_with("]\n") && run.out.contains(want)) << run.out;
    }
    EXPECT_EQ(home.read(settingsFile), "{}");
}

TEST(LarkmoorConnect, ARefusalIsOneAndAWrongWordTwo) {
    const ConnectorHome home;
    EXPECT_EQ(connect(home, {"install"}).status, 1);
    const std::pair<std::vector<std::string>, std::string_view> table[] = {
        {{}, "there is no verb\n"},
        {{"wire"}, "there is no verb wire\n"},
        {{"scan", "vi"}, "there is no harness vi\n"},
        {{"converge", "claude-code"}, "converge takes no harness\n"},
        {{"scan", "--all"}, "there is no option --all\n"},
    };
    for (const auto& [words, want] : table) {
        const ToolRun run = connect(home, words);
        EXPECT_EQ(run.status, 2) << want;
        EXPECT_TRUE(run.err.starts_with(want) && run.err.contains("usage: larkmoor-connect")) << run.err;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(runTool({LARKMOOR_CONNECT, "scan", "--home", home.path()}).status, 2);
    EXPECT_EQ(runTool({LARKMOOR_CONNECT, "--help"}).status, 0);
}

}  // namespace
}  // namespace larkmoor
