// Install, then remove, over files in the styles of many hands: the user's bytes come back.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::receiptFile;
using testing::serverFile;
using testing::settingsFile;

constexpr std::string_view asItWas = "(as it was)";

struct Case {
    std::string_view name, in;
    std::string_view after = asItWas;  ///< what stands after the removal, if not the input
    std::string_view leftover = "";    ///< the sentence for what stays
};

constexpr std::string_view emptyPrompts = "an empty UserPromptSubmit list remains here, which Larkmoor did not create";
constexpr std::string_view emptyTools = "an empty PreToolUse list remains here, which Larkmoor did not create";
constexpr std::string_view emptyHooks = "an empty hooks object remains here, which Larkmoor did not create";
constexpr std::string_view emptyGroup = "an empty hook group remains here, which Larkmoor did not create";
constexpr std::string_view emptyServers = "an empty mcpServers object remains here, which Larkmoor did not create";
constexpr std::string_view emptyFile = "this file is now empty and remains, because Larkmoor did not create it";

/// Installs, installs again, and removes; `in` is the content of one of the files, and the other is not there.
void expectRound(const char* file, const Case& row) {
    SCOPED_TRACE(row.name);
    const ConnectorHome home;
    home.makeFolder(".claude");
    home.write(file, row.in);
    const ClaudeCodeConnector connector = home.claudeCode();
    const ConnectorOutcome installed = connector.install();
    ASSERT_EQ(installed.result, ConnectorOutcome::Result::changed) << home.told(installed);
    EXPECT_EQ(connector.scan().state, ConnectorState::connected);
    const auto connected = home.files();
    EXPECT_EQ(connector.install().result, ConnectorOutcome::Result::unchanged);
    EXPECT_EQ(home.files(), connected);
    const ConnectorOutcome removed = connector.remove();
    EXPECT_EQ(removed.result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.read(file), row.after == asItWas ? home.shown(home.filled(row.in)) : std::string{row.after});
    std::vector<std::string> said;
    for (const auto& [subject, text] : removed.observations) {
        if (text.contains(" remains")) said.push_back(text);
    }
    const auto want = row.leftover.empty() ? std::vector<std::string>{} : std::vector{std::string{row.leftover}};
    EXPECT_EQ(said, want);
    EXPECT_EQ(home.read(receiptFile), std::nullopt);
    EXPECT_EQ(connector.scan().state, ConnectorState::found);
}

#define MINE R"({"type": "command", "command": "mine"})"

