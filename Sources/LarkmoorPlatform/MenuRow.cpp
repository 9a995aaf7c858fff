#include "LarkmoorPlatform/MenuRow.h"

#include <utility>

#include "LarkmoorPlatform/Menu.h"

namespace larkmoor {

MenuRow::MenuRow(Start start, bool isSeparator) : shown_(std::move(start)), isSeparator_(isSeparator) {}

std::shared_ptr<MenuRow> MenuRow::make(Start start) {
    return std::shared_ptr<MenuRow>{new MenuRow{std::move(start), false}};
}

std::shared_ptr<MenuRow> MenuRow::separator() { return std::shared_ptr<MenuRow>{new MenuRow{Start{}, true}}; }

void MenuRow::tell() {
    if (menu_ != nullptr) menu_->rowChanged(*this);
}

template <class T>
void MenuRow::set(T& field, T value) {
    if (field == value) return;
    field = std::move(value);
    tell();
}

void MenuRow::setTitle(std::string title) { set(shown_.title, std::move(title)); }
void MenuRow::setImage(RowImage image) { set(shown_.image, std::move(image)); }
void MenuRow::setProgress(RowProgress progress) { set(progress_, progress); }
void MenuRow::setHidden(bool hidden) { set(shown_.hidden, hidden); }
void MenuRow::setEnabled(bool enabled) { set(shown_.enabled, enabled); }

void MenuRow::setAction(Action action) {
    const bool had = hasAction();
    shown_.action = std::move(action);
    if (hasAction() != had) tell();
}

}  // namespace larkmoor
