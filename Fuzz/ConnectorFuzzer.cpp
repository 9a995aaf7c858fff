// Any bytes as a harness's file: a block that does not install says why; one that does is whole, installs again without
// a change, and after its removal nothing of ours is left. A receipt that decodes comes back from its own bytes. Also
// what the chat application's file becomes.
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatConfig.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeHook.h"
#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeMCP.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"
#include "Require.h"

namespace {

using namespace larkmoor;
using fuzz::require;

/// "/bin/sh" stands for the executables, which a finding wants on the disk.
ClaudeCodePaths paths() {
    ClaudeCodePaths paths = ClaudeCodePaths::under("/h", "/Larkmoor.app");
    paths.hookBinary = paths.mcpBinary = "/bin/sh";
    return paths;
}

template <class Block>
void blockHolds(const Block& block, BytesView bytes) {
    const BlockFinding found = block.find(bytes);
    require(found.is<BlockFinding::Unreadable>() == block.unreadableReason(bytes).has_value(), "unread is said alike");
    // A verb refuses what does not read before it plans.
    if (found.is<BlockFinding::Unreadable>()) return;
    const auto installed = block.installed(bytes);
    require(!(installed && found.is<BlockFinding::Foreign>()), "a foreign shape takes no block");
    if (!installed) return;
    require(block.find(installed->bytes).template is<BlockFinding::Connected>(), "an installed block is whole");
    const auto again = block.installed(installed->bytes);
    require(again && *again == BlockInstalled{installed->bytes}, "a second install changes nothing");
    const auto removed = block.removed(installed->bytes, installed->created);
    require(removed.has_value(), "what was installed can be removed");
    require(block.find(removed->bytes).template is<BlockFinding::Absent>(), "nothing of ours is left");
    require(block.removed(removed->bytes, {})->bytes == removed->bytes, "a second removal changes nothing");
}

void chatHolds(BytesView bytes) {
    const ClaudeChatConfig config;
    constexpr auto profile = Connectors::Profile::production;
    if (config.unreadableReason(bytes, profile)) return;
    const auto retired = config.retired(bytes, profile);
    require(retired.has_value(), "what reads can be retired");
    const auto scan = JSONText::scanWithTrivia(retired->bytes, JSONDialect::strict);
    require(scan && config.ours(scan->root, profile).empty(), "nothing of ours is left to retire");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const BytesView bytes = std::as_bytes(std::span{data, size});
    blockHolds(ClaudeCodeHook{paths()}, bytes);
    blockHolds(ClaudeCodeMCP{paths()}, bytes);
    chatHolds(bytes);
    if (const auto receipt = ConnectorReceipt::decoded(bytes)) {
        require(ConnectorReceipt::decoded(receipt->encoded()) == receipt, "a receipt comes back from its own bytes");
    }
    return 0;
}
