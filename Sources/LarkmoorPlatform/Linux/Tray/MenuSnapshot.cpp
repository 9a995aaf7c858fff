#include "LarkmoorPlatform/Linux/Tray/MenuSnapshot.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "LarkmoorPlatform/Linux/Tray/MenuText.h"
#include "LarkmoorPlatform/Linux/Tray/TrayImages.h"

namespace larkmoor {

namespace {

constexpr std::string_view imageProperty = "icon-data";

const MenuProperty* find(const MenuProperties& properties, std::string_view name) {
    const auto found = std::ranges::find(properties, name, &MenuProperty::name);
    return found == properties.end() ? nullptr : &*found;
}

MenuProperties propertiesOfRow(const Menu& menu, const MenuRow& row, bool visible, MenuSnapshot::Drawing drawing) {
    if (row.isSeparator()) return {{"type", std::string{"separator"}}, {"visible", visible}};
    MenuProperties properties{
        {"label", MenuText::label(row, drawing.phase)}, {"enabled", menu.isClickable(row)}, {"visible", visible}};
    if (const BytesView png = menuImagePng(row.image(), drawing.imagePixels); !png.empty())
        properties.push_back({imageProperty, MenuPng{png}});
    if (std::string words = MenuText::accessibleDescription(row); !words.empty())
        properties.push_back({"accessible-desc", std::move(words)});
    return properties;
}

}  // namespace

MenuSnapshot MenuSnapshot::of(const Menu& menu, std::int32_t firstId, Drawing drawing) {
    const std::vector<bool> visible = visibleRows(menu.rows());
    MenuSnapshot snapshot{.firstId = firstId, .rows = {}};
    snapshot.rows.reserve(visible.size());
    for (std::size_t row = 0; row < visible.size(); ++row)
        snapshot.rows.push_back(propertiesOfRow(menu, *menu.rows()[row], visible[row], drawing));
    return snapshot;
}

void MenuSnapshot::blankLostImages(const MenuSnapshot& before, int imagePixels) {
    for (std::size_t row = 0; row < std::min(rows.size(), before.rows.size()); ++row)
        if (find(before.rows[row], imageProperty) != nullptr && find(rows[row], imageProperty) == nullptr)
            rows[row].push_back({imageProperty, MenuPng{transparentPng(imagePixels)}});
}

std::optional<std::size_t> MenuSnapshot::rowWith(std::int32_t id) const {
    const std::int64_t row = std::int64_t{id} - firstId;
    if (row < 0 || row >= std::ssize(rows)) return std::nullopt;
    return static_cast<std::size_t>(row);
}

MenuProperties MenuSnapshot::propertiesOf(std::int32_t id) const {
    if (const auto row = rowWith(id)) return rows[*row];
    return {{"children-display", std::string{"submenu"}}};
}

MenuProperties selected(const MenuProperties& properties, const std::vector<std::string>& names) {
    if (names.empty()) return properties;
    MenuProperties chosen;
    for (const MenuProperty& property : properties)
        if (std::ranges::find(names, property.name) != names.end()) chosen.push_back(property);
    return chosen;
}

std::vector<MenuChange> menuChanges(const MenuSnapshot& before, const MenuSnapshot& after) {
    std::vector<MenuChange> changes;
    for (std::size_t row = 0; row < std::min(before.rows.size(), after.rows.size()); ++row) {
        MenuChange change{.id = after.idOf(row), .set = {}, .removed = {}};
        for (const MenuProperty& now : after.rows[row]) {
            const MenuProperty* then = find(before.rows[row], now.name);
            if (then == nullptr || *then != now) change.set.push_back(now);
        }
        for (const MenuProperty& then : before.rows[row])
            if (find(after.rows[row], then.name) == nullptr) change.removed.push_back(then.name);
        if (!change.set.empty() || !change.removed.empty()) changes.push_back(std::move(change));
    }
    return changes;
}

std::vector<bool> visibleRows(const Menu::Rows& rows) {
    std::vector<bool> visible(rows.size(), false);
    std::optional<std::size_t> separator;
    bool anythingAbove = false;
    for (std::size_t row = 0; row < rows.size(); ++row) {
        if (rows[row]->hidden()) continue;
        if (rows[row]->isSeparator()) {
            if (anythingAbove && !separator) separator = row;
            continue;
        }
        // A separator becomes visible with the first visible row below it.
        if (separator) visible[*separator] = true;
        separator.reset();
        visible[row] = anythingAbove = true;
    }
    return visible;
}

bool isAnimated(const Menu& menu) {
    return std::ranges::any_of(menu.rows(), [](const auto& row) {
        return !row->hidden() && std::holds_alternative<RowProgresses::Indeterminate>(row->progress());
    });
}

}  // namespace larkmoor
