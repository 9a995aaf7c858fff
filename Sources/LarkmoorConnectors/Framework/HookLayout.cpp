#include "LarkmoorConnectors/Framework/HookLayout.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/HookCommand.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

namespace {

const JSONNode* hooksOf(const JSONNode& node) {
    const JSONMember* member = node.member("hooks");
    return member == nullptr ? nullptr : &member->value;
}

std::int64_t asIndex(std::size_t index) { return static_cast<std::int64_t>(index); }

/// Calls `visit(event, group, list)` of every list of entries, whatever its event's name. `group` is null where there
/// are no groups, and `list` is null in a group without one.
template <class Visit>
void eachList(const JSONNode& root, bool grouped, Visit visit) {
    const JSONNode* hooks = hooksOf(root);
    if (hooks == nullptr) return;
    for (const JSONMember& event : hooks->members()) {
        if (!grouped) {
            visit(event, std::size_t{0}, static_cast<const JSONNode*>(nullptr), &event.value);
            continue;
        }
        const auto groups = event.value.elements();
        for (std::size_t index = 0; index < groups.size(); ++index) {
            visit(event, index, &groups[index], hooksOf(groups[index]));
        }
    }
}

}  // namespace

std::vector<HookSite> HookLayout::sites(const JSONNode& root) const {
    std::vector<HookSite> sites;
    eachList(root, grouped, [&](const JSONMember& event, std::size_t group, const JSONNode*, const JSONNode* list) {
        if (list == nullptr) return;
        const auto entries = list->elements();
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const JSONMember* command = entries[index].member("command");
            const auto text = command == nullptr ? std::nullopt : command->value.text();
            const auto tier = text ? HookCommand::tier(*text, currents) : std::nullopt;
            if (!tier) continue;
            sites.push_back({std::string{event.key}, asIndex(group), asIndex(index), std::string{*text}, *tier});
        }
    });
    return sites;
}

std::optional<std::string> HookLayout::unreadableReason(BytesView bytes) const {
    const auto scan = StrictJSON::scan(bytes);
    return scan ? unreadableReason(scan->root) : scan.error().description();
}

std::optional<std::string> HookLayout::unreadableReason(const JSONNode& root) const {
    std::optional<std::string> reason = JSONDuplicates::reason(root);
    if (const JSONNode* hooks = hooksOf(root); hooks != nullptr && !reason) reason = JSONDuplicates::reason(*hooks);
    eachList(root, grouped, [&](const JSONMember&, std::size_t, const JSONNode* group, const JSONNode* list) {
        if (group != nullptr && !reason) reason = JSONDuplicates::reason(*group);
        if (list == nullptr) return;
        for (const JSONNode& entry : list->elements()) {
            if (!reason) reason = JSONDuplicates::reason(entry);
        }
    });
    return reason;
}

std::optional<std::string> HookLayout::foreignReason(const JSONNode& root) const {
    const JSONNode* hooks = hooksOf(root);
    if (hooks == nullptr) return std::nullopt;
    if (!hooks->isObject()) {
        return "the hooks value in this file is not an object, so no entry can be put in it";
    }
    for (const HookEvent& event : events) {
        const JSONMember* member = hooks->member(event.name);
        if (member == nullptr || member->value.isArray()) continue;
        return fmt::format("the {} value in this file is not an array, so no entry can be put in it", event.name);
    }
    return std::nullopt;
}

JSONPath HookLayout::listOf(const HookSite& site) const {
    if (!grouped) return {"hooks", site.event};
    return {"hooks", site.event, site.group, "hooks"};
}

const JSONNode& HookLayout::entryOf(const HookSite& site, const JSONNode& root) const {
    JSONPath path = listOf(site);
    path.emplace_back(site.entry);
    return *root.node(path);
}

StrictJSON::Edited HookLayout::append(const JSONLiteral& element, std::string_view to, BytesView bytes,
                                      std::set<Created>& created) const {
    const auto scan = StrictJSON::scan(bytes);
    if (!scan) return std::unexpected{scan.error()};
    const HookEvent& event = *std::ranges::find(events, to, &HookEvent::name);
    const auto groupMade = [&] {
        if (event.group) created.insert(*event.group);
    };
    const JSONNode* hooks = hooksOf(scan->root);
    const JSONLiteral array = JSONLiteral::array({element});
    if (hooks == nullptr) {
        created.insert({hooksObject, event.array}), groupMade();
        return StrictJSON::edited(bytes, [&](const JSONDocument& document) {
            return JSONEdit::setMember(document, {}, "hooks", JSONLiteral::object({{event.name, array}}));
        });
    }
    if (!hooks->isObject())
        return std::unexpected{JSONEditFailure{JSONEditError{JSONEditError::NotAnObject{{"hooks"}}}}};
    if (hooks->member(event.name) == nullptr) {
        created.insert(event.array), groupMade();
        return StrictJSON::edited(bytes, [&](const JSONDocument& document) {
            return JSONEdit::setMember(document, {"hooks"}, event.name, array);
        });
    }
    groupMade();
    return StrictJSON::edited(bytes, [&](const JSONDocument& document) {
        return JSONEdit::appendElement(document, {"hooks", event.name}, element);
    });
}

namespace {

/// Edits in a row, each on the document that the one before has left; after a failure nothing more happens.
class Editing {
  public:
    explicit Editing(const JSONDocument& document) : document_(document) {}

    bool failed() const { return failure_.has_value(); }
    const JSONNode& root() const { return document_.root(); }

    void removeElement(const JSONPath& at, std::int64_t index) { take(JSONEdit::removeElement(document_, at, index)); }
    void removeMember(const JSONPath& at, std::string_view key) { take(JSONEdit::removeMember(document_, at, key)); }

