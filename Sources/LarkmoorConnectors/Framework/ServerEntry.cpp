#include "LarkmoorConnectors/Framework/ServerEntry.h"

#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

namespace {

constexpr std::string_view servers = "mcpServers";
constexpr std::string_view key = "larkmoor";
constexpr const char* otherShape = "the entry's shape is not the one this build writes";

const JSONNode* objectIn(const JSONNode& root) { return root.node({servers}); }
const JSONNode* entryIn(const JSONNode& root) { return root.node({servers, key}); }

}  // namespace

JSONLiteral ServerEntry::entry() const {
    return JSONLiteral::object(
        {{"type", "stdio"}, {"command", command}, {"args", JSONLiteral::array({})}, {"env", JSONLiteral::object({})}});
}

BlockFinding ServerEntry::find(const JSONDocument& document) const {
    const JSONNode& root = document.root();
    if (auto reason = JSONShape::duplicateAlong(root, {servers, key})) return BlockFinding::Unreadable{*reason};
    if (const JSONNode* list = objectIn(root); list != nullptr && !list->isObject()) {
        return BlockFinding::Foreign{
            {"the mcpServers value in this file is not an object, so no entry can be put in it"}};
    }
    const JSONNode* found = entryIn(root);
    if (found == nullptr) return BlockFinding::Absent{};
    const JSONNode* stated = found->node({"command"});
    const auto text = stated == nullptr ? std::nullopt : stated->text();
    if (!text) return BlockFinding::Drifted{{otherShape}};
    std::vector<std::string> reasons = Drift::reasons(std::string{*text}, command, command);
    if (*text == command && found->value(document.bytes()) != entry().value()) reasons.emplace_back(otherShape);
    if (reasons.empty()) return BlockFinding::Connected{};
    return BlockFinding::Drifted{std::move(reasons)};
}

std::expected<BlockInstalled, JSONEditFailure> ServerEntry::installed(const JSONDocument& document) const {
    const bool hasObject = objectIn(document.root()) != nullptr;
    const JSONNode* found = entryIn(document.root());
    if (found != nullptr && found->value(document.bytes()) == entry().value()) return BlockInstalled{document};
    auto edited = hasObject
                      ? JSONEdit::setMember(document, {servers}, key, entry())
                      : JSONEdit::setMember(document, {}, servers, JSONLiteral::object({{std::string{key}, entry()}}));
    if (!edited) return std::unexpected{std::move(edited.error())};
    BlockInstalled result{std::move(*edited)};
    if (!hasObject) result.made.created.insert(object);
    return result;
}

std::expected<BlockRemoved, JSONEditFailure> ServerEntry::removed(const JSONDocument& document,
                                                                  const std::set<Created>& created) const {
    BlockRemoved result{document};
    if (entryIn(document.root()) == nullptr) return result;
    std::vector<JSONPath> going{{servers, key}};
    if (objectIn(document.root())->members().size() == 1) {
        if (created.contains(object)) {
            going.push_back({servers});
        } else {
            result.leftovers = {"an empty mcpServers object remains here, which Larkmoor did not create"};
        }
    }
    auto edited = JSONEdit::removeAll(document, going);
    if (!edited) return std::unexpected{std::move(edited.error())};
    result.document = std::move(*edited);
    return result;
}

}  // namespace larkmoor
