#include "LarkmoorConnectors/ClaudeChat/ClaudeChatConfig.h"

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/BundleCommand.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

Connectors::Profile profileOf(std::string_view command) {
    const bool isDevelopment = command.contains("dist-dev") || command.contains("/fenwright/larkmoor");
    return isDevelopment ? Connectors::Profile::dev : Connectors::Profile::production;
}

}  // namespace

std::vector<const JSONMember*> ClaudeChatConfig::ours(const JSONNode& root, Connectors::Profile profile) const {
    std::vector<const JSONMember*> ours;
    const JSONNode* servers = root.node({"mcpServers"});
    if (servers == nullptr) return ours;
    for (const JSONMember& server : servers->members()) {
        const JSONMember* command = server.value.member("command");
        const auto text = command == nullptr ? std::nullopt : command->value.text();
        if (text && BundleCommand::names(*text, "larkmoor-mcp") && profileOf(*text) == profile) ours.push_back(&server);
    }
    return ours;
}

std::optional<std::string> ClaudeChatConfig::unreadableReason(BytesView bytes, Connectors::Profile profile) const {
    const auto scan = StrictJSON::scan(bytes);
    return scan ? unreadableReason(scan->root, profile) : scan.error().description();
}

std::optional<std::string> ClaudeChatConfig::unreadableReason(const JSONNode& root, Connectors::Profile profile) const {
    if (auto reason = JSONDuplicates::reason(root)) return reason;
    if (const JSONNode* servers = root.node({"mcpServers"})) {
        if (auto reason = JSONDuplicates::reason(*servers)) return reason;
    }
    for (const JSONMember* entry : ours(root, profile)) {
        if (auto reason = JSONDuplicates::reason(entry->value)) return reason;
    }
    return std::nullopt;
}

ClaudeChatConfig::Planned ClaudeChatConfig::retired(BytesView bytes, Connectors::Profile profile) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    return retired(bytes, scan->root, profile);
}

ClaudeChatConfig::Planned ClaudeChatConfig::retired(BytesView bytes, const JSONNode& root,
                                                    Connectors::Profile profile) const {
    Retired result{copyBytes(bytes), {}};
    for (const JSONMember* entry : ours(root, profile)) {
        auto edited = StrictJSON::edited(result.bytes, [&](const JSONDocument& document) {
            return JSONEdit::removeMember(document, {"mcpServers"}, entry->key);
        });
        if (!edited) return std::unexpected{std::move(edited.error())};
        result.bytes = std::move(*edited);
        result.names.emplace_back(entry->key);
    }
    return result;
}

}  // namespace larkmoor
