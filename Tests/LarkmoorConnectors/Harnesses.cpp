#include "LarkmoorConnectors/Harnesses.h"

#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"
#include "LarkmoorConnectors/Codex/CodexHook.h"
#include "LarkmoorConnectors/Cursor/CursorBlocks.h"

namespace larkmoor::testing {

namespace {

#define EMPTY_FILE "this file is now empty and remains, because Larkmoor did not create it"

Harness claudeCode() {
    const std::vector<RoundTrip> settings{
        {"one carriage return among line feeds", "||{|  'model': 'x',\r|  'a': 1|}|||"},
        {"blanks behind", "{  |  'model': 'x',   |  'a': 1  |}  |"},
        {"braces on lines of their own", "{|  'env':|  {|    'A': '1'|  }|}|"},
        {"escapes", "{|  'm\\u006fdel'   :   '\\/x\\u00e9\\n\\\\',|  '\\'': 'é😀'|}|"},
        {"numbers of all spellings, and twice elsewhere", "{'env': {'A': -0, 'A': 1E5}, 'c': 12345678901234567890}|"},
        {"a stranger's hook that looks like ours",
         "{'hooks': {'UserPromptSubmit': [{'hooks': [{'command': '/opt/larkmoor-hook --harness claude-code'}]}]}}"},
        {"groups of foreign shapes",
         "{'hooks': {'UserPromptSubmit': [7, null, {'hooks': 7}, {'hooks': [8, {'command': 7}, {}]}]}}"},
        // What the user had empty stays, and is said to.
        {"an empty list of prompts", "{|  'hooks': {|    'UserPromptSubmit': []|  }|}|", asItWas,
         REMAINS("UserPromptSubmit list")},
        // Blanks alone between brackets are no content: they close up.
        {"an empty object, opened", "{|}|", "{}|", EMPTY_FILE},
        {"an empty object of hooks, opened", "{|  'hooks': {|  }|}|", "{|  'hooks': {}|}|", REMAINS("hooks object")},
        // What an older build of ours wrote goes, and of its surroundings what nobody remembers making stays.
        {"an old bundle's entry alone",
         "{'hooks':{'Stop':[],'UserPromptSubmit':[{'matcher':'','hooks':[{'command':"
         "'/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code'}]}]}}",
         "{'hooks':{'Stop':[],'UserPromptSubmit':[{'matcher':'','hooks':[]}]}}", REMAINS("hook group")},
    };
    const std::vector<RoundTrip> servers{
        {"tabs and carriage returns", "{\r|\t'mcpServers': {\r|\t\t'a': 1\r|\t},\r|\t'b': 2\r|}\r|"},
        {"an empty object of servers", "{|  'mcpServers': {},|  'a': 1|}|", asItWas, REMAINS("mcpServers object")},
        {"an empty object", "{}", "{}", EMPTY_FILE},
    };
    return {.name = "ClaudeCode",
            .folder = ".claude",
            .receipt = receiptFile,
            .files = {{settingsFile, settings}, {serverFile, servers}},
            .make = [](const ConnectorHome& home) { return std::make_unique<ClaudeCodeConnector>(home.claudeCode()); },
            .hooks =
                [](const ConnectorHome& home) {
                    return Block::json("", "", ClaudeCodeHook{ClaudeCodePaths::under(home.path(), home.bundle())});
                },
            .events = {"PreToolUse", "Stop", "UserPromptSubmit"},
            .ours = {"{hook} --harness claude-code --slot rules", "{hook} --harness=claude-code --slot=pretool",
                     "{hook} --harness claude-code --slot pretool",
                     "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness claude-code",
                     "python3 /x/fenwright/larkmoor/Scripts/prime-hook.py"}};
}

Harness codex() {
    const std::vector<RoundTrip> config{
        {"no final line feed", "a = 1"},
        {"no final line feed, carriage returns", "a = 1\r|[b]\r|c = 2"},
        {"no final line feed behind a comment", "[b]|c = 2 # mine|# [mine"},
        {"blank lines at the end", "a = 1|||"},
        {"a byte-order mark", "\xEF\xBB\xBF[a]\r|b = 1\r|"},
        {"a byte-order mark alone", "\xEF\xBB\xBF"},
        {"an empty file", "", asItWas, EMPTY_FILE},
        {"neighbours",
         "[mcp_servers.larkmoor-2]|command = 'x'|[hooks.state.'/x:user_prompt_submit:0:0']|trusted_hash = ''|"},
    };
    return {.name = "Codex",
            .folder = ".codex",
            .receipt = "Library/Application Support/Larkmoor/Connectors/codex.json",
            .files = {{".codex/config.toml", config}},
            .make = [](const ConnectorHome& home) { return std::make_unique<CodexConnector>(home.codex()); },
            .hooks =
                [](const ConnectorHome& home) {
                    return Block::json("", "", CodexHook{CodexPaths::under(home.path(), home.bundle())});
                },
            .events = {"UserPromptSubmit", "Stop"},
            .ours = {"{hook} --harness codex", "{hook} --harness=codex",
                     "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness=codex",
                     "python3 /x/fenwright/larkmoor/Scripts/larkmoor-hook.py"}};
}

Harness cursor() {
    const std::vector<RoundTrip> hooks{
        {"no version", "{\r|\t'a': 1,\r|\t'hooks': {\r|\t\t'stop': []\r|\t}\r|}"},
        {"entries of every shape",
         "{'hooks':{'beforeSubmitPrompt':[7,null,[],{},{'command':7},{'command':'/opt/larkmoor-hook --harness "
         "cursor'}],"
         "'preToolUse':[{'command':'mine','matcher':'x'}],'stop':{},'x':'y'},'version':1}"},
        {"an empty event", "{'hooks':{'preToolUse':[]},'version':1}", asItWas, REMAINS("preToolUse list")},
        {"an empty object of hooks", "{'hooks':{},'version':1,'a':1}", asItWas, REMAINS("hooks object")},
        {"our own seed", "{|  'version': 1|}|", asItWas,
         "this file now holds no hooks and remains, because Larkmoor did not create it"},
    };
    return {.name = "Cursor",
            .folder = ".cursor",
            .receipt = cursorReceipt,
            .files = {{cursorHooks, hooks}, {cursorServers, {{"an empty object", "{}", "{}", EMPTY_FILE}}}},
            .make = [](const ConnectorHome& home) { return std::make_unique<CursorConnector>(home.cursor()); },
            .hooks = [](const ConnectorHome& home) { return Block::json("", "", CursorHook{home.cursor().paths}); },
            .events = {"preToolUse", "stop", "beforeSubmitPrompt"},
            .grouped = false,
            .ours = {"{hook} --harness cursor", "{hook} --harness=cursor --slot=pretool",
                     "/Old/Larkmoor.app/Contents/MacOS/larkmoor-hook --harness cursor --slot pretool"}};
}

Harness openCode() {
    const std::vector<RoundTrip> config{
        {"no server, and comments around",
         "// a|{| // b|  'theme': 'x', // c|  /* d */ 'a': [1, /* e */ 2] // f|}|// g|"},
        {"carriage returns", "{\r|\t// a\r|\t'mcp': {\r|\t\t'mine': {} // b\r|\t\t// c\r|\t}\r|}"},
        {"an object of servers with comments alone", "{|  'mcp': {|    // a|    /* b */|  },|  'a': 1|}|", asItWas,
         REMAINS("mcp object")},
        {"an empty object of servers", "{'mcp':{},'a':1}", asItWas, REMAINS("mcp object")},
        {"an empty file with a comment", "{}// mine|", asItWas, EMPTY_FILE},
        // What an older build wrote goes; comments in and beside it stay.
        {"an old entry with comments everywhere",
         "{'mcp':{/*a*/'larkmoor'/*b*/:/*c*/{/*d*/'type'/*e*/:/*f*/'local'/*g*/,/*h*/'command'/*i*/:/*j*/["
         "'/Old/Larkmoor.app/Contents/MacOS/larkmoor-mcp']/*k*/,/*l*/'enabled'/*m*/:/*n*/true/*o*/}/*p*/,'x':1}}",
         "{'mcp':{/*a*//*b*//*c*//*d*//*e*//*f*//*g*//*h*//*i*//*j*//*k*//*l*//*m*//*n*//*o*//*p*/'x':1}}"},
    };
    return {.name = "OpenCode",
            .folder = ".config/opencode",
            .receipt = openCodeReceipt,
            .files = {{openCodeConfig, config}},
            .make = [](const ConnectorHome& home) { return std::make_unique<OpenCodeConnector>(home.openCode()); },
            .alwaysLeft = "this folder holds the copy of the plugin that was made here first and remains"};
}

}  // namespace

const std::vector<Harness>& harnesses() {
    static const std::vector<Harness> all{claudeCode(), codex(), cursor(), openCode()};
    return all;
}

}  // namespace larkmoor::testing
