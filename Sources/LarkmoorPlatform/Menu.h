// A menu: a fixed list of rows, between a delegate that keeps them true and a platform that shows them. Main thread
// only. Rows come and go by their `hidden` flag; the list itself never changes.
#pragma once

#include <memory>
#include <vector>

#include "LarkmoorPlatform/MenuRow.h"

namespace larkmoor {

class MenuDelegate;
class MenuObserver;

class Menu {
  public:
    using Rows = std::vector<std::shared_ptr<MenuRow>>;

    /// Shares the rows with whoever made them. A row stands in one menu at most, and once.
    explicit Menu(Rows rows);
    ~Menu();
    Menu(const Menu&) = delete;
    Menu& operator=(const Menu&) = delete;

    const Rows& rows() const { return rows_; }

    /// Not owned: the delegate outlives the menu, or takes itself away with null.
    void setDelegate(MenuDelegate* delegate) { delegate_ = delegate; }

    // What the platform calls.

    /// Not owned; one at most, null for none.
    void setObserver(MenuObserver* observer) { observer_ = observer; }

    bool isOpen() const { return isOpen_; }
    /// Tells the delegate, unless the menu counts as open (or closed) already.
    void open();
    void close();

    /// Whether a click on the row would do something: it is enabled, has an action, and the delegate agrees.
    bool isClickable(const MenuRow& row) const;

    /// Closes the menu, then runs the row's action. A hidden row and one that is not clickable do nothing; false then.
    bool click(const MenuRow& row);

  private:
    friend class MenuRow;
    void rowChanged(const MenuRow& row);

    Rows rows_;
    MenuDelegate* delegate_ = nullptr;
    MenuObserver* observer_ = nullptr;
    bool isOpen_ = false;
};

}  // namespace larkmoor
