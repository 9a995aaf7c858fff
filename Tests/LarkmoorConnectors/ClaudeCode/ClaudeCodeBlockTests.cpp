// The blocks in Claude Code's files as pure functions: what is found, and what an install makes of it.
#include <gtest/gtest.h>

#include <fmt/ranges.h>

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"
#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;

#define RUN "{hook} --harness claude-code --slot "
#define ENTRY(command) "{'type':'command','command':'" command "','timeout':3}"
#define RULES ENTRY(RUN "rules")
#define INDEX ENTRY(RUN "index")
#define RECALL ENTRY(RUN "recall")
#define PRETOOL ENTRY(RUN "pretool")
#define PROMPTS RULES "," INDEX "," RECALL
#define PRE_GROUP "{'matcher':'mcp__larkmoor__.*','hooks':[" PRETOOL "]}"
#define OLD_SCRIPT "{'command':'python3 /me/fenwright/larkmoor/Scripts/rules-hook.py'}"
#define OLD_BUNDLE "{'command':'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=claude-code'}"
#define USERS "{'command':'mine'}"
#define GROUP(entries) "{'hooks':[" entries "]}"
#define PROMPT_GROUP GROUP(PROMPTS)
#define PROMPT(groups) "{'hooks':{'UserPromptSubmit':[" groups "]}}"
#define BOTH(prompts, tools) "{'hooks':{'UserPromptSubmit':[" prompts "],'PreToolUse':[" tools "]}}"
#define STOP(groups) "{'hooks':{'Stop':[" groups "]}}"
#define WHOLE BOTH(PROMPT_GROUP, PRE_GROUP)
#define SERVER(value) "{'mcpServers':{'larkmoor':" value "}}"
#define OURS "{'type':'stdio','command':'{mcp}','args':[],'env':{}}"
#define SHAPE "drifted: the entry's shape is not the one this build writes"
#define WRONG "; a Larkmoor entry here is under the PreToolUse event rather than UserPromptSubmit"
#define TWICE(name) "unreadable: the name \"" name "\" appears twice in one object "
#define NOT_AN(kind) " value in this file is not an " kind ", so no entry can be put in it"

std::string folded(std::string json) {
    std::ranges::replace(json, '"', '\'');
    return json;
}

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

class ClaudeCodeBlockTest : public ::testing::Test {
  protected:
    ConnectorHome home;
    ClaudeCodeHook hook{ClaudeCodePaths::under(home.path(), home.bundle())};
    ClaudeCodeMCP server{ClaudeCodePaths::under(home.path(), home.bundle())};

    JSONDocument document(std::string_view row) const {
        return JSONDocument::read(copyBytes(home.filled(row)), JSONDialect::strict).value();
    }
    std::string found(const auto& block, std::string_view row) const {
        return home.shown(shown(block.find(document(row))));
    }
    /// As the tables spell it, or why there is none.
    template <class Result>
    std::string bytesOf(const std::expected<Result, JSONEditFailure>& result) const {
        if (!result) return result.error().description();
        const FileDocument file = [&] {
            if constexpr (std::is_same_v<Result, BlockRemoved>)
                return *result->document;
            else
                return result->document;
        }();
        return folded(home.shown(std::string{asText(FileDocuments::bytes(file))}));
    }
};

