// The whole verbs over real homes: what is said, what the files hold afterwards, the receipt and the copies.
#include <gtest/gtest.h>

#include <fmt/ranges.h>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::receiptFile;
using testing::serverFile;
using testing::settingsFile;
using testing::unfolded;
using Files = std::map<std::string, std::string>;

#define SETTINGS "~/.claude/settings.json: "
#define SERVERS "~/.claude.json: "
#define COPY ".larkmoor-backup-" MOMENT
const std::string copy = COPY;
#define COPIED COPY ": a copy of the file was made here first\n"
#define WRITTEN "the Larkmoor entry was written to this file"
#define TAKEN "the Larkmoor entry was removed from this file"
#define AS_IT_WAS "nothing in this file needed changing"
#define GONE "this file was created when Larkmoor connected and was removed"
#define EMPTY(what) "an empty " what " remains here, which Larkmoor did not create"

#define MINE "{'command':'mine'}"
#define ENTRY(slot) "{'type':'command','command':'{hook} --harness claude-code --slot " slot "','timeout':3}"

#define HOOK(slot)                                                                                                 \
    "          {|            'type': 'command',|            'command': '{hook} --harness claude-code --slot " slot \
    "',|            'timeout': 3|          }"
#define SERVER                                                                                                    \
    "'mcpServers': {|    'larkmoor': {|      'type': 'stdio',|      'command': '{mcp}',|      'args': [],|      " \
    "'env': {}|    }|  }|}|"

const std::string ourSettings = unfolded("{|  'hooks': {|    'UserPromptSubmit': [|      {|        'hooks': [|" HOOK(
    "rules") ",|" HOOK("index") ",|" HOOK("recall") "|        ]|      }|    ],|    'PreToolUse': [|      {|        "
    "'matcher': 'mcp__larkmoor__.*',|        'hooks': [|" HOOK("pretool") "|        ]|      }|    ]|  }|}|");
const std::string ourServers = unfolded("{|  " SERVER);

/// As it stands on the disk, with these names of what was made.
std::string receipt(std::vector<std::string_view> created, std::string_view more = "", std::string_view slots = "[]") {
    return unfolded(fmt::format("{{|  'adopted': [],|{}  'created': [|    '{}'|  ],|  'trustSlots': {}|}}|", more,
                                fmt::join(created, "',|    '"), slots));
}

/// A step of a story: a verb, what it says, and all files of the home after it.
struct Step {
    std::string_view verb;
    std::string told;
    Files files;
    std::vector<std::string> backups{};
};

std::string tellStep(const ConnectorHome& home, const Step& step) {
    const ClaudeCodeConnector connector = home.claudeCode();
    if (step.verb == "scan") return home.told(connector.scan());
    const ConnectorOutcome outcome = step.verb == "install" ? connector.install() : connector.remove();
    std::vector<std::string> backups;
    backups.reserve(outcome.backups.size());
    for (const std::string& backup : outcome.backups) backups.push_back(home.shown(backup));
    EXPECT_EQ(backups, step.backups);
    return home.told(outcome);
}

/// From a home with these files, or else with the harness's folder alone.
void tell(const Files& before, const std::vector<Step>& steps) {
    const ConnectorHome home;
    if (before.empty()) home.makeFolder(".claude");
    for (const auto& [name, text] : before) home.write(name, text);
    for (const Step& step : steps) {
        SCOPED_TRACE(step.verb);
        EXPECT_EQ(tellStep(home, step), step.told);
        EXPECT_EQ(home.files(), step.files);
    }
}

TEST(ClaudeCodeVerbs, NothingIsMadeOutOfNothing) {
    const ConnectorHome home;
    const Step steps[] = {
        {"scan", "notFound\n~/.claude: there is no directory here\n" SERVERS "there is no file here", {}},
        {"install", "refused\n~/.claude: there is no Claude Code configuration here, so nothing was written", {}},
        {"remove", "unchanged\n" SETTINGS AS_IT_WAS "\n" SERVERS AS_IT_WAS, {}},
    };
    for (const Step& step : steps) EXPECT_EQ(tellStep(home, step), step.told);
    EXPECT_TRUE(std::filesystem::is_empty(home.path()));
    EXPECT_FALSE(home.claudeCode().staleOwnWiring());
}

