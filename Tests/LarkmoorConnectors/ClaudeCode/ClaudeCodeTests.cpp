// Claude Code's blocks as pure functions, and its verbs over real homes: what is said, what the files hold afterwards,
// the receipt and the copies.
#include <gtest/gtest.h>

#include <fmt/ranges.h>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::receiptFile;
using testing::serverFile;
using testing::settingsFile;
using testing::unfolded;
using Files = std::map<std::string, std::string>;

#define RUN "{hook} --harness claude-code --slot "
#define ENTRY(slot) "{'type':'command','command':'" RUN slot "','timeout':3}"
#define RULES ENTRY("rules")
#define INDEX ENTRY("index")
#define RECALL ENTRY("recall")
#define PROMPTS RULES "," INDEX "," RECALL
#define LONGER(slot) "{'type':'command','command':'" RUN slot "','timeout':3,'async':true}"
#define GROUP(entries) "{'hooks':[" entries "]}"
#define PROMPT_GROUP GROUP(PROMPTS)
#define TOOL_GROUP "{'matcher':'mcp__larkmoor__.*','hooks':[" ENTRY("pretool") "]}"
#define PROMPT(groups) "{'hooks':{'UserPromptSubmit':[" groups "]}}"
#define BOTH(prompts, tools) "{'hooks':{'UserPromptSubmit':[" prompts "],'PreToolUse':[" tools "]}}"
#define STOP(groups) "{'hooks':{'Stop':[" groups "]}}"
#define WHOLE BOTH(PROMPT_GROUP, TOOL_GROUP)
#define COMMAND(text) "{'command':'" text "'}"
#define USERS COMMAND("mine")
#define OLD_SCRIPT "python3 /me/fenwright/larkmoor/Scripts/rules-hook.py"
#define OLD_BUNDLE COMMAND("/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code")
#define SERVER(value) "{'mcpServers':{'larkmoor':" value "}}"
#define OLD_SERVER SERVER(COMMAND("/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp"))
#define OURS "{'type':'stdio','command':'{mcp}','args':[],'env':{}}"
#define SHAPE "drifted: the entry's shape is not the one this build writes"
#define HOLDS(entries) "this file holds " entries " where four are expected"
#define UNDER(wrong, right) "a Larkmoor entry here is under the " wrong " event rather than " right
#define OTHER "the command is not the one this build writes: "
#define TWICE(name, byte) "the name \"" name "\" appears twice in one object (at byte " byte ")"
#define NOT_AN(name, kind) "the " name " value in this file is not an " kind ", so no entry can be put in it"

/// What a finding is and says, in one text.
std::string shown(const BlockFinding& finding) {
    if (const auto* unreadable = finding.as<BlockFinding::Unreadable>()) return "unreadable: " + unreadable->reason;
    if (const auto* foreign = finding.as<BlockFinding::Foreign>()) return "foreign: " + foreign->reasons.front();
    if (const auto* drifted = finding.as<BlockFinding::Drifted>())
        return fmt::format("drifted: {}", fmt::join(drifted->reasons, "; "));
    return finding.is<BlockFinding::Connected>() ? "connected" : "absent";
}

class ClaudeCodeBlockTest : public ::testing::Test {
  protected:
    struct Case {
        std::string_view name, in, found;
        std::string_view installed = WHOLE;  ///< the file, or why there is none; what is connected stays as it is
    };

    ConnectorHome home;
    ClaudeCodeHook hook{ClaudeCodePaths::under(home.path(), home.bundle())};
    ClaudeCodeMCP server{ClaudeCodePaths::under(home.path(), home.bundle())};

    JSONDocument document(std::string_view row) const {
        return JSONDocument::read(copyBytes(home.filled(row)), JSONDialect::strict).value();
    }
    std::string bytes(const FileDocument& file) const {
        return home.shown(testing::text(copyBytes(FileDocuments::bytes(file))));
    }

    std::string found(const auto& block, std::string_view row) const {
        return home.shown(shown(block.find(document(row))));
    }
    void expect(const auto& block, std::span<const Case> table) const {
        for (const Case& row : table) {
            EXPECT_EQ(found(block, row.in), row.found) << row.name;
            const auto result = block.installed(document(row.in));
            EXPECT_EQ(result ? bytes(result->document) : result.error().description(),
                      unfolded(row.found == "connected" ? row.in : row.installed))
                << row.name;
        }
    }
};

