#include "Screen.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/UTF8.h"
#include "TrayWords.h"

namespace larkmoor::tray {

namespace {

constexpr std::string_view plain = "\x1b[0m";
constexpr std::string_view bold = "\x1b[1m";
constexpr std::string_view dim = "\x1b[2m";
constexpr std::string_view inverse = "\x1b[7m";

/// The text's first `columns` characters; each of ours takes one column.
std::string cut(std::string_view text, int columns) {
    std::size_t length = 0;
    while (columns-- > 0 && length < text.size())
        length += std::max<std::size_t>(UTF8::characterLength(text.substr(length)), 1);
    return std::string{text.substr(0, length)};
}

std::string painted(std::string_view paint, std::string_view text, int columns) {
    return fmt::format("{}{}{}", paint, cut(text, columns), plain);
}

}  // namespace

std::vector<KeyPress> readKeys(std::string_view bytes) {
    std::vector<KeyPress> keys;
    while (!bytes.empty()) {
        const char letter = bytes.front();
        std::size_t length = 1;
        KeyPress press;
        if (bytes.starts_with("\x1b[A") || bytes.starts_with("\x1bOA")) {
            press.key = Key::up, length = 3;
        } else if (bytes.starts_with("\x1b[B") || bytes.starts_with("\x1bOB")) {
            press.key = Key::down, length = 3;
        } else if (bytes.starts_with("\x1b[") || bytes.starts_with("\x1bO")) {
            // Another key; its final letter must not be taken for a command.
            length = 2;
            while (length < bytes.size() && (bytes[length] < '@' || bytes[length] > '~')) ++length;
            length = std::min(length + 1, bytes.size());
        } else if (letter == '\x1b') {
            press.key = Key::escape;
        } else if (letter == '\r' || letter == '\n') {
            press.key = Key::enter;
        } else if (letter == '\t') {
            press.key = Key::tab;
        } else if (letter == 'q' || letter == '\x03' || letter == '\x04') {
            press.key = Key::quit;
        } else if (letter >= '1' && letter <= '9') {
            press = {.key = Key::digit, .digit = letter - '0'};
        }
        keys.push_back(press);
        bytes.remove_prefix(length);
    }
    return keys;
}

void Screen::show(std::vector<ItemView> items) {
    items_ = std::move(items);
    if (item() == nullptr || item()->service != service_) isOpen_ = false;
    service_ = item() == nullptr ? std::string{} : item()->service;
    if (!isOpen_) selected_ = 0;
}

const ItemView* Screen::item() const {
    if (items_.empty()) return nullptr;
    if (const auto shown = std::ranges::find(items_, service_, &ItemView::service); shown != items_.end())
        return &*shown;
    const auto ours = findItem(items_, {});
    const auto found = std::ranges::find(items_, ours ? ours->service : items_.front().service, &ItemView::service);
    return &*found;
}

std::vector<RowView> Screen::clickable() const {
    if (item() == nullptr || !isOpen_) return {};
    std::vector<RowView> rows = flatRows(item()->rows, false);
    std::erase_if(rows, [](const RowView& row) { return !row.isClickable(); });
    return rows;
}

ScreenAction Screen::choose(std::size_t index) {
    const std::vector<RowView> rows = clickable();
    if (index >= rows.size()) return {};
    isOpen_ = false;
    selected_ = 0;
    return {.kind = ScreenAction::Kind::click, .row = rows[index].id};
}

ScreenAction Screen::move(int by) {
    const std::vector<RowView> rows = clickable();
    if (rows.empty()) return {};
    const auto now = std::ranges::find(rows, selected_, &RowView::id);
    const int count = static_cast<int>(rows.size());
    const int start = now == rows.end() ? (by > 0 ? -1 : count) : static_cast<int>(now - rows.begin());
    selected_ = rows[static_cast<std::size_t>((start + by + count) % count)].id;
    return {.kind = ScreenAction::Kind::hover, .row = selected_};
}

ScreenAction Screen::press(KeyPress press) {
    if (press.key == Key::quit) return {.kind = ScreenAction::Kind::quit};
    if (item() == nullptr) return {};
    if (!isOpen_) {
        if (press.key == Key::tab) {
            const auto now = std::ranges::find(items_, service_, &ItemView::service);
            service_ = items_[static_cast<std::size_t>(now - items_.begin() + 1) % items_.size()].service;
        }
        if (press.key != Key::enter && press.key != Key::down) return {};
        isOpen_ = true;
        return {.kind = ScreenAction::Kind::open};
    }
    switch (press.key) {
        case Key::up:
            return move(-1);
        case Key::down:
            return move(1);
        case Key::digit:
            return choose(static_cast<std::size_t>(press.digit - 1));
        case Key::enter: {
            const std::vector<RowView> rows = clickable();
            const auto row = std::ranges::find(rows, selected_, &RowView::id);
            return choose(static_cast<std::size_t>(row - rows.begin()));
        }
        case Key::escape:
            isOpen_ = false;
            selected_ = 0;
            return {.kind = ScreenAction::Kind::close};
        case Key::tab:
        case Key::quit:
        case Key::other:
            return {};
    }
    return {};
}

std::vector<std::string> Screen::lines(int columns, int height) const {
    std::vector<std::string> lines;
    if (item() == nullptr) lines.push_back(painted(dim, "no status item on this bus yet", columns));
    for (const ItemView& each : items_)
        lines.push_back(painted(&each == item() && items_.size() > 1 ? inverse : bold, itemLine(each), columns));
    lines.emplace_back();
    if (isOpen_) {
        int number = 0;
        for (const RowView& row : flatRows(item()->rows, false)) {
            const bool isClickable = row.isClickable();
            const std::string mark = isClickable && ++number <= 9 ? std::to_string(number) : " ";
            const std::string_view paint = !isClickable ? dim : row.id == selected_ ? inverse : plain;
            lines.push_back(painted(paint, fmt::format(" {} {}", mark, rowLine(row)), columns));
        }
    }
    while (static_cast<int>(lines.size()) < height - 1) lines.emplace_back();
    lines.resize(static_cast<std::size_t>(std::max(height - 1, 0)));
    const std::string_view help = isOpen_             ? "1-9 or arrows and Enter click, Esc closes, q quits"
                                  : items_.size() > 1 ? "Enter opens the menu, Tab goes to the next item, q quits"
                                                      : "Enter opens the menu, q quits";
    lines.push_back(painted(dim, help, columns));
    return lines;
}

}  // namespace larkmoor::tray
