#include "LarkmoorConnectors/OpenCode/OpenCodeMCP.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/JSONLayout.h"
#include "LarkmoorConnectors/Framework/InstalledBundle.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

namespace {

constexpr std::string_view servers = "mcp";
constexpr std::string_view key = "larkmoor";
constexpr const char* otherShape = "the entry's shape is not the one this build writes";

const JSONPath& entryPath() {
    static const JSONPath path{servers, key};
    return path;
}

std::optional<std::string_view> textOfMember(std::string_view name, const JSONNode& of) {
    const JSONMember* member = of.member(name);
    return member == nullptr ? std::nullopt : member->value.text();
}

std::optional<bool> flagOfMember(std::string_view name, const JSONNode& of) {
    const JSONMember* member = of.member(name);
    const auto* flag = member == nullptr ? nullptr : member->value.kind.as<JSONNode::Kind::Bool>();
    return flag == nullptr ? std::nullopt : std::optional{flag->value};
}

/// A command of ours wherever it is, however old the build that wrote it.
bool isOurCommand(std::string_view command, std::string_view current) {
    constexpr std::string_view checkouts[] = {"/fenwright/larkmoor/dist-dev/", "/fenwright/larkmoor/dist-prod/",
                                              "/fenwright/larkmoor/.build/"};
    return std::ranges::any_of(checkouts, [&](std::string_view each) { return command.contains(each); }) ||
           command.ends_with("/larkmoor-mcp") || command == current || BundleCommand::names(command, "larkmoor-mcp");
}

std::size_t commentsInEntry(const JSONDocument& document) {
    return JSONComments::count(document.comments(), OpenCodeMCP::entryIn(document)->range());
}

}  // namespace

JSONLiteral OpenCodeMCP::entry() const {
    return JSONLiteral::object(
        {{"type", "local"}, {"command", JSONLiteral::array({paths.mcpBinary})}, {"enabled", true}});
}

std::optional<std::string_view> OpenCodeMCP::statedCommand(const JSONNode& of) {
    const JSONNode* command = of.node({"command", 0});
    const auto text = command == nullptr ? std::nullopt : command->text();
    return text && !text->empty() ? text : std::nullopt;
}

bool OpenCodeMCP::shapeMatches(const JSONNode& entry) const {
    return textOfMember("type", entry) == "local" && statedCommand(entry) == paths.mcpBinary &&
           entry.member("command")->value.elements().size() == 1 && flagOfMember("enabled", entry);
}

std::optional<std::string> OpenCodeMCP::extras(const JSONNode& of) {
    std::set<std::string_view> keys;
    for (const JSONMember& member : of.members()) keys.insert(member.key);
    for (const char* ours : {"type", "command", "enabled"}) keys.erase(ours);
    std::vector<std::string> extras;
    if (!keys.empty()) {
        extras.push_back(fmt::format("carries {} this build does not write: {}", keys.size() == 1 ? "a key" : "keys",
                                     fmt::join(keys, ", ")));
    }
    const bool hasType = of.member("type") != nullptr, hasEnabled = of.member("enabled") != nullptr;
    if (hasType && textOfMember("type", of) != "local") extras.emplace_back("states a type this build does not write");
    if (hasEnabled && !flagOfMember("enabled", of)) {
        extras.emplace_back("states an enabled that is neither true nor false");
    }
    const JSONMember* command = of.member("command");
    if (command != nullptr && command->value.elements().size() > 1) {
        extras.emplace_back("carries arguments this build does not write");
    }
    if (extras.empty()) return std::nullopt;
    return fmt::format("{}", fmt::join(extras, "; "));
}

OpenCodeMCP::Ownership OpenCodeMCP::ownership(const JSONNode& of, bool createdByUs) const {
    if (createdByUs || JSONShape::isEmptyContainer(of)) return OpenCodeMCPOwnershipCases::Ours{};
    const auto command = statedCommand(of);
    if (!command || !isOurCommand(*command, paths.mcpBinary)) return OpenCodeMCPOwnershipCases::HandWritten{};
    if (auto extra = extras(of)) return OpenCodeMCPOwnershipCases::Foreign{std::move(*extra)};
    return OpenCodeMCPOwnershipCases::Ours{};
}

const JSONNode* OpenCodeMCP::entryIn(const JSONDocument& document) { return document.root().node(entryPath()); }

bool OpenCodeMCP::isSwitchedOff(const JSONDocument& in) {
    const JSONNode* entry = entryIn(in);
    return entry != nullptr && flagOfMember("enabled", *entry) == false;
}

bool OpenCodeMCP::isAdoptableShell(const JSONDocument& in) {
    const JSONNode* entry = entryIn(in);
    return entry != nullptr && JSONShape::isEmptyContainer(*entry);
}

std::optional<std::string> OpenCodeMCP::unreadableReason(const JSONDocument& document) {
    return JSONShape::duplicateAlong(document.root(), entryPath());
}