TEST_F(ClaudeCodeBlockTest, TheHooksAsTheyAreFoundAndInstalled) {
    const Case table[] = {
        {"another order of members",
         BOTH(GROUP("{'timeout':3,'type':'command','command':'" RUN "rules'}," INDEX "," RECALL), TOOL_GROUP),
         "connected"},
        {"a group of the user's", PROMPT(GROUP(USERS)), "absent", BOTH(GROUP(USERS) "," PROMPT_GROUP, TOOL_GROUP)},
        {"no object at all", "[]", "absent", "the top-level value is not an object"},
        {"no object of hooks", "{'hooks':[]}", "foreign: " NOT_AN("hooks", "object"), "hooks is not an object"},
        {"no list of prompts", "{'hooks':{'PreToolUse':null,'UserPromptSubmit':''}}",
         "foreign: " NOT_AN("UserPromptSubmit", "array"), "hooks.UserPromptSubmit is not an array"},
        {"no list of tools", "{'hooks':{'PreToolUse':{}}}", "foreign: " NOT_AN("PreToolUse", "array"),
         "hooks.PreToolUse is not an array"},
        {"a member more", BOTH(PROMPT_GROUP, "{'matcher':'mcp__larkmoor__.*','hooks':[" LONGER("pretool") "]}"), SHAPE},
        {"a member more in a prompt's", BOTH(GROUP(RULES "," INDEX "," LONGER("recall")), TOOL_GROUP), SHAPE},
        {"another matcher", BOTH(PROMPT_GROUP, "{'matcher':'Bash','hooks':[" ENTRY("pretool") "]}"), SHAPE},
        {"two groups", BOTH(GROUP(RULES "," INDEX) "," GROUP(RECALL), TOOL_GROUP), SHAPE},
        {"another order", BOTH(GROUP(RULES "," RECALL "," INDEX), TOOL_GROUP), SHAPE},
        {"three", PROMPT(PROMPT_GROUP), "drifted: " HOLDS("3 Larkmoor entries")},
        {"under wrong events", BOTH(TOOL_GROUP, GROUP(RULES)),
         "drifted: " HOLDS("2 Larkmoor entries") "; " UNDER("UserPromptSubmit", "PreToolUse") "; " UNDER(
             "PreToolUse", "UserPromptSubmit")},
        // What is the user's keeps its place, and so do our prompt entries beside it.
        {"stale, between the user's", PROMPT(GROUP(USERS "," COMMAND(OLD_SCRIPT) "," USERS)),
         "drifted: " HOLDS("1 Larkmoor entry") "; the command points into a source checkout: " OLD_SCRIPT,
         BOTH(GROUP(USERS "," PROMPTS "," USERS), TOOL_GROUP)},
        {"second groups of ours", BOTH(PROMPT_GROUP "," PROMPT_GROUP "," USERS, TOOL_GROUP "," TOOL_GROUP),
         "drifted: " HOLDS("8 Larkmoor entries"), BOTH(PROMPT_GROUP "," USERS, TOOL_GROUP)},
        {"two groups of one event go", BOTH(PROMPT_GROUP "," GROUP(INDEX) "," GROUP(RULES), TOOL_GROUP),
         "drifted: " HOLDS("6 Larkmoor entries")},
        {"among the user's tools", BOTH("", GROUP(RULES "," USERS)),
         "drifted: " HOLDS("1 Larkmoor entry") "; " UNDER("PreToolUse", "UserPromptSubmit"),
         BOTH(PROMPT_GROUP, GROUP(USERS) "," TOOL_GROUP)},
    };
    expect(hook, table);
    // Of an object with a name twice, an edit would change the one that nobody reads.
    EXPECT_EQ(found(hook, "{'hooks':{},'hooks':{}}"), "unreadable: " TWICE("hooks", "12"));
    EXPECT_EQ(found(hook, "{'hooks':{'Stop':[],'Stop':[]}}"), "unreadable: " TWICE("Stop", "20"));
    EXPECT_EQ(found(hook, STOP("{'a':1,'a':1}")), "unreadable: " TWICE("a", "25"));
    EXPECT_EQ(found(hook, STOP(GROUP("{'a':1,'a':1}"))), "unreadable: " TWICE("a", "35"));
    std::filesystem::remove(home.hook());
    EXPECT_EQ(found(hook, WHOLE), "drifted: the file the command names is not on disk: {hook}");
}