TEST_F(ClaudeCodeBlockTest, WhatIsFoundOfTheHooks) {
    struct Case {
        std::string_view name, in, want;
    };
    const Case table[] = {
        {"whole", WHOLE, "connected"},
        {"another order of members",
         BOTH("{'hooks':[{'timeout':3,'type':'command','command':'" RUN "rules'}," INDEX "," RECALL "]}", PRE_GROUP),
         "connected"},
        {"none that runs anything", "{'hooks':{'Stop':[{'hooks':[{'command':7},8,{}]},7,{'hooks':{}}]}}", "absent"},
        {"two hooks", "{'hooks':{},'hooks':{}}", TWICE("hooks") "(at byte 12)"},
        {"two events", "{'hooks':{'Stop':[],'Stop':[]}}", TWICE("Stop") "(at byte 20)"},
        {"two in a group", "{'hooks':{'Stop':[{'a':1,'a':1}]}}", TWICE("a") "(at byte 25)"},
        {"two in an entry", "{'hooks':{'Stop':[{'hooks':[{'a':1,'a':1}]}]}}", TWICE("a") "(at byte 35)"},
        {"hooks is an array", "{'hooks':[]}", "foreign: the hooks" NOT_AN("object")},
        {"an event is text", "{'hooks':{'PreToolUse':null,'UserPromptSubmit':''}}",
         "foreign: the UserPromptSubmit" NOT_AN("array")},
        {"the other event", "{'hooks':{'PreToolUse':{}}}", "foreign: the PreToolUse" NOT_AN("array")},
        {"a timeout changed",
         BOTH("{'hooks':[" RULES "," INDEX ",{'type':'command','command':'" RUN "recall','timeout':30}]}", PRE_GROUP),
         SHAPE},
        {"a member more",
         BOTH(PROMPT_GROUP, "{'matcher':'mcp__larkmoor__.*','hooks':[{'type':'command','command':'" RUN
                            "pretool','timeout':3,'async':true}]}"),
         SHAPE},
        {"another matcher", BOTH(PROMPT_GROUP, "{'matcher':'Bash','hooks':[" PRETOOL "]}"), SHAPE},
        {"two groups", BOTH("{'hooks':[" RULES "," INDEX "]},{'hooks':[" RECALL "]}", PRE_GROUP), SHAPE},
        {"another order", BOTH(GROUP(RULES "," RECALL "," INDEX), PRE_GROUP), SHAPE},
        {"another spelling",
         BOTH("{'hooks':[" ENTRY("{hook} --harness=claude-code --slot=rules") "," INDEX "," RECALL "]}", PRE_GROUP),
         "drifted: the command is not the one this build writes: {hook} --harness=claude-code --slot=rules; the "
         "entry's shape is not the one this build writes"},
        {"three", PROMPT(PROMPT_GROUP), "drifted: this file holds 3 Larkmoor entries where four are expected"},
        {"one, and stale", PROMPT(GROUP(OLD_SCRIPT)),
         "drifted: this file holds 1 Larkmoor entry where four are expected; the command points into a source "
         "checkout: python3 /me/fenwright/larkmoor/Scripts/rules-hook.py"},
        {"under wrong events", BOTH(PRE_GROUP, PROMPT_GROUP),
         "drifted: a Larkmoor entry here is under the UserPromptSubmit event rather than PreToolUse" WRONG WRONG WRONG},
    };
    for (const Case& row : table) {
        EXPECT_EQ(found(hook, row.in), row.want) << row.name;
    }
    std::filesystem::remove(home.hook());
    EXPECT_EQ(found(hook, WHOLE), "drifted: the file the command names is not on disk: {hook}");
}

TEST_F(ClaudeCodeBlockTest, WhatAnInstallMakesOfTheHooks) {
    struct Case {
        std::string_view name, in, want;
    };
    const Case table[] = {
        {"empty events", BOTH("", ""), WHOLE},
        {"a group of the user's", PROMPT(GROUP(USERS)), BOTH(GROUP(USERS) "," PROMPT_GROUP, PRE_GROUP)},
        {"ours in a group of the user's", PROMPT(GROUP(USERS "," RECALL "," USERS)),
         BOTH(GROUP(USERS "," PROMPTS "," USERS), PRE_GROUP)},
        {"a second group of ours", BOTH(PROMPT_GROUP "," PROMPT_GROUP "," USERS, PRE_GROUP "," PRE_GROUP),
         BOTH(PROMPT_GROUP "," USERS, PRE_GROUP)},
        {"an old bundle", BOTH(GROUP(OLD_BUNDLE "," USERS), PRE_GROUP), BOTH(GROUP(PROMPTS "," USERS), PRE_GROUP)},
        {"stale among the user's there", BOTH("", GROUP(OLD_BUNDLE "," USERS)),
         BOTH(PROMPT_GROUP, GROUP(USERS) "," PRE_GROUP)},
        {"under another event", STOP(GROUP(RULES)), WHOLE},
        {"a tool's entry in the prompts' group", BOTH(GROUP(PRETOOL "," PROMPTS), ""), WHOLE},
        {"two of ours in two groups of one event, discarded",
         BOTH(PROMPT_GROUP "," GROUP(INDEX) "," GROUP(RULES), PRE_GROUP), WHOLE},
        {"an event is no array", "{'hooks':{'PreToolUse':7}}", "hooks.PreToolUse is not an array"},
        {"the prompts' is none", "{'hooks':{'UserPromptSubmit':{}}}", "hooks.UserPromptSubmit is not an array"},
        {"no object at all", "[]", "the top-level value is not an object"},
    };
    for (const Case& row : table) EXPECT_EQ(bytesOf(hook.installed(document(row.in))), row.want) << row.name;
}

