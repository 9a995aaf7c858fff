// Whether a menu counts as open, derived from what hosts report: some report only the opening, some neither. Pure: the
// clock is a parameter.
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace larkmoor {

class MenuPresence {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// An open menu counts as closed after this long without an event from the host.
    static constexpr std::chrono::seconds timeout{20};
    /// An AboutToShow that comes later than this is another opening, by a host that did not report the closing.
    static constexpr std::chrono::seconds sameOpening{1};

    enum class Step {
        nothing,
        opened,
        closed,
        openedAgain,  ///< closed, then opened
    };

    Step aboutToShow(Time now);
    /// A dbusmenu event other than a click: the opening or closing of the whole menu, or a sign that it is still open.
    Step event(std::string_view name, bool ofWholeMenu, Time now);
    /// Reported by the host, or implied by a click.
    Step closed();
    /// Closes the menu if its deadline has passed.
    Step expire(Time now);

    bool isOpen() const { return opening_.has_value(); }
    /// When `expire` closes the menu unless an event comes first; nullopt while it is closed.
    std::optional<Time> deadline() const;

  private:
    Step opened(Time now);
    void keepAlive(Time now);

    struct Opening {
        Time began;
        Time lastEvent;
    };
    std::optional<Opening> opening_;
};

}  // namespace larkmoor
