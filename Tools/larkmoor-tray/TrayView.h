// What a tray host sees of one item.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace larkmoor::tray {

struct RowView {
    std::int32_t id = 0;
    std::string label{};  ///< as a person reads it: no mnemonic marks, no leading blanks
    bool enabled = true;
    bool visible = true;
    bool separator = false;
    int indent = 0;      ///< levels
    std::string icon{};  ///< the name of an icon or of one of our own pictures; "png" for any other picture
    std::vector<RowView> children{};

    bool isClickable() const { return enabled && visible && !separator && children.empty(); }
    bool operator==(const RowView&) const = default;
};

struct ItemView {
    std::string service;  ///< the name on the bus that it registered
    std::string path;
    std::string id;
    std::string icon;
    std::string status;
    std::string title;
    std::string description;  ///< of the icon, for who does not see it
    std::string toolTip;
    std::string iconThemePath;
    std::string menuPath;
    std::vector<RowView> rows;

    bool operator==(const ItemView&) const = default;
};

/// The rows in the order in which they are read, those of a submenu behind it and one level deeper. Hidden rows, and
/// all below them, only with `all`.
std::vector<RowView> flatRows(const std::vector<RowView>& rows, bool all);

}  // namespace larkmoor::tray