TEST(ClaudeCodeVerbs, AFreshHomeIsConnectedAndComesBack) {
    const Files connected{
        {settingsFile, ourSettings},
        {serverFile, ourServers},
        {receiptFile, receipt({"eventArray", "hookGroup", "hooksObject", "mcpFile", "mcpServersObject",
                               "preToolEventArray", "preToolGroup", "settingsFile"})}};
    const Files copies{{settingsFile + copy, ourSettings}, {serverFile + copy, ourServers}};
    tell({}, {{"scan", "found\n" SETTINGS "there is no file here\n" SERVERS "there is no file here", {}},
              {"install", "changed\n" SETTINGS WRITTEN "\n" SERVERS WRITTEN, connected},
              {"scan",
               "connected\n" SETTINGS "the Larkmoor hook entry here runs {hook} --harness claude-code\n" SERVERS
               "the Larkmoor MCP server entry here runs {mcp}",
               connected},
              {"install", "unchanged\n" SETTINGS AS_IT_WAS "\n" SERVERS AS_IT_WAS, connected},
              {"remove",
               "changed\n~/.claude/settings.json" COPIED "~/.claude.json" COPIED SETTINGS GONE "\n" SERVERS GONE,
               copies,
               {"~/.claude/settings.json" COPY, "~/.claude.json" COPY}},
              {"remove", "unchanged\n" SETTINGS AS_IT_WAS "\n" SERVERS AS_IT_WAS, copies}});
}

TEST(ClaudeCodeVerbs, WhatEarlierBuildsWroteIsBroughtUpToDateInItsPlace) {
    const std::string stale = unfolded(
        "{'hooks':{'Stop':[{'hooks':[{'command':'{hook} --harness=claude-code --slot=index'}]}],'UserPromptSubmit':["
        "{'hooks':[" MINE
        ",{'command':'python3 /x/fenwright/larkmoor/Scripts/prime-hook.py'},{'command':"
        "'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code'}]}]}}");
    const std::string staleServers =
        unfolded("{'mcpServers':{'larkmoor':{'command':'/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp'}}}");
    const std::string settings = unfolded("{'hooks':{'UserPromptSubmit':[{'hooks':[" MINE "," ENTRY("rules") "," ENTRY(
        "index") "," ENTRY("recall") "]}],"
                                     "'PreToolUse':[{'matcher':'mcp__larkmoor__.*','hooks':[" ENTRY("pretool") "]}]}}");
    const std::string servers =
        unfolded("{'mcpServers':{'larkmoor':{'type':'stdio','command':'{mcp}','args':[],'env':{}}}}");
    const Files before{{settingsFile, stale}, {serverFile, staleServers}};
    const Files copies{{settingsFile + copy, stale}, {serverFile + copy, staleServers}};
    Files connected{
        {settingsFile, settings}, {serverFile, servers}, {receiptFile, receipt({"preToolEventArray", "preToolGroup"})}};
    connected.insert(copies.begin(), copies.end());
    Files removed{{settingsFile, unfolded("{'hooks':{'UserPromptSubmit':[{'hooks':[" MINE "]}]}}")},
                  {settingsFile + copy + "-02", settings},
                  {serverFile, unfolded("{'mcpServers':{}}")},
                  {serverFile + copy + "-02", servers}};
    removed.insert(copies.begin(), copies.end());
    tell(before,
         {{"scan",
           "drifted\n" SETTINGS "the Larkmoor hook entry here — this file holds 3 Larkmoor entries where four are "
           "expected\n" SETTINGS "the Larkmoor hook entry here — a Larkmoor entry here is under the Stop event rather "
           "than UserPromptSubmit\n" SETTINGS "the Larkmoor hook entry here — the command is not the one this build "
           "writes: {hook} --harness=claude-code --slot=index\n" SERVERS "the Larkmoor MCP server entry here — the "
           "command is not the one this build writes: /Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp",
           before},
          {"install",
           "changed\n~/.claude/settings.json" COPIED "~/.claude.json" COPIED SETTINGS WRITTEN "\n" SERVERS WRITTEN,
           connected,
           {"~/.claude/settings.json" COPY, "~/.claude.json" COPY}},
          {"remove",
           "changed\n~/.claude/settings.json" COPY "-02: a copy of the file was made here first\n~/.claude.json" COPY
           "-02: a copy of the file was made here first\n" SERVERS EMPTY("mcpServers object") "\n" SETTINGS TAKEN
                                                                                              "\n" SERVERS TAKEN,
           removed,
           {"~/.claude/settings.json" COPY "-02", "~/.claude.json" COPY "-02"}}});
}

