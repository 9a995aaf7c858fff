// The blocks in Claude Code's files as pure functions: what is found, what an install makes of it, and what a removal
// leaves.
#include <gtest/gtest.h>

#include <fmt/ranges.h>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeHook.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeMCP.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::text;

#define RUN "{hook} --harness claude-code --slot "
#define ENTRY(command) "{\"type\":\"command\",\"command\":\"" command "\",\"timeout\":3}"
#define RULES ENTRY(RUN "rules")
#define INDEX ENTRY(RUN "index")
#define RECALL ENTRY(RUN "recall")
#define PRETOOL ENTRY(RUN "pretool")
#define PROMPTS RULES "," INDEX "," RECALL
#define PROMPT_GROUP "{\"hooks\":[" PROMPTS "]}"
#define PRE_GROUP "{\"matcher\":\"mcp__larkmoor__.*\",\"hooks\":[" PRETOOL "]}"
#define OLD_SCRIPT "{\"command\":\"python3 /me/fenwright/larkmoor/Scripts/rules-hook.py\"}"
#define OLD_BUNDLE "{\"command\":\"/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code\"}"
#define USERS "{\"command\":\"mine\"}"
#define BOTH(prompts, tools) "{\"hooks\":{\"UserPromptSubmit\":[" prompts "],\"PreToolUse\":[" tools "]}}"
#define WHOLE BOTH(PROMPT_GROUP, PRE_GROUP)

/// What a finding is and says, in one text.
std::string shown(const BlockFinding& finding) {
    return finding.visit([](const BlockFinding::Unreadable& unreadable) { return "unreadable: " + unreadable.reason; },
                         [](const BlockFinding::Drifted& drifted) {
                             return fmt::format("drifted: {}", fmt::join(drifted.reasons, "; "));
                         },
                         [](const BlockFinding::Foreign& foreign) {
                             return fmt::format("foreign: {}", fmt::join(foreign.reasons, "; "));
                         },
                         [](const BlockFinding::FileAbsent&) { return std::string{"file absent"}; },
                         [](const BlockFinding::Absent&) { return std::string{"absent"}; },
                         [](const BlockFinding::Connected&) { return std::string{"connected"}; });
}

std::string shown(const std::set<Created>& created) {
    std::vector<std::string_view> names;
    names.reserve(created.size());
    for (const Created each : created) names.push_back(rawText(each));
    return fmt::format("{}", fmt::join(names, " "));
}

class ClaudeCodeBlockTest : public ::testing::Test {
  protected:
    ConnectorHome home;
    ClaudeCodeHook hook{ClaudeCodePaths::under(home.path(), home.bundle())};
    ClaudeCodeMCP server{ClaudeCodePaths::under(home.path(), home.bundle())};

    std::string bytesOf(const Bytes& bytes) const { return home.shown(text(bytes)); }
};

