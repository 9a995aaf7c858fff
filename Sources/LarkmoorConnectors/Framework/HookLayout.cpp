#include "LarkmoorConnectors/Framework/HookLayout.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>

#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/Observations.h"

namespace larkmoor {

namespace {

const JSONNode* hooksOf(const JSONNode& node) {
    const JSONMember* member = node.member("hooks");
    return member == nullptr ? nullptr : &member->value;
}

std::int64_t asIndex(std::size_t index) { return static_cast<std::int64_t>(index); }

/// Calls `visit(event, group, list)` for every list of entries, whatever its event's name. `group` is null where there
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

std::vector<HookSite> HookLayout::sites(const JSONNode& root) const { return entries(root, true); }

std::vector<HookSite> HookLayout::foreignSites(const JSONNode& root) const { return entries(root, false); }

std::vector<HookSite> HookLayout::entries(const JSONNode& root, bool ours) const {
    std::vector<HookSite> sites;
    eachList(root, grouped, [&](const JSONMember& event, std::size_t group, const JSONNode*, const JSONNode* list) {
        if (list == nullptr) return;
        const auto entries = list->elements();
        for (std::size_t index = 0; index < entries.size(); ++index) {
            const JSONMember* command = entries[index].member("command");
            const auto text = command == nullptr ? std::nullopt : command->value.text();
            const auto tier = text ? HookCommand::tier(*text, currents) : std::nullopt;
            if (tier.has_value() != ours) continue;
            sites.push_back({std::string{event.key}, asIndex(group), asIndex(index), std::string{text.value_or("")},
                             tier.value_or(HookOwnership::stale)});
        }
    });
    return sites;
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

std::optional<std::string_view> HookLayout::matcherOf(const HookSite& site, const JSONNode& root) {
    const JSONNode* matcher = root.node({"hooks", site.event, site.group, "matcher"});
    return matcher == nullptr ? std::nullopt : matcher->text();
}

BlockFinding HookLayout::find(
    const JSONNode& root,
    const std::function<std::vector<std::string>(std::span<const HookSite>)>& driftReasons) const {
    if (auto reason = unreadableReason(root)) return BlockFinding::Unreadable{std::move(*reason)};
    if (auto reason = foreignReason(root)) return BlockFinding::Foreign{{std::move(*reason)}};
    const auto found = sites(root);
    if (found.empty()) return BlockFinding::Absent{};
    std::vector<std::string> reasons = driftReasons(found);
    if (reasons.empty()) return BlockFinding::Connected{};
    return BlockFinding::Drifted{std::move(reasons)};
}

const HookEvent* HookLayout::known(std::string_view event) const {
    const auto found = std::ranges::find(events, event, &HookEvent::name);
    return found == events.end() ? nullptr : &*found;
}

std::string_view HookLayout::expectedEvent(std::string_view command) const {
    return HookCommand::isPreTool(command) ? events.back().name : events.front().name;
}

std::vector<std::string> HookLayout::driftReasons(std::span<const HookSite> sites, std::string_view expectedCount,
                                                  const std::function<bool()>& shapeIsRight) const {
    std::vector<std::string> reasons;
    if (sites.size() != currents.size()) {
        reasons.push_back(fmt::format("this file holds {} Larkmoor {} where {} {} expected", sites.size(),
                                      sites.size() == 1 ? "entry" : "entries", expectedCount,
                                      currents.size() == 1 ? "is" : "are"));
    }
    for (const HookSite& site : sites) {
        const std::string_view expected = expectedEvent(site.command);
        if (site.event == expected) continue;
        reasons.push_back(
            fmt::format("a Larkmoor entry here is under the {} event{} {}", site.event, ratherThan, expected));
    }
    const bool isMisplaced = !reasons.empty();
    const auto prompt = std::ranges::find_if_not(sites, HookCommand::isPreTool, &HookSite::command);
    const bool hasPrompt = prompt != sites.end();
    const std::string& found = hasPrompt ? prompt->command : sites.front().command;
    for (std::string& reason : Drift::reasons(found, hasPrompt ? currents.front() : currents.back(), binary)) {
        reasons.push_back(std::move(reason));
    }
    if (!isMisplaced && !shapeIsRight()) reasons.emplace_back("the entry's shape is not the one this build writes");
    return reasons;
}

JSONEdit::Result HookLayout::append(const JSONLiteral& element, std::string_view to, const JSONDocument& document,
                                    std::set<Created>& created) const {
    const HookEvent& event = *known(to);
    const JSONNode* hooks = hooksOf(document.root());
    if (hooks != nullptr && !hooks->isObject()) {
        return std::unexpected{JSONEditFailure{JSONEditError{JSONEditError::NotAnObject{{"hooks"}}}}};
    }
    if (event.group) created.insert(*event.group);
    if (hooks != nullptr && hooks->member(event.name) != nullptr) {
        return JSONEdit::appendElement(document, {"hooks", event.name}, element);
    }
    created.insert(event.array);
    const JSONLiteral array = JSONLiteral::array({element});
    if (hooks != nullptr) return JSONEdit::setMember(document, {"hooks"}, event.name, array);
    created.insert(hooksObject);
    return JSONEdit::setMember(document, {}, "hooks", JSONLiteral::object({{event.name, array}}));
}

namespace {

/// The containers (shells) around entries that are to be removed, planned on the tree before the removal.
class Shells {
  public:
    Shells(const HookLayout& layout, const JSONNode& root, std::span<const HookSite> going)
        : layout_(layout), root_(root) {
        for (const HookSite& site : going) {
            JSONPath path = layout.listOf(site);
            path.emplace_back(site.entry);
            paths_.push_back(std::move(path));
            Event& event = noted(site.event);
            ++event.entries[layout.grouped ? site.group : 0];
        }
    }

    /// Calls `goes` for each group that becomes empty: whether to remove it.
    void clearGroups(const std::function<bool(const std::string& event)>& goes) {
        if (!layout_.grouped) return;
        for (Event& event : events_) {
            for (const auto& [group, count] : event.entries) {
                if (sizeAt({"hooks", event.name, group, "hooks"}) != count || !goes(event.name)) continue;
                paths_.push_back({"hooks", event.name, group});
                ++event.groups;
            }
        }
    }

    /// The same for each event, after `clearGroups`.
    void clearEvents(const std::function<bool(const std::string& event)>& goes) {
        for (const Event& event : events_) {
            const std::size_t gone = layout_.grouped ? event.groups : event.entries.begin()->second;
            if (sizeAt({"hooks", event.name}) != gone || !goes(event.name)) continue;
            paths_.push_back({"hooks", event.name});
            ++eventsGone_;
        }
    }

    /// The same for `hooks`, after `clearEvents`.
    void clearHooks(const std::function<bool()>& goes) {
        const JSONNode* hooks = hooksOf(root_);
        if (hooks == nullptr || !hooks->isObject() || hooks->members().size() != eventsGone_ || !goes()) return;
        paths_.push_back({"hooks"});
    }

    /// Everything to remove, the entries included.
    const std::vector<JSONPath>& paths() const { return paths_; }

  private:
    struct Event {
        std::string name;
        std::map<std::int64_t, std::size_t> entries{};  ///< for each group the number of its entries to remove
        std::size_t groups = 0;                         ///< how many groups to remove
    };

    Event& noted(const std::string& name) {
        const auto [place, isNew] = places_.try_emplace(name, events_.size());
        return isNew ? events_.emplace_back(name) : events_[place->second];
    }

    std::optional<std::size_t> sizeAt(const JSONPath& path) const {
        const JSONNode* array = root_.node(path);
        return array == nullptr ? std::nullopt : std::optional{array->elements().size()};
    }

    const HookLayout& layout_;
    const JSONNode& root_;
    std::vector<Event> events_{};                  ///< in the order of their first entries
    std::map<std::string, std::size_t> places_{};  ///< of the events in it, by name
    std::size_t eventsGone_ = 0;
    std::vector<JSONPath> paths_{};
};

}  // namespace

JSONEdit::Result HookLayout::discardAllBut(std::span<const HookSite> kept, const JSONDocument& document) const {
    std::vector<HookSite> going = sites(document.root());
    std::erase_if(going, [&](const HookSite& site) { return std::ranges::find(kept, site) != kept.end(); });
    Shells shells{*this, document.root(), going};
    const auto always = [](const std::string&) { return true; };
    shells.clearGroups(always);
    shells.clearEvents(always);
    return JSONEdit::removeAll(document, shells.paths());
}

std::expected<BlockRemoved, JSONEditFailure> HookLayout::removed(const JSONDocument& document,
                                                                 const std::set<Created>& created) const {
    std::vector<std::string> leftovers;
    const auto goes = [&](std::optional<Created> mark, std::string_view shell) {
        if (mark && created.contains(*mark)) return true;
        leftovers.push_back(fmt::format("an empty {} remains here, which Larkmoor did not create", shell));
        return false;
    };
    Shells shells{*this, document.root(), sites(document.root())};
    shells.clearGroups([&](const std::string& name) {
        const HookEvent* event = known(name);
        return goes(event == nullptr ? std::nullopt : event->group, "hook group");
    });
    shells.clearEvents([&](const std::string& name) {
        const HookEvent* event = known(name);
        return goes(event == nullptr ? std::nullopt : std::optional{event->array}, name + " list");
    });
    shells.clearHooks([&] { return goes(hooksObject, "hooks object"); });
    auto edited = JSONEdit::removeAll(document, shells.paths());
    if (!edited) return std::unexpected{std::move(edited.error())};
    return BlockRemoved{std::move(*edited), std::move(leftovers)};
}

}  // namespace larkmoor
