#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeHook.h"

#include <algorithm>
#include <ranges>

#include "LarkmoorConnectors/Framework/Drift.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

constexpr std::string_view promptEvent = "UserPromptSubmit";
constexpr std::string_view preToolEvent = "PreToolUse";
constexpr std::string_view preToolMatcher = "mcp__larkmoor__.*";

bool isPreToolCommand(std::string_view command) {
    return command.ends_with(" --slot pretool") || command.ends_with(" --slot=pretool");
}

std::string_view expectedEvent(const HookSite& site) {
    return isPreToolCommand(site.command) ? preToolEvent : promptEvent;
}

/// The site that an install builds the prompt entries on; it keeps its place in the file.
const HookSite* anchorOf(std::span<const HookSite> sites) {
    const auto anchor = std::ranges::find_if(
        sites, [](const HookSite& site) { return site.event == promptEvent && !isPreToolCommand(site.command); });
    return anchor == sites.end() ? nullptr : &*anchor;
}

bool says(const JSONNode* node, std::string_view text) { return node != nullptr && node->text() == text; }

JSONLiteral groupOf(std::vector<JSONLiteral> entries) {
    return JSONLiteral::object({{"hooks", JSONLiteral::array(std::move(entries))}});
}

}  // namespace

JSONLiteral ClaudeCodeHook::entry(const std::string& command) const {
    return JSONLiteral::object({{"type", "command"}, {"command", command}, {"timeout", paths.hookTimeoutSeconds}});
}

std::vector<JSONLiteral> ClaudeCodeHook::entries() const {
    std::vector<JSONLiteral> entries;
    for (const std::string& command : paths.hookCommands()) entries.push_back(entry(command));
    return entries;
}

JSONLiteral ClaudeCodeHook::preToolGroup() const {
    return JSONLiteral::object(
        {{"matcher", preToolMatcher}, {"hooks", JSONLiteral::array({entry(paths.preToolCommand())})}});
}

HookLayout ClaudeCodeHook::layout() const {
    std::vector<std::string> currents = paths.hookCommands();
    currents.push_back(paths.preToolCommand());
    return {.hooksObject = Created::hooksObject,
            .events = {{std::string{promptEvent}, Created::eventArray, Created::hookGroup},
                       {std::string{preToolEvent}, Created::preToolEventArray, Created::preToolGroup}},
            .currents = std::move(currents)};
}

std::vector<HookSite> ClaudeCodeHook::sites(const JSONNode& root) const { return layout().sites(root); }

std::optional<std::string> ClaudeCodeHook::unreadableReason(BytesView bytes) const {
    return layout().unreadableReason(bytes);
}

BlockFinding ClaudeCodeHook::find(std::optional<BytesView> bytes) const {
    if (!bytes) return BlockFinding::FileAbsent{};
    const auto scan = StrictJSON::scan(*bytes);
    if (!scan) return BlockFinding::Unreadable{scan.error().description()};
    const HookLayout hooks = layout();
    if (auto reason = hooks.unreadableReason(scan->root)) return BlockFinding::Unreadable{std::move(*reason)};
    if (auto reason = hooks.foreignReason(scan->root)) return BlockFinding::Foreign{{std::move(*reason)}};
    const auto sites = hooks.sites(scan->root);
    if (sites.empty()) return BlockFinding::Absent{};
    std::vector<std::string> reasons = driftReasons(sites, scan->root, *bytes);
    if (reasons.empty()) return BlockFinding::Connected{};
    return BlockFinding::Drifted{std::move(reasons)};
}

/// One site's command speaks for all, to keep the list short.
std::vector<std::string> ClaudeCodeHook::driftReasons(std::span<const HookSite> sites, const JSONNode& root,
                                                      BytesView bytes) const {
    std::vector<std::string> reasons = layout().misplacements(sites, "four", expectedEvent);
    const bool isMisplaced = !reasons.empty();
    const auto prompt =
        std::ranges::find_if_not(sites, [](const HookSite& site) { return isPreToolCommand(site.command); });
    const std::string& found = prompt == sites.end() ? sites.front().command : prompt->command;
    const std::string expected = prompt == sites.end() ? paths.preToolCommand() : paths.hookCommands().front();
    for (std::string& reason : Drift::reasons(found, expected, paths.hookBinary)) reasons.push_back(std::move(reason));
    if (!isMisplaced && !converged(sites, root, bytes)) {
        reasons.emplace_back("the entry's shape is not the one this build writes");
    }
    return reasons;
}

bool ClaudeCodeHook::isExactPreTool(const HookSite& site, const JSONNode& root, BytesView bytes) const {
    if (site.event != preToolEvent || site.command != paths.preToolCommand()) return false;
    return says(root.node({"hooks", site.event, site.group, "matcher"}), preToolMatcher) &&
           layout().entryOf(site, root).value(bytes) == entry(paths.preToolCommand()).value();
}

