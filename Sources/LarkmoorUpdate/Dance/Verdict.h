// How a migration of the store ended, and what the log and the user are told of it. Pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorUpdate/Ledger/PostponedUpdate.h"

namespace larkmoor {

struct MigrationVerdictCases {
    /// It did not happen, or was rolled back cleanly; the next launch tries again.
    struct PostponeAndRetry {
        PostponedUpdate::Record record;
        bool operator==(const PostponeAndRetry&) const = default;
    };
    /// This build must not try again.
    struct PostponeForever {
        PostponedUpdate::Record record;
        bool operator==(const PostponeForever&) const = default;
    };
    /// The store is on the new schema, or had nothing pending.
    struct Green {
        bool operator==(const Green&) const = default;
    };
};

class MigrationVerdict : public ClosedVariant<MigrationVerdictCases, MigrationVerdictCases::PostponeAndRetry,
                                              MigrationVerdictCases::PostponeForever, MigrationVerdictCases::Green> {
  public:
    using ClosedVariant::ClosedVariant;
};

/// One run of the migration.
struct MigrationRun {
    MigrationVerdict verdict;
    std::optional<Int> pending{};              ///< steps; nothing if no plan was read
    bool serving = false;                      ///< whether the daemon answered at the end
    std::optional<std::string> restoreLine{};  ///< what a recovery restored
    std::optional<Int> planMs{};               ///< wall time of the plan, in milliseconds

    bool operator==(const MigrationRun&) const = default;
};

namespace MigrationWords {

/// The answer to a click for which there was no run.
inline constexpr std::string_view notNow =
    "Larkmoor couldn't update its data just now. It will try again the next time it opens.";
/// Said as well wherever a build's migration is postponed for good.
inline constexpr std::string_view postponedForGood = "Larkmoor couldn't update its data on this Mac. Tell RK.";

/// The one line that a run leaves in the log.
std::string launchLine(std::string_view build, std::optional<Int> pending, std::optional<Int> planMs,
                       std::string_view outcome);
std::string launchLine(std::string_view build, std::optional<Int> pending, std::optional<Int> planMs,
                       const MigrationVerdict& verdict);

/// What the click on "Migrate now" is answered.
std::string answer(const MigrationVerdict& verdict, std::optional<Int> pending);

}  // namespace MigrationWords

/// Whether a migration is still owed after this verdict.
bool owed(const MigrationVerdict& after);

}  // namespace larkmoor
