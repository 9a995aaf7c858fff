#include "Commands.h"

#include <fmt/format.h>

#include <boost/json/array.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <expected>
#include <optional>
#include <vector>

#include "TrayWords.h"

namespace larkmoor::tray {

namespace {

using Verb = CommandLine::Verb;

struct VerbWords {
    std::string_view name;
    Verb verb;
    std::size_t least, most;  ///< number of words after it
};

constexpr VerbWords verbs[] = {
    {"host", Verb::host, 0, 0},   {"list", Verb::list, 0, 0},   {"show", Verb::show, 0, 1},
    {"watch", Verb::watch, 0, 1}, {"click", Verb::click, 1, 2}, {"help", Verb::help, 0, 0},
};

std::optional<std::chrono::milliseconds> seconds(std::string_view text) {
    double value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    constexpr double day = 86400;
    if (read.ec != std::errc{} || read.ptr != text.data() + text.size() || !(value >= 0 && value <= day)) return {};
    return std::chrono::milliseconds{static_cast<std::int64_t>(value * 1000)};
}

using Clock = std::chrono::steady_clock;

constexpr int done = 0;
constexpr int notFound = 1;
/// Items that never reply must not block the command.
constexpr std::chrono::seconds itemTimeout{3};

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
    const auto patience = std::max(deadline, Clock::now() + itemTimeout);
    for (;;) {
        auto found = find();
        if (found) co_return found;
        const auto end = host.isSettled() ? deadline : patience;
        if (Clock::now() >= end) co_return found;
        co_await changes.wait(end);
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

/// Like a panel: announces the opening, which may change the rows, then clicks, then announces the closing.
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
        co_await changes.wait(Clock::time_point::max());
    }
}

Task<int> onlyHost(Changes& changes) {
    for (;;) co_await changes.wait(Clock::time_point::max());
}

}  // namespace

const std::string_view CommandLine::usage =
    R"(usage: larkmoor-tray [COMMAND] [OPTION...]

The status items on this session's bus, for a machine without a panel. Where no
panel watches for items, this program does, for as long as it runs.

  (none)                   the items and their menus in this terminal
  host                     only watches, so that other commands find the items
  list                     the items
  show [ITEM]              an item and its menu
  click LABEL|ID [ITEM]    opens the menu and clicks a row
  watch [ITEM]             tells each change until it is ended

  --json           answers in JSON, for "watch" a line for each change
  --all            hidden rows too
  --wait SECONDS   how long the item, and the row to click, may take to appear

ITEM is an id, a title or a name on the bus; without it, it is "larkmoor", or
else the only item that there is.
Exit status: 0; 1 when the item or the row is not found; 2 for a wrong usage.
)";

std::expected<CommandLine, std::string> CommandLine::parse(std::span<const std::string_view> arguments) {
    CommandLine command;
    std::vector<std::string_view> words;
    bool onlyWords = false;
    for (std::size_t at = 0; at < arguments.size(); ++at) {
        const std::string_view argument = arguments[at];
        if (onlyWords || !argument.starts_with("-") || argument == "-") {
            words.push_back(argument);
        } else if (argument == "--") {
            onlyWords = true;
        } else if (argument == "--json") {
            command.json = true;
        } else if (argument == "--all") {
            command.all = true;
        } else if (argument == "--help" || argument == "-h") {
            command.verb = Verb::help;
            return command;
        } else if (argument == "--wait") {
            if (++at == arguments.size()) return std::unexpected("--wait needs a number of seconds");
            const auto time = seconds(arguments[at]);
            if (!time) return std::unexpected(fmt::format("\"{}\" is no number of seconds", arguments[at]));
            command.wait = *time;
        } else {
            return std::unexpected(fmt::format("unknown option \"{}\"", argument));
        }
    }
    if (words.empty()) return command;
    const auto* verb = std::ranges::find(verbs, words.front(), &VerbWords::name);
    if (verb == std::end(verbs)) return std::unexpected(fmt::format("unknown command \"{}\"", words.front()));
    words.erase(words.begin());
    if (words.size() < verb->least) return std::unexpected(fmt::format("{}: which row?", verb->name));
    if (words.size() > verb->most)
        return std::unexpected(fmt::format("{}: what is \"{}\"?", verb->name, words[verb->most]));
    command.verb = verb->verb;
    if (verb->verb == Verb::click) {
        command.row = words.front();
        words.erase(words.begin());
    }
    if (!words.empty()) command.item = words.front();
    return command;
}

Task<int> runCommand(CommandLine command, TrayHost& host, Changes& changes) {
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
