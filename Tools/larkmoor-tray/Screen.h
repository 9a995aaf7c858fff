// The interactive tray as a model: what stands on the screen, and what a key does. Pure.
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

/// The keys in what a terminal sent at once.
std::vector<KeyPress> readKeys(std::string_view bytes);

/// What the keys ask of the item that is shown.
struct ScreenAsks {
    enum class What { nothing, open, close, click, hover, quit };
    What what = What::nothing;
    std::int32_t row = 0;
    bool operator==(const ScreenAsks&) const = default;
};

class Screen {
  public:
    /// The items as they are now; the selection stays where it was, or goes to the nearest row that can be clicked.
    void show(std::vector<ItemView> items);

    ScreenAsks press(KeyPress press);

    /// The item whose menu is open or would open; null without items. Valid until the next `show`.
    const ItemView* item() const;
    bool isOpen() const { return isOpen_; }

    /// Lines for a terminal of so many columns and rows, with its codes for colours.
    std::vector<std::string> lines(int columns, int height) const;

  private:
    std::vector<RowView> clickable() const;
    ScreenAsks choose(std::size_t place);
    ScreenAsks move(int by);

    std::vector<ItemView> items_;
    std::string service_;  ///< of the item shown
    bool isOpen_ = false;
    std::int32_t selected_ = 0;  ///< 0 is no row
};

}  // namespace larkmoor::tray
