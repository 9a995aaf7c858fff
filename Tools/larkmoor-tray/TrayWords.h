// Items and rows as scripts and people read them, and found by what people call them.
#pragma once

#include <boost/json/object.hpp>

#include <expected>
#include <string>
#include <string_view>
#include <vector>

#include "TrayView.h"

namespace larkmoor::tray {

/// Without its menu: the keys of `list`.
boost::json::object itemObject(const ItemView& item);
/// With "menu", a list of rows. Hidden rows only with `all`.
boost::json::object itemWithMenu(const ItemView& item, bool all);
boost::json::object rowObject(const RowView& row);

/// What happened between two looks at the bus, an object for each change: "event" is "added", "changed", "removed" or
/// "row", "item" the item's id.
std::vector<boost::json::object> changesBetween(const std::vector<ItemView>& before,
                                                const std::vector<ItemView>& after);

/// One of those as a line for a person.
std::string changeLine(const boost::json::object& change);

/// "larkmoor  larkmoor-trail-filled-symbolic  Active  Larkmoor — remembering this screen"
std::string itemLine(const ItemView& item);
/// The row with its picture and its indent, as one line of text.
std::string rowLine(const RowView& row);

/// The item that `name` means: its id, its service or its title. Without a name it is our own, otherwise the only one.
/// The error says why there is none.
std::expected<ItemView, std::string> findItem(const std::vector<ItemView>& items, std::string_view name);

/// The row that a person means: its whole label, otherwise its id, otherwise the only label that begins so.
std::expected<RowView, std::string> findRow(const ItemView& item, std::string_view labelOrId);

}  // namespace larkmoor::tray