    std::expected<Bytes, JSONEditFailure> result() && {
        if (failure_) return std::unexpected{std::move(*failure_)};
        return document_.bytes();
    }

  private:
    void take(JSONEdit::Result edited) {
        if (edited) {
            document_ = std::move(*edited);
        } else {
            failure_ = std::move(edited.error());
        }
    }

    JSONDocument document_;
    std::optional<JSONEditFailure> failure_{};
};

/// The shells that removed entries have left, from the inside outwards.
class Shells {
  public:
    Shells(const HookLayout& layout, Editing& editing, const std::set<Created>& created)
        : layout_(layout), editing_(editing), created_(created) {}

    void note(const HookSite& site) {
        if (std::ranges::find(events_, site.event) == events_.end()) events_.push_back(site.event);
        const Place place{site.event, site.group};
        if (std::ranges::find(groups_, place) == groups_.end()) groups_.push_back(place);
    }

    std::vector<std::string> clear() {
        if (layout_.grouped) clearGroups();
        for (const std::string& event : events_) clearEvent(event);
        const JSONNode* hooks = hooksOf(editing_.root());
        if (hooks != nullptr && hooks->isObject() && hooks->members().empty()) {
            if (created_.contains(layout_.hooksObject)) {
                editing_.removeMember({}, "hooks");
            } else {
                leftovers_.emplace_back("an empty hooks object remains here, which Larkmoor did not create");
            }
        }
        return std::move(leftovers_);
    }

  private:
    struct Place {
        std::string event;
        std::int64_t group = 0;
        bool operator==(const Place&) const = default;
    };

    const HookEvent* known(std::string_view event) const {
        const auto found = std::ranges::find(layout_.events, event, &HookEvent::name);
        return found == layout_.events.end() ? nullptr : &*found;
    }

    void clearGroups() {
        // The last of an event first, so that none moves before it is looked at.
        std::ranges::sort(groups_, [this](const Place& left, const Place& right) {
            const auto rank = [this](const Place& place) { return std::ranges::find(events_, place.event); };
            return rank(left) != rank(right) ? rank(left) < rank(right) : left.group > right.group;
        });
        for (const auto& [event, group] : groups_) {
            const JSONNode* list = editing_.root().node({"hooks", event, group, "hooks"});
            if (list == nullptr || !StrictJSON::isEmptyContainer(*list)) continue;
            const HookEvent* ours = known(event);
            if (ours != nullptr && ours->group && created_.contains(*ours->group)) {
                editing_.removeElement({"hooks", event}, group);
            } else {
                leftovers_.emplace_back("an empty hook group remains here, which Larkmoor did not create");
            }
        }
    }

    void clearEvent(const std::string& event) {
        const JSONNode* array = editing_.root().node({"hooks", event});
        if (array == nullptr || !array->isArray() || !array->elements().empty()) return;
        const HookEvent* ours = known(event);
        if (ours != nullptr && created_.contains(ours->array)) {
            editing_.removeMember({"hooks"}, event);
        } else {
            leftovers_.push_back(fmt::format("an empty {} list remains here, which Larkmoor did not create", event));
        }
    }

    const HookLayout& layout_;
    Editing& editing_;
    const std::set<Created>& created_;
    std::vector<std::string> events_;  ///< in the order first noted
    std::vector<Place> groups_;
    std::vector<std::string> leftovers_;
};

}  // namespace

StrictJSON::Edited HookLayout::discard(const HookSite& site, BytesView bytes) const {
    const auto document = JSONDocument::read(bytes, JSONDialect::strict);
    if (!document) return std::unexpected{JSONEditFailure{document.error()}};
    Editing editing{*document};
    editing.removeElement(listOf(site), site.entry);
    if (grouped && !editing.failed()) {
        const JSONNode* list = editing.root().node(listOf(site));
        if (list != nullptr && list->elements().empty()) editing.removeElement({"hooks", site.event}, site.group);
    }
    if (!editing.failed()) {
        const JSONNode* array = editing.root().node({"hooks", site.event});
        if (array != nullptr && array->elements().empty()) editing.removeMember({"hooks"}, site.event);
    }
    return std::move(editing).result();
}

std::expected<BlockRemoved, JSONEditFailure> HookLayout::removed(BytesView bytes,
                                                                 const std::set<Created>& created) const {
    const auto document = JSONDocument::read(bytes, JSONDialect::strict);
    if (!document) return std::unexpected{JSONEditFailure{document.error()}};
    Editing editing{*document};
    Shells shells{*this, editing, created};
    for (;;) {
        const auto found = editing.failed() ? std::vector<HookSite>{} : sites(editing.root());
        if (found.empty()) break;
        editing.removeElement(listOf(found.front()), found.front().entry);
        shells.note(found.front());
    }
    std::vector<std::string> leftovers = shells.clear();
    auto result = std::move(editing).result();
    if (!result) return std::unexpected{std::move(result.error())};
    return BlockRemoved{std::move(*result), std::move(leftovers)};
}

std::vector<std::string> HookLayout::misplacements(std::span<const HookSite> sites, std::string_view expectedCount,
                                                   std::string_view (*expectedEvent)(const HookSite&)) const {
    std::vector<std::string> reasons;
    if (sites.size() != currents.size()) {
        reasons.push_back(fmt::format("this file holds {} Larkmoor {} where {} are expected", sites.size(),
                                      sites.size() == 1 ? "entry" : "entries", expectedCount));
    }
    for (const HookSite& site : sites) {
        const std::string_view expected = expectedEvent(site);
        if (site.event == expected) continue;
        reasons.push_back(
            fmt::format("a Larkmoor entry here is under the {} event rather than {}", site.event, expected));
    }
    return reasons;
}

}  // namespace larkmoor
