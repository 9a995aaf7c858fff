// What is Cursor's alone: the version of its hooks file, fields that a person added to our entries, the application's
// upgrade, Claude Code's hooks that fire in Cursor too, and its workspaces.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

namespace fs = std::filesystem;
using namespace testing;
using Result = ConnectorOutcome::Result;

#define HOOKS(events) "{'version':1,'hooks':{" events "}}"
#define BOTH(prompts, tools) HOOKS("'beforeSubmitPrompt':[" prompts "],'preToolUse':[" tools "]")
#define COMMAND(text) "{'command':'" text "'}"
#define TOOL_WITH(members) "{'command':'{hook} --harness cursor --slot pretool'," members "}"
#define PROMPT COMMAND("{hook} --harness cursor")
#define TOOL TOOL_WITH("'matcher':'{tools}','timeout':3")
#define USERS COMMAND("mine")
#define OLD_COMMAND "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=cursor"
#define OLD COMMAND(OLD_COMMAND)

#define ON_HOOKS "\n~/.cursor/hooks.json: "
#define NO_SERVERS "\n~/.cursor/mcp.json: there is no file here"
#define DRIFT ON_HOOKS "the Larkmoor hook entry here — "
#define SHAPE DRIFT "the entry's shape is not the one this build writes"
#define HOLDS(entries) DRIFT "this file holds " entries " where two are expected"
#define OTHER DRIFT "the command is not the one this build writes: "
#define UNDER(wrong, right) DRIFT "a Larkmoor entry here is under the " wrong " event rather than " right

TEST(CursorVerbs, TheHooksAsTheyAreFoundAndInstalled) {
    struct Case {
        std::string_view in, told, replaced = "", installed = BOTH(PROMPT, TOOL);
    };
    const Case table[] = {
        {BOTH(PROMPT "," USERS "," PROMPT, TOOL "," TOOL), HOLDS("4 Larkmoor entries"), "",
         BOTH(PROMPT "," USERS, TOOL)},
        {BOTH(PROMPT, TOOL_WITH("'matcher':'x','timeout':3")), SHAPE},
        {BOTH(PROMPT "," PROMPT, ""), SHAPE},
        {BOTH("{'command':'{hook} --harness cursor','timeout': \t9}", TOOL), SHAPE, "'timeout': 9 * was"},
        // The last one is cut behind 24 characters, of which most have two bytes.
        {BOTH("{'a':[1,\t 2],'command':'{hook} --harness cursor'}",
              TOOL_WITH("'ü':'éééééééé éééééééé','b':'éééééééé éééééééééö'")),
         SHAPE, "'a':[1, 2], 'ü':'éééééééé éééééééé', 'b':'éééééééé éééééééééö… * were"},
        {BOTH(TOOL, OLD "," USERS),
         UNDER("beforeSubmitPrompt", "preToolUse") UNDER("preToolUse", "beforeSubmitPrompt") OTHER OLD_COMMAND, "",
         HOOKS("'preToolUse':[" USERS "," TOOL "],'beforeSubmitPrompt':[" PROMPT "]")},
        {BOTH(USERS "," OLD "," USERS, ""), HOLDS("1 Larkmoor entry") OTHER OLD_COMMAND, "",
         BOTH(USERS "," PROMPT "," USERS, TOOL)},
    };
    for (const Case& row : table) {
        const ConnectorHome home;
        home.write(cursorHooks, row.in);
        EXPECT_EQ(home.told(home.cursor().scan()), fmt::format("drifted{}" NO_SERVERS, row.told));
        std::string last = home.cursor().install().observations.back().text, replaced = home.filled(row.replaced);
        EXPECT_EQ(home.read(cursorHooks), home.shown(home.filled(row.installed)));
        if (const auto at = replaced.find('*'); at != std::string::npos) {
            EXPECT_EQ(last, replaced.replace(at, 1, "on the Larkmoor entry here") + " replaced with the proven shape");
        } else {
            EXPECT_EQ(last, "the Larkmoor entry was written to this file");
        }
    }
}

TEST(CursorVerbs, FromAForeignVersionOursIsOnlyRemoved) {
    for (const std::string version : {"2", "1.0", "\"1\"", "1e0", "null"}) {
        const ConnectorHome home;
        const auto file = [&](const char* entries) {
            return fmt::format("{{'version': {},'hooks':{{'stop':[{}]}}}}", version, entries);
        };
        home.write(cursorHooks, file(USERS "," OLD));
        home.write(cursorServers, "{'mcpServers':{'larkmoor':7}}");
        const auto files = home.files();
        const std::string states = ON_HOOKS "this file states hooks configuration version " + version,
                          unread = states + ", which this build has not read",
                          taken = states + ", and only the Larkmoor entry was taken out of it";
        EXPECT_TRUE(home.told(home.cursor().scan()).starts_with("drifted" + unread + "\n"));
        EXPECT_EQ(home.told(home.cursor().install()), "refused" + unread + ", so nothing was written");
        EXPECT_EQ(home.files(), files);
        EXPECT_TRUE(home.told(home.cursor().remove()).contains(taken));
        EXPECT_EQ(home.read(cursorHooks), unfolded(file(USERS)));
        EXPECT_FALSE(home.told(home.cursor().remove()).contains(taken));
    }
}

