// A menu as com.canonical.dbusmenu properties, and the differences between two snapshots of it. Pure functions.
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

/// A PNG with static storage; compared by address.
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

/// In a fixed order, each name once. Properties that a host may have cached are always present, even at their
/// defaults.
using MenuProperties = std::vector<MenuProperty>;

struct MenuSnapshot {
    static constexpr std::int32_t rootId = 0;

    std::int32_t firstId = 1;  ///< of the first row; the others follow
    std::vector<MenuProperties> rows;

    struct Drawing {
        unsigned phase = 0;    ///< counts the animation steps of indeterminate progress bars
        int imagePixels = 32;  ///< the side of the rows' images
    };

    static MenuSnapshot of(const Menu& menu, std::int32_t firstId, Drawing drawing);

    /// Gives each row that lost its image since `before`, a snapshot of the same rows, a transparent one.
    void blankLostImages(const MenuSnapshot& before, int imagePixels);

    /// The index of the row with this id; nullopt for the root and for ids of other menus.
    std::optional<std::size_t> rowWith(std::int32_t id) const;
    bool knows(std::int32_t id) const { return id == rootId || rowWith(id).has_value(); }
    std::int32_t idOf(std::size_t row) const { return firstId + static_cast<std::int32_t>(row); }
    /// For the root too. Requires `knows(id)`.
    MenuProperties propertiesOf(std::int32_t id) const;
};

/// The properties with these names, or all if there are no names.
MenuProperties selected(const MenuProperties& properties, const std::vector<std::string>& names);

struct MenuChange {
    std::int32_t id = 0;
    MenuProperties set;
    std::vector<std::string_view> removed;
    bool operator==(const MenuChange&) const = default;
};

/// The changes from `before` to `after`, two snapshots of the same rows.
std::vector<MenuChange> menuChanges(const MenuSnapshot& before, const MenuSnapshot& after);

/// Which rows are visible: hidden ones are not, nor separators at the top, at the end or after another one.
std::vector<bool> visibleRows(const Menu::Rows& rows);

/// Whether a visible row shows an indeterminate progress bar, which is animated.
bool isAnimated(const Menu& menu);

}  // namespace larkmoor
