#include "TrayWords.h"

#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <optional>

#include "LarkmoorBase/WholeNumber.h"

namespace larkmoor::tray {

namespace {

constexpr std::string_view ourId = "larkmoor";

bool isSameItem(const ItemView& left, const ItemView& right) {
    return left.service == right.service && left.path == right.path;
}

const ItemView* same(const std::vector<ItemView>& items, const ItemView& item) {
    const auto found = std::ranges::find_if(items, [&](const ItemView& other) { return isSameItem(item, other); });
    return found == items.end() ? nullptr : &*found;
}

boost::json::object eventObject(std::string_view event, const ItemView& item) {
    return {{"event", event}, {"item", item.id}};
}

void addRowChanges(const ItemView& before, const ItemView& after, std::vector<boost::json::object>& changes) {
    const std::vector<RowView> then = flatRows(before.rows, true);
    for (const RowView& row : flatRows(after.rows, true)) {
        const auto known = std::ranges::find(then, row.id, &RowView::id);
        if (known != then.end() && *known == row) continue;
        changes.push_back(eventObject("row", after));
        changes.back()["row"] = rowObject(row);
    }
}

std::string_view picture(const RowView& row) {
    if (row.icon == "recordingDot") return "●";
    if (row.icon == "pausedRing") return "○";
    return row.icon.empty() ? " " : "▪";
}

}  // namespace

boost::json::object itemObject(const ItemView& item) {
    return {{"id", item.id},
            {"service", item.service},
            {"path", item.path},
            {"icon", item.icon},
            {"status", item.status},
            {"title", item.title},
            {"description", item.description},
            {"toolTip", item.toolTip},
            {"iconThemePath", item.iconThemePath}};
}

boost::json::object rowObject(const RowView& row) {
    return {{"id", row.id},           {"label", row.label},         {"enabled", row.enabled},
            {"visible", row.visible}, {"separator", row.separator}, {"indent", row.indent},
            {"icon", row.icon}};
}

boost::json::object itemWithMenu(const ItemView& item, bool all) {
    boost::json::object object = itemObject(item);
    boost::json::array menu;
    for (const RowView& row : flatRows(item.rows, all)) menu.push_back(rowObject(row));
    object["menu"] = std::move(menu);
    return object;
}

std::vector<boost::json::object> changesBetween(const std::vector<ItemView>& before,
                                                const std::vector<ItemView>& after) {
    std::vector<boost::json::object> changes;
    for (const ItemView& item : before)
        if (same(after, item) == nullptr) changes.push_back(eventObject("removed", item));
    for (const ItemView& item : after) {
        const ItemView* then = same(before, item);
        if (then == nullptr) {
            changes.push_back(eventObject("added", item));
            changes.back()["now"] = itemWithMenu(item, true);
            continue;
        }
        const boost::json::object was = itemObject(*then);
        boost::json::object changed = eventObject("changed", item);
        const std::size_t nothing = changed.size();
        for (const auto& [key, value] : itemObject(item))
            if (was.at(key) != value) changed[key] = value;
        if (changed.size() > nothing) changes.push_back(std::move(changed));
        addRowChanges(*then, item, changes);
    }
    return changes;
}

std::string changeLine(const boost::json::object& change) {
    const auto text = [](const boost::json::value& value) {
        return value.is_string() ? std::string{value.as_string()} : boost::json::serialize(value);
    };
    const std::string event = text(change.at("event"));
    std::string line = text(change.at("item")) + " " + event;
    if (event == "changed") {
        for (const auto& [key, value] : change)
            if (key != "event" && key != "item") line += fmt::format("  {}: {}", std::string_view{key}, text(value));
    } else if (event == "row") {
        const boost::json::object& row = change.at("row").as_object();
        line +=
            fmt::format(" {}  {}{}{}", text(row.at("id")), text(row.at("label")),
                        row.at("visible").as_bool() ? "" : "  (hidden)", row.at("enabled").as_bool() ? "" : "  (off)");
    }
    return line;
}

std::string itemLine(const ItemView& item) {
    return fmt::format("{}  {}  {}  {}", item.id, item.icon.empty() ? "(pixels)" : item.icon, item.status,
                       item.description.empty() ? item.title : item.description);
}

std::string rowLine(const RowView& row) {
    if (row.separator) return "  ────────────";
    return fmt::format("{}{} {}", std::string(static_cast<std::size_t>(row.indent) * 2, ' '), picture(row), row.label);
}

std::expected<ItemView, std::string> findItem(const std::vector<ItemView>& items, std::string_view name) {
    const auto isMeant = [&](const ItemView& item) {
        return name.empty() ? item.id == ourId : item.id == name || item.service == name || item.title == name;
    };
    const auto found = std::ranges::find_if(items, isMeant);
    if (found != items.end()) return *found;
    if (!name.empty()) return std::unexpected(fmt::format("no item \"{}\" on the bus", name));
    if (items.size() == 1) return items.front();
    return std::unexpected(items.empty() ? "no item on the bus" : "several items on the bus: name one of them");
}

std::expected<RowView, std::string> findRow(const ItemView& item, std::string_view labelOrId) {
    const std::vector<RowView> rows = flatRows(item.rows, false);
    if (const auto named = std::ranges::find(rows, labelOrId, &RowView::label);
        named != rows.end() && !labelOrId.empty())
        return *named;
    if (const auto id = wholeNumber<std::int32_t>(labelOrId)) {
        if (const auto numbered = std::ranges::find(rows, *id, &RowView::id); numbered != rows.end()) return *numbered;
    }
    std::optional<RowView> only;
    for (const RowView& row : rows) {
        if (row.separator || !row.label.starts_with(labelOrId)) continue;
        if (only) return std::unexpected(fmt::format("several rows begin with \"{}\"", labelOrId));
        only = row;
    }
    if (only) return *std::move(only);
    return std::unexpected(fmt::format("no row \"{}\" in the menu", labelOrId));
}

}  // namespace larkmoor::tray