// Ownership of an entry is its command; ownership of what surrounds it is what was created.
TEST_F(ClaudeCodeBlockTest, WhatARemovalLeavesOfTheHooks) {
    using enum Created;
    const std::set<Created> all{hooksObject, eventArray, hookGroup, preToolEventArray, preToolGroup};
    struct Case {
        std::string_view name, in, want;  ///< the file, and a line for each leftover
        std::set<Created> created;
    };
    const Case table[] = {
        {"two groups of one event", PROMPT(GROUP(RULES) "," GROUP(USERS) "," GROUP(INDEX) "," GROUP(RECALL)),
         PROMPT(GROUP(USERS)), all},
        {"two groups of each event, the events the user's",
         BOTH(GROUP(RULES) "," GROUP(INDEX), TOOL_GROUP "," TOOL_GROUP),
         BOTH("", "") "|" REMAINS("UserPromptSubmit list") "|" REMAINS("PreToolUse list"),
         {hookGroup, preToolGroup}},
        {"the tools' group alone was ours",
         WHOLE,
         PROMPT(GROUP("")) "|" REMAINS("hook group"),
         {preToolGroup, preToolEventArray, hooksObject}},
        {"among the user's", BOTH(GROUP(USERS "," PROMPTS "," USERS), TOOL_GROUP), PROMPT(GROUP(USERS "," USERS)), all},
        {"under an event that is never ours", STOP(GROUP(RULES) "," GROUP(INDEX)),
         STOP(GROUP("") "," GROUP("")) "|" REMAINS("hook group") "|" REMAINS("hook group"), all},
        {"a shell that we made", "{'hooks':{}}", "{}", all},
    };
    for (const Case& row : table) {
        const auto removed = hook.removed(document(row.in), row.created);
        std::string left = bytes(*removed->document);
        for (const std::string& leftover : removed->leftovers) left += "\n" + leftover;
        EXPECT_EQ(left, unfolded(row.want)) << row.name;
    }
}

#define CHECKOUT "/me/fenwright/larkmoor/dist-prod/dist-dev/larkmoor-mcp"
#define DEVELOPMENT "; the command points at a development build: " CHECKOUT

TEST_F(ClaudeCodeBlockTest, TheServerEntry) {
    const Case table[] = {
        {"another order", SERVER("{'env':{},'args':[],'type':'stdio','command':'{mcp}'}"), "connected"},
        {"an engineer's", SERVER(COMMAND(CHECKOUT)),
         "drifted: the command points into a source checkout: " CHECKOUT DEVELOPMENT DEVELOPMENT, SERVER(OURS)},
        {"the user's env", SERVER("{'type':'stdio','command':'{mcp}','args':[],'env':{'A':'1'}}"), SHAPE, SERVER(OURS)},
        {"twice in the entry", SERVER("{'a':1,'a':1}"), "unreadable: " TWICE("a", "33"), SERVER(OURS)},
        {"another's twice", "{'mcpServers':{'x':{'a':1,'a':1}}}", "absent",
         "{'mcpServers':{'x':{'a':1,'a':1},'larkmoor':" OURS "}}"},
    };
    expect(server, table);
    EXPECT_EQ(found(server, "{'mcpServers':{'larkmoor':1,'larkmoor':2}}"), "unreadable: " TWICE("larkmoor", "28"));
    std::filesystem::remove(home.mcp());
    EXPECT_EQ(found(server, SERVER(OURS)), "drifted: the file the command names is not on disk: {mcp}");
}

#define SETTINGS "\n~/.claude/settings.json: "
#define SERVERS "\n~/.claude.json: "
#define UNCHANGED "nothing in this file needed changing"
#define GONE "this file was created when Larkmoor connected and was removed"
#define WRITTEN "the Larkmoor entry was written to this file"
#define TAKEN "the Larkmoor entry was removed from this file"
#define UNREAD "this file did not read as JSON, so nothing was written — "
#define HOOK_HERE "the Larkmoor hook entry here — "

