#include "LarkmoorPlatform/Menu.h"

#include <utility>

namespace larkmoor {

MenuRow::MenuRow(Start start, bool isSeparator) : shown_(std::move(start)), isSeparator_(isSeparator) {}

std::shared_ptr<MenuRow> MenuRow::make(Start start) {
    return std::shared_ptr<MenuRow>{new MenuRow{std::move(start), false}};
}

std::shared_ptr<MenuRow> MenuRow::separator() { return std::shared_ptr<MenuRow>{new MenuRow{Start{}, true}}; }

void MenuRow::notify() {
    if (menu_ != nullptr) menu_->rowChanged(*this);
}

template <class T>
void MenuRow::set(T& field, T value) {
    if (field == value) return;
    field = std::move(value);
    notify();
}

void MenuRow::setTitle(std::string title) { set(shown_.title, std::move(title)); }
void MenuRow::setImage(RowImage image) { set(shown_.image, std::move(image)); }
void MenuRow::setProgress(RowProgress progress) { set(progress_, progress); }
void MenuRow::setHidden(bool hidden) { set(shown_.hidden, hidden); }
void MenuRow::setEnabled(bool enabled) { set(shown_.enabled, enabled); }

void MenuRow::setAction(Action action) {
    const bool had = hasAction();
    shown_.action = std::move(action);
    if (hasAction() != had) notify();
}

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
