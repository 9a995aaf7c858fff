#include "LarkmoorUpdate/Meeting/MeetingGuard.h"

namespace larkmoor {

MeetingGuard::Verdict MeetingGuard::decide(MeetingReading reading, MeetingDeferral& deferral,
                                           MeetingDeferral::Instant now) {
    if (reading == MeetingReading::live) {
        deferral = {.sawLive = true};
        return Verdict::Wait{graceSeconds};
    }
    if (deferral.sawLive) {
        if (!deferral.clearedAt) deferral.clearedAt = now;
        const auto left = std::chrono::ceil<std::chrono::seconds>(*deferral.clearedAt + grace - now);
        if (left.count() > 0) return Verdict::Wait{static_cast<int>(left.count())};
    }
    deferral = {};
    return Verdict::Install{};
}

DeferralTermination::Verdict DeferralTermination::decide(bool doorAnswered, int silentPolls,
                                                         std::optional<Duration> heldFor, Duration cap,
                                                         int silentPollsBeforeHealing) {
    if (heldFor && *heldFor >= cap) return Verdict::GiveUp{*heldFor};
    if (doorAnswered || silentPolls >= silentPollsBeforeHealing) return Verdict::Proceed{};
    return Verdict::HoldForSilence{silentPolls, silentPollsBeforeHealing};
}

}  // namespace larkmoor