#define BOTH_COPIED "changed\n~/.claude/settings.json" COPIED "\n~/.claude.json" COPIED

// What a fresh install writes.
const std::string ourSettings = testing::testData("connectors/claude-settings.json");
const std::string ourServers = testing::testData("connectors/claude.json");

/// As it stands on the disk, with these names of what was made.
std::string receipt(std::string_view created, std::string_view more = "", std::string_view slots = "[]") {
    return unfolded(
        fmt::format("{{|  'adopted': [],|{}  'created': [|    {}|  ],|  'trustSlots': {}|}}|", more, created, slots));
}

std::string told(const ConnectorHome& home, std::string_view verb) {
    const ClaudeCodeConnector connector = home.claudeCode();
    if (verb == "scan") return home.told(connector.scan());
    return home.told(verb == "install" ? connector.install() : connector.remove());
}

TEST(ClaudeCodeVerbs, AFreshHomeIsConnectedAndComesBack) {
    const ConnectorHome home;
    const Files connected{{settingsFile, ourSettings},
                          {serverFile, ourServers},
                          {receiptFile, testing::testData("connectors/claude-receipt.json")}};
    const Files copies{{settingsFile + std::string{COPY}, ourSettings}, {serverFile + std::string{COPY}, ourServers}};
    const std::string_view unchanged = "unchanged" SETTINGS UNCHANGED SERVERS UNCHANGED;
    struct Step {
        std::string_view verb, told;
        Files files{};  ///< all of the home after it
    };
    const Step steps[] = {
        {"scan", "notFound\n~/.claude: there is no directory here" SERVERS "there is no file here"},
        {"install", "refused\n~/.claude: there is no Claude Code configuration here, so nothing was written"},
        {"remove", unchanged},
        {"make its folder", ""},
        {"scan", "found" SETTINGS "there is no file here" SERVERS "there is no file here"},
        {"install", "changed" SETTINGS WRITTEN SERVERS WRITTEN, connected},
        {"scan",
         "connected" SETTINGS "the Larkmoor hook entry here runs {hook} --harness claude-code" SERVERS
         "the Larkmoor MCP server entry here runs {mcp}",
         connected},
        {"install", unchanged, connected},
        {"remove", BOTH_COPIED SETTINGS GONE SERVERS GONE, copies},
        {"remove", unchanged, copies}};
    for (const Step& step : steps) {
        SCOPED_TRACE(step.verb);
        if (step.told.empty()) {
            EXPECT_TRUE(std::filesystem::is_empty(home.path()));
            home.makeFolder(".claude");
            continue;
        }
        EXPECT_EQ(told(home, step.verb), step.told);
        EXPECT_EQ(home.files(), step.files);
    }
}