// Ownership of an entry is its command; ownership of what surrounds it is what was created.
TEST_F(ClaudeCodeBlockTest, WhatARemovalLeavesOfTheHooks) {
    using enum Created;
    const std::set<Created> all{hooksObject, eventArray, hookGroup, preToolEventArray, preToolGroup};
    struct Case {
        std::string_view name, in;
        std::set<Created> created;
        std::string_view want;
        std::vector<std::string> leftovers{};
    };
    const std::string group = "an empty hook group remains here, which Larkmoor did not create";
    const Case table[] = {
        {"the whole", WHOLE, all, "{}"},
        {"two groups of one event", PROMPT(GROUP(RULES) "," GROUP(USERS) "," GROUP(INDEX) "," GROUP(RECALL)), all,
         PROMPT(GROUP(USERS))},
        {"two groups, and all of their event", PROMPT(GROUP(RULES) "," GROUP(INDEX)), all, "{}"},
        {"two groups of each event, the events the user's",
         BOTH(GROUP(RULES) "," GROUP(INDEX), PRE_GROUP "," PRE_GROUP),
         {hookGroup, preToolGroup},
         BOTH("", ""),
         {"an empty UserPromptSubmit list remains here, which Larkmoor did not create",
          "an empty PreToolUse list remains here, which Larkmoor did not create"}},
        {"the tools' group alone was ours",
         BOTH(PROMPT_GROUP, PRE_GROUP),
         {preToolGroup, preToolEventArray, hooksObject},
         PROMPT(GROUP("")),
         {group}},
        {"among the user's", BOTH(GROUP(USERS "," PROMPTS "," USERS), PRE_GROUP), all, PROMPT(GROUP(USERS "," USERS))},
        {"under an event that is never ours",
         STOP(GROUP(RULES) "," GROUP(INDEX)),
         all,
         STOP(GROUP("") "," GROUP("")),
         {group, group}},
        {"a shell of hooks that we made", "{'hooks':{}}", {hooksObject}, "{}"},
        {"nothing of ours", STOP(GROUP("")), all, STOP(GROUP(""))},
    };
    for (const Case& row : table) {
        const auto removed = hook.removed(document(row.in), row.created);
        EXPECT_EQ(bytesOf(removed), row.want) << row.name;
        EXPECT_EQ(removed->leftovers, row.leftovers) << row.name;
    }
}

#define CHECKOUT "/me/fenwright/larkmoor/dist-prod/dist-dev/larkmoor-mcp"
#define DEVELOPMENT "; the command points at a development build: " CHECKOUT

TEST_F(ClaudeCodeBlockTest, TheServerEntry) {
    struct Case {
        std::string_view name, in, found, want;
    };
    const Case table[] = {
        {"another order", SERVER("{'env':{},'args':[],'type':'stdio','command':'{mcp}'}"), "connected",
         SERVER("{'env':{},'args':[],'type':'stdio','command':'{mcp}'}")},
        {"of an engineer's", SERVER("{'command':'" CHECKOUT "'}"),
         "drifted: the command points into a source checkout: " CHECKOUT DEVELOPMENT DEVELOPMENT, SERVER(OURS)},
        {"the user's env", SERVER("{'type':'stdio','command':'{mcp}','args':[],'env':{'A':'1'}}"), SHAPE, SERVER(OURS)},
        {"no command", SERVER("{'command':7}"), SHAPE, SERVER(OURS)},
        {"foreign", "{'mcpServers':[]}", "foreign: the mcpServers" NOT_AN("object"), "mcpServers is not an object"},
        {"twice in the entry", SERVER("{'a':1,'a':1}"), TWICE("a") "(at byte 33)", SERVER(OURS)},
        {"twice the key", "{'mcpServers':{'larkmoor':1,'larkmoor':2}}", TWICE("larkmoor") "(at byte 28)",
         "{'mcpServers':{'larkmoor':" OURS ",'larkmoor':2}}"},
        {"another's twice", "{'mcpServers':{'x':{'a':1,'a':1}}}", "absent",
         "{'mcpServers':{'x':{'a':1,'a':1},'larkmoor':" OURS "}}"},
    };
    for (const Case& row : table) {
        EXPECT_EQ(found(server, row.in), row.found) << row.name;
        EXPECT_EQ(bytesOf(server.installed(document(row.in))), row.want) << row.name;
    }
    std::filesystem::remove(home.mcp());
    EXPECT_EQ(found(server, SERVER(OURS)), "drifted: the file the command names is not on disk: {mcp}");
}

}  // namespace
}  // namespace larkmoor
