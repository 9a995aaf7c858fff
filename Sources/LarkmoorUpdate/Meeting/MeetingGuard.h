// The decisions of the install gate: whether a reading of the meeting state allows a swap, how long to wait after a
// call, and when the wait as a whole gives up. Pure.
#pragma once

#include <chrono>
#include <optional>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorUpdate/Meeting/MeetingReading.h"

namespace larkmoor {

/// What one hold of an update has seen of calls.
struct MeetingDeferral {
    using Instant = std::chrono::steady_clock::time_point;

    bool sawLive = false;
    std::optional<Instant> clearedAt{};  ///< of the first clear reading after a live one

    bool operator==(const MeetingDeferral&) const = default;
};

struct MeetingVerdictCases {
    struct Wait {
        int seconds = 0;
        bool operator==(const Wait&) const = default;
    };
    struct Install {
        bool operator==(const Install&) const = default;
    };
};

namespace MeetingGuard {

using Verdict = ClosedVariant<MeetingVerdictCases, MeetingVerdictCases::Wait, MeetingVerdictCases::Install>;

/// A call that has just ended is often followed by the next.
inline constexpr int graceSeconds = 120;
inline constexpr std::chrono::seconds grace{graceSeconds};

/// Updates `deferral`, which starts anew after `Install`. `now` never goes back.
Verdict decide(MeetingReading reading, MeetingDeferral& deferral, MeetingDeferral::Instant now);

}  // namespace MeetingGuard

struct DeferralTerminationCases {
    struct HoldForSilence {
        int poll = 0;
        int of = 0;
        bool operator==(const HoldForSilence&) const = default;
    };
    struct GiveUp {
        std::chrono::steady_clock::duration heldFor{};
        bool operator==(const GiveUp&) const = default;
    };
    struct Proceed {
        bool operator==(const Proceed&) const = default;
    };
};

/// When a wait ends whatever the reading says.
namespace DeferralTermination {

using Duration = std::chrono::steady_clock::duration;
using Verdict = ClosedVariant<DeferralTerminationCases, DeferralTerminationCases::HoldForSilence,
                              DeferralTerminationCases::GiveUp, DeferralTerminationCases::Proceed>;

/// The cap wins over a live call and over a daemon that does not answer. `silentPolls` are in a row, this one included.
Verdict decide(bool doorAnswered, int silentPolls, std::optional<Duration> heldFor, Duration cap,
               int silentPollsBeforeHealing);

}  // namespace DeferralTermination

}  // namespace larkmoor
