// How a harness lays out the hooks in its JSON file: a `hooks` object of events, each an array of groups with a `hooks`
// array of entries, or of the entries themselves. This is what all such files have in common; which entries there are
// and what they look like is defined by each harness. Pure functions over documents of the strict dialect.
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

/// A hook event that we add entries to, and what an installation notes in the receipt when it creates that event's
/// array or a group in it.
struct HookEvent {
    std::string name;
    Created array;
    std::optional<Created> group{};
};

struct HookLayout {
    Created hooksObject;
    std::vector<HookEvent> events;      ///< the prompt event, then the tool event if the harness has one
    bool grouped = true;                ///< entries are in groups
    std::vector<std::string> currents;  ///< the commands that this build writes, in the order of the events
    std::string binary;                 ///< path of the program that these commands run
    /// In a message, between the event of an entry and the expected one.
    std::string_view ratherThan = " rather than";

    /// Entries of ours under any event whatever, in file order.
    std::vector<HookSite> sites(const JSONNode& root) const;

    /// All other entries, under any event whatever, in file order; `command` is empty where an entry has none.
    std::vector<HookSite> foreignSites(const JSONNode& root) const;

    /// The reason why the file cannot be edited although it scans: an object that an edit may change has duplicate
    /// keys. nullopt if there is none.
    std::optional<std::string> unreadableReason(const JSONNode& root) const;

    /// Why no entry of ours can be put into the file; nullopt if one can.
    std::optional<std::string> foreignReason(const JSONNode& root) const;

    /// Calls `driftReasons` only if entries of ours were found and the file can be edited.
    BlockFinding find(const JSONNode& root,
                      const std::function<std::vector<std::string>(std::span<const HookSite>)>& driftReasons) const;

    /// Why the entries differ from those that this build writes: their number ("four are expected", "one is"), their
    /// events, then the command of one of them as a sample for all. The shape is checked only if number and events are
    /// right.
    std::vector<std::string> driftReasons(std::span<const HookSite> sites, std::string_view expectedCount,
                                          const std::function<bool()>& shapeIsRight) const;

    // `root` is the tree in which the site was found.

    /// The path of the array that the site is an element of.
    JSONPath listOf(const HookSite& site) const;
    const JSONNode& entryOf(const HookSite& site, const JSONNode& root) const;
    /// The `matcher` of the site's group.
    static std::optional<std::string_view> matcherOf(const HookSite& site, const JSONNode& root);

    /// Appends an element (a group if `grouped`) to the array of one of `events`, and creates the containers that are
    /// missing. `created` receives what the receipt has to note.
    JSONEdit::Result append(const JSONLiteral& element, std::string_view to, const JSONDocument& document,
                            std::set<Created>& created) const;

    /// Removes all our entries except `kept`, and every group and event that becomes empty, whoever created it: the
    /// caller adds the new entries next.
    JSONEdit::Result discardAllBut(std::span<const HookSite> kept, const JSONDocument& document) const;

    /// Removes all our entries. A container that becomes empty is removed if it is in `created`; otherwise it stays and
    /// is reported in `leftovers`.
    std::expected<BlockRemoved, JSONEditFailure> removed(const JSONDocument& document,
                                                         const std::set<Created>& created) const;

  private:
    std::vector<HookSite> entries(const JSONNode& root, bool ours) const;
    const HookEvent* known(std::string_view event) const;
    /// The event that a command of ours belongs under.
    std::string_view expectedEvent(std::string_view command) const;
};

}  // namespace larkmoor
