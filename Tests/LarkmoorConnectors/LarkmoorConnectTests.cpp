// The connectors' tool as people meet it: the real program over real homes.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"
#include "Support/RunTool.h"

namespace larkmoor {
namespace {

using testing::chatFile;
using testing::ConnectorHome;
using testing::runTool;
using testing::serverFile;
using testing::settingsFile;
using testing::ToolRun;

ToolRun connect(const ConnectorHome& home, std::vector<std::string> words) {
    words.insert(words.begin(), LARKMOOR_CONNECT);
    for (const std::string& word : {std::string{"--home"}, home.path() + "/", std::string{"--bundle"}, home.bundle()}) {
        words.push_back(word);
    }
    ToolRun run = runTool(words);
    run.out = home.shown(run.out);
    return run;
}

TEST(LarkmoorConnect, StatesAndPlacesForAPerson) {
    const ConnectorHome home;
    home.write(settingsFile, "{}\n");
    const ToolRun run = connect(home, {"scan"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out,
              "claude-code: found\n  ~/.claude/settings.json\n    this file holds no Larkmoor hook entry\n"
              "  ~/.claude.json\n    there is no file here\n");
    EXPECT_EQ(run.err, "");
}

TEST(LarkmoorConnect, EveryVerbAsJSON) {
    const ConnectorHome home;
    home.write(settingsFile, "{ }");
    home.write(".claude/projects/-none/memory/MEMORY.md", "1234");
    home.write(chatFile, "{'mcpServers':{'a':{'command':'/A/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}");
    struct Case {
        std::vector<std::string> words;
        std::string_view want;
    };
    const Case table[] = {
        {{"install", "claude-code", "--json"}, "\"result\": \"changed\""},
        {{"install", "--json"}, "\"text\": \"nothing in this file needed changing\""},
        {{"scan", "--json"}, "\"state\": \"connected\""},
        {{"stale", "--json"}, "\"stale\": false"},
        {{"projects", "--json"},
         "\"memory\": {\n          \"path\": \"~/.claude/projects/-none/memory/MEMORY.md\",\n          \"bytes\": 4,"},
        {{"memory", "--json"}, "\"files\": []"},
        {{"remove", "--json"}, "\"text\": \"this file was created when Larkmoor connected and was removed\""},
        {{"retire", "--json"},
         "\"backups\": [\n      \"~/Library/Application Support/Claude/claude_desktop_config.json.larkmoor-backup-"},
        {{"converge", "--json"}, "\"id\": \"claude-chat\""},
        {{"retire", "--json"}, "\"result\": \"unchanged\""},
    };
    for (const Case& row : table) {
        const ToolRun run = connect(home, row.words);
        EXPECT_EQ(run.status, 0) << row.words.front();
        EXPECT_TRUE(run.out.starts_with("[\n") && run.out.ends_with("]\n")) << run.out;
        EXPECT_TRUE(run.out.contains(row.want)) << run.out;
    }
    EXPECT_EQ(home.read(settingsFile), "{}");
}

TEST(LarkmoorConnect, ARefusalIsOneAndAWrongWordTwo) {
    const ConnectorHome home;
    EXPECT_EQ(connect(home, {"install"}).status, 1);
    home.write(serverFile, "{");
    EXPECT_EQ(connect(home, {"remove", "--json"}).status, 1);
    EXPECT_EQ(connect(home, {"scan"}).status, 0);
    struct Case {
        std::vector<std::string> words;
        std::string_view want;
    };
    const Case table[] = {
        {{}, "there is no verb\n"},
        {{"wire"}, "there is no verb wire\n"},
        {{"scan", "vi"}, "there is no harness vi\n"},
        {{"converge", "claude-code"}, "converge takes no harness\n"},
        {{"scan", "--all"}, "there is no option --all\n"},
    };
    for (const Case& row : table) {
        const ToolRun run = connect(home, row.words);
        EXPECT_EQ(run.status, 2) << row.want;
        EXPECT_TRUE(run.err.starts_with(row.want)) << run.err;
        EXPECT_TRUE(run.err.contains("usage: larkmoor-connect")) << run.err;
        EXPECT_EQ(run.out, "");
    }
    EXPECT_EQ(runTool({LARKMOOR_CONNECT, "scan", "--home", home.path()}).status, 2);
    EXPECT_EQ(runTool({LARKMOOR_CONNECT, "scan", "--home"}).status, 2);
    EXPECT_EQ(runTool({LARKMOOR_CONNECT, "--help"}).status, 0);
}

}  // namespace
}  // namespace larkmoor
