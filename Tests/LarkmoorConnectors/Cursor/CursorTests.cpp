// What is Cursor's alone: the version of its hooks file, fields that a person added to our entries, the application's
// upgrade, Claude Code's hooks that fire in Cursor too, and its workspaces.
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using namespace testing;
using Result = ConnectorOutcome::Result;

#define BOTH(prompts, tools) "{'version':1,'hooks':{'beforeSubmitPrompt':[" prompts "],'preToolUse':[" tools "]}}"
#define COMMAND(text) "{'command':'" text "'}"
#define TOOL_WITH(members) "{'command':'{hook} --harness cursor --slot pretool'," members "}"
#define PROMPT COMMAND("{hook} --harness cursor")
#define TOOL TOOL_WITH("'matcher':'{tools}','timeout':3")
#define USERS COMMAND("mine")
#define OLD "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=cursor"
#define ON_HOOKS "\n~/.cursor/hooks.json: "
#define DRIFT ON_HOOKS "the Larkmoor hook entry here — "
#define SHAPE DRIFT "the entry's shape is not the one this build writes"

TEST(CursorVerbs, TheHooksAsTheyAreFoundAndInstalled) {
    struct Case {
        std::string_view in, told, last = "the Larkmoor entry was written to this file", after = BOTH(PROMPT, TOOL);
    };
    const Case table[] = {
        {BOTH(PROMPT "," PROMPT, ""), SHAPE},
        {BOTH(PROMPT, TOOL_WITH("'matcher':'x','timeout':3")), SHAPE},
        {BOTH("{'command':'{hook} --harness cursor','timeout': \t9}", TOOL), SHAPE,
         "'timeout': 9 on the Larkmoor entry here was replaced with the proven shape"},
        // The last one is cut behind 24 characters, of which most have two bytes.
        {BOTH("{'a':1,'command':'{hook} --harness cursor'}",
              TOOL_WITH("'ü':'éééééééé éééééééé','b':'éééééééé éééééééééö'")),
         SHAPE,
         "'a':1, 'ü':'éééééééé éééééééé', 'b':'éééééééé éééééééééö… on the Larkmoor entry here were replaced with the "
         "proven shape"},
        // What is new goes into the place of what is old.
        {BOTH(USERS "," COMMAND(OLD) "," USERS "," PROMPT, PROMPT),
         DRIFT "this file holds 3 Larkmoor entries where two are expected" DRIFT
               "a Larkmoor entry here is under the preToolUse event rather than beforeSubmitPrompt" DRIFT
               "the command is not the one this build writes: " OLD,
         "the Larkmoor entry was written to this file", BOTH(USERS "," PROMPT "," USERS, TOOL)},
    };
    for (const Case& row : table) {
        const ConnectorHome home;
        home.write(cursorHooks, row.in);
        EXPECT_EQ(home.told(home.cursor().scan()),
                  fmt::format("drifted{}\n~/.cursor/mcp.json: there is no file here", row.told));
        EXPECT_EQ(home.cursor().install().observations.back().text, home.filled(row.last));
        EXPECT_EQ(home.read(cursorHooks), home.shown(home.filled(row.after)));
    }
}

TEST(CursorVerbs, FromAForeignVersionOursIsOnlyRemoved) {
    for (const std::string version : {"2", "1.0", "\"1\"", "1e0", "null"}) {
        const ConnectorHome home;
        home.write(cursorHooks, "{'hooks':{'stop':[" USERS "," COMMAND(OLD) "]},'version':" + version + "}");
        const auto before = home.files();
        const std::string states = ON_HOOKS "this file states hooks configuration version " + version;
        EXPECT_EQ(home.told(home.cursor().install()),
                  "refused" + states + ", which this build has not read, so nothing was written");
        EXPECT_EQ(home.files(), before);
        EXPECT_TRUE(home.told(home.cursor().remove()).contains(states + ", and only the Larkmoor entry was taken out"));
        EXPECT_EQ(home.read(cursorHooks), unfolded("{'hooks':{'stop':[" USERS "]},'version':" + version + "}"));
    }
}

