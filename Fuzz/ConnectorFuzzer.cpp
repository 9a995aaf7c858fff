// Any bytes as a harness's file: a block that does not install says why; one that does is whole, installs again without
// a change, and after its removal nothing of ours is left; where nothing was, the user's bytes are. A receipt that
// decodes comes back from its own bytes. Also what the chat application's file becomes, and what a file: URL names.
#include "LarkmoorBase/FileURL.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"
#include "LarkmoorConnectors/Codex/CodexBlocks.h"
#include "LarkmoorConnectors/Cursor/CursorBlocks.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeMCP.h"
#include "LarkmoorConnectors/OpenCode/OpenCodePlugin.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

/// "/bin/sh" stands for the executables, which a finding wants on the disk.
template <class Paths>
Paths withExecutables(Paths paths) {
    paths.hookBinary = paths.mcpBinary = "/bin/sh";
    return paths;
}

CodexPaths codexPaths() { return withExecutables(CodexPaths::under("/h", "/Larkmoor.app")); }

template <class Rules>
void blockHolds(const Rules& rules, const JSONDocument& document) {
    const Block block = Block::json("", "", rules);
    const BlockFinding found = block.find(document, false);
    // A verb refuses what does not read before it plans.
    if (found.is<BlockFinding::Unreadable>()) return;
    const auto installed = block.installed(document, false);
    require(!(installed && found.is<BlockFinding::Foreign>()), "a foreign shape takes no block");
    if (!installed) return;
    require(block.find(installed->document, false).is<BlockFinding::Connected>(), "an installed block is whole");
    const auto again = block.installed(installed->document, false);
    require(again && again->document == installed->document && again->made.created.empty(),
            "a second install changes nothing");
    const auto removed = block.removed(installed->document, {installed->made.created, {}, {}, {}});
    require(removed && removed->document, "what was installed can be removed");
    require(block.find(*removed->document, false).is<BlockFinding::Absent>(), "nothing of ours is left");
    require(block.removed(*removed->document, {})->document == removed->document, "a second removal changes nothing");
}

/// Both blocks of Codex's configuration beside a whole hooks file.
void configHolds(const FileDocument& file) {
    const CodexHook hook{codexPaths()};
    const auto seed = JSONDocument::read(copyBytes("{}"), JSONDialect::strict);
    const FileDocument without = *seed, with = hook.installed(*seed)->document;
    const ConnectorReceipt none;
    const auto blocks = CodexConfigBlocks{codexPaths(), {&without, &with, none}}.blocks();
    const bool wasThere = !blocks[0].find(file, false).is<BlockFinding::Absent>();
    if (blocks[0].find(file, false).is<BlockFinding::Unreadable>()) return;
    if (CodexMCP{codexPaths()}.refusalReason(std::get<TOMLFile>(file).document, false)) return;
    auto server = blocks[0].installed(file, false);
    auto trust = server ? blocks[1].installed(server->document, false) : std::move(server);
    // Not where a lone carriage return is the last byte.
    if (!trust) return;
    const ConnectorReceipt receipt = none.with(server->made).with(trust->made);
    const auto now = CodexConfigBlocks{codexPaths(), {&with, &with, receipt}}.blocks();
    require(now[0].find(trust->document, true).is<BlockFinding::Connected>(), "the server table is whole");
    require(now[1].find(trust->document, true).is<BlockFinding::Connected>() || !trust->warnings.empty(),
            "the hook is trusted, or the user's switch is told of");
    const auto again = now[1].installed(now[0].installed(trust->document, true)->document, true);
    require(again->document == trust->document, "a second install changes nothing");
    const auto after = CodexConfigBlocks{codexPaths(), {&with, &without, receipt}}.blocks();
    const auto removed = after[1].removed(trust->document, receipt);
    require(removed && after[0].find(*removed->document, false).is<BlockFinding::Absent>(), "nothing of ours is left");
    const bool isNew = !wasThere && receipt.created.contains(Created::codexTrustTable);
    require(!isNew || removed->document == file || !trust->notes.empty(), "the user's bytes come back");
}

/// With a receipt, an entry is ours whatever it holds, so `enabled` and other members of the user's may stay as they
/// are.
void openCodeHolds(const OpenCodeMCP& rules, const JSONDocument& document, bool createdByUs) {
    if (rules.unreadableReason(document) || rules.refusalReason(document, createdByUs)) return;
    const bool isShell = rules.isAdoptableShell(document);
    const auto installed = rules.installed(document);
    if (!installed) return;
    const auto again = rules.installed(installed->document);
    require(again && again->document == installed->document, "a second install changes nothing");
    const JSONNode* entry = rules.entryIn(installed->document);
    require(entry != nullptr && rules.statedCommand(*entry) == rules.paths.mcpBinary, "an installed entry runs ours");
    const bool isExpected = createdByUs || rules.shapeMatches(*entry);
    require(isExpected && !rules.refusalReason(installed->document, createdByUs), "an installed entry is ours");
    const auto removed = rules.removed(installed->document, installed->created,
                                       isShell ? std::set{Adopted::openCodeMCPEntryShell} : std::set<Adopted>{});
    require(removed && removed->document, "what was installed can be removed");
    const auto& left = std::get<JSONDocument>(*removed->document);
    require(isShell ? rules.isAdoptableShell(left) : rules.entryIn(left) == nullptr, "nothing of ours is left");
    if (installed->commentsReplaced == 0) {
        require(left.comments().size() == document.comments().size(), "no comment of the user's is lost");
    }
}

void chatHolds(const JSONDocument& document) {
    const ClaudeChatConfig config;
    if (config.unreadableReason(document.root())) return;
    const auto retired = config.retired(document);
    require(retired.has_value(), "what reads can be retired");
    require(config.ours(retired->document.root()).empty(), "nothing of ours is left to retire");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    if (const auto document = JSONDocument::read(bytes, JSONDialect::strict)) {
        const auto claude = withExecutables(ClaudeCodePaths::under("/h", "/Larkmoor.app"));
        blockHolds(ClaudeCodeHook{claude}, *document);
        blockHolds(ClaudeCodeMCP{claude}, *document);
        blockHolds(CodexHook{codexPaths()}, *document);
        const auto cursor = withExecutables(CursorPaths::under("/h", "/Larkmoor.app", "/a"));
        blockHolds(CursorHook{cursor}, *document);
        blockHolds(CursorMCP{cursor}, *document);
        chatHolds(*document);
    }
    if (const auto document = JSONDocument::read(bytes, JSONDialect::withComments)) {
        const OpenCodeMCP rules{withExecutables(OpenCodePaths::under("/h", "/Larkmoor.app"))};
        for (const bool createdByUs : {false, true}) openCodeHolds(rules, *document, createdByUs);
    }
    const std::string source = OpenCodePlugin::source(std::string{asText(bytes)});
    require(OpenCodePlugin::ownership(asBytes(source), std::string{asText(bytes)}) == PluginOwnership::current &&
                OpenCodePlugin::runs(asBytes(source), std::string{asText(bytes)}),
            "a plugin is known again whatever its hook is called");
    if (const auto path = FileURL::path(asText(bytes))) {
        require(path->starts_with('/') && !path->contains('\0') && UTF8::isValid(*path), "a URL's path is a path");
    }
    if (const auto file = FileDocuments::read(copyBytes(bytes), FileFormat::toml)) configHolds(*file);
    if (const auto receipt = ConnectorReceipt::decoded(bytes)) {
        require(ConnectorReceipt::decoded(receipt->encoded()) == receipt, "a receipt comes back from its own bytes");
    }
    return 0;
}
