// A user's home and an application bundle on a real disk, and what a verb did to them, as text. In texts "~" stands for
// the home, "{hook}" and "{mcp}" for our executables' paths, "{tools}" for Cursor's matcher of our tools; in texts to
// be written ' is a quote and | a line feed too.
#pragma once

#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeConnector.h"
#include "LarkmoorConnectors/Codex/CodexConnector.h"
#include "LarkmoorConnectors/ConfigFile/ConfigFolder.h"
#include "LarkmoorConnectors/ConfigFile/JSONShown.h"
#include "LarkmoorConnectors/Cursor/CursorConnector.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeConnector.h"

namespace larkmoor::testing {

inline constexpr const char* settingsFile = ".claude/settings.json";
inline constexpr const char* serverFile = ".claude.json";
inline constexpr const char* receiptFile = "Library/Application Support/Larkmoor/Connectors/claude-code.json";
inline constexpr const char* cursorHooks = ".cursor/hooks.json";
inline constexpr const char* cursorServers = ".cursor/mcp.json";
inline constexpr const char* cursorReceipt = "Library/Application Support/Larkmoor/Connectors/cursor.json";
inline constexpr const char* openCodeConfig = ".config/opencode/opencode.jsonc";
inline constexpr const char* openCodePlugin = ".config/opencode/plugins/larkmoor.js";
inline constexpr const char* openCodeReceipt = "Library/Application Support/Larkmoor/Connectors/opencode.json";
inline constexpr const char* openCodeStore = ".local/share/opencode/opencode.db";
inline constexpr const char* chatFile = "Library/Application Support/Claude/claude_desktop_config.json";

#define COPY ".larkmoor-backup-" MOMENT
#define COPIED COPY ": a copy of the file was made here first"
#define REMAINS(kind) "an empty " kind " remains here, which Larkmoor did not create"

class ConnectorHome : public ConfigFolder {
  public:
    ConnectorHome() {
        for (const char* name : {"larkmoor-hook", "larkmoor-mcp"}) {
            writeAt(InstalledBundle::executable(bundle(), name), "");
        }
    }

    std::string bundle() const { return apps_.path("Larkmoor.app"); }
    std::string hook() const { return InstalledBundle::executable(bundle(), "larkmoor-hook"); }
    std::string mcp() const { return InstalledBundle::executable(bundle(), "larkmoor-mcp"); }

    ClaudeCodeConnector claudeCode() const {
        ClaudeCodeConnector connector{path(), bundle()};
        connector.now = [] { return moment; };
        return connector;
    }
    CodexConnector codex() const {
        CodexConnector connector{path(), bundle()};
        connector.now = [] { return moment; };
        return connector;
    }

    CursorConnector cursor() const {
        CursorConnector connector{path(), bundle(), path("Applications")};
        connector.now = [] { return moment; };
        return connector;
    }

    OpenCodeConnector openCode() const {
        OpenCodeConnector connector{path(), bundle()};
        connector.now = [] { return moment; };
        return connector;
    }

    void write(std::string_view name, std::string_view text) const { writeAt(path(name), filled(text)); }
    void makeFolder(std::string_view name) const { std::filesystem::create_directories(path(name)); }
    std::optional<std::string> read(std::string_view name) const {
        const auto text = ConfigFolder::read(name);
        return text ? std::optional{shown(*text)} : std::nullopt;
    }

    /// Every file of the home by its name, copies and stray files too; a link by what it points to.
    std::map<std::string, std::string> files() const {
        auto files = ConfigFolder::files();
        for (auto& [name, text] : files) text = shown(std::move(text));
        return files;
    }

    std::string shown(std::string text) const {
        replaceAll(text, hook(), "{hook}");
        replaceAll(text, mcp(), "{mcp}");
        replaceAll(text, path(), "~");
        replaceAll(text, tools, "{tools}");
        return text;
    }
    std::string filled(std::string_view text) const {
        std::string full = unfolded(text);
        replaceAll(full, "{hook}", hook());
        replaceAll(full, "{mcp}", mcp());
        replaceAll(full, "{tools}", tools);
        return full;
    }

    /// The result, and under it a line for each observation: "{subject}: {text}". Every copy that is told of is listed.
    std::string told(const ConnectorOutcome& outcome) const {
        std::vector<std::string> copies;
        for (const auto& [subject, said] : outcome.observations) {
            if (said == "a copy of the file was made here first") copies.push_back(subject);
        }
        EXPECT_EQ(outcome.backups, copies);
        return told(rawText(outcome.result), outcome.observations);
    }
    std::string told(const ScanReport& report) const { return told(rawText(report.state), report.observations); }

    static void replaceAll(std::string& text, std::string_view what, std::string_view by) {
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
            text.replace(at, what.size(), by);
        }
    }

  private:
    static constexpr std::string_view tools = "^(Task|MCP:(grab|memory_add|meeting_get))$";

    std::string told(std::string_view result, const std::vector<Observation>& observations) const {
        std::string text{result};
        for (const auto& [subject, said] : observations) text += "\n" + shown(subject) + ": " + shown(said);
        return text;
    }

    static void writeAt(const std::string& path, std::string_view text) {
        std::filesystem::create_directories(std::filesystem::path{path}.parent_path());
        std::filesystem::remove(path);
        if (!Files::create(path, asBytes(text), 0644)) throw std::runtime_error("cannot make " + path);
    }

    ConfigFolder apps_;
};

}  // namespace larkmoor::testing
