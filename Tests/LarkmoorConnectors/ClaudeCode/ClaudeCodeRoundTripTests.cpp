// Install, then remove, over files in the styles of many hands: the user's bytes come back.
#include <gtest/gtest.h>

#include "LarkmoorConnectors/ConnectorHome.h"

namespace larkmoor {
namespace {

using testing::ConnectorHome;
using testing::receiptFile;
using testing::serverFile;
using testing::settingsFile;
using testing::unfolded;

constexpr std::string_view asItWas = "(as it was)";

struct Case {
    std::string_view name, in;
    std::string_view after = asItWas;  ///< what stands after the removal, if not the input
    std::string_view leftover = "";    ///< the sentence for what stays
};

#define EMPTY(kind) "an empty " kind " remains here, which Larkmoor did not create"
#define EMPTY_FILE "this file is now empty and remains, because Larkmoor did not create it"

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
    EXPECT_EQ(home.read(file), row.after == asItWas ? home.shown(home.filled(row.in)) : unfolded(row.after));
    std::vector<std::string> said;
    for (const auto& [subject, text] : removed.observations) {
        if (text.contains(" remains")) said.push_back(text);
    }
    const auto want = row.leftover.empty() ? std::vector<std::string>{} : std::vector{std::string{row.leftover}};
    EXPECT_EQ(said, want);
    EXPECT_EQ(home.read(receiptFile), std::nullopt);
    EXPECT_EQ(connector.scan().state, ConnectorState::found);
}

#define MINE "{'type': 'command', 'command': 'mine'}"

TEST(ClaudeCodeRoundTrip, Settings) {
    const Case table[] = {
        {"two spaces", "{|  'model': 'x',|  'env': {|    'A': '1'|  }|}|"},
        {"four spaces", "{|    'model': 'x',|    'permissions': {|        'allow': []|    }|}|"},
        {"tabs", "{|\t'model': 'x',|\t'env': {|\t\t'A': '1'|\t}|}|"},
        {"carriage returns", "{\r|  'model': 'x'\r|}\r|"},
        {"one carriage return among line feeds", "{|  'model': 'x',\r|  'a': 1|}|"},
        {"on one line", "{'model':'x','env':{'A':'1'}}"},
        {"on one line, with blanks", "{ 'model': 'x', 'env': { 'A': '1' } }"},
        {"on one line, and a line feed", "{'model':'x'}|"},
        {"no line feed at the end", "{|  'model': 'x'|}"},
        {"many line feeds around", "||{|  'model': 'x'|}|||"},
        {"blanks behind", "{  |  'model': 'x',   |  'a': 1  |}  |"},
        {"commas first", "{ 'model': 'x'|, 'a': 1|, 'b': [1|  , 2]|}|"},
        {"braces on lines of their own", "{|  'env':|  {|    'A': '1'|  }|}|"},
        {"blanks before colons", "{|  'model'   :   'x',|  'a' :1|}|"},
        {"escapes", "{|  'm\\u006fdel': '\\/x\\u00e9\\n\\\\',|  '\\'': 'é😀'|}|"},
        {"numbers of all spellings", "{|  'a': -0, 'b': 1E5, 'c': 1.50, 'd': 12345678901234567890|}|"},
        {"twice elsewhere", "{|  'env': {'A': 1, 'A': 2}|}|"},
        {"other events", "{|  'hooks': {|    'Stop': [|      {|        'hooks': [" MINE "]|      }|    ]|  }|}|"},
        {"a prompt's group", "{|  'hooks': {|    'UserPromptSubmit': [|      {|        'hooks': [|          " MINE
                             "|        ]|      }|    ]|  }|}|"},
        {"prompt groups on one line", "{'hooks': {'UserPromptSubmit': [{'hooks': [" MINE "]}, {'hooks': []}]}}|"},
        {"a tool's group",
         "{|\t'hooks': {|\t\t'PreToolUse': [|\t\t\t{'matcher': 'Bash', 'hooks': [" MINE "]}|\t\t]|\t}|}|"},
        {"both events", "{|    'hooks': {|        'PreToolUse': [{'hooks': [" MINE "]}],|        "
                        "'UserPromptSubmit': [{'hooks': [" MINE "]}]|    }|}|"},
        {"both events, with carriage returns", "{\r|  'hooks': {\r|    'PreToolUse': [\r|      " MINE
                                               "\r|    ],\r|    'UserPromptSubmit': [\r|      7\r|    ]\r|  }\r|}"},
        {"a stranger's hook that looks like ours",
         "{|  'hooks': {|    'UserPromptSubmit': [|      {|        'hooks': [{'command': "
         "'/opt/larkmoor-hook "
         "--harness claude-code'}]|      }|    ]|  }|}|"},
        {"groups of foreign shapes", "{'hooks': {'UserPromptSubmit': [7, null, {'hooks': 7}, {'hooks': [8]}]}}"},
        // What the user had empty stays, and is said to.
        {"an empty object", "{}", "{}", EMPTY_FILE},
        {"an empty object of hooks", "{|  'hooks': {}|}|", "{|  'hooks': {}|}|", EMPTY("hooks object")},
        {"an empty list of prompts", "{|  'hooks': {|    'UserPromptSubmit': []|  }|}|", asItWas,
         EMPTY("UserPromptSubmit list")},
        {"an empty list of tools", "{'hooks':{'PreToolUse':[]}}", asItWas, EMPTY("PreToolUse list")},
        // Blanks alone between brackets are no content: they close up.
        {"an empty object, opened", "{|}|", "{}|", EMPTY_FILE},
        {"an empty object of hooks, opened", "{|  'hooks': {|  }|}|", "{|  'hooks': {}|}|", EMPTY("hooks object")},
        // What an older build of ours wrote goes, and of its surroundings what nobody remembers making stays.
        {"an old bundle's entry alone",
         "{'hooks':{'Stop':[],'UserPromptSubmit':[{'matcher':'','hooks':[{'command':"
         "'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code'}]}]}}",
         "{'hooks':{'Stop':[],'UserPromptSubmit':[{'matcher':'','hooks':[]}]}}", EMPTY("hook group")},
    };
    static_assert(std::size(table) >= 30);
    for (const Case& row : table) expectRound(settingsFile, row);
}

TEST(ClaudeCodeRoundTrip, Servers) {
    const Case table[] = {
        {"as the harness writes it",
         "{|  'numStartups': 7,|  'projects': {|    '/x': {|      'allowedTools': []|"
         "    }|  }|}"},
        {"other servers", "{|  'mcpServers': {|    'a': {|      'command': 'a'|    }|  }|}|"},
        {"tabs and carriage returns", "{\r|\t'mcpServers': {\r|\t\t'a': 1\r|\t},\r|\t'b': 2\r|}\r|"},
        {"servers first", "{'mcpServers':{'a':1},'b':2}"},
        {"an empty object of servers", "{|  'mcpServers': {},|  'a': 1|}|", asItWas, EMPTY("mcpServers object")},
        {"an empty object", "{}", "{}", EMPTY_FILE},
    };
    for (const Case& row : table) expectRound(serverFile, row);
}

// The order in which a person works on the file in between does not matter to what is taken out.
TEST(ClaudeCodeRoundTrip, TheUsersWorkInBetweenStays) {
    const ConnectorHome home;
    home.makeFolder(".claude");
    ASSERT_EQ(home.claudeCode().install().result, ConnectorOutcome::Result::changed);
    std::string text = *home.read(settingsFile);
    text.insert(text.find("\"hooks\""), unfolded("'model': 'x',|  "));
    text.insert(text.find("{\n            \"type\""), unfolded(MINE ",|          "));
    home.write(settingsFile, text);
    EXPECT_EQ(home.claudeCode().scan().state, ConnectorState::connected);
    EXPECT_EQ(home.claudeCode().remove().result, ConnectorOutcome::Result::changed);
    EXPECT_EQ(
        home.read(settingsFile),
        unfolded("{|  'model': 'x',|  'hooks': {|    'UserPromptSubmit': [|      {|        'hooks': [|          " MINE
                 "|        ]|      }|    ]|  }|}|"));
    EXPECT_EQ(home.read(serverFile), std::nullopt);
}

}  // namespace
}  // namespace larkmoor
