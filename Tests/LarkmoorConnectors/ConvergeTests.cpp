// What a launch does by itself to the harnesses' files, which is to repair what is ours and stale and nothing else; and
// the tool that runs each verb.
#include "LarkmoorConnectors/ConnectorHome.h"
#include "LarkmoorConnectors/Connectors.h"
#include "LarkmoorConnectors/Converge.h"
#include "Support/RunTool.h"

namespace larkmoor::testing {
namespace {

TEST(ConvergeTest, WhatIsNotOursToRepairIsLeftAsItIs) {
    const std::pair<std::string_view, std::string_view> table[] = {
        {"mine", ""},
        {"/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook", ""},
        {"{hook}",
         "Claude Code refused\n~/.claude.json: this file did not read as JSON, so nothing was written — a member "
         "name was expected (at byte 1)\n"},
    };
    for (const auto& [program, refusal] : table) {
        const ConnectorHome home;
        const std::string command = std::string{program} + " --harness claude-code";
        home.write(settingsFile, "{'hooks':{'UserPromptSubmit':[{'hooks':[{'command':'" + command + "'}]}]}}");
        home.write(serverFile, "{");
        home.write(chatFile, "{'mcpServers':{'a':{'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}");
        const auto before = home.files();
        std::string told;
        for (const auto& [name, outcome] : Converge::run(home.path(), home.bundle(), "/Applications",
                                                         Connectors::Profile::production, [] { return true; })) {
            told += name + " " + home.told(outcome) + "\n";
        }
        EXPECT_EQ(told,
                  std::string{refusal} +
                      "Claude Chat retirement unchanged\n~/Library/Application Support/Claude/"
                      "claude_desktop_config.json: Claude is running, so this file was left as it is until Claude "
                      "quits\n");
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
    home.write(cursorHooks, "{'hooks':{'stop':[{'command':'{hook} --harness=cursor'}]}}");
    home.write(".claude/projects/-none/memory/MEMORY.md", "1234");
    home.write(chatFile, "{'mcpServers':{'a':{'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}");
    EXPECT_EQ(connect(home, {"scan", "claude-code"}).out,
              "claude-code: found\n  ~/.claude/settings.json\n    this file holds no Larkmoor hook entry\n"
              "  ~/.claude.json\n    there is no file here\n");
    const std::pair<std::vector<std::string>, std::string_view> table[] = {
        {{"install", "claude-code"}, "\"backups\": [\n      \"~/.claude/settings.json.larkmoor-backup-"},
        {{"scan"}, "\"state\": \"connected\""},
        {{"stale"}, "\"stale\": false"},
        {{"projects"}, "\"path\": \"~/.claude/projects/-none/memory/MEMORY.md\",\n          \"bytes\": 4,"},
        {{"memory"}, "\"files\": []"},
        {{"converge"}, "\"id\": \"cursor\",\n    \"result\": \"changed\""},
        {{"remove"}, "\"text\": \"this file was created when Larkmoor connected and was removed\""},
        // A test of the whole application may be running Claude at this moment.
        {{"retire"}, "\"id\": \"claude-chat\""},
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

}  // namespace
}  // namespace larkmoor::testing
