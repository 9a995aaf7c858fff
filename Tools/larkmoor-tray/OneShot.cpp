#include "OneShot.h"

#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cstdio>
#include <expected>

#include "TrayWords.h"

namespace larkmoor::tray {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int done = 0;
constexpr int notFound = 1;
/// Items that never answer must not hold the command up.
constexpr std::chrono::seconds patienceWithItems{3};

void say(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

int complain(const std::string& why) {
    std::fputs(("larkmoor-tray: " + why + "\n").c_str(), stderr);
    return notFound;
}

/// Waits until `find` finds, or until the time that the command allows is over and all that is there was looked at.
template <class Find>
Task<std::invoke_result_t<Find>> await(Find find, std::chrono::milliseconds wait, TrayHost& host, Changes& changes) {
    const auto deadline = Clock::now() + wait;
    const auto patience = std::max(deadline, Clock::now() + patienceWithItems);
    for (;;) {
        auto found = find();
        if (found) co_return found;
        const auto end = host.isSettled() ? deadline : patience;
        if (Clock::now() >= end) co_return found;
        co_await changes.next(end);
    }
}

void print(const ItemView& item, const CommandLine& command) {
    if (command.json) return say(boost::json::serialize(itemWithMenu(item, command.all)));
    say(itemLine(item));
    for (const RowView& row : flatRows(item.rows, command.all)) {
        const std::string_view state = !row.visible                         ? "  (hidden)"
                                       : row.isClickable() || row.separator ? ""
                                                                            : "  (off)";
        say(fmt::format("{:>4}  {}{}", row.id, rowLine(row), state));
    }
}

Task<int> list(CommandLine command, TrayHost& host, Changes& changes) {
    const auto anything = [&]() -> std::expected<std::vector<ItemView>, std::string> {
        if (host.isSettled() && !host.items().empty()) return host.items();
        return std::unexpected("no item on the bus");
    };
    const auto items = co_await await(anything, command.wait, host, changes);
    if (!items) co_return complain(items.error());
    boost::json::array array;
    for (const ItemView& item : *items) {
        if (command.json) {
            array.push_back(itemObject(item));
        } else {
            say(itemLine(item));
        }
    }
    if (command.json) say(boost::json::serialize(array));
    co_return done;
}

Task<int> show(CommandLine command, TrayHost& host, Changes& changes) {
    const auto item = co_await await([&] { return findItem(host.items(), command.item); }, command.wait, host, changes);
    if (!item) co_return complain(item.error());
    print(*item, command);
    co_return done;
}

std::expected<RowView, std::string> clickableRow(const ItemView& item, const std::string& name) {
    auto row = findRow(item, name);
    if (row && !row->isClickable()) return std::unexpected(fmt::format("the row \"{}\" is off", row->label));
    return row;
}

/// As a panel does it: the menu is told that it opens, which may change its rows, then the click, then the closing.
Task<int> click(CommandLine command, TrayHost& host, Changes& changes) {
    const auto deadline = Clock::now() + command.wait;
    const auto item = co_await await([&] { return findItem(host.items(), command.item); }, command.wait, host, changes);
    if (!item) co_return complain(item.error());
    static_cast<void>(co_await host.aboutToShow(*item));
    static_cast<void>(co_await host.event(*item, 0, "opened"));
    co_await host.refresh(*item);
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    const auto seen = [&]() -> std::expected<RowView, std::string> {
        const auto now = findItem(host.items(), command.item);
        if (!now) return std::unexpected(now.error());
        return clickableRow(*now, command.row);
    };
    const auto row = co_await await(seen, std::max(left, std::chrono::milliseconds{0}), host, changes);
    if (!row) {
        static_cast<void>(co_await host.event(*item, 0, "closed"));
        co_return complain(row.error());
    }
    const BusResult clicked = co_await host.event(*item, row->id, "clicked");
    if (!clicked) co_return complain(clicked.error().description());
    static_cast<void>(co_await host.event(*item, 0, "closed"));
    if (command.json) say(boost::json::serialize(rowObject(*row)));
    co_return done;
}

Task<int> watch(CommandLine command, TrayHost& host, Changes& changes) {
    std::vector<ItemView> before;
    for (;;) {
        std::vector<ItemView> now = host.items();
        if (!command.item.empty())
            std::erase_if(now, [&](const ItemView& item) { return !findItem({item}, command.item).has_value(); });
        for (const boost::json::object& change : changesBetween(before, now))
            say(command.json ? boost::json::serialize(change) : changeLine(change));
        before = std::move(now);
        co_await changes.next(Clock::time_point::max());
    }
}

Task<int> onlyHost(Changes& changes) {
    for (;;) co_await changes.next(Clock::time_point::max());
}

}  // namespace

Task<int> runOneShot(CommandLine command, TrayHost& host, Changes& changes) {
    switch (command.verb) {
        case CommandLine::Verb::list:
            return list(std::move(command), host, changes);
        case CommandLine::Verb::show:
            return show(std::move(command), host, changes);
        case CommandLine::Verb::click:
            return click(std::move(command), host, changes);
        case CommandLine::Verb::watch:
            return watch(std::move(command), host, changes);
        case CommandLine::Verb::host:
        case CommandLine::Verb::interactive:
        case CommandLine::Verb::help:
            return onlyHost(changes);
    }
    return onlyHost(changes);
}

}  // namespace larkmoor::tray