std::optional<std::string> OpenCodeMCP::refusalReason(const JSONDocument& in, bool createdByUs) const {
    const JSONNode* entry = entryIn(in);
    if (entry == nullptr) return std::nullopt;
    using Reason = std::optional<std::string>;
    return ownership(*entry, createdByUs)
        .visit(
            [](const Ownership::Ours&) -> Reason { return std::nullopt; },
            [](const Ownership::Foreign& foreign) -> Reason { return "the mcp.larkmoor entry here " + foreign.extra; },
            [](const Ownership::HandWritten&) -> Reason {
                return "the mcp.larkmoor entry here was written by hand and is not one this build wrote";
            });
}

BlockFinding OpenCodeMCP::find(const JSONDocument& in, bool createdByUs) const {
    if (auto reason = unreadableReason(in)) return BlockFinding::Unreadable{std::move(*reason)};
    const JSONMember* list = in.root().member(servers);
    if (list != nullptr && !list->value.isObject()) {
        return BlockFinding::Foreign{{"the mcp value in this file is not an object, so no entry can be put in it"}};
    }
    const JSONNode* entry = entryIn(in);
    if (entry == nullptr) return BlockFinding::Absent{};
    const auto drifted = [](std::string reason) { return BlockFinding::Drifted{{std::move(reason)}}; };
    return ownership(*entry, createdByUs)
        .visit(
            [&](const Ownership::Ours&) -> BlockFinding {
                const auto command = statedCommand(*entry);
                if (!command) return drifted(otherShape);
                auto reasons = Drift::reasons(std::string{*command}, paths.mcpBinary, paths.mcpBinary);
                if (*command == paths.mcpBinary && !shapeMatches(*entry)) reasons.emplace_back(otherShape);
                if (isSwitchedOff(in)) reasons.emplace_back(switchedOff);
                if (reasons.empty()) return BlockFinding::Connected{};
                return BlockFinding::Drifted{std::move(reasons)};
            },
            [&](const Ownership::Foreign& foreign) -> BlockFinding { return drifted("the entry " + foreign.extra); },
            [&](const Ownership::HandWritten&) -> BlockFinding {
                return drifted("the Larkmoor MCP entry here was written by hand and is not the one this build writes");
            });
}

std::expected<OpenCodeMCP::Installed, JSONEditFailure> OpenCodeMCP::installed(const JSONDocument& in) const {
    if (entryIn(in) == nullptr) {
        const bool hasList = in.root().member(servers) != nullptr;
        auto edited = hasList
                          ? JSONEdit::setMember(in, {servers}, key, entry())
                          : JSONEdit::setMember(in, {}, servers, JSONLiteral::object({{std::string{key}, entry()}}));
        if (!edited) return std::unexpected{std::move(edited.error())};
        Installed result{std::move(*edited), {Created::openCodeMCPEntry}};
        if (!hasList) result.created.insert(Created::openCodeMCPObject);
        return result;
    }
    JSONDocument document = in;
    const JSONLiteral ours = entry();
    for (const auto& [name, value] : ours.as<JSONLiteral::Object>()->members) {
        const JSONMember* there = entryIn(document)->member(name);
        const bool isKept =
            name == "enabled" || (there != nullptr && there->value.value(document.bytes()) == value.value());
        if (there != nullptr && isKept) continue;
        auto edited = JSONEdit::setMember(document, entryPath(), name, value);
        if (!edited) return std::unexpected{std::move(edited.error())};
        document = std::move(*edited);
    }
    const std::size_t replaced = commentsInEntry(in) - commentsInEntry(document);
    return Installed{std::move(document), {}, replaced};
}

std::expected<BlockRemoved, JSONEditFailure> OpenCodeMCP::removed(const JSONDocument& in,
                                                                  const std::set<Created>& created,
                                                                  const std::set<Adopted>& adopted) {
    BlockRemoved result{in};
    if (entryIn(in) == nullptr) return result;
    JSONEdit::Result edited = in;
    if (adopted.contains(Adopted::openCodeMCPEntryShell) && !created.contains(Created::openCodeMCPEntry)) {
        for (const char* name : {"enabled", "command", "type"}) {
            if (edited && entryIn(*edited)->member(name) != nullptr) {
                edited = JSONEdit::removeMember(*edited, entryPath(), name);
            }
        }
        result.leftovers.emplace_back("an empty larkmoor entry remains here, which Larkmoor did not create");
    } else {
        edited = JSONEdit::removeMember(in, {servers}, key);
        if (edited && edited->root().member(servers)->value.members().empty()) {
            if (created.contains(Created::openCodeMCPObject)) {
                edited = JSONEdit::removeMember(*edited, {}, servers);
            } else {
                result.leftovers.emplace_back("an empty mcp object remains here, which Larkmoor did not create");
            }
        }
    }
    if (!edited) return std::unexpected{std::move(edited.error())};
    result.document = std::move(*edited);
    return result;
}

}  // namespace larkmoor
