// Claude Code's verbs over real homes: what is found and said, what the files hold afterwards, the receipt, the copies.
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor::testing {
namespace {

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
#define STOP_AND_PROMPT(stop, prompts) "{'hooks':{'Stop':[" stop "],'UserPromptSubmit':[" prompts "]}}"
#define WHOLE BOTH(PROMPT_GROUP, TOOL_GROUP)
#define COMMAND(text) "{'command':'" text "'}"
#define USERS COMMAND("mine")
#define EARLIER COMMAND("{hook} --harness=claude-code --slot=index")
#define OLD_SCRIPT "python3 /me/fenwright/larkmoor/Scripts/rules-hook.py"
#define OLD_BUNDLE COMMAND("/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code")
#define SERVER(value) "{'mcpServers':{'larkmoor':" value "}}"
#define OLD_SERVER SERVER(COMMAND("/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp"))
#define OURS "{'type':'stdio','command':'{mcp}','args':[],'env':{}}"
#define CHECKOUT "/me/fenwright/larkmoor/dist-prod/dist-dev/larkmoor-mcp"
#define DEVELOPMENT "the command points at a development build: " CHECKOUT

#define SETTINGS "\n~/.claude/settings.json: "
#define SERVERS "\n~/.claude.json: "
#define BOTH_COPIED "changed\n~/.claude/settings.json" COPIED "\n~/.claude.json" COPIED
#define WRITTEN "the Larkmoor entry was written to this file"
#define TAKEN "the Larkmoor entry was removed from this file"
#define UNCHANGED "nothing in this file needed changing"
#define NO_FILE "there is no file here"
#define GONE "this file was created when Larkmoor connected and was removed"
#define UNREAD "this file did not read as JSON, so nothing was written — "
#define DRIFT SETTINGS "the Larkmoor hook entry here — "
#define HOLDS(entries) DRIFT "this file holds " entries " where four are expected"
#define UNDER(wrong, right) DRIFT "a Larkmoor entry here is under the " wrong " event rather than " right
#define SERVER_DRIFT SERVERS "the Larkmoor MCP server entry here — "
#define SHAPE "the entry's shape is not the one this build writes"
#define OTHER "the command is not the one this build writes: "
#define MISSING "the file the command names is not on disk: "
#define TWICE(name, byte) \
    "this file did not read as JSON — the name \"" name "\" appears twice in one object (at byte " byte ")"
#define NOT_AN(name, kind) "the " name " value in this file is not an " kind ", so no entry can be put in it"

// What a fresh install writes.
const std::string ourSettings = testData("connectors/claude-settings.json");
const std::string ourServers = testData("connectors/claude.json");

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

/// The one file of a home: what a scan says of it, and what it holds after an install, or why that is refused.
struct Found {
    std::string_view name, in, told, installed = WHOLE;
};

void expectFound(const char* file, std::string_view rest, std::span<const Found> table) {
    for (const Found& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.write(file, row.in);
        EXPECT_EQ(told(home, "scan"), fmt::format("{}{}", row.told, rest));
        if (row.installed.empty()) continue;
        const ConnectorOutcome outcome = home.claudeCode().install();
        const bool isRefused = outcome.result == ConnectorOutcome::Result::refused;
        EXPECT_EQ(isRefused ? outcome.observations.front().text : home.read(file), unfolded(row.installed));
    }
}

TEST(ClaudeCodeVerbs, TheHooksAsTheyAreFoundAndInstalled) {
    constexpr std::string_view ordered =
        BOTH(GROUP("{'timeout':3,'type':'command','command':'" RUN "rules'}," INDEX "," RECALL), TOOL_GROUP);
    const Found table[] = {
        {"another order of members", ordered,
         "drifted" SETTINGS "the Larkmoor hook entry here runs {hook} --harness claude-code", ordered},
        {"a group of the user's", PROMPT(GROUP(USERS)), "found" SETTINGS "this file holds no Larkmoor hook entry",
         BOTH(GROUP(USERS) "," PROMPT_GROUP, TOOL_GROUP)},
        {"no object at all", "[]", "found" SETTINGS "this file holds no Larkmoor hook entry",
         "nothing was written — the top-level value is not an object"},
        {"no object of hooks", "{'hooks':[]}", "found" SETTINGS NOT_AN("hooks", "object"),
         "nothing was written — hooks is not an object"},
        {"no list of prompts", "{'hooks':{'PreToolUse':null,'UserPromptSubmit':''}}",
         "found" SETTINGS NOT_AN("UserPromptSubmit", "array"),
         "nothing was written — hooks.UserPromptSubmit is not an array"},
        // Of an object with a name twice, an edit would change the one that nobody reads.
        {"two events", "{'hooks':{'Stop':[],'Stop':[]}}", "found" SETTINGS TWICE("Stop", "20"), ""},
        {"twice in an entry", STOP(GROUP("{'a':1,'a':1}")), "found" SETTINGS TWICE("a", "35"), ""},
        {"longer", BOTH(PROMPT_GROUP, "{'matcher':'mcp__larkmoor__.*','hooks':[" LONGER("pretool") "]}"),
         "drifted" DRIFT SHAPE},
        {"matcher", BOTH(PROMPT_GROUP, "{'matcher':'Bash','hooks':[" ENTRY("pretool") "]}"), "drifted" DRIFT SHAPE},
        {"two groups", BOTH(GROUP(RULES "," INDEX) "," GROUP(RECALL), TOOL_GROUP), "drifted" DRIFT SHAPE},
        {"three", PROMPT(PROMPT_GROUP), "drifted" HOLDS("3 Larkmoor entries")},
        {"under wrong events, one of them twice", BOTH(TOOL_GROUP, GROUP(RULES "," RULES)),
         "drifted" HOLDS("3 Larkmoor entries") UNDER("UserPromptSubmit", "PreToolUse")
             UNDER("PreToolUse", "UserPromptSubmit") " (2 entries)"},
        // What is the user's keeps its place, and so do our prompt entries beside it.
        {"of earlier builds",
         STOP_AND_PROMPT(GROUP(EARLIER), GROUP(USERS "," COMMAND(OLD_SCRIPT) "," OLD_BUNDLE "," USERS)),
         "drifted" HOLDS("3 Larkmoor entries") UNDER("Stop", "UserPromptSubmit") DRIFT OTHER
         "{hook} --harness=claude-code --slot=index",
         BOTH(GROUP(USERS "," PROMPTS "," USERS), TOOL_GROUP)},
        {"second groups of ours", BOTH(PROMPT_GROUP "," PROMPT_GROUP "," USERS, TOOL_GROUP "," TOOL_GROUP),
         "drifted" HOLDS("8 Larkmoor entries"), BOTH(PROMPT_GROUP "," USERS, TOOL_GROUP)},
        {"two groups of one event go", BOTH(PROMPT_GROUP "," GROUP(INDEX) "," GROUP(RULES), TOOL_GROUP),
         "drifted" HOLDS("6 Larkmoor entries")},
        {"a script among the user's tools", BOTH("", GROUP(COMMAND(OLD_SCRIPT) "," USERS)),
         "drifted" HOLDS("1 Larkmoor entry") UNDER("PreToolUse", "UserPromptSubmit") DRIFT
         "the command points into a source checkout: " OLD_SCRIPT,
         BOTH(PROMPT_GROUP, GROUP(USERS) "," TOOL_GROUP)},
    };
    expectFound(settingsFile, SERVERS NO_FILE, table);
}

TEST(ClaudeCodeVerbs, TheServerEntryAsItIsFoundAndInstalled) {
#define NO_SETTINGS SETTINGS NO_FILE
    const Found table[] = {
        {"another order", SERVER("{'env':{},'args':[],'type':'stdio','command':'{mcp}'}"),
         "drifted" NO_SETTINGS SERVERS "the Larkmoor MCP server entry here runs {mcp}",
         SERVER("{'env':{},'args':[],'type':'stdio','command':'{mcp}'}")},
        {"an engineer's", SERVER(COMMAND(CHECKOUT)),
         "drifted" NO_SETTINGS SERVER_DRIFT
         "the command points into a source checkout: " CHECKOUT SERVER_DRIFT DEVELOPMENT " (2 entries)",
         SERVER(OURS)},
        {"the user's env", SERVER("{'type':'stdio','command':'{mcp}','args':[],'env':{'A':'1'}}"),
         "drifted" NO_SETTINGS SERVER_DRIFT SHAPE, SERVER(OURS)},
        {"no object", "{'mcpServers':null}", "found" NO_SETTINGS SERVERS NOT_AN("mcpServers", "object"),
         "nothing was written — mcpServers is not an object"},
        {"twice in the entry", SERVER("{'a':1,'a':1}"), "found" NO_SETTINGS SERVERS TWICE("a", "33"), ""},
        {"another's twice", "{'mcpServers':{'x':{'a':1,'a':1}}}",
         "found" NO_SETTINGS SERVERS "this file holds no Larkmoor MCP server entry",
         "{'mcpServers':{'x':{'a':1,'a':1},'larkmoor':" OURS "}}"},
    };
    expectFound(serverFile, "", table);
}

TEST(ClaudeCodeVerbs, AFreshHomeIsConnectedAndComesBack) {
    const ConnectorHome home;
    const Files connected{{settingsFile, ourSettings},
                          {serverFile, ourServers},
                          {receiptFile, testData("connectors/claude-receipt.json")}};
    const Files copies{{settingsFile + std::string{COPY}, ourSettings}, {serverFile + std::string{COPY}, ourServers}};
    const std::string_view unchanged = "unchanged" SETTINGS UNCHANGED SERVERS UNCHANGED;
    struct Step {
        std::string_view verb, told;
        Files files{};  ///< all of the home after it
    };
    const Step steps[] = {
        {"scan", "notFound\n~/.claude: there is no directory here" SERVERS NO_FILE},
        {"install", "refused\n~/.claude: there is no Claude Code configuration here, so nothing was written"},
        {"remove", unchanged},
        {"make its folder", ""},
        {"scan", "found" SETTINGS NO_FILE SERVERS NO_FILE},
        {"install", "changed" SETTINGS WRITTEN SERVERS WRITTEN, connected},
        {"scan",
         "connected" SETTINGS "the Larkmoor hook entry here runs {hook} --harness claude-code" SERVERS
         "the Larkmoor MCP server entry here runs {mcp}",
         connected},
        {"install", unchanged, connected},
        {"remove our programs", "", connected},
        {"scan", "drifted" DRIFT MISSING "{hook}" SERVER_DRIFT MISSING "{mcp}", connected},
        {"remove", BOTH_COPIED SETTINGS GONE SERVERS GONE, copies},
        {"remove", unchanged, copies}};
    for (const Step& step : steps) {
        SCOPED_TRACE(step.verb);
        if (step.verb == "make its folder") {
            EXPECT_TRUE(std::filesystem::is_empty(home.path()));
            home.makeFolder(".claude");
        } else if (step.verb == "remove our programs") {
            for (const std::string& program : {home.hook(), home.mcp()}) std::filesystem::remove(program);
        } else {
            EXPECT_EQ(told(home, step.verb), step.told);
        }
        EXPECT_EQ(home.files(), step.files);
    }
}

// Ownership of an entry is its command; ownership of what surrounds it is what the receipt names.
TEST(ClaudeCodeVerbs, OverWhatStandsThere) {
#define CHANGED "changed\n~/.claude/settings.json" COPIED
#define REMOVED(leftovers) CHANGED leftovers SETTINGS TAKEN SERVERS UNCHANGED
#define ALL "{'created':['hooksObject','eventArray','hookGroup','preToolEventArray','preToolGroup']}"
    const std::string_view unread =
        "refused" SETTINGS UNREAD "there are bytes after the top-level value (at byte 3)" SERVERS UNREAD
        "the document ended where a value was expected (at byte 0)";
    const std::string grown = receipt("'preToolEventArray',|    'preToolGroup',|    'settingsFile'",
                                      "  'appVersion': '7',|", "[|    's'|  ]"),
                      begun = receipt("'preToolEventArray',|    'preToolGroup'");
    struct Case {
        std::string_view name, verb, settings, servers, receipt, told;
        std::string_view settingsAfter = "", receiptAfter = "";  ///< if the verb changes something
    };
    const Case table[] = {
        {"without a receipt", "remove", WHOLE, SERVER(OURS), "",
         BOTH_COPIED SETTINGS REMAINS("hook group") SETTINGS REMAINS("hook group") SERVERS REMAINS("mcpServers object")
             SETTINGS TAKEN SERVERS TAKEN,
         BOTH(GROUP(""), "{'matcher':'mcp__larkmoor__.*','hooks':[]}")},
        {"two groups of one event", "remove", PROMPT(GROUP(RULES) "," GROUP(USERS) "," GROUP(INDEX) "," GROUP(RECALL)),
         "{}", ALL, REMOVED(""), PROMPT(GROUP(USERS))},
        {"two groups of each event, the events the user's", "remove",
         BOTH(GROUP(RULES) "," GROUP(INDEX), TOOL_GROUP "," TOOL_GROUP), "{}",
         "{'created':['hookGroup','preToolGroup']}",
         REMOVED(SETTINGS REMAINS("UserPromptSubmit list") SETTINGS REMAINS("PreToolUse list")), BOTH("", "")},
        {"the tools' group alone was ours", "remove", WHOLE, "{}",
         "{'created':['preToolGroup','preToolEventArray','hooksObject']}", REMOVED(SETTINGS REMAINS("hook group")),
         PROMPT(GROUP(""))},
        {"under an event that is never ours", "remove", STOP(GROUP(RULES) "," GROUP(INDEX)), "{}", ALL,
         REMOVED(SETTINGS REMAINS("hook group") SETTINGS REMAINS("hook group")), STOP(GROUP("") "," GROUP(""))},
        {"a shell that we made", "remove", "{'hooks':{}}", "{}", "{'created':['hooksObject']}",
         REMOVED(SETTINGS "this file is now empty and remains, because Larkmoor did not create it"), "{}"},
        {"a file that we made, with more in it by now", "remove",
         "{'a':1,'hooks':{'UserPromptSubmit':[" GROUP(RULES) "]}}", "{}",
         "{'created':['settingsFile','hooksObject','eventArray','hookGroup']}", REMOVED(""), "{'a':1}"},
        {"nothing of ours", "remove", "{'hooks':{}}", "{'mcpServers':[]}", "{'created':['eventArray']}",
         "unchanged" SETTINGS REMAINS("hooks object") SETTINGS UNCHANGED SERVERS UNCHANGED},
        {"a receipt grows", "install", PROMPT(GROUP(RULES)), ourServers,
         "{'created':['settingsFile'],'appVersion':'7','trustSlots':['s']}", CHANGED SETTINGS WRITTEN SERVERS UNCHANGED,
         WHOLE, grown},
        {"one that does not read starts again", "install", PROMPT(GROUP(RULES)), OLD_SERVER, "{",
         BOTH_COPIED SETTINGS WRITTEN SERVERS WRITTEN, WHOLE, begun},
        {"neither reads", "install", "{} // mine", "", "kept", unread},
        {"neither reads, and ours may be in them", "remove", "{} // mine", "", "kept", unread},
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
}  // namespace larkmoor::testing
