#include "LarkmoorPlatform/Menu.h"

#include <utility>

#include "LarkmoorPlatform/MenuDelegate.h"
#include "LarkmoorPlatform/MenuObserver.h"

namespace larkmoor {

Menu::Menu(Rows rows) : rows_(std::move(rows)) {
    for (const auto& row : rows_) row->menu_ = this;
}

Menu::~Menu() {
    for (const auto& row : rows_) row->menu_ = nullptr;
}

void Menu::open() {
    if (std::exchange(isOpen_, true)) return;
    if (delegate_ != nullptr) delegate_->menuWillOpen();
}

void Menu::close() {
    if (!std::exchange(isOpen_, false)) return;
    if (delegate_ != nullptr) delegate_->menuDidClose();
}

bool Menu::isClickable(const MenuRow& row) const {
    if (row.isSeparator() || !row.enabled() || !row.hasAction()) return false;
    return delegate_ == nullptr || delegate_->validateMenuItem(row);
}

bool Menu::click(const MenuRow& row) {
    const bool clickable = !row.hidden() && isClickable(row);
    // A copy: closing or the action itself may give the row another one.
    const MenuRow::Action action = clickable ? row.action() : MenuRow::Action{};
    close();
    if (action) action();
    return clickable;
}

void Menu::rowChanged(const MenuRow& row) {
    if (observer_ != nullptr) observer_->rowChanged(row);
}

}  // namespace larkmoor