TEST_F(ClaudeCodeBlockTest, WhatIsFoundOfTheHooks) {
    struct Case {
        std::string_view name, in, want;
    };
    const Case table[] = {
        {"whole", WHOLE, "connected"},
        {"another order of members",
         BOTH("{\"hooks\":[{\"timeout\":3,\"type\":\"command\",\"command\":\"" RUN "rules\"}," INDEX "," RECALL "]}",
              PRE_GROUP),
         "connected"},
        {"beside the user's", BOTH("{\"hooks\":[" USERS "," PROMPTS "," USERS "]}", USERS "," PRE_GROUP), "connected"},
        {"none", "{\"hooks\":{\"Stop\":[" USERS "]}}", "absent"},
        {"no hooks", "[]", "absent"},
        {"no command", "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[{\"command\":7},8,{}]},7,{\"hooks\":{}}]}}",
         "absent"},
        {"a comment", "{} // mine", "unreadable: there are bytes after the top-level value (at byte 3)"},
        {"two hooks", "{\"hooks\":{},\"hooks\":{}}",
         "unreadable: the name \"hooks\" appears twice in one object (at byte 12)"},
        {"two events", "{\"hooks\":{\"Stop\":[],\"Stop\":[]}}",
         "unreadable: the name \"Stop\" appears twice in one object (at byte 20)"},
        {"two in a group", "{\"hooks\":{\"Stop\":[{\"a\":1,\"a\":1}]}}",
         "unreadable: the name \"a\" appears twice in one object (at byte 25)"},
        {"two in an entry", "{\"hooks\":{\"Stop\":[{\"hooks\":[{\"a\":1,\"a\":1}]}]}}",
         "unreadable: the name \"a\" appears twice in one object (at byte 35)"},
        {"two elsewhere", "{\"env\":{\"a\":1,\"a\":1}}", "absent"},
        {"hooks is an array", "{\"hooks\":[]}",
         "foreign: the hooks value in this file is not an object, so no entry can be put in it"},
        {"an event is text", "{\"hooks\":{\"PreToolUse\":null,\"UserPromptSubmit\":\"\"}}",
         "foreign: the UserPromptSubmit value in this file is not an array, so no entry can be put in it"},
        {"the other event", "{\"hooks\":{\"PreToolUse\":{}}}",
         "foreign: the PreToolUse value in this file is not an array, so no entry can be put in it"},
        {"a timeout changed",
         BOTH("{\"hooks\":[" RULES "," INDEX ",{\"type\":\"command\",\"command\":\"" RUN "recall\",\"timeout\":30}]}",
              PRE_GROUP),
         "drifted: the entry's shape is not the one this build writes"},
        {"a member more",
         BOTH(PROMPT_GROUP, "{\"matcher\":\"mcp__larkmoor__.*\",\"hooks\":[{\"type\":\"command\",\"command\":\"" RUN
                            "pretool\",\"timeout\":3,\"async\":true}]}"),
         "drifted: the entry's shape is not the one this build writes"},
        {"another matcher", BOTH(PROMPT_GROUP, "{\"matcher\":\"Bash\",\"hooks\":[" PRETOOL "]}"),
         "drifted: the entry's shape is not the one this build writes"},
        {"two groups", BOTH("{\"hooks\":[" RULES "," INDEX "]},{\"hooks\":[" RECALL "]}", PRE_GROUP),
         "drifted: the entry's shape is not the one this build writes"},
        {"another order", BOTH("{\"hooks\":[" RULES "," RECALL "," INDEX "]}", PRE_GROUP),
         "drifted: the entry's shape is not the one this build writes"},
        {"another spelling",
         BOTH("{\"hooks\":[" ENTRY("{hook} --harness=claude-code --slot=rules") "," INDEX "," RECALL "]}", PRE_GROUP),
         "drifted: the command is not the one this build writes: {hook} --harness=claude-code --slot=rules; the "
         "entry's "
         "shape is not the one this build writes"},
        {"three", "{\"hooks\":{\"UserPromptSubmit\":[" PROMPT_GROUP "]}}",
         "drifted: this file holds 3 Larkmoor entries where four are expected"},
        {"one, and stale", "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[" OLD_SCRIPT "]}]}}",
         "drifted: this file holds 1 Larkmoor entry where four are expected; the command points into a source "
         "checkout: "
         "python3 /me/fenwright/larkmoor/Scripts/rules-hook.py"},
        {"a tool's alone", "{\"hooks\":{\"PreToolUse\":[" PRE_GROUP "]}}",
         "drifted: this file holds 1 Larkmoor entry where four are expected"},
        {"under wrong events", BOTH(PRE_GROUP, PROMPT_GROUP),
         "drifted: a Larkmoor entry here is under the UserPromptSubmit event rather than PreToolUse; a Larkmoor entry "
         "here is under the PreToolUse event rather than UserPromptSubmit; a Larkmoor entry here is under the "
         "PreToolUse "
         "event rather than UserPromptSubmit; a Larkmoor entry here is under the PreToolUse event rather than "
         "UserPromptSubmit"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(home.shown(shown(hook.find(asBytes(home.filled(row.in))))), row.want) << row.name;
        const auto reason = hook.unreadableReason(asBytes(home.filled(row.in)));
        EXPECT_EQ(reason.has_value(), row.want.starts_with("unreadable")) << row.name;
    }
    EXPECT_EQ(shown(hook.find(std::nullopt)), "file absent");
    std::filesystem::remove(home.hook());
    EXPECT_EQ(home.shown(shown(hook.find(asBytes(home.filled(WHOLE))))),
              "drifted: the file the command names is not on disk: {hook}");
}

TEST_F(ClaudeCodeBlockTest, WhatAnInstallMakesOfTheHooks) {
    constexpr std::string_view all = "hooksObject eventArray hookGroup preToolEventArray preToolGroup";
    constexpr std::string_view inOwnGroup = "hookGroup preToolEventArray preToolGroup";
    struct Case {
        std::string_view name, in, want, created;
    };
    const Case table[] = {
        {"whole", WHOLE, WHOLE, ""},
        {"fresh", "{}", WHOLE, all},
        {"an empty object of hooks", "{\"hooks\":{}}", WHOLE, "eventArray hookGroup preToolEventArray preToolGroup"},
        {"empty events", BOTH("", ""), WHOLE, "hookGroup preToolGroup"},
        {"a group of the user's", "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[" USERS "]}]}}",
         BOTH("{\"hooks\":[" USERS "]}," PROMPT_GROUP, PRE_GROUP), inOwnGroup},
        {"ours in a group of the user's",
         "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[" USERS "," RECALL "," USERS "]}]}}",
         BOTH("{\"hooks\":[" USERS "," PROMPTS "," USERS "]}", PRE_GROUP), "preToolEventArray preToolGroup"},
        {"twice the same", BOTH("{\"hooks\":[" RULES "," RULES "," INDEX "," RECALL "]}", PRE_GROUP), WHOLE, ""},
        {"a second group of ours", BOTH(PROMPT_GROUP "," PROMPT_GROUP "," USERS, PRE_GROUP "," PRE_GROUP),
         BOTH(PROMPT_GROUP "," USERS, PRE_GROUP), ""},
        {"an old script", BOTH("{\"hooks\":[" USERS "," OLD_SCRIPT "]}", PRE_GROUP),
         BOTH("{\"hooks\":[" USERS "," PROMPTS "]}", PRE_GROUP), ""},
        {"an old bundle", BOTH("{\"hooks\":[" OLD_BUNDLE "," USERS "]}", PRE_GROUP),
         BOTH("{\"hooks\":[" PROMPTS "," USERS "]}", PRE_GROUP), ""},
        {"of every kind", BOTH("{\"hooks\":[" OLD_BUNDLE "," OLD_SCRIPT "," RULES "]}", "{\"hooks\":[" OLD_SCRIPT "]}"),
         WHOLE, "preToolEventArray preToolGroup"},
        {"a timeout changed",
         BOTH("{\"hooks\":[{\"type\":\"command\",\"command\":\"" RUN "rules\",\"timeout\":30}]}", PRE_GROUP), WHOLE,
         ""},
        {"stale under the tool's event", "{\"hooks\":{\"PreToolUse\":[{\"hooks\":[" OLD_BUNDLE "]}]}}", WHOLE,
         "eventArray hookGroup preToolEventArray preToolGroup"},
        {"stale among the user's there", BOTH("", "{\"hooks\":[" OLD_BUNDLE "," USERS "]}"),
         BOTH(PROMPT_GROUP, "{\"hooks\":[" USERS "]}," PRE_GROUP), "hookGroup preToolGroup"},
        {"under another event", "{\"hooks\":{\"Stop\":[{\"hooks\":[" RULES "]}]}}", WHOLE,
         "eventArray hookGroup preToolEventArray preToolGroup"},
        {"events swapped", BOTH(PRE_GROUP, PROMPT_GROUP), WHOLE, "eventArray hookGroup preToolEventArray preToolGroup"},
        {"a tool's entry in the prompts' group", BOTH("{\"hooks\":[" PRETOOL "," PROMPTS "]}", ""), WHOLE,
         "preToolGroup"},
        {"a tool's in its other spelling",
         BOTH(PROMPT_GROUP, "{\"matcher\":\"mcp__larkmoor__.*\",\"hooks\":[" ENTRY(
                                "{hook} --harness=claude-code --slot pretool") "]}"),
         WHOLE, "preToolEventArray preToolGroup"},
        {"a stranger that looks like it",
         BOTH("{\"hooks\":[" ENTRY("/opt/larkmoor-hook --harness claude-code") "]}", ""),
         BOTH("{\"hooks\":[" ENTRY("/opt/larkmoor-hook --harness claude-code") "]}," PROMPT_GROUP, PRE_GROUP),
         "hookGroup preToolGroup"},
    };
    for (const Case& row : table) {
        const auto installed = hook.installed(asBytes(home.filled(row.in)));
        ASSERT_TRUE(installed) << row.name << installed.error().description();
        EXPECT_EQ(bytesOf(installed->bytes), row.want) << row.name;
        EXPECT_EQ(shown(installed->created), row.created) << row.name;
        EXPECT_EQ(shown(hook.find(installed->bytes)), "connected") << row.name;
        const auto again = hook.installed(installed->bytes);
        ASSERT_TRUE(again);
        EXPECT_EQ(*again, BlockInstalled{installed->bytes}) << row.name;
    }
}

TEST_F(ClaudeCodeBlockTest, WhereThereIsNoPlaceForTheHooks) {
    struct Case {
        std::string_view in, want;
    };
    const Case table[] = {
        {"[]", "the top-level value is not an object"},
        {"{\"hooks\":7}", "hooks is not an object"},
        {"{\"hooks\":{\"UserPromptSubmit\":{}}}", "hooks.UserPromptSubmit is not an array"},
        {"{\"hooks\":{\"PreToolUse\":\"x\"}}", "hooks.PreToolUse is not an array"},
        {"{", "a member name was expected (at byte 1)"},
    };
    for (const Case& row : table) {
        const auto installed = hook.installed(asBytes(row.in));
        ASSERT_FALSE(installed) << row.in;
        EXPECT_EQ(installed.error().description(), row.want);
    }
    std::set<Created> created;
    const auto alone = hook.installedPreTool(asBytes("{}"), created);
    ASSERT_FALSE(alone);
    EXPECT_EQ(alone.error().description(), "hooks is not an object");
}

TEST_F(ClaudeCodeBlockTest, WhatARemovalLeavesOfTheHooks) {
    const std::set<Created> all{Created::hooksObject, Created::eventArray, Created::hookGroup,
                                Created::preToolEventArray, Created::preToolGroup};
    const std::set<Created> groups{Created::hookGroup, Created::preToolGroup};
    constexpr std::string_view group = "an empty hook group remains here, which Larkmoor did not create";
    constexpr std::string_view object = "an empty hooks object remains here, which Larkmoor did not create";
    constexpr std::string_view prompts = "an empty UserPromptSubmit list remains here, which Larkmoor did not create";
    constexpr std::string_view tools = "an empty PreToolUse list remains here, which Larkmoor did not create";
    struct Case {
        std::string_view name, in, want;
        std::set<Created> created;
        std::vector<std::string_view> leftovers;
    };
    const Case table[] = {
        {"all ours", WHOLE, "{}", all, {}},
        {"the object was the user's",
         WHOLE,
         "{\"hooks\":{}}",
         {Created::eventArray, Created::hookGroup, Created::preToolEventArray, Created::preToolGroup},
         {object}},
        {"the events were", WHOLE, BOTH("", ""), groups, {prompts, tools}},
        {"no receipt",
         WHOLE,
         BOTH("{\"hooks\":[]}", "{\"matcher\":\"mcp__larkmoor__.*\",\"hooks\":[]}"),
         {},
         {group, group}},
        {"nothing of ours", BOTH("{\"hooks\":[]}", ""), BOTH("{\"hooks\":[]}", ""), all, {}},
        {"nothing of ours, and no hooks at all", "{\"hooks\":{}}", "{\"hooks\":{}}", groups, {object}},
        {"beside the user's",
         BOTH("{\"hooks\":[" USERS "," PROMPTS "]}," USERS, USERS "," PRE_GROUP),
         BOTH("{\"hooks\":[" USERS "]}," USERS, USERS),
         all,
         {}},
        {"several groups",
         BOTH(PROMPT_GROUP "," USERS "," PROMPT_GROUP, PRE_GROUP "," PRE_GROUP),
         "{\"hooks\":{\"UserPromptSubmit\":[" USERS "]}}",
         all,
         {}},
        {"stale ones too",
         BOTH("{\"hooks\":[" OLD_BUNDLE "," OLD_SCRIPT "]}", ""),
         "{\"hooks\":{\"PreToolUse\":[]}}",
         all,
         {}},
        {"under another event",
         "{\"hooks\":{\"Stop\":[{\"hooks\":[" RULES "]},{\"matcher\":\"x\",\"hooks\":[" RULES "]}]}}",
         "{\"hooks\":{\"Stop\":[{\"hooks\":[]},{\"matcher\":\"x\",\"hooks\":[]}]}}",
         all,
         {group, group}},
        {"an object in place of the list",
         "{\"hooks\":{\"Stop\":[{\"hooks\":{}}]}}",
         "{\"hooks\":{\"Stop\":[{\"hooks\":{}}]}}",
         all,
         {}},
    };
    for (const Case& row : table) {
        const auto removed = hook.removed(asBytes(home.filled(row.in)), row.created);
        ASSERT_TRUE(removed) << row.name << removed.error().description();
        EXPECT_EQ(bytesOf(removed->bytes), row.want) << row.name;
        EXPECT_EQ(removed->leftovers, (std::vector<std::string>{row.leftovers.begin(), row.leftovers.end()}))
            << row.name;
    }
}

#define SERVER "{\"type\":\"stdio\",\"command\":\"{mcp}\",\"args\":[],\"env\":{}}"

TEST_F(ClaudeCodeBlockTest, TheServerEntry) {
    struct Case {
        std::string_view name, in, found, want, created;
    };
    const Case table[] = {
        {"whole", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", "connected",
         "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", ""},
        {"another order",
         "{\"mcpServers\":{\"larkmoor\":{\"env\":{},\"args\":[],\"type\":\"stdio\",\"command\":\"{mcp}\"}}}",
         "connected",
         "{\"mcpServers\":{\"larkmoor\":{\"env\":{},\"args\":[],\"type\":\"stdio\",\"command\":\"{mcp}\"}}}", ""},
        {"fresh", "{}", "absent", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", "mcpServersObject"},
        {"an empty object", "{\"mcpServers\":{}}", "absent", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", ""},
        {"beside others", "{\"mcpServers\":{\"a\":1}}", "absent", "{\"mcpServers\":{\"a\":1,\"larkmoor\":" SERVER "}}",
         ""},
        {"elsewhere", "{\"mcpServers\":{\"larkmoor\":{\"command\":\"/x/dist-dev/larkmoor-mcp\"}}}",
         "drifted: the command points at a development build: /x/dist-dev/larkmoor-mcp",
         "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", ""},
        {"the user's env",
         "{\"mcpServers\":{\"larkmoor\":{\"type\":\"stdio\",\"command\":\"{mcp}\",\"args\":[],\"env\":{\"A\":\"1\"}}}}",
         "drifted: the entry's shape is not the one this build writes", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}",
         ""},
        {"no command", "{\"mcpServers\":{\"larkmoor\":{\"command\":7}}}",
         "drifted: the entry's shape is not the one this build writes", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}",
         ""},
        {"no object", "{\"mcpServers\":{\"larkmoor\":7}}",
         "drifted: the entry's shape is not the one this build writes", "{\"mcpServers\":{\"larkmoor\":" SERVER "}}",
         ""},
        {"foreign", "{\"mcpServers\":[]}",
         "foreign: the mcpServers value in this file is not an object, so no entry can be put in it",
         "mcpServers is not an object", ""},
        {"twice in the entry", "{\"mcpServers\":{\"larkmoor\":{\"a\":1,\"a\":1}}}",
         "unreadable: the name \"a\" appears twice in one object (at byte 33)",
         "{\"mcpServers\":{\"larkmoor\":" SERVER "}}", ""},
        {"twice the key", "{\"mcpServers\":{\"larkmoor\":1,\"larkmoor\":2}}",
         "unreadable: the name \"larkmoor\" appears twice in one object (at byte 28)",
         "{\"mcpServers\":{\"larkmoor\":" SERVER ",\"larkmoor\":2}}", ""},
        {"another's twice", "{\"mcpServers\":{\"x\":{\"a\":1,\"a\":1}}}", "absent",
         "{\"mcpServers\":{\"x\":{\"a\":1,\"a\":1},\"larkmoor\":" SERVER "}}", ""},
    };
    for (const Case& row : table) {
        const std::string in = home.filled(row.in);
        EXPECT_EQ(home.shown(shown(server.find(asBytes(in)))), row.found) << row.name;
        EXPECT_EQ(server.unreadableReason(asBytes(in)).has_value(), row.found.starts_with("unreadable")) << row.name;
        const auto installed = server.installed(asBytes(in));
        EXPECT_EQ(installed ? bytesOf(installed->bytes) : installed.error().description(), row.want) << row.name;
        if (installed) EXPECT_EQ(shown(installed->created), row.created) << row.name;
    }
    std::filesystem::remove(home.mcp());
    EXPECT_EQ(home.shown(shown(server.find(asBytes(home.filled("{\"mcpServers\":{\"larkmoor\":" SERVER "}}"))))),
              "drifted: the file the command names is not on disk: {mcp}");
}

TEST_F(ClaudeCodeBlockTest, TheServerEntryGone) {
    const std::string leftover = "an empty mcpServers object remains here, which Larkmoor did not create";
    struct Case {
        std::string_view in, want;
        std::set<Created> created;
        std::vector<std::string> leftovers;
    };
    const Case table[] = {
        {"{\"a\":1,\"mcpServers\":{\"larkmoor\":7}}", "{\"a\":1}", {Created::mcpServersObject}, {}},
        {"{\"mcpServers\":{\"larkmoor\":7}}", "{\"mcpServers\":{}}", {}, {leftover}},
        {"{\"mcpServers\":{\"larkmoor\":7,\"x\":1}}", "{\"mcpServers\":{\"x\":1}}", {Created::mcpServersObject}, {}},
        {"{\"mcpServers\":{}}", "{\"mcpServers\":{}}", {Created::mcpServersObject}, {}},
        {"{\"mcpServers\":[]}", "{\"mcpServers\":[]}", {}, {}},
    };
    for (const Case& row : table) {
        const auto removed = server.removed(asBytes(row.in), row.created);
        ASSERT_TRUE(removed) << row.in;
        EXPECT_EQ(text(removed->bytes), row.want);
        EXPECT_EQ(removed->leftovers, row.leftovers) << row.in;
    }
}

}  // namespace
}  // namespace larkmoor