TEST(CursorVerbs, AFreshHomeAndTheApplicationsUpgrade) {
    const ConnectorHome home;
    const CursorConnector cursor = home.cursor();
    EXPECT_EQ(home.told(cursor.scan()), "notFound\n~/.cursor: there is no directory here");
    EXPECT_EQ(home.told(cursor.install()),
              "refused\n~/.cursor: there is no Cursor configuration here, so nothing was written");
    home.makeFolder(".cursor");
    const auto scanWith = [&](std::string_view version) {
        std::string list = testData("connectors/cursor-info.plist");
        home.makeFolder("Applications/Cursor.app/Contents");
        std::ofstream{home.path("Applications/Cursor.app/Contents/Info.plist"), std::ios::binary}
            << list.replace(list.find("1.9"), 3, version);
        return home.told(cursor.scan());
    };
    scanWith("1.9");
    EXPECT_EQ(cursor.install().result, Result::changed);
    EXPECT_EQ(home.read(cursorHooks), testData("connectors/cursor-hooks.json"));
    EXPECT_EQ(home.read(cursorServers), testData("connectors/claude.json"));
    EXPECT_EQ(home.read(cursorReceipt), testData("connectors/cursor-receipt.json"));
    const std::string scanned = "connected" ON_HOOKS
                                "the Larkmoor hook entry here runs {hook} --harness cursor\n"
                                "~/.cursor/mcp.json: the Larkmoor MCP server entry here runs {mcp}";
    for (const char* version : {"1.9", "2.\xff", ""}) EXPECT_EQ(scanWith(version), scanned);
    EXPECT_EQ(scanWith("2.0"),
              scanned + ON_HOOKS "Cursor is now 2.0; the Larkmoor hook entry on this Mac was proven against 1.9");
    // What is written while no version can be read is proven against none.
    home.write(cursorServers, "{}");
    scanWith("2.\xff");
    EXPECT_EQ(cursor.install().result, Result::changed);
    EXPECT_EQ(ReceiptStore{home.path(cursorReceipt)}.read().appVersion, std::nullopt);
}

TEST(CursorVerbs, AHookOfClaudeCodeThatFiresInCursorTooIsTold) {
#define OURS COMMAND("{hook} --harness claude-code --slot rules")
#define SCRIPT COMMAND("python3 /me/fenwright/larkmoor/Scripts/any.py")
    const std::pair<std::string, std::string_view> table[] = {
        {COMMAND("{hook} --harness=cursor"), "own entry serves each prompt"},
        {SCRIPT "]},{'hooks':[" OURS, "which carries no continue key"},
        {USERS "," OURS "," SCRIPT, "own entry serves each prompt"},
        {COMMAND("{hook} --harness codex"), "there is no file here"},
    };
    for (const auto& [entries, end] : table) {
        const ConnectorHome home;
        home.makeFolder(".cursor");
        home.write(settingsFile,
                   "{'hooks':{'Stop':[" SCRIPT "],'UserPromptSubmit':[7,{'hooks':[7," + entries + "]}]}}");
        EXPECT_TRUE(home.told(home.cursor().scan()).ends_with(end)) << entries;
    }
}

TEST(CursorInventoryTest, WorkspacesByTheirLastActivity) {
    const ConnectorHome home;
    const std::string folder = "Library/Application Support/Cursor/User/workspaceStorage/";
    EXPECT_EQ(home.cursor().projects().note, "no workspace store found");
    home.write(folder + "older/workspace.json", "{'folder':'file:///w/a%20b/%C3%A9'}");
    home.write(folder + "newer/workspace.json", "{'folder':'file://localhost/w'}");
    home.write(folder + "locked/workspace.json", "{'folder':'file:///w/locked'}");
    home.write(folder + "several/workspace.json", "{'workspace':'file:///w/both.code-workspace'}");
    home.makeFolder(folder + "older/state");
    // What is in a workspace counts, folders too; its own date does not.
    for (const auto& [name, hours] :
         {std::pair{"older/workspace.json", 4}, {"older/state", 3}, {"older", 1}, {"newer/workspace.json", 2}}) {
        fs::last_write_time(home.path(folder + name), fs::file_time_type::clock::now() - std::chrono::hours{hours});
    }
    home.setMode(folder + "locked", 0);
    const ProjectReport report = home.cursor().projects();
    EXPECT_EQ(report.note, "2 workspace entries name no project folder and were not decoded");
    ASSERT_EQ(report.projects.size(), 2U);
    EXPECT_EQ(report.projects.front().path + report.projects.back().path, "/w/w/a b/é");
}

}  // namespace
}  // namespace larkmoor
