// How a harness lays out the hooks in its JSON file: a `hooks` object of events, each an array of groups with a `hooks`
// array of entries, or of the entries themselves. What all such files have in common is here; what an entry looks like
// and which ones there are, is the harness's own. Pure functions over documents of the strict dialect.
#pragma once

#include <expected>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorConnectors/ConfigFile/JSONEdit.h"
#include "LarkmoorConnectors/Framework/Block.h"
#include "LarkmoorConnectors/Framework/HookCommand.h"

namespace larkmoor {

/// An event that we stand under, and what an install notes when it makes its surroundings.
struct HookEvent {
    std::string name;
    Created array;
    std::optional<Created> group{};
};

struct HookLayout {
    Created hooksObject;
    std::vector<HookEvent> events;      ///< the prompts' first; behind it the tools', if the harness has one
    bool grouped = true;                ///< entries stand in groups
    std::vector<std::string> currents;  ///< the commands that this build writes, in the order of the events
    std::string binary;                 ///< the path of the program that they run

    /// Entries of ours under any event whatever, in file order.
    std::vector<HookSite> sites(const JSONNode& root) const;

    /// A name that stands twice where an edit may land: the file cannot be edited, though it scans.
    std::optional<std::string> unreadableReason(const JSONNode& root) const;

    /// Why no entry of ours can be put into the file.
    std::optional<std::string> foreignReason(const JSONNode& root) const;

    /// `driftReasons` is asked where there are sites, and nothing stands against an edit.
    BlockFinding find(const JSONNode& root,
                      const std::function<std::vector<std::string>(std::span<const HookSite>)>& driftReasons) const;

    /// Their number ("four are expected"), then their events, then what the command of one of them says, which speaks
    /// for all; the shape only where number and events are right.
    std::vector<std::string> driftReasons(std::span<const HookSite> sites, std::string_view expectedCount,
                                          const std::function<bool()>& shapeIsRight) const;

    // Of a site in the tree that it was found in.

    /// The path of the array that the site is an element of.
    JSONPath listOf(const HookSite& site) const;
    const JSONNode& entryOf(const HookSite& site, const JSONNode& root) const;
    /// The `matcher` of the group that it stands in.
    static std::optional<std::string_view> matcherOf(const HookSite& site, const JSONNode& root);

    /// Adds an element, which is a group where entries stand in groups, behind the others of one of `events`, and makes
    /// what is missing around it.
    JSONEdit::Result append(const JSONLiteral& element, std::string_view to, const JSONDocument& document,
                            std::set<Created>& created) const;

    /// Takes all entries of ours out but those of `kept`, with the groups and events that they leave empty, whoever
    /// made those: an upgrade replaces them at once.
    JSONEdit::Result discardAllBut(std::span<const HookSite> kept, const JSONDocument& document) const;

    /// Takes all entries out. Of the shells that they leave those go that are `created`; each other is a leftover.
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;

  private:
    const HookEvent* known(std::string_view event) const;
    /// The event that a command of ours belongs under.
    std::string_view expectedEvent(std::string_view command) const;
};

}  // namespace larkmoor