std::optional<HookSite> ClaudeCodeHook::exactPreTool(std::span<const HookSite> sites, const JSONNode& root,
                                                     BytesView bytes) const {
    const auto exact =
        std::ranges::find_if(sites, [&](const HookSite& site) { return isExactPreTool(site, root, bytes); });
    return exact == sites.end() ? std::nullopt : std::optional{*exact};
}

bool ClaudeCodeHook::converged(std::span<const HookSite> sites, const JSONNode& root, BytesView bytes) const {
    const auto literals = entries();
    if (sites.size() != literals.size() + 1 || !exactPreTool(sites, root, bytes)) return false;
    std::vector<HookSite> prompts;
    std::ranges::copy_if(sites, std::back_inserter(prompts),
                         [](const HookSite& site) { return site.event == promptEvent; });
    if (prompts.size() != literals.size()) return false;
    for (std::size_t index = 0; index < prompts.size(); ++index) {
        if (prompts[index].group != prompts.front().group) return false;
        if (layout().entryOf(prompts[index], root).value(bytes) != literals[index].value()) return false;
    }
    return true;
}

std::optional<HookSite> ClaudeCodeHook::firstToDiscard(const JSONNode& root, BytesView bytes) const {
    const auto found = sites(root);
    const HookSite* anchor = anchorOf(found);
    const auto preTool = exactPreTool(found, root, bytes);
    const auto other = std::ranges::find_if(
        found, [&](const HookSite& site) { return &site != anchor && !(preTool && site == *preTool); });
    return other == found.end() ? std::nullopt : std::optional{*other};
}

std::expected<BlockInstalled, JSONEditFailure> ClaudeCodeHook::installed(BytesView bytes) const {
    BlockInstalled result{copyBytes(bytes)};
    for (bool isFirst = true;; isFirst = false) {
        const auto scan = StrictJSON::scan(result.bytes);
        if (!scan) return std::unexpected{scan.error()};
        if (isFirst && converged(sites(scan->root), scan->root, result.bytes)) return result;
        const auto site = firstToDiscard(scan->root, result.bytes);
        if (!site) break;
        auto discarded = discard(*site, result.bytes);
        if (!discarded) return std::unexpected{std::move(discarded.error())};
        result.bytes = std::move(*discarded);
    }
    auto slots = installedSlots(result.bytes, result.created);
    if (!slots) return std::unexpected{std::move(slots.error())};
    auto all = installedPreTool(*slots, result.created);
    if (!all) return std::unexpected{std::move(all.error())};
    result.bytes = std::move(*all);
    return result;
}

StrictJSON::Edited ClaudeCodeHook::installedSlots(BytesView bytes, std::set<Created>& created) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    const HookLayout hooks = layout();
    const auto literals = entries();
    const auto found = hooks.sites(scan->root);
    const HookSite* anchor = anchorOf(found);
    if (anchor == nullptr) return hooks.append(groupOf(literals), promptEvent, bytes, created);
    StrictJSON::Edited edited = copyBytes(bytes);
    const JSONPath list = hooks.listOf(*anchor);
    if (hooks.entryOf(*anchor, scan->root).value(bytes) != literals.front().value()) {
        edited = StrictJSON::edited(bytes, [&](const JSONDocument& document) {
            return JSONEdit::replaceElement(document, list, anchor->entry, literals.front());
        });
    }
    for (std::size_t index = 1; edited && index < literals.size(); ++index) {
        const std::int64_t before = anchor->entry + static_cast<std::int64_t>(index) - 1;
        edited = StrictJSON::edited(*edited, [&](const JSONDocument& document) {
            return JSONEdit::insertElement(document, list, before, literals[index]);
        });
    }
    return edited;
}

StrictJSON::Edited ClaudeCodeHook::installedPreTool(BytesView bytes, std::set<Created>& created) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    if (exactPreTool(sites(scan->root), scan->root, bytes)) return copyBytes(bytes);
    const JSONNode* hooks = scan->root.node({"hooks"});
    if (hooks == nullptr || !hooks->isObject()) {
        return std::unexpected{JSONEditFailure{JSONEditError{JSONEditError::NotAnObject{{"hooks"}}}}};
    }
    return layout().append(preToolGroup(), preToolEvent, bytes, created);
}

StrictJSON::Edited ClaudeCodeHook::discard(const HookSite& site, BytesView bytes) const {
    return layout().discard(site, bytes);
}

std::expected<BlockRemoved, JSONEditFailure> ClaudeCodeHook::removed(BytesView bytes,
                                                                     const std::set<Created>& created) const {
    return layout().removed(bytes, created);
}

}  // namespace larkmoor
