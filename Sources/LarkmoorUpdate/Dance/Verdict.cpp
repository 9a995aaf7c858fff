#include "LarkmoorUpdate/Dance/Verdict.h"

#include <fmt/format.h>

namespace larkmoor {

namespace {

std::string orDash(std::optional<Int> number) { return number ? fmt::to_string(*number) : "-"; }

std::string outcome(std::string_view build, std::optional<Int> pending, const MigrationVerdict& verdict) {
    using Verdict = MigrationVerdict;
    return verdict.visit(
        [](const Verdict::PostponeAndRetry& retry) { return "retriable: " + retry.record.because; },
        [&](const Verdict::PostponeForever&) { return fmt::format("red, postponed for build {}", build); },
        [&](const Verdict::Green&) -> std::string {
            return pending.value_or(0) > 0 ? fmt::format("applied {} steps", *pending) : "nothing pending";
        });
}

}  // namespace

namespace MigrationWords {

std::string launchLine(std::string_view build, std::optional<Int> pending, std::optional<Int> planMs,
                       std::string_view outcome) {
    return fmt::format("migrations at launch · build {} · pending {} · plan {} ms · {}", build, orDash(pending),
                       orDash(planMs), outcome);
}

std::string launchLine(std::string_view build, std::optional<Int> pending, std::optional<Int> planMs,
                       const MigrationVerdict& verdict) {
    return launchLine(build, pending, planMs, std::string_view{outcome(build, pending, verdict)});
}

std::string answer(const MigrationVerdict& verdict, std::optional<Int> pending) {
    return std::string{verdict.visit([](const MigrationVerdict::PostponeAndRetry&) { return notNow; },
                                     [](const MigrationVerdict::PostponeForever&) { return postponedForGood; },
                                     [&](const MigrationVerdict::Green&) -> std::string_view {
                                         return pending.value_or(0) > 0 ? "Larkmoor updated its data."
                                                                        : "Larkmoor's data is up to date.";
                                     })};
}

}  // namespace MigrationWords

bool owed(const MigrationVerdict& after) { return !after.is<MigrationVerdict::Green>(); }

}  // namespace larkmoor
