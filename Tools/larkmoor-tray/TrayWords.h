// Items and rows as JSON and as text lines, and looked up by name.
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

/// One object for each change: "event" is "added", "changed", "removed" or "row", "item" is the item's id.
std::vector<boost::json::object> changesBetween(const std::vector<ItemView>& before,
                                                const std::vector<ItemView>& after);

/// One change as a line of text.
std::string changeLine(const boost::json::object& change);

/// "larkmoor  larkmoor-trail-filled-symbolic  Active  Larkmoor — remembering this screen"
std::string itemLine(const ItemView& item);
/// The row with its icon and indentation as one line of text.
std::string rowLine(const RowView& row);

/// The item with this id, service or title. Without a name: the application's own item, otherwise the only one. The
/// error is a message for the user.
std::expected<ItemView, std::string> findItem(const std::vector<ItemView>& items, std::string_view name);

/// The row with this label, otherwise with this id, otherwise the only row whose label starts with the text.
std::expected<RowView, std::string> findRow(const ItemView& item, std::string_view labelOrId);

}  // namespace larkmoor::tray
