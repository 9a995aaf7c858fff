#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatConfig.h"
#include "LarkmoorConnectors/ConfigFile/Transaction.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

bool ClaudeChatRetirement::isClaudeAmong(std::span<const RunningApplication> applications) {
    return std::ranges::any_of(applications, [](const RunningApplication& application) {
        return application.bundleIdentifier == claudeBundleID;
    });
}

ConnectorOutcome ClaudeChatRetirement::retire() const {
    const std::string& file = paths.configFile;
    const ClaudeChatConfig config{paths};
    auto before = Files::read(file);
    if (!before) return ConnectorOutcome::unchanged({{file, "there is no file here"}});
    const auto unread = [&](const std::string& reason) {
        return ConnectorOutcome::refused({{file, "this file did not read as JSON — " + reason}});
    };
    const auto scan = StrictJSON::scan(*before);
    if (!scan) return unread(scan.error().description());
    if (const auto reason = config.unreadableReason(scan->root, profile)) return unread(*reason);
    auto retired = config.retired(*before, scan->root, profile);
    if (!retired) {
        return ConnectorOutcome::refused({{file, "nothing was written — " + retired.error().description()}});
    }
    const FileChange change{file, file, std::move(*before), std::move(retired->bytes)};
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
