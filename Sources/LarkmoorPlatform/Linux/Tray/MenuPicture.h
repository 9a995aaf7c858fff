// What hosts are told of a menu: for each row the properties of com.canonical.dbusmenu. Pure: rows in, records out.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

/// A PNG file that lives as long as the program; equal when it is the same one.
struct MenuPng {
    BytesView bytes;
    bool operator==(const MenuPng& other) const {
        return bytes.data() == other.bytes.data() && bytes.size() == other.bytes.size();
    }
};

struct MenuProperty {
    std::string_view name;
    std::variant<bool, std::string, MenuPng> value;
    bool operator==(const MenuProperty&) const = default;
};

/// In a fixed order, each name once. What a host may have remembered is always said, even at its default.
using MenuProperties = std::vector<MenuProperty>;

struct MenuPicture {
    static constexpr std::int32_t rootId = 0;

    std::int32_t firstId = 1;  ///< of the first row; the others follow
    std::vector<MenuProperties> rows;

    /// `phase` counts the steps of bars whose amount nobody knows.
    static MenuPicture of(const Menu& menu, std::int32_t firstId, unsigned phase);

    /// The place of the row with this id; nothing for the root and for an id of another menu or time.
    std::optional<std::size_t> rowWith(std::int32_t id) const;
    bool knows(std::int32_t id) const { return id == rootId || rowWith(id).has_value(); }
    std::int32_t idOf(std::size_t row) const { return firstId + static_cast<std::int32_t>(row); }
    /// For the root too; `knows(id)`.
    MenuProperties propertiesOf(std::int32_t id) const;
};

/// Those of the properties that were asked for; no names ask for all.
MenuProperties selected(const MenuProperties& properties, const std::vector<std::string>& names);

struct MenuChange {
    std::int32_t id = 0;
    MenuProperties set;
    std::vector<std::string_view> removed;
    bool operator==(const MenuChange&) const = default;
};

/// What a host that knows `before` must hear to know `after`, two pictures of the same rows.
std::vector<MenuChange> menuChanges(const MenuPicture& before, const MenuPicture& after);

/// Which rows a person sees: none that is hidden, and no separator at the top, at the end or behind another one.
std::vector<bool> visibleRows(const Menu::Rows& rows);

/// Whether some visible row shows progress of an unknown amount, whose picture moves.
bool isMoving(const Menu& menu);

}  // namespace larkmoor
