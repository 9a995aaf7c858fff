// The constants of the updates' timing.
#pragma once

#include <chrono>

namespace larkmoor::UpdateCadence {

inline constexpr int shippedSeconds = 86400;                ///< the shipped interval between checks
inline constexpr int liveCheckEverySeconds = 86400;         ///< of the daily clock
inline constexpr int effectiveScheduledSeconds = 86400;     ///< told to the updater
inline constexpr int sparkleMinimumIntervalSeconds = 3600;  ///< the shortest that the updater accepts
inline constexpr int ladderTestSeconds = 60;
inline constexpr int testLaneEverySeconds = 60;

inline constexpr int guardPollEverySeconds = 15;          ///< of the install gate
inline constexpr int doorSilenceSeconds = 12;             ///< the bound on one question to the daemon
inline constexpr int silentPollsBeforeHealing = 4;        ///< in a row; after them a silent daemon records no call
inline constexpr int deferralReminderEverySeconds = 600;  ///< between two reminders in the log
inline constexpr int maxDeferralSeconds = 1800;           ///< the longest hold of one version

inline constexpr std::chrono::seconds doorSilence{doorSilenceSeconds};
inline constexpr std::chrono::seconds deferralReminder{deferralReminderEverySeconds};
inline constexpr std::chrono::seconds maxDeferral{maxDeferralSeconds};

}  // namespace larkmoor::UpdateCadence