TEST(ClaudeCodeRoundTrip, Settings) {
    const Case table[] = {
        {"two spaces", "{\n  \"model\": \"x\",\n  \"env\": {\n    \"A\": \"1\"\n  }\n}\n"},
        {"four spaces", "{\n    \"model\": \"x\",\n    \"permissions\": {\n        \"allow\": []\n    }\n}\n"},
        {"tabs", "{\n\t\"model\": \"x\",\n\t\"env\": {\n\t\t\"A\": \"1\"\n\t}\n}\n"},
        {"one space", "{\n \"model\": \"x\"\n}\n"},
        {"eight spaces", "{\n        \"model\": \"x\"\n}\n"},
        {"carriage returns", "{\r\n  \"model\": \"x\"\r\n}\r\n"},
        {"one carriage return among line feeds", "{\n  \"model\": \"x\",\r\n  \"a\": 1\n}\n"},
        {"on one line", "{\"model\":\"x\",\"env\":{\"A\":\"1\"}}"},
        {"on one line, with blanks", "{ \"model\": \"x\", \"env\": { \"A\": \"1\" } }"},
        {"on one line, and a line feed", "{\"model\":\"x\"}\n"},
        {"no line feed at the end", "{\n  \"model\": \"x\"\n}"},
        {"many line feeds around", "\n\n{\n  \"model\": \"x\"\n}\n\n\n"},
        {"blank lines between", "{\n\n  \"model\": \"x\",\n\n\n  \"a\": 1\n\n}\n"},
        {"blanks behind", "{  \n  \"model\": \"x\",   \n  \"a\": 1  \n}  \n"},
        {"commas first", "{ \"model\": \"x\"\n, \"a\": 1\n, \"b\": [1\n  , 2]\n}\n"},
        {"braces on lines of their own", "{\n  \"env\":\n  {\n    \"A\": \"1\"\n  }\n}\n"},
        {"blanks before colons", "{\n  \"model\"   :   \"x\",\n  \"a\" :1\n}\n"},
        {"escapes", "{\n  \"m\\u006fdel\": \"\\/x\\u00e9\\n\\\\\",\n  \"\\\"\": \"é😀\"\n}\n"},
        {"numbers of all spellings", "{\n  \"a\": -0, \"b\": 1E5, \"c\": 1.50, \"d\": 12345678901234567890\n}\n"},
        {"twice elsewhere", "{\n  \"env\": {\"A\": 1, \"A\": 2}\n}\n"},
        {"other events",
         "{\n  \"hooks\": {\n    \"Stop\": [\n      {\n        \"hooks\": [" MINE "]\n      }\n    ]\n  }\n}\n"},
        {"hooks first", "{\n  \"hooks\": {\n    \"Stop\": []\n  },\n  \"model\": \"x\"\n}\n"},
        {"a prompt's group",
         "{\n  \"hooks\": {\n    \"UserPromptSubmit\": [\n      {\n        \"hooks\": [\n          " MINE
         "\n        ]\n      }\n    ]\n  }\n}\n"},
        {"prompt groups on one line",
         "{\"hooks\": {\"UserPromptSubmit\": [{\"hooks\": [" MINE "]}, {\"hooks\": []}]}}\n"},
        {"a tool's group", "{\n\t\"hooks\": {\n\t\t\"PreToolUse\": [\n\t\t\t{\"matcher\": \"Bash\", \"hooks\": [" MINE
                           "]}\n\t\t]\n\t}\n}\n"},
        {"both events", "{\n    \"hooks\": {\n        \"PreToolUse\": [{\"hooks\": [" MINE "]}],\n        "
                        "\"UserPromptSubmit\": [{\"hooks\": [" MINE "]}]\n    }\n}\n"},
        {"both events, with carriage returns",
         "{\r\n  \"hooks\": {\r\n    \"PreToolUse\": [\r\n      " MINE
         "\r\n    ],\r\n    \"UserPromptSubmit\": [\r\n      7\r\n    ]\r\n  }\r\n}"},
        {"a stranger's hook that looks like ours",
         "{\n  \"hooks\": {\n    \"UserPromptSubmit\": [\n      {\n        \"hooks\": [{\"command\": "
         "\"/opt/larkmoor-hook "
         "--harness claude-code\"}]\n      }\n    ]\n  }\n}\n"},
        {"groups of foreign shapes",
         "{\"hooks\": {\"UserPromptSubmit\": [7, null, {\"hooks\": 7}, {\"hooks\": [8]}]}}"},
        // What the user had empty stays, and is said to.
        {"an empty object", "{}", "{}", emptyFile},
        {"an empty object and a line feed", "{}\n", "{}\n", emptyFile},
        {"an empty object of hooks", "{\n  \"hooks\": {}\n}\n", "{\n  \"hooks\": {}\n}\n", emptyHooks},
        {"an empty list of prompts", "{\n  \"hooks\": {\n    \"UserPromptSubmit\": []\n  }\n}\n", asItWas,
         emptyPrompts},
        {"an empty list of tools", "{\"hooks\":{\"PreToolUse\":[]}}", asItWas, emptyTools},
        // Blanks alone between brackets are no content: they close up.
        {"an empty object, opened", "{\n}\n", "{}\n", emptyFile},
        {"an empty object of hooks, opened", "{\n  \"hooks\": {\n  }\n}\n", "{\n  \"hooks\": {}\n}\n", emptyHooks},
        // What an older build of ours wrote goes, and of its surroundings what nobody remembers making stays.
        {"an old script of ours beside the user's",
         "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[" MINE ",{\"command\":\"python3 "
         "/x/fenwright/larkmoor/Scripts/rules-hook.py\"}]}]}}",
         "{\"hooks\":{\"UserPromptSubmit\":[{\"hooks\":[" MINE "]}]}}"},
        {"an old bundle's entry alone",
         "{\"hooks\":{\"Stop\":[],\"UserPromptSubmit\":[{\"matcher\":\"\",\"hooks\":[{\"command\":"
         "\"/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code\"}]}]}}",
         "{\"hooks\":{\"Stop\":[],\"UserPromptSubmit\":[{\"matcher\":\"\",\"hooks\":[]}]}}", emptyGroup},
    };
    static_assert(std::size(table) >= 30);
    for (const Case& row : table) expectRound(settingsFile, row);
}

TEST(ClaudeCodeRoundTrip, Servers) {
    const Case table[] = {
        {"as the harness writes it",
         "{\n  \"numStartups\": 7,\n  \"projects\": {\n    \"/x\": {\n      \"allowedTools\": []\n"
         "    }\n  }\n}"},
        {"other servers", "{\n  \"mcpServers\": {\n    \"a\": {\n      \"command\": \"a\"\n    }\n  }\n}\n"},
        {"other servers on one line", "{ \"mcpServers\": { \"a\": { \"command\": \"a\" } } }"},
        {"tabs and carriage returns", "{\r\n\t\"mcpServers\": {\r\n\t\t\"a\": 1\r\n\t},\r\n\t\"b\": 2\r\n}\r\n"},
        {"servers first", "{\"mcpServers\":{\"a\":1},\"b\":2}"},
        {"an empty object of servers", "{\n  \"mcpServers\": {},\n  \"a\": 1\n}\n", asItWas, emptyServers},
        {"an empty object", "{}", "{}", emptyFile},
    };
    for (const Case& row : table) expectRound(serverFile, row);
}

// The order in which a person works on the file in between does not matter to what is taken out.
TEST(ClaudeCodeRoundTrip, TheUsersWorkInBetweenStays) {
    const ConnectorHome home;
    home.makeFolder(".claude");
    ASSERT_EQ(home.claudeCode().install().result, ConnectorOutcome::Result::changed);
    std::string text = *home.read(settingsFile);
    text.insert(text.find("\"hooks\""), "\"model\": \"x\",\n  ");
    text.insert(text.find("{\n            \"type\""), MINE ",\n          ");
    home.write(settingsFile, text);
    EXPECT_EQ(home.claudeCode().scan().state, ConnectorState::connected);
    EXPECT_EQ(home.claudeCode().remove().result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(home.read(settingsFile),
              "{\n  \"model\": \"x\",\n  \"hooks\": {\n    \"UserPromptSubmit\": [\n      {\n"
              "        \"hooks\": [\n          " MINE "\n        ]\n      }\n    ]\n  }\n}\n");
    EXPECT_EQ(home.read(serverFile), std::nullopt);
}

}  // namespace
}  // namespace larkmoor