TEST(ClaudeCodeVerbs, OfTheShellsOnlyThoseGoThatTheReceiptNames) {
    constexpr std::string_view lost = "changed\n~/.claude/settings.json" COPIED "~/.claude.json" COPIED SETTINGS EMPTY(
        "hook group") "\n" SETTINGS EMPTY("hook group") "\n" SERVERS EMPTY("mcpServers object") "\n" SETTINGS TAKEN
                                                                                                "\n" SERVERS TAKEN;
    struct Case {
        std::string_view name, settings, servers, receipt, told;
        std::string_view after = "";  ///< of the settings
    };
    const Case table[] = {
        {"no receipt", ourSettings, ourServers, "", lost,
         "{|  'hooks': {|    'UserPromptSubmit': [|      {|        'hooks': []|      }|    ],|    'PreToolUse': [|     "
         " "
         "{|        'matcher': 'mcp__larkmoor__.*',|        'hooks': []|      }|    ]|  }|}|"},
        {"none that reads", ourSettings, ourServers, "no receipt", lost},
        {"one of a later build", ourSettings, ourServers, "{'created':['settingsFile','later']}", lost},
        {"nothing of ours", "{}", "[]\n", "kept", "unchanged\n" SETTINGS AS_IT_WAS "\n" SERVERS AS_IT_WAS},
        {"nothing of ours in an empty shell", "{'hooks':{}}", "{'mcpServers':[]}", "{'created':['eventArray']}",
         "unchanged\n" SETTINGS EMPTY("hooks object") "\n" SETTINGS AS_IT_WAS "\n" SERVERS AS_IT_WAS},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.write(settingsFile, row.settings);
        home.write(serverFile, row.servers);
        if (!row.receipt.empty()) home.write(receiptFile, row.receipt);
        const Files before = home.files();
        EXPECT_EQ(home.told(home.claudeCode().remove()), row.told);
        if (!row.after.empty()) EXPECT_EQ(home.read(settingsFile), unfolded(row.after));
        if (row.told.starts_with("unchanged")) {
            EXPECT_EQ(home.files(), before);
        } else {
            EXPECT_EQ(home.read(receiptFile), std::nullopt);
        }
    }
}

TEST(ClaudeCodeVerbs, AReceiptOnlyGrowsAndAnUnreadableOneStartsAgain) {
    const std::pair<std::string_view, std::string> table[] = {
        {"{'created':['settingsFile'],'appVersion':'7','trustSlots':['s']}",
         receipt({"preToolEventArray", "preToolGroup", "settingsFile"}, "  'appVersion': '7',|", "[|    's'|  ]")},
        {"{", receipt({"preToolEventArray", "preToolGroup"})},
    };
    for (const auto& [before, after] : table) {
        const ConnectorHome home;
        home.write(settingsFile,
                   R"({"hooks":{"UserPromptSubmit":[{"hooks":[{"command":"{hook} --harness claude-code"}]}]}})");
        home.write(serverFile, ourServers);
        home.write(receiptFile, before);
        EXPECT_EQ(home.told(home.claudeCode().install()),
                  "changed\n~/.claude/settings.json" COPIED SETTINGS WRITTEN "\n" SERVERS AS_IT_WAS);
        EXPECT_EQ(home.read(receiptFile), after);
    }
}

