#include "CommandLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <optional>
#include <vector>

namespace larkmoor::tray {

namespace {

using Verb = CommandLine::Verb;

struct VerbWords {
    std::string_view name;
    Verb verb;
    std::size_t least, most;  ///< words behind it
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

}  // namespace larkmoor::tray