TEST(CursorVerbs, AFreshHomeAndTheApplicationsUpgrade) {
    const ConnectorHome home;
    const CursorConnector cursor = home.cursor();
    EXPECT_EQ(home.told(cursor.scan()), "notFound\n~/.cursor: there is no directory here");
    EXPECT_EQ(home.told(cursor.install()),
              "refused\n~/.cursor: there is no Cursor configuration here, so nothing was written");
    home.makeFolder(".cursor");
    const std::string binary = testData("connectors/cursor-info.plist"),
                      upgraded = std::string{binary}.replace(binary.find("1.9"), 3, "2.0"),
                      noText = std::string{binary}.replace(binary.find("1.9"), 3, "2.\xff");
    const auto scanWith = [&](const std::string& list) {
        home.makeFolder("Applications/Cursor.app/Contents");
        std::ofstream{home.path("Applications/Cursor.app/Contents/Info.plist"), std::ios::binary} << list;
        return home.told(cursor.scan());
    };
    scanWith(binary);
    EXPECT_EQ(cursor.install().result, Result::changed);
    EXPECT_EQ(home.read(cursorHooks), testData("connectors/cursor-hooks.json"));
    EXPECT_EQ(home.read(cursorServers), testData("connectors/claude.json"));
    EXPECT_EQ(home.read(cursorReceipt), testData("connectors/cursor-receipt.json"));
    const std::string scanned = "connected" ON_HOOKS
                                "the Larkmoor hook entry here runs {hook} --harness cursor\n"
                                "~/.cursor/mcp.json: the Larkmoor MCP server entry here runs {mcp}";
    for (const std::string& list : {binary, noText, binary.substr(0, 60)}) EXPECT_EQ(scanWith(list), scanned);
    EXPECT_EQ(scanWith(upgraded),
              scanned + ON_HOOKS "Cursor is now 2.0; the Larkmoor hook entry on this Mac was proven against 1.9");
    // What is written while no version can be read is proven against none.
    home.write(cursorServers, "{}");
    scanWith(noText);
    EXPECT_EQ(cursor.install().result, Result::changed);
    EXPECT_EQ(ReceiptStore{home.path(cursorReceipt)}.read().appVersion, std::nullopt);
}

TEST(CursorVerbs, AHookOfClaudeCodeThatFiresInCursorTooIsTold) {
#define OURS COMMAND("{hook} --harness claude-code --slot rules")
#define SCRIPT COMMAND("python3 /me/fenwright/larkmoor/Scripts/any.py")
    const std::string_view silent =
                               "; Cursor runs this entry too; it stays silent there, because Cursor's own entry "
                               "serves each prompt",
                           answers =
                               ", and that entry answers in Claude Code's envelope, which carries no continue key";
    const std::pair<std::string, std::string_view> table[] = {
        {COMMAND("{hook} --harness=cursor"), silent},
        {SCRIPT "]},{'hooks':[" OURS, answers},
        {USERS "," OURS "," SCRIPT, silent},
        {COMMAND("{hook} --harness codex"), ""},
    };
    for (const auto& [entries, want] : table) {
        const ConnectorHome home;
        home.makeFolder(".cursor");
        home.write(settingsFile,
                   "{'hooks':{'Stop':[" SCRIPT "],'UserPromptSubmit':[7,{'hooks':[7," + entries + "]}]}}");
        std::string told = "found" ON_HOOKS "there is no file here" NO_SERVERS;
        if (!want.empty()) {
            told +=
                "\n~/.claude/settings.json: a Larkmoor hook entry is under UserPromptSubmit in this file too, which "
                "Cursor maps onto its own beforeSubmitPrompt event";
        }
        EXPECT_EQ(home.told(home.cursor().scan()), told.append(want));
    }
}

TEST(CursorInventoryTest, WorkspacesByTheirLastActivity) {
    const ConnectorHome home;
    const std::string folder = "Library/Application Support/Cursor/User/workspaceStorage/";
    EXPECT_EQ(home.cursor().projects().note, "no workspace store found");
    for (const auto& [name, file] : {std::pair{"older", "{'folder':'file:///w/a%20b/%C3%A9'}"},
                                     {"newer", "{'folder':'file://localhost/w'}"},
                                     {"locked", "{'folder':'file:///w/locked'}"},
                                     {"several", "{'workspace':'file:///w/both.code-workspace'}"}}) {
        home.write(folder + name + "/workspace.json", file);
    }
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
    home.setMode(folder + "locked", 0700);
    EXPECT_EQ(home.cursor().projects().note, "1 workspace entry names no project folder and was not decoded");
}

}  // namespace
}  // namespace larkmoor
