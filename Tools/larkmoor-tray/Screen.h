// The interactive tray's model: the lines on the screen and the effect of each key. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "TrayView.h"

namespace larkmoor::tray {

enum class Key { up, down, enter, escape, tab, quit, digit, other };

struct KeyPress {
    Key key = Key::other;
    int digit = 0;
    bool operator==(const KeyPress&) const = default;
};

/// Decodes the keys in one read from the terminal.
std::vector<KeyPress> readKeys(std::string_view bytes);

/// What a key does to the shown item.
struct ScreenAction {
    enum class Kind { nothing, open, close, click, hover, quit };
    Kind kind = Kind::nothing;
    std::int32_t row = 0;
    bool operator==(const ScreenAction&) const = default;
};

class Screen {
  public:
    /// Sets the current items; item and row stay selected if they still exist.
    void show(std::vector<ItemView> items);

    ScreenAction press(KeyPress press);

    /// The selected item; null without items. Valid until the next `show`.
    const ItemView* item() const;
    bool isOpen() const { return isOpen_; }

    /// The lines for a terminal of this size, with escape sequences for colours.
    std::vector<std::string> lines(int columns, int height) const;

  private:
    std::vector<RowView> clickable() const;
    ScreenAction choose(std::size_t index);
    ScreenAction move(int by);

    std::vector<ItemView> items_;
    std::string service_;  ///< of the item shown
    bool isOpen_ = false;
    std::int32_t selected_ = 0;  ///< 0 is no row
};

}  // namespace larkmoor::tray