TEST(ClaudeCodeVerbs, OverWhatStandsThere) {
    const std::string_view lost = BOTH_COPIED SETTINGS REMAINS("hook group") SETTINGS REMAINS("hook group")
        SERVERS REMAINS("mcpServers object") SETTINGS TAKEN SERVERS TAKEN;
    const std::string_view upgraded = "changed\n~/.claude/settings.json" COPIED SETTINGS WRITTEN SERVERS UNCHANGED;
    const std::string_view unread =
        "refused" SETTINGS UNREAD "there are bytes after the top-level value (at byte 3)" SERVERS UNREAD
        "the document ended where a value was expected (at byte 0)";
    const std::string shells = BOTH(GROUP(""), "{'matcher':'mcp__larkmoor__.*','hooks':[]}");
    const std::string_view stale =
        "{'hooks':{'Stop':[" GROUP(COMMAND("{hook} --harness=claude-code --slot=index")) "],'UserPromptSubmit':[" GROUP(
            USERS "," COMMAND(OLD_SCRIPT) "," OLD_BUNDLE) "]}}";
    struct Case {
        std::string_view name, verb, settings, servers, receipt, told;
        std::string_view settingsAfter = "", receiptAfter = "";  ///< if the verb changes something
    };
    const std::string grown = receipt("'preToolEventArray',|    'preToolGroup',|    'settingsFile'",
                                      "  'appVersion': '7',|", "[|    's'|  ]"),
                      begun = receipt("'preToolEventArray',|    'preToolGroup'");
    const Case table[] = {
        {"no receipt", "remove", WHOLE, SERVER(OURS), "", lost, shells},
        {"nothing of ours", "remove", "{'hooks':{}}", "{'mcpServers':[]}", "{'created':['eventArray']}",
         "unchanged" SETTINGS REMAINS("hooks object") SETTINGS UNCHANGED SERVERS UNCHANGED},
        {"a receipt grows", "install", PROMPT(GROUP(RULES)), ourServers,
         "{'created':['settingsFile'],'appVersion':'7','trustSlots':['s']}", upgraded, WHOLE, grown},
        {"one that does not read starts again", "install", PROMPT(GROUP(RULES)), ourServers, "{", upgraded, WHOLE,
         begun},
        {"of earlier builds", "scan", stale, OLD_SERVER, "",
         "drifted" SETTINGS HOOK_HERE HOLDS("3 Larkmoor entries") SETTINGS HOOK_HERE UNDER("Stop", "UserPromptSubmit")
             SETTINGS HOOK_HERE OTHER "{hook} --harness=claude-code --slot=index" SERVERS
                                      "the Larkmoor MCP server entry here — " OTHER
                                      "/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp"},
        {"of earlier builds, upgraded", "install", stale, OLD_SERVER, "", BOTH_COPIED SETTINGS WRITTEN SERVERS WRITTEN,
         BOTH(GROUP(USERS "," PROMPTS), TOOL_GROUP), begun},
        {"neither reads", "install", "{} // mine", "", "kept", unread},
        {"neither reads, a removal", "remove", "{} // mine", "", "kept", unread},
        {"servers are no object", "install", "{}", "{'mcpServers':null}", "kept",
         "refused" SERVERS "nothing was written — mcpServers is not an object"},
        {"a scan folds", "scan", STOP(GROUP(RULES "," RULES)), "{'mcpServers':7}", "",
         "drifted" SETTINGS HOOK_HERE HOLDS("2 Larkmoor entries") SETTINGS HOOK_HERE UNDER(
             "Stop", "UserPromptSubmit") " (2 entries)" SERVERS NOT_AN("mcpServers", "object")},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.write(settingsFile, row.settings);
        home.write(serverFile, row.servers);
        if (!row.receipt.empty()) home.write(receiptFile, row.receipt);
        const Files before = home.files();
        EXPECT_EQ(told(home, row.verb), row.told);
        if (row.settingsAfter.empty()) {
            EXPECT_EQ(home.files(), before);
        } else {
            EXPECT_EQ(home.read(settingsFile), unfolded(row.settingsAfter));
            EXPECT_EQ(home.read(receiptFile).value_or(""), row.receiptAfter);
        }
    }
}

TEST(ClaudeCodeVerbs, OnlyOurOwnStaleWiringIsToBeRepaired) {
    struct Case {
        std::string_view name, settings, servers;
        bool want;
    };
    const Case table[] = {
        {"another spelling", PROMPT(GROUP(COMMAND("{hook} --harness=claude-code --slot=rules"))), "{}", true},
        {"a slot of an older layout", PROMPT(GROUP(COMMAND("{hook} --harness claude-code"))), "{}", true},
        {"connected hooks, a server elsewhere", ourSettings, OLD_SERVER, true},
        {"one of another bundle", PROMPT(GROUP(COMMAND("{hook} --harness claude-code") "," OLD_BUNDLE)), "{}", false},
        {"an old script", PROMPT(GROUP(COMMAND(OLD_SCRIPT))), "{}", false},
    };
    for (const Case& row : table) {
        const ConnectorHome home;
        EXPECT_FALSE(home.claudeCode().staleOwnWiring());
        home.write(settingsFile, row.settings);
        home.write(serverFile, row.servers);
        EXPECT_EQ(home.claudeCode().staleOwnWiring(), row.want) << row.name;
        std::filesystem::remove(home.hook());
        EXPECT_FALSE(home.claudeCode().staleOwnWiring()) << row.name << ", but the hook is not on disk";
    }
}

}  // namespace
}  // namespace larkmoor
