#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeBlocks.h"

#include <algorithm>
#include <iterator>

namespace larkmoor {

namespace {

constexpr std::string_view promptEvent = "UserPromptSubmit";
constexpr std::string_view preToolEvent = "PreToolUse";
constexpr std::string_view preToolMatcher = "mcp__larkmoor__.*";

/// The site that an install builds the prompt entries on; it keeps its place in the file.
std::optional<HookSite> anchorOf(std::span<const HookSite> sites) {
    const auto anchor = std::ranges::find_if(
        sites, [](const HookSite& site) { return site.event == promptEvent && !HookCommand::isPreTool(site.command); });
    return anchor == sites.end() ? std::nullopt : std::optional{*anchor};
}

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
            .currents = std::move(currents),
            .binary = paths.hookBinary};
}

std::vector<HookSite> ClaudeCodeHook::sites(const JSONNode& root) const { return layout().sites(root); }

BlockFinding ClaudeCodeHook::find(const JSONDocument& document) const {
    const HookLayout hooks = layout();
    return hooks.find(document.root(), [&](std::span<const HookSite> sites) {
        return hooks.driftReasons(sites, "four", [&] { return converged(sites, document); });
    });
}

bool ClaudeCodeHook::isExactPreTool(const HookSite& site, const JSONDocument& document) const {
    if (site.event != preToolEvent || site.command != paths.preToolCommand()) return false;
    return HookLayout::matcherOf(site, document.root()) == preToolMatcher &&
           layout().entryOf(site, document.root()).value(document.bytes()) == entry(paths.preToolCommand()).value();
}

std::optional<HookSite> ClaudeCodeHook::exactPreTool(std::span<const HookSite> sites,
                                                     const JSONDocument& document) const {
    const auto exact =
        std::ranges::find_if(sites, [&](const HookSite& site) { return isExactPreTool(site, document); });
    return exact == sites.end() ? std::nullopt : std::optional{*exact};
}

bool ClaudeCodeHook::converged(std::span<const HookSite> sites, const JSONDocument& document) const {
    const auto literals = entries();
    if (sites.size() != literals.size() + 1 || !exactPreTool(sites, document)) return false;
    std::vector<HookSite> prompts;
    std::ranges::copy_if(sites, std::back_inserter(prompts),
                         [](const HookSite& site) { return site.event == promptEvent; });
    if (prompts.size() != literals.size()) return false;
    for (std::size_t index = 0; index < prompts.size(); ++index) {
        if (prompts[index].group != prompts.front().group) return false;
        const JSONNode& found = layout().entryOf(prompts[index], document.root());
        if (found.value(document.bytes()) != literals[index].value()) return false;
    }
    return true;
}

std::expected<BlockInstalled, JSONEditFailure> ClaudeCodeHook::installed(const JSONDocument& document) const {
    const auto found = sites(document.root());
    if (converged(found, document)) return BlockInstalled{document};
    std::vector<HookSite> kept;
    if (const auto anchor = anchorOf(found)) kept.push_back(*anchor);
    if (const auto preTool = exactPreTool(found, document)) kept.push_back(*preTool);
    ReceiptAddition made;
    auto edited = layout().discardAllBut(kept, document);
    if (edited) edited = installedSlots(*edited, made.created);
    if (edited) edited = installedPreTool(*edited, made.created);
    if (!edited) return std::unexpected{std::move(edited.error())};
    return BlockInstalled{std::move(*edited), std::move(made)};
}

JSONEdit::Result ClaudeCodeHook::installedSlots(const JSONDocument& document, std::set<Created>& created) const {
    const HookLayout hooks = layout();
    const auto literals = entries();
    const auto anchor = anchorOf(hooks.sites(document.root()));
    if (!anchor) return hooks.append(groupOf(literals), promptEvent, document, created);
    JSONEdit::Result edited = document;
    const JSONPath list = hooks.listOf(*anchor);
    if (hooks.entryOf(*anchor, document.root()).value(document.bytes()) != literals.front().value()) {
        edited = JSONEdit::replaceElement(document, list, anchor->entry, literals.front());
    }
    for (std::size_t index = 1; edited && index < literals.size(); ++index) {
        const std::int64_t before = anchor->entry + static_cast<std::int64_t>(index) - 1;
        edited = JSONEdit::insertElement(*edited, list, before, literals[index]);
    }
    return edited;
}

JSONEdit::Result ClaudeCodeHook::installedPreTool(const JSONDocument& document, std::set<Created>& created) const {
    if (exactPreTool(sites(document.root()), document)) return document;
    if (document.root().node({"hooks"}) == nullptr) {
        return std::unexpected{JSONEditFailure{JSONEditError{JSONEditError::NotAnObject{{"hooks"}}}}};
    }
    return layout().append(preToolGroup(), preToolEvent, document, created);
}

std::expected<BlockRemoved, JSONEditFailure> ClaudeCodeHook::removed(const JSONDocument& document,
                                                                     const std::set<Created>& created) const {
    return layout().removed(document, created);
}

}  // namespace larkmoor
