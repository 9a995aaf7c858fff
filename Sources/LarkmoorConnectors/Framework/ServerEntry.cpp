#include "LarkmoorConnectors/Framework/ServerEntry.h"

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/Drift.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

constexpr std::string_view servers = "mcpServers";
constexpr std::string_view key = "larkmoor";
constexpr const char* otherShape = "the entry's shape is not the one this build writes";

const JSONNode* objectIn(const JSONNode& root) { return root.node({servers}); }
const JSONNode* entryIn(const JSONNode& root) { return root.node({servers, key}); }

std::optional<std::string> duplicateIn(const JSONNode& root) {
    for (const JSONNode* object : {&root, objectIn(root), entryIn(root)}) {
        if (object == nullptr) continue;
        if (auto reason = JSONDuplicates::reason(*object)) return reason;
    }
    return std::nullopt;
}

}  // namespace

JSONLiteral ServerEntry::entry() const {
    return JSONLiteral::object(
        {{"type", "stdio"}, {"command", command}, {"args", JSONLiteral::array({})}, {"env", JSONLiteral::object({})}});
}

std::optional<std::string> ServerEntry::unreadableReason(BytesView bytes) const {
    const auto scan = StrictJSON::scan(bytes);
    return scan ? duplicateIn(scan->root) : scan.error().description();
}

BlockFinding ServerEntry::find(std::optional<BytesView> bytes) const {
    if (!bytes) return BlockFinding::FileAbsent{};
    const auto scan = StrictJSON::scan(*bytes);
    if (!scan) return BlockFinding::Unreadable{scan.error().description()};
    if (auto reason = duplicateIn(scan->root)) return BlockFinding::Unreadable{std::move(*reason)};
    if (const JSONNode* list = objectIn(scan->root); list != nullptr && !list->isObject()) {
        return BlockFinding::Foreign{
            {"the mcpServers value in this file is not an object, so no entry can be put in it"}};
    }
    const JSONNode* found = entryIn(scan->root);
    if (found == nullptr) return BlockFinding::Absent{};
    const JSONNode* stated = found->node({"command"});
    const auto text = stated == nullptr ? std::nullopt : stated->text();
    if (!text) return BlockFinding::Drifted{{otherShape}};
    std::vector<std::string> reasons = Drift::reasons(std::string{*text}, command, command);
    if (*text == command && found->value(*bytes) != entry().value()) reasons.emplace_back(otherShape);
    if (reasons.empty()) return BlockFinding::Connected{};
    return BlockFinding::Drifted{std::move(reasons)};
}

std::expected<BlockInstalled, JSONEditFailure> ServerEntry::installed(BytesView bytes) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    const bool hasObject = objectIn(scan->root) != nullptr;
    const JSONNode* found = entryIn(scan->root);
    if (found != nullptr && found->value(bytes) == entry().value()) return BlockInstalled{copyBytes(bytes)};
    auto edited = StrictJSON::edited(bytes, [&](const JSONDocument& document) {
        if (hasObject) return JSONEdit::setMember(document, {servers}, key, entry());
        return JSONEdit::setMember(document, {}, servers, JSONLiteral::object({{std::string{key}, entry()}}));
    });
    if (!edited) return std::unexpected{std::move(edited.error())};
    BlockInstalled result{std::move(*edited)};
    if (!hasObject) result.created.insert(object);
    return result;
}

std::expected<BlockRemoved, JSONEditFailure> ServerEntry::removed(BytesView bytes,
                                                                  const std::set<Created>& created) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    if (entryIn(scan->root) == nullptr) return BlockRemoved{copyBytes(bytes)};
    auto edited = StrictJSON::edited(
        bytes, [](const JSONDocument& document) { return JSONEdit::removeMember(document, {servers}, key); });
    if (!edited) return std::unexpected{std::move(edited.error())};
    const auto after = StrictJSON::scan(*edited);
    if (!after) return std::unexpected{after.error()};
    if (!objectIn(after->root)->members().empty()) return BlockRemoved{std::move(*edited)};
    if (!created.contains(object)) {
        return BlockRemoved{std::move(*edited),
                            {"an empty mcpServers object remains here, which Larkmoor did not create"}};
    }
    edited = StrictJSON::edited(
        *edited, [](const JSONDocument& document) { return JSONEdit::removeMember(document, {}, servers); });
    if (!edited) return std::unexpected{std::move(edited.error())};
    return BlockRemoved{std::move(*edited)};
}

}  // namespace larkmoor
