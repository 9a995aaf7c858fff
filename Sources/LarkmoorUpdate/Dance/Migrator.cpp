#include "LarkmoorUpdate/Dance/Migrator.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <csignal>

#include "LarkmoorBase/JSON/Decoder.h"

namespace larkmoor {

std::string InstalledMigrator::Refusal::description() const {
    return visit(
        [](const RefusalCases::NoMigrator&) {
            return std::string{"this app carries no runnable Contents/MacOS/larkmoor-migrator"};
        },
        [](const RefusalCases::SignatureDidNotVerify&) {
            return std::string{
                "the installed Migrator does not satisfy its own signature (codesign --verify --strict said no)"};
        },
        [](const RefusalCases::Unsigned&) {
            return std::string{"the installed Migrator's signature names nobody at all — no certificate and no team"};
        },
        [](const RefusalCases::OurOwnSignature&) {
            return std::string{
                "this app's own signature could not be read, so the installed Migrator cannot be proven against it"};
        },
        [](const RefusalCases::WrongSigner& signers) {
            return fmt::format("the installed Migrator is signed by {} and this app is {}", signers.saw,
                               signers.wanted);
        });
}

std::optional<std::string> Signer::read(std::string_view requirement) {
    for (const std::string_view clause : {certificateClause, teamClause}) {
        const auto start = requirement.find(clause);
        if (start == requirement.npos) continue;
        const auto quote = requirement.find('"', start + clause.size());
        if (quote != requirement.npos) return std::string{requirement.substr(start, quote + 1 - start)};
    }
    return std::nullopt;
}

namespace {

/// Illegal instruction, trace trap, abort, floating point, bus and segmentation fault, by the numbers that the reports
/// of every system of the family use.
constexpr std::array<std::int32_t, 6> crashSignals{4, 5, 6, 8, 10, 11};
/// What a shell adds to the number of the signal that ended its command.
constexpr std::int32_t shellOffset = 128;

/// Takes the line behind the last line feed off, which is empty where the output ends in one.
std::string_view takeLastLine(std::string_view& output) {
    const auto feed = output.rfind('\n');
    const std::string_view line = output.substr(feed == output.npos ? 0 : feed + 1);
    output = output.substr(0, feed == output.npos ? 0 : feed);
    return line;
}

bool isCrash(std::int32_t exit) { return std::ranges::find(crashSignals, exit) != crashSignals.end(); }

}  // namespace

bool MigratorExit::isOwn(std::int32_t exit) { return exit >= 0 && exit <= 2; }

bool MigratorExit::isWatchdogKill(std::int32_t exit) { return exit == SIGKILL || exit == shellOffset + SIGKILL; }

bool MigratorExit::isAnswered(std::int32_t exit) { return isOwn(exit) || isCrash(exit) || isCrash(exit - shellOffset); }

std::string_view MigratorExit::planPhrase(std::int32_t exit) {
    if (!isOwn(exit)) return "crashed while planning against this store";
    return exit == 0 ? "answered a plan this app could not read" : "refused to plan against this store";
}

MigratorExit::Red MigratorExit::applyRed(std::int32_t status, std::int64_t steps) {
    if (isWatchdogKill(status)) {
        return {fmt::format("this app's own watchdog killed the staged Migrator when the apply budget ran out — it was "
                            "still working, so nothing it was doing judged this store (exit {})",
                            status),
                true};
    }
    return {fmt::format("a migration step failed on {} pending step(s) (exit {})", steps, status), false};
}

MigratorExit::Red MigratorExit::floorRed(std::int32_t status) {
    if (isWatchdogKill(status)) {
        return {fmt::format("this app's own watchdog killed the staged Migrator when the floor budget ran out — it was "
                            "still working, so nothing it was doing judged this store (exit {})",
                            status),
                true};
    }
    if (status == neverRan) {
        return {"the standing floor's binary never ran, so nothing judged this store (exit -1)", true};
    }
    return {fmt::format("the standing floor was not green after the migration (exit {})", status), false};
}

MigratorExit::PlanExitLines MigratorExit::planExitLines(std::string_view version, std::int32_t status,
                                                        std::string_view output) {
    const bool hasTwo = output.contains('\n');
    const std::string_view last = takeLastLine(output), before = takeLastLine(output);
    return {
        .relayed = fmt::format("{}: the plan exited {} (its output is in the Mac's system log only)", version, status),
        .systemOnly = fmt::format("{}: the plan exited {} — {}{}{}", version, status, before, hasTwo ? " " : "", last),
    };
}

std::int64_t PlanReceipt::pendingSteps() const {
    return std::ranges::count(steps, Disposition::pending, &Step::disposition);
}

std::optional<PlanReceipt> PlanReceipt::read(std::string_view line) {
    auto receipt = Decoder::decode<PlanReceipt>(asBytes(line));
    return receipt ? std::optional{*std::move(receipt)} : std::nullopt;
}

PlanOutcome PlanOutcome::ofOutput(std::string_view output) {
    std::string_view line;
    do line = takeLastLine(output);
    while (!line.starts_with('{') && !output.empty());
    const auto receipt = PlanReceipt::read(line.starts_with('{') ? line : std::string_view{});
    if (!receipt) return NoPlan{"the last line of its --json plan did not decode", 0};
    const std::int64_t steps = receipt->pendingSteps();
    if (steps > 0) return Pending{steps};
    return NothingPending{};
}

std::optional<InstalledMigrator::Refusal> InstalledMigrator::refusal(const Evidence& evidence) {
    if (!evidence.isExecutable) return RefusalCases::NoMigrator{};
    if (!evidence.verifies) return RefusalCases::SignatureDidNotVerify{};
    if (!evidence.ourSigner) return RefusalCases::OurOwnSignature{};
    if (!evidence.itsSigner) return RefusalCases::Unsigned{};
    if (*evidence.itsSigner != *evidence.ourSigner) {
        return RefusalCases::WrongSigner{.saw = *evidence.itsSigner, .wanted = *evidence.ourSigner};
    }
    return std::nullopt;
}

}  // namespace larkmoor
