// Whether a menu counts as open, from what hosts say of it. Some tell of the opening and not of the closing, some of
// neither. Pure: the clock is a parameter.
#pragma once

#include <chrono>
#include <optional>

namespace larkmoor {

class MenuPresence {
  public:
    using Time = std::chrono::steady_clock::time_point;

    /// Without a word from a host for this long, the menu counts as closed.
    static constexpr std::chrono::seconds patience{20};
    /// A host that asks again after this long opened the menu once more, and kept the closing to itself.
    static constexpr std::chrono::seconds sameOpening{1};

    enum class Step {
        nothing,
        opened,
        closed,
        openedAgain,  ///< closed, then opened
    };

    Step aboutToShow(Time now);
    Step opened(Time now);
    /// The host's word, or a click: both end the opening.
    Step closed();
    /// Anything else that a host said of a row.
    void heard(Time now);
    /// Time went by.
    Step waited(Time now);

    bool isOpen() const { return opening_.has_value(); }
    /// When `waited` closes the menu unless a host speaks; nothing while it is closed.
    std::optional<Time> deadline() const;

  private:
    struct Opening {
        Time began;
        Time lastWord;
    };
    std::optional<Opening> opening_;
};

}  // namespace larkmoor
