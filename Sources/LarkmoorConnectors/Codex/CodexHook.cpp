#include "LarkmoorConnectors/Codex/CodexHook.h"

#include <algorithm>
#include <map>
#include <span>
#include <utility>

#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor {

namespace {

constexpr std::string_view promptEvent = "UserPromptSubmit";
constexpr std::int64_t contextLimit = 7500;

/// The member's number, if it is written as a whole one: 3.0 and 1e1 are not.
std::optional<std::int64_t> numberMember(std::string_view member, const JSONNode& of, const JSONDocument& document) {
    const JSONMember* found = of.member(member);
    if (found == nullptr || !found->value.kind.is<JSONNode::Kind::Number>()) return std::nullopt;
    return wholeNumber<std::int64_t>(textOf(found->value.range(), document.bytes()));
}

std::optional<std::string> textMember(std::string_view member, const JSONNode& of) {
    const JSONMember* found = of.member(member);
    const auto text = found == nullptr ? std::nullopt : found->value.text();
    return text ? std::optional{std::string{*text}} : std::nullopt;
}

bool flagMember(std::string_view member, const JSONNode& of) {
    const JSONMember* found = of.member(member);
    const auto* flag = found == nullptr ? nullptr : found->value.kind.as<JSONNode::Kind::Bool>();
    return flag != nullptr && flag->value;
}

}  // namespace

std::optional<CodexHookIdentity> CodexHookSite::identity() const {
    if (!timeout) return std::nullopt;
    return CodexHookIdentity{.command = command,
                             .statusMessage = statusMessage,
                             .timeout = *timeout,
                             .matcher = matcher,
                             .isAsync = isAsync,
                             .additionalContextLimit = additionalContextLimit};
}

CodexHookIdentity CodexHook::identity() const {
    return {.command = paths.hookCommand(),
            .statusMessage = std::string{CodexPaths::hookStatusMessage},
            .timeout = paths.hookTimeoutSeconds,
            .additionalContextLimit = contextLimit};
}

JSONLiteral CodexHook::entry() const {
    return JSONLiteral::object({{"type", "command"},
                                {"command", paths.hookCommand()},
                                {"statusMessage", CodexPaths::hookStatusMessage},
                                {"timeout", paths.hookTimeoutSeconds},
                                {"additionalContextLimit", contextLimit}});
}

JSONLiteral CodexHook::group() const { return JSONLiteral::object({{"hooks", JSONLiteral::array({entry()})}}); }

HookLayout CodexHook::layout() const {
    return {.hooksObject = Created::codexHooksObject,
            .events = {{std::string{promptEvent}, Created::codexEventArray, Created::codexHookGroup}},
            .currents = {paths.hookCommand()},
            .binary = paths.hookBinary,
            .ratherThan = ", which Codex does not read as"};
}

std::vector<CodexHookSite> CodexHook::sites(const JSONDocument& document) const {
    const HookLayout hooks = layout();
    std::vector<CodexHookSite> sites;
    for (HookSite& site : hooks.sites(document.root())) {
        const JSONNode& entry = hooks.entryOf(site, document.root());
        const auto matcher = HookLayout::matcherOf(site, document.root());
        sites.push_back({std::move(site), textMember("statusMessage", entry), numberMember("timeout", entry, document),
                         matcher ? std::optional{std::string{*matcher}} : std::nullopt, flagMember("async", entry),
                         numberMember("additionalContextLimit", entry, document)});
    }
    return sites;
}

BlockFinding CodexHook::find(const JSONDocument& document) const {
    const HookLayout hooks = layout();
    return hooks.find(document.root(), [&](std::span<const HookSite> found) {
        const auto isEntry = [&] {
            return hooks.entryOf(found.front(), document.root()).value(document.bytes()) == entry().value();
        };
        std::vector<std::string> reasons = hooks.driftReasons(found, "one", isEntry);
        for (const HookSite& site : found) {
            if (numberMember("timeout", hooks.entryOf(site, document.root()), document)) continue;
            reasons.emplace_back(
                "the timeout on the Larkmoor entry here is not a whole number, so the identity Codex hashes cannot be "
                "computed");
        }
        return reasons;
    });
}

std::optional<CodexHookSite> CodexHook::located(const JSONDocument& document) const {
    return locatedAmong(sites(document));
}

std::optional<CodexHookSite> CodexHook::locatedAmong(std::span<const CodexHookSite> sites) {
    const auto site = std::ranges::find(sites, promptEvent, &CodexHookSite::event);
    return site == sites.end() ? std::nullopt : std::optional{*site};
}

CodexHookPosition CodexHook::appendedAt(const JSONNode& root) {
    const JSONNode* groups = root.node({"hooks", promptEvent});
    return {groups == nullptr ? 0 : std::ssize(groups->elements()), 0};
}

bool CodexHook::liveIndex(const JSONNode& root, std::int64_t group, std::int64_t index) {
    return root.node({"hooks", promptEvent, group, "hooks", index}) != nullptr;
}

std::expected<BlockInstalled, JSONEditFailure> CodexHook::installed(const JSONDocument& document) const {
    const HookLayout hooks = layout();
    const auto anchor = located(document);
    BlockInstalled result{document};
    std::vector<HookSite> kept;
    if (anchor) kept.push_back(*anchor);
    auto edited = hooks.discardAllBut(kept, document);
    if (edited && !anchor) edited = hooks.append(group(), promptEvent, *edited, result.made.created);
    // What is discarded comes after the anchor, or is under another event.
    if (edited && anchor && hooks.entryOf(*anchor, edited->root()).value(edited->bytes()) != entry().value()) {
        edited = JSONEdit::replaceElement(*edited, hooks.listOf(*anchor), anchor->entry, entry());
    }
    if (!edited) return std::unexpected{std::move(edited.error())};
    result.document = std::move(*edited);
    return result;
}

std::expected<BlockRemoved, JSONEditFailure> CodexHook::removed(const JSONDocument& document,
                                                                const std::set<Created>& created) const {
    return layout().removed(document, created);
}

std::size_t CodexHook::movedForeignEntries(const JSONDocument& from, const JSONDocument& to) const {
    // An edit keeps the order of equal entries, so that they correspond in turn.
    using Places = std::map<std::pair<std::string, std::string>, std::vector<CodexHookPosition>>;
    const HookLayout hooks = layout();
    const auto places = [&](const JSONDocument& document) {
        Places places;
        for (const HookSite& site : hooks.foreignSites(document.root())) {
            places[{site.event, site.command}].push_back({site.group, site.entry});
        }
        return places;
    };
    std::size_t moved = 0;
    Places now = places(to);
    for (const auto& [entry, before] : places(from)) {
        const auto& after = now[entry];
        for (std::size_t index = 0; index < std::min(before.size(), after.size()); ++index) {
            if (before[index] != after[index]) ++moved;
        }
    }
    return moved;
}

}  // namespace larkmoor
