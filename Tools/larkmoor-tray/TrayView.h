// What a tray host sees of an item and its menu, read from their D-Bus replies.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorPlatform/Linux/Bus/BusMessage.h"

namespace larkmoor::tray {

struct RowView {
    std::int32_t id = 0;
    std::string label{};  ///< without mnemonic marks and indentation
    bool enabled = true;
    bool visible = true;
    bool separator = false;
    int indent = 0;      ///< levels
    std::string icon{};  ///< the name of an icon or of one of our own images; "png" for any other image
    std::vector<RowView> children{};

    bool isClickable() const { return enabled && visible && !separator && children.empty(); }
    bool operator==(const RowView&) const = default;
};

struct ItemView {
    std::string service;  ///< the bus name that it registered
    std::string path;
    std::string id;
    std::string icon;
    std::string status;
    std::string title;
    std::string description;  ///< the icon's accessible name
    std::string toolTip;
    std::string iconThemePath;
    std::string menuPath;
    std::vector<RowView> rows;

    bool operator==(const ItemView&) const = default;
};

/// The rows in reading order, those of a submenu after it and one level deeper. Hidden rows and their children only
/// with `all`.
std::vector<RowView> flatRows(const std::vector<RowView>& rows, bool all);

/// Reads the reply to GetAll of org.kde.StatusNotifierItem; service, path and rows stay as they are. Values that are
/// missing or of another type stay empty.
void readItem(const BusMessage& reply, ItemView& into);

/// Reads the reply to GetLayout of com.canonical.dbusmenu.
std::vector<RowView> readLayout(const BusMessage& reply);

}  // namespace larkmoor::tray
