#include "LarkmoorUpdate/Row/UpdateMenuLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>

#include "LarkmoorBase/Text.h"

namespace larkmoor::UpdateMenuLine {

namespace {

constexpr auto maximum = std::numeric_limits<std::uint64_t>::max();

std::uint64_t percentOf(std::uint64_t received, std::uint64_t expected) {
    if (received > maximum / 100) return 100;
    return std::min<std::uint64_t>(received * 100 / expected, 100);
}

std::optional<Line> lineOf(const State::Downloading& state) {
    if (state.expected.value_or(0) == 0) {
        return Line{.title = fmt::format("Downloading {}…", state.version), .bar = RowProgresses::Indeterminate{}};
    }
    const std::uint64_t percent = percentOf(state.received, *state.expected);
    return Line{.title = fmt::format("Downloading {}, {}%", state.version, percent),
                .bar = RowProgresses::Fill{static_cast<double>(percent) / 100}};
}

}  // namespace

std::optional<State> next(std::optional<State> state, const Event& event) {
    using Next = std::optional<State>;
    const auto* held = state ? state->as<State::Downloading>() : nullptr;
    const Next onQuit = state && state->is<State::OnQuit>() ? state : std::nullopt;
    const Next staged = state && state->is<State::AfterCall>() ? state : onQuit;
    const auto downloading = [&](auto change) -> Next {
        if (held == nullptr) return state;
        State::Downloading changed = *held;
        change(changed);
        return changed;
    };
    return event.visit(
        [](const Event::DownloadStarted& started) -> Next { return State::Downloading{started.version}; },
        [&](const Event::ExpectedLength& expected) {
            return downloading([&](auto& download) { download.expected = expected.bytes; });
        },
        [&](const Event::Received& received) {
            return downloading(
                [&](auto& download) { download.received += std::min(received.bytes, maximum - download.received); });
        },
        [](const Event::Unpacking& unpacking) -> Next { return State::Unpacking{unpacking.version}; },
        [](const Event::GateWaiting& waiting) -> Next { return State::AfterCall{waiting.version}; },
        [](const Event::ChoseInstallOnQuit& chosen) -> Next { return State::OnQuit{chosen.version}; },
        // Nothing is known about a call any more.
        [&](const Event::GateDoorSilent&) { return onQuit; },
        [](const Event::HandedToSparkle&) -> Next { return std::nullopt; },
        // A new session takes the place of an update that waits for the quit.
        [&](const Event::Found&) { return onQuit ? std::nullopt : state; },
        [&](const Event::SessionEnded&) { return staged; }, [&](const Event::Rebuilt&) { return onQuit; });
}

std::optional<Line> line(const std::optional<State>& state) {
    if (!state) return std::nullopt;
    const bool isBlank = state->visit([](const auto& any) { return trimmed(any.version).empty(); });
    if (isBlank) return std::nullopt;
    using Drawn = std::optional<Line>;
    return state->visit([](const State::Downloading& downloading) { return lineOf(downloading); },
                        [](const State::Unpacking& unpacking) -> Drawn {
                            return Line{.title = fmt::format("Unpacking {}…", unpacking.version)};
                        },
                        [](const State::AfterCall& waiting) -> Drawn {
                            return Line{.title = fmt::format("{} ready, installs after your call", waiting.version),
                                        .click = Click::installNow};
                        },
                        [](const State::OnQuit& waiting) -> Drawn {
                            return Line{.title = fmt::format("{} ready, installs when you quit", waiting.version),
                                        .click = Click::installNow};
                        });
}

std::optional<State> preview(std::string_view defaultsValue, bool isProduction) {
    const std::pair<std::string_view, State> rows[] = {
        {"downloading", State::Downloading{"9.9.9", 40, 100}},
        {"downloading-silent", State::Downloading{"9.9.9"}},
        {"unpacking", State::Unpacking{"9.9.9"}},
        {"after-call", State::AfterCall{"9.9.9"}},
        {"on-quit", State::OnQuit{"9.9.9"}},
    };
    if (isProduction) return std::nullopt;
    for (const auto& [value, state] : rows) {
        if (value == defaultsValue) return state;
    }
    return std::nullopt;
}

}  // namespace larkmoor::UpdateMenuLine
