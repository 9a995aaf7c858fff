// The menu's row for an update under way: a state machine fed by the updater's driver and the install gate, and what is
// drawn of its state. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorKit/Menu/MenuLine.h"

namespace larkmoor {

struct UpdateMenuLineStateCases {
    struct Downloading {
        std::string version;
        std::uint64_t received = 0;               ///< bytes
        std::optional<std::uint64_t> expected{};  ///< bytes
        bool operator==(const Downloading&) const = default;
    };
    struct Unpacking {
        std::string version;
        bool operator==(const Unpacking&) const = default;
    };
    struct AfterCall {
        std::string version;
        bool operator==(const AfterCall&) const = default;
    };
    struct OnQuit {
        std::string version;
        bool operator==(const OnQuit&) const = default;
    };
};

struct UpdateMenuLineEventCases {
    struct DownloadStarted {
        std::string version;
    };
    struct ExpectedLength {
        std::uint64_t bytes = 0;
    };
    struct Received {
        std::uint64_t bytes = 0;  ///< new ones, not a total
    };
    struct Unpacking {
        std::string version;
    };
    struct GateWaiting {
        std::string version;
    };
    struct ChoseInstallOnQuit {
        std::string version;
    };
    struct GateDoorSilent {};
    struct HandedToSparkle {};
    struct Found {};
    struct SessionEnded {};
    struct Rebuilt {};
};

namespace UpdateMenuLine {

using StateCases = UpdateMenuLineStateCases;
/// The absence of a state means that no row is shown.
class State : public ClosedVariant<StateCases, StateCases::Downloading, StateCases::Unpacking, StateCases::AfterCall,
                                   StateCases::OnQuit> {
  public:
    using ClosedVariant::ClosedVariant;
};

using EventCases = UpdateMenuLineEventCases;
class Event
    : public ClosedVariant<EventCases, EventCases::DownloadStarted, EventCases::ExpectedLength, EventCases::Received,
                           EventCases::Unpacking, EventCases::GateWaiting, EventCases::ChoseInstallOnQuit,
                           EventCases::GateDoorSilent, EventCases::HandedToSparkle, EventCases::Found,
                           EventCases::SessionEnded, EventCases::Rebuilt> {
  public:
    using ClosedVariant::ClosedVariant;
};

using Bar = MenuLine::Bar;
using Click = MenuLine::Click;
using Line = MenuLine;

std::optional<State> next(std::optional<State> state, const Event& event);
/// Nothing without a state, and for a blank version.
std::optional<Line> line(const std::optional<State>& state);

/// The user default that `preview` takes.
inline constexpr const char* previewKey = "UpdateRowPreview";
/// A row to look at without an update, on builds that are not for the public.
std::optional<State> preview(std::string_view defaultsValue, bool isProduction);

}  // namespace UpdateMenuLine

}  // namespace larkmoor
