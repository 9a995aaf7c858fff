#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/ConnectorReceipt.h"

namespace larkmoor {

namespace {

Connectors::Profile profileOf(std::string_view command) {
    const bool isDevelopment = command.contains("dist-dev") || command.contains("/fenwright/larkmoor");
    return isDevelopment ? Connectors::Profile::dev : Connectors::Profile::production;
}

}  // namespace

ClaudeChatPaths ClaudeChatPaths::under(const std::string& home, const std::string& bundle) {
    const std::string folder = home + "/Library/Application Support/Claude";
    return {.configDirectory = folder,
            .configFile = folder + "/claude_desktop_config.json",
            .receiptFile = ReceiptStore::path(home, "claude-chat"),
            .mcpBinary = InstalledBundle::executable(bundle, "larkmoor-mcp")};
}

std::vector<const JSONMember*> ClaudeChatConfig::ours(const JSONNode& root) const {
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

std::optional<std::string> ClaudeChatConfig::unreadableReason(const JSONNode& root) const {
    if (auto reason = JSONShape::duplicateAlong(root, {"mcpServers"})) return reason;
    for (const JSONMember* entry : ours(root)) {
        if (auto reason = JSONDuplicates::reason(entry->value)) return reason;
    }
    return std::nullopt;
}

std::expected<ClaudeChatConfig::Retired, JSONEditFailure> ClaudeChatConfig::retired(
    const JSONDocument& document) const {
    std::vector<std::string> names;
    std::vector<JSONPath> going;
    for (const JSONMember* entry : ours(document.root())) {
        names.emplace_back(entry->key);
        going.push_back({"mcpServers", names.back()});
    }
    auto edited = JSONEdit::removeAll(document, going);
    if (!edited) return std::unexpected{std::move(edited.error())};
    return Retired{std::move(*edited), std::move(names)};
}

bool ClaudeChatRetirement::isClaudeAmong(std::span<const RunningApplication> applications) {
    return std::ranges::any_of(applications, [](const RunningApplication& application) {
        return application.bundleIdentifier == claudeBundleID;
    });
}

ConnectorOutcome ClaudeChatRetirement::retire() const {
    const std::string& file = paths.configFile;
    const ClaudeChatConfig config{profile};
    auto before = Files::read(file);
    if (!before) return ConnectorOutcome::unchanged({{file, "there is no file here"}});
    const auto unread = [&](const std::string& reason) {
        return ConnectorOutcome::refused({{file, "this file did not read as JSON — " + reason}});
    };
    const auto document = JSONDocument::read(*before, JSONDialect::strict);
    if (!document) return unread(document.error().description());
    if (const auto reason = config.unreadableReason(document->root())) return unread(*reason);
    const auto retired = config.retired(*document);
    if (!retired) {
        return ConnectorOutcome::refused({{file, "nothing was written — " + retired.error().description()}});
    }
    const FileChange change{file, file, std::move(*before), copyBytes(retired->document.bytes())};
    return Transaction::commit(std::span{&change, 1}, now())
        .visit(
            [&](const TransactionResult::Committed& committed) {
                ConnectorOutcome outcome{ConnectorOutcome::Result::changed, committed.observations, committed.backups};
                for (const std::string& name : retired->names) {
                    outcome.observations.push_back(
                        {file, fmt::format("the Larkmoor entry \"{}\" was removed from this file", name)});
                }
                return outcome;
            },
            [](const TransactionResult::Refused& refusal) { return ConnectorOutcome::refused(refusal.observations); },
            [&](const TransactionResult::Unchanged&) {
                return ConnectorOutcome::unchanged({{file, "this file holds no Larkmoor entry of this profile"}});
            });
}

}  // namespace larkmoor