TEST(ClaudeCodeVerbs, ARefusalTellsEveryFileAndTouchesNone) {
    struct Case {
        std::string_view name, settings, servers, told;
        bool removes = true;  ///< a removal refuses in the same words
    };
    const Case table[] = {
        {"comments", "{} // mine", "{}",
         "refused\n" SETTINGS
         "this file did not read as JSON, so nothing was written — there are bytes after the top-level "
         "value (at byte 3)"},
        {"both", "{\"a\":1,\"a\":1}", "",
         "refused\n" SETTINGS
         "this file did not read as JSON, so nothing was written — the name \"a\" appears twice in one "
         "object (at byte 7)\n" SERVERS
         "this file did not read as JSON, so nothing was written — the document ended where a "
         "value was expected (at byte 0)"},
        {"hooks is an array", "{\"hooks\":[]}", "{}",
         "refused\n" SETTINGS "nothing was written — hooks is not an object", false},
        {"servers are no object", "{}", "{\"mcpServers\":null}",
         "refused\n" SERVERS "nothing was written — mcpServers is not an object", false},
    };
    for (const Case& row : table) {
        SCOPED_TRACE(row.name);
        const ConnectorHome home;
        home.write(settingsFile, row.settings);
        home.write(serverFile, row.servers);
        home.write(receiptFile, "kept");
        const Files before = home.files();
        EXPECT_EQ(home.told(home.claudeCode().install()), row.told);
        if (row.removes) EXPECT_EQ(home.told(home.claudeCode().remove()), row.told);
        EXPECT_EQ(home.files(), before);
    }
}

TEST(ClaudeCodeVerbs, ScanFoldsAndSaysTheWorst) {
    const ConnectorHome home;
    home.write(settingsFile, R"({"hooks":{"Stop":[{"hooks":[{"command":"{hook} --harness claude-code --slot rules"},
                                {"command":"{hook} --harness claude-code --slot rules"}]}]}})");
    home.write(serverFile, R"({"mcpServers":7})");
    EXPECT_EQ(home.told(home.claudeCode().scan()),
              "drifted\n" SETTINGS
              "the Larkmoor hook entry here — this file holds 2 Larkmoor entries where four are "
              "expected\n" SETTINGS
              "the Larkmoor hook entry here — a Larkmoor entry here is under the Stop event rather than "
              "UserPromptSubmit (2 entries)\n" SERVERS
              "the mcpServers value in this file is not an object, so no entry can be put in it");
}

TEST(ClaudeCodeVerbs, OnlyOurOwnStaleWiringIsToBeRepaired) {
#define STALE "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":["
    struct Case {
        std::string_view name, settings, servers;
        bool want;
    };
    const Case table[] = {
        {"another spelling", STALE R"({"command":"{hook} --harness=claude-code --slot=rules"}]}]}})", "{}", true},
        {"a slot of an older layout", STALE R"({"command":"{hook} --harness claude-code"}]}]}})", "{}", true},
        {"connected", ourSettings, ourServers, false},
        {"connected hooks, a server elsewhere", ourSettings,
         R"({"mcpServers":{"larkmoor":{"command":"/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp"}}})", true},
        {"one of another bundle", STALE R"({"command":"{hook} --harness claude-code"},
               {"command":"/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code"}]}]}})",
         "{}", false},
        {"an old script", STALE R"({"command":"python3 /x/fenwright/larkmoor/Scripts/rules-hook.py"}]}]}})", "{}",
         false},
        {"a server alone", "{}", ourServers, false},
        {"unreadable", "{", ourServers, false},
    };
    for (const Case& row : table) {
        const ConnectorHome home;
        home.write(settingsFile, row.settings);
        home.write(serverFile, row.servers);
        EXPECT_EQ(home.claudeCode().staleOwnWiring(), row.want) << row.name;
        std::filesystem::remove(home.hook());
        EXPECT_FALSE(home.claudeCode().staleOwnWiring()) << row.name << ", but the hook is not on disk";
    }
}

}  // namespace
}  // namespace larkmoor
