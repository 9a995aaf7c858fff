#include "config/Documents.h"

#include <fmt/format.h>

#include <iterator>
#include <random>

namespace larkmoor::bench {

namespace {

const char* const tools[] = {"Bash", "Edit", "Write", "WebFetch", "Read", "Grep", "Task"};
const char* const commands[] = {"npm run lint",           "git diff --stat",      "make -j4 check",
                                "cargo test --workspace", "python3 -m pytest -q", "prettier --check docs/**/*.md"};

template <std::size_t N>
const char* oneOf(const char* const (&list)[N], std::mt19937& random) {
    return list[random() % N];
}

std::string hookGroup(std::mt19937& random) {
    return fmt::format(R"(      {{
        "matcher": "{}|{}",
        "hooks": [
          {{
            "type": "command",
            "command": "\"$CLAUDE_PROJECT_DIR\"/.claude/hooks/{:x}.sh --event \"{}\"",
            "timeout": {}
          }},
          {{ "type": "command", "command": "{}" }}
        ]
      }})",
                       oneOf(tools, random), oneOf(tools, random), random(), oneOf(commands, random), random() % 600,
                       oneOf(commands, random));
}

}  // namespace

std::string settingsJSON(std::size_t bytes) {
    std::mt19937 random{11};
    std::string allow, servers, groups;
    while (allow.size() + servers.size() + groups.size() + 600 < bytes) {
        for (int rule = 0; rule < 6; ++rule) {
            allow += fmt::format("{}      \"{}({}:*)\"", allow.empty() ? "" : ",\n", oneOf(tools, random),
                                 oneOf(commands, random));
        }
        servers +=
            fmt::format(R"({}    "server-{}": {{
      "command": "/usr/local/bin/mcp-{:x}",
      "args": ["--stdio", "--root", "/home/zoë/src/{:x}"],
      "env": {{ "LOG_LEVEL": "info", "TOKEN_FILE": "/run/user/1000/{:x}" }},
      "enabled": {}
    }})",
                        servers.empty() ? "" : ",\n", random() % 1000, random(), random(), random(), random() % 2 == 0);
        groups += (groups.empty() ? "" : ",\n") + hookGroup(random);
    }
    return fmt::format(R"({{
  "$schema": "https://json.schemastore.org/claude-code-settings.json",
  "model": "opus",
  "cleanupPeriodDays": 30,
  "includeCoAuthoredBy": false,
  "permissions": {{
    "allow": [
{}
    ],
    "deny": []
  }},
  "mcpServers": {{
{}
  }},
  "hooks": {{
    "PreToolUse": [
{}
    ]
  }}
}}
)",
                       allow, servers, groups);
}

std::string hooksJSON(std::size_t bytes) {
    std::mt19937 random{12};
    std::string text = "{\n  \"hooks\": {";
    for (int event = 0; text.size() < bytes; ++event) {
        text += fmt::format("{}\n    \"Event{}\": [\n", event == 0 ? "" : ",", event);
        for (int group = 0; group < 20; ++group) text += hookGroup(random) + (group < 19 ? ",\n" : "\n");
        text += "    ]";
    }
    return text + "\n  }\n}\n";
}

std::string numbersJSON(std::size_t bytes) {
    std::mt19937 random{13};
    std::string text = "[\n";
    while (text.size() < bytes) {
        text += fmt::format("  [{}, {}, -{}.{:03}, {}.5e{}, 0, -{}, {}.{}, {}]{}\n", random() % 10, random() % 1000,
                            random() % 500, random() % 1000, random() % 10, random() % 30, random(), random() % 90,
                            random(), std::uint64_t{random()} * 1000, text.size() + 90 < bytes ? "," : "");
        if (text[text.size() - 2] != ',') break;
    }
    return text + "]\n";
}

std::string hooksTOML(std::size_t bytes) {
    std::mt19937 random{15};
    std::string text;
    for (int event = 0; text.size() < bytes; ++event) {
        text += fmt::format(R"([hooks.state."/home/zoë/.codex/hooks.json:event_{}:0:0"]
trusted_hash = "sha256:{:08x}{:08x}{:08x}{:08x}"

[[hooks.Event{}]]
matcher = "{}|{}"
hooks = [
  {{ type = "command", command = '{}', timeout = {} }},  # checked
]

)",
                            event, random(), random(), random(), random(), event, oneOf(tools, random),
                            oneOf(tools, random), oneOf(commands, random), random() % 600);
    }
    return text;
}

std::string numbersTOML(std::size_t bytes) { return "rows = " + numbersJSON(bytes); }

std::string configTOML(std::size_t bytes) {
    std::mt19937 random{14};
    std::string text = "model = \"gpt\"\napproval_policy = \"on-request\"\n";
    for (int table = 0; text.size() < bytes; ++table) {
        text += fmt::format(R"(
[mcp_servers."server-{}"]  # added by hand
command = "/usr/local/bin/mcp-{:x}"
args = ["--stdio", "--root", "/home/zoë/src/{:x}"]
env = {{ LOG_LEVEL = "info", RETRIES = {} }}
startup_timeout_sec = {}.5
enabled = {}
)",
                            table, random(), random(), random() % 10, random() % 60, random() % 2 == 0);
    }
    return text;
}

}  // namespace larkmoor::bench
