// The verb on the menu's row.
#include <fmt/format.h>

#include <expected>
#include <system_error>

#include "Command.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorBase/WholeNumber.h"
#include "LarkmoorUpdate/Row/UpdateMenuLine.h"

namespace larkmoor::update {

namespace {

using UpdateMenuLine::Event;
using Read = std::expected<Event, std::string>;

template <class Case>
Read plain(const std::string* value) {
    if (value != nullptr) return std::unexpected("takes no value");
    return Case{};
}

template <class Case>
Read ofVersion(const std::string* value) {
    if (value == nullptr) return std::unexpected("wants a version");
    return Case{*value};
}

template <class Case>
Read ofBytes(const std::string* value) {
    const auto bytes = value == nullptr ? std::nullopt : wholeNumber<std::uint64_t>(*value);
    if (!bytes) return std::unexpected("wants a number of bytes");
    return Case{*bytes};
}

constexpr struct {
    std::string_view name;
    Read (*read)(const std::string* value);
} events[] = {
    {"downloadStarted", ofVersion<Event::DownloadStarted>},
    {"expectedLength", ofBytes<Event::ExpectedLength>},
    {"received", ofBytes<Event::Received>},
    {"unpacking", ofVersion<Event::Unpacking>},
    {"gateWaiting", ofVersion<Event::GateWaiting>},
    {"choseInstallOnQuit", ofVersion<Event::ChoseInstallOnQuit>},
    {"gateDoorSilent", plain<Event::GateDoorSilent>},
    {"handedToSparkle", plain<Event::HandedToSparkle>},
    {"found", plain<Event::Found>},
    {"sessionEnded", plain<Event::SessionEnded>},
    {"rebuilt", plain<Event::Rebuilt>},
};

/// `word` is NAME or NAME=VALUE.
Read read(const std::string& word) {
    const auto equals = word.find('=');
    const std::string name = word.substr(0, equals);
    const std::string value = equals == std::string::npos ? "" : word.substr(equals + 1);
    for (const auto& event : events) {
        if (event.name == name) return event.read(equals == std::string::npos ? nullptr : &value);
    }
    return std::unexpected("is no event of the row");
}

std::string json(const UpdateMenuLine::Bar& bar) {
    if (const auto* fill = std::get_if<RowProgresses::Fill>(&bar)) return fmt::format("{}", fill->value);
    return std::holds_alternative<RowProgresses::None>(bar) ? R"("none")" : R"("indeterminate")";
}

}  // namespace

Outcome row(const Arguments& arguments) {
    std::optional<UpdateMenuLine::State> state;
    for (const std::string& word : arguments.words) {
        const auto event = read(word);
        if (!event) return {.status = Outcome::wrongUsage, .errors = word + " " + event.error()};
        state = UpdateMenuLine::next(state, *event);
    }
    const auto line = UpdateMenuLine::line(state);
    if (!line) return {.output = arguments.json ? "null\n" : ""};
    if (!arguments.json) return {.output = line->title + "\n"};
    const auto title = Encoder::encode(line->title);
    if (!title) return {.status = Outcome::failed, .errors = "the title is no UTF-8, so JSON has no form for it"};
    return {.output = fmt::format(R"({{"title":{},"bar":{},"click":"{}"}})"
                                  "\n",
                                  asText(*title), json(line->bar),
                                  line->click == UpdateMenuLine::Click::installNow ? "installNow" : "none")};
}

}  // namespace larkmoor::update
