// How a harness lays out the hooks in its JSON file: a `hooks` object of events, each an array of groups with a `hooks`
// array of entries, or of the entries themselves. What all such files have in common is here; what an entry looks like
// and which ones there are, is the harness's own. Pure functions over bytes of the strict dialect.
#pragma once

#include <expected>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/ConfigFile/JSONNode.h"
#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/HookSite.h"
#include "LarkmoorConnectors/Framework/StrictJSON.h"

namespace larkmoor {

/// An event that we stand under, and what an install notes when it makes its surroundings.
struct HookEvent {
    std::string name;
    Created array;
    std::optional<Created> group{};
};

struct HookLayout {
    Created hooksObject;
    std::vector<HookEvent> events;
    bool grouped = true;                ///< entries stand in groups
    std::vector<std::string> currents;  ///< the commands that this build writes

    /// Entries of ours under any event whatever, in file order.
    std::vector<HookSite> sites(const JSONNode& root) const;

    /// Why the file cannot be edited though it may scan: the scan's own reason, or a name that stands twice where an
    /// edit may land.
    std::optional<std::string> unreadableReason(BytesView bytes) const;
    std::optional<std::string> unreadableReason(const JSONNode& root) const;

    /// Why no entry of ours can be put into the file.
    std::optional<std::string> foreignReason(const JSONNode& root) const;

    /// The path of the array that a site is an element of.
    JSONPath listOf(const HookSite& site) const;
    /// The site's entry in the tree that it was found in.
    const JSONNode& entryOf(const HookSite& site, const JSONNode& root) const;

    /// Adds an element, which is a group where entries stand in groups, behind the others of one of `events`, and makes
    /// what is missing around it.
    StrictJSON::Edited append(const JSONLiteral& element, std::string_view to, BytesView bytes,
                              std::set<Created>& created) const;

    /// Takes one entry out, and what it leaves empty around it, whoever made that: an upgrade replaces it at once.
    StrictJSON::Edited discard(const HookSite& site, BytesView bytes) const;

    /// Takes all entries out. Of the shells that they leave those go that are `created`; each other is a leftover.
    std::expected<BlockRemoved, JSONEditFailure> removed(BytesView bytes, const std::set<Created>& created) const;

    /// The reasons of a drift that the places of the sites give: their number, and the events that they stand under.
    std::vector<std::string> misplacements(std::span<const HookSite> sites, std::string_view expectedCount,
                                           std::string_view (*expectedEvent)(const HookSite&)) const;
};

}  // namespace larkmoor
