#include "LarkmoorConnectors/Cursor/CursorBlocks.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "LarkmoorBase/UTF8.h"

namespace larkmoor {

namespace {

constexpr std::string_view promptEvent = "beforeSubmitPrompt";
constexpr std::string_view preToolEvent = "preToolUse";

/// The text with each run of white space as one blank, cut where it is too long for a sentence.
std::string onOneLine(std::string_view text) {
    constexpr std::size_t maxCharacters = 24;
    constexpr std::string_view whiteSpace = " \t\n\r";
    std::string line;
    for (std::size_t count = 0; !text.empty(); ++count) {
        if (count == maxCharacters) return line + "…";
        const std::string_view character = text.substr(0, UTF8::characterLength(text));
        const bool isBlank = whiteSpace.contains(character.front());
        line += isBlank ? " " : character;
        text.remove_prefix(isBlank ? std::min(text.find_first_not_of(whiteSpace), text.size()) : character.size());
    }
    return line;
}

}  // namespace

std::string CursorHookError::description() const {
    return visit([](const ForeignVersion& foreign) {
        return fmt::format("this file states hooks configuration version {}, which this build has not read",
                           foreign.version);
    });
}

std::string CursorHookFailure::description() const {
    return visit([](const CursorHookError& error) { return error.description(); },
                 [](const JSONEditFailure& failure) { return failure.description(); });
}

JSONLiteral CursorHook::entry() const { return JSONLiteral::object({{"command", paths.hookCommand()}}); }

JSONLiteral CursorHook::preToolEntry() const {
    return JSONLiteral::object({{"command", paths.preToolCommand()},
                                {"matcher", "^(Task|MCP:(grab|memory_add|meeting_get))$"},
                                {"timeout", 3}});
}

std::vector<CursorHook::Own> CursorHook::own() const {
    return {{promptEvent, entry()}, {preToolEvent, preToolEntry()}};
}

HookLayout CursorHook::layout() const {
    return {.hooksObject = Created::cursorHooksObject,
            .events = {{std::string{promptEvent}, Created::cursorEventArray},
                       {std::string{preToolEvent}, Created::cursorPreToolEventArray}},
            .grouped = false,
            .currents = {paths.hookCommand(), paths.preToolCommand()},
            .binary = paths.hookBinary};
}

std::vector<HookSite> CursorHook::sites(const JSONNode& root) const { return layout().sites(root); }

CursorHooksVersion CursorHook::version(const JSONDocument& document) {
    const JSONMember* stated = document.root().member("version");
    if (stated == nullptr) return CursorHooksVersion::Absent{};
    std::string text{textOf(stated->value.range(), document.bytes())};
    if (text == "1") return CursorHooksVersion::One{};
    return CursorHooksVersion::Foreign{std::move(text)};
}

std::optional<CursorHookError> CursorHook::versionError(const JSONDocument& document) {
    const CursorHooksVersion stated = version(document);
    const auto* foreign = stated.as<CursorHooksVersion::Foreign>();
    if (foreign == nullptr) return std::nullopt;
    return CursorHookError::ForeignVersion{foreign->text};
}

bool CursorHook::isSeedResidue(const JSONDocument& document) {
    return document.root().members().size() == 1 && version(document).is<CursorHooksVersion::One>();
}

std::vector<std::string> CursorHook::foreignFields(const JSONNode& of, BytesView in, const JSONLiteral& ours) {
    const JSONValue known = ours.value();
    std::vector<std::string> fields;
    for (const JSONMember& member : of.members()) {
        if (known.as<JSONValue::Object>()->members.contains(member.key)) continue;
        fields.push_back(onOneLine(textOf(member.range(), in)));
    }
    return fields;
}

BlockFinding CursorHook::find(const JSONDocument& document) const {
    const HookLayout hooks = layout();
    if (auto reason = hooks.unreadableReason(document.root())) return BlockFinding::Unreadable{std::move(*reason)};
    if (const auto error = versionError(document)) return BlockFinding::Foreign{{error->description()}};
    return hooks.find(document.root(), [&](std::span<const HookSite> sites) {
        return hooks.driftReasons(sites, "two", [&] { return converged(sites, document); });
    });
}

bool CursorHook::converged(std::span<const HookSite> sites, const JSONDocument& document) const {
    const HookLayout hooks = layout();
    return sites.size() == 2 && std::ranges::all_of(own(), [&](const Own& ours) {
               return std::ranges::any_of(sites, [&](const HookSite& site) {
                   return site.event == ours.event &&
                          hooks.entryOf(site, document.root()).value(document.bytes()) == ours.entry.value();
               });
           });
}

std::expected<BlockInstalled, CursorHookFailure> CursorHook::installed(const JSONDocument& document) const {
    if (auto error = versionError(document)) return std::unexpected{CursorHookFailure{std::move(*error)}};
    const auto found = sites(document.root());
    if (converged(found, document)) return BlockInstalled{document};
    std::vector<HookSite> kept;
    for (const Own& ours : own()) {
        const auto right = std::ranges::find_if(found, [&](const HookSite& site) {
            return site.event == ours.event && HookCommand::isPreTool(site.command) == (ours.event == preToolEvent);
        });
        if (right != found.end()) kept.push_back(*right);
    }
    ReceiptAddition made;
    std::vector<std::string> replaced;
    auto edited = layout().discardAllBut(kept, document);
    for (const Own& ours : own()) {
        if (edited) edited = installed(ours, *edited, made.created, replaced);
    }
    if (!edited) return std::unexpected{CursorHookFailure{std::move(edited.error())}};
    BlockInstalled result{std::move(*edited), std::move(made)};
    if (!replaced.empty()) {
        result.notes.push_back(fmt::format("{} on the Larkmoor entry here {} replaced with the proven shape",
                                           fmt::join(replaced, ", "), replaced.size() == 1 ? "was" : "were"));
    }
    return result;
}

JSONEdit::Result CursorHook::installed(const Own& ours, const JSONDocument& document, std::set<Created>& created,
                                       std::vector<std::string>& replaced) const {
    const HookLayout hooks = layout();
    const auto found = sites(document.root());
    const auto kept = std::ranges::find(found, ours.event, &HookSite::event);
    if (kept == found.end()) return hooks.append(ours.entry, ours.event, document, created);
    const JSONNode& entry = hooks.entryOf(*kept, document.root());
    if (entry.value(document.bytes()) == ours.entry.value()) return document;
    for (std::string& field : foreignFields(entry, document.bytes(), ours.entry)) replaced.push_back(std::move(field));
    return JSONEdit::replaceElement(document, hooks.listOf(*kept), kept->entry, ours.entry);
}

std::expected<BlockRemoved, JSONEditFailure> CursorHook::removed(const JSONDocument& document,
                                                                 const std::set<Created>& created) const {
    auto removed = layout().removed(document, created);
    const CursorHooksVersion stated = version(document);
    const auto* foreign = stated.as<CursorHooksVersion::Foreign>();
    if (removed && foreign != nullptr && !sites(document.root()).empty()) {
        removed->leftovers.push_back(fmt::format(
            "this file states hooks configuration version {}, and only the Larkmoor entry was taken out of it",
            foreign->text));
    }
    return removed;
}

}  // namespace larkmoor
