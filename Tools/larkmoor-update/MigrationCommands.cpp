// The verbs on what a migration leaves beside a store.
#include <fmt/format.h>

#include "Command.h"
#include "JSONText.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorMenuApp/Update/PostponementLedger.h"
#include "LarkmoorMenuApp/Update/StoreRecovery.h"
#include "LarkmoorUpdate/Dance/Migrator.h"

namespace larkmoor::update {

namespace {

Outcome printed(std::string text) { return {.output = std::move(text) + "\n"}; }

}  // namespace

Outcome inspect(const Arguments& arguments) {
    if (arguments.words.empty() || arguments.words.size() > 2) {
        return {.status = Outcome::wrongUsage, .errors = "inspect wants BACKUP [SIZE]"};
    }
    const VouchedBackup backup{
        .path = arguments.words[0],
        .statedSize = arguments.words.size() > 1 ? std::optional{arguments.words[1]} : std::nullopt};
    const RestoreOutcome outcome = StoreRestore::inspect(backup);
    const auto* refused = outcome.as<RestoreOutcome::Refused>();
    const std::string words = refused ? refused->why : outcome.as<RestoreOutcome::Restored>()->detail;
    const std::string_view name = refused ? "refused" : "restored";
    if (!arguments.json) return printed(fmt::format("{}: {}", name, words));
    return printed(fmt::format(R"({{"outcome":"{}","words":{}}})", name, jsonText(words)));
}

Outcome latch(const Arguments& arguments) {
    const StandingLatch latch = StoreRecovery::standingLatch(arguments.words[0]);
    std::string_view state = "none";
    std::optional<Int> pid;
    if (const auto* held = latch.as<StandingLatch::HeldByLiveMigrator>()) {
        state = "live";
        pid = held->pid;
    } else if (const auto* stale = latch.as<StandingLatch::Stale>()) {
        state = "stale";
        pid = stale->pid;
    }
    if (!arguments.json) return printed(pid ? fmt::format("{} {}", state, *pid) : std::string{state});
    return printed(fmt::format(R"({{"state":"{}","pid":{}}})", state, jsonText(pid)));
}

Outcome ledger(const Arguments& arguments) {
    const auto records = PostponementLedger{arguments.words[0]}.onDiskRecords();
    if (arguments.json) return printed(jsonText(records));
    std::string text;
    for (const auto& record : records) {
        text += fmt::format("{} at {}: {}\n", record.version, record.at, record.because);
    }
    return {.output = std::move(text)};
}

Outcome plan(const Arguments& arguments) {
    const auto output = Files::read(arguments.words[0]);
    if (!output) return {.status = Outcome::failed, .errors = output.error().description()};
    const PlanOutcome outcome = PlanOutcome::ofOutput(asText(*output));
    if (outcome.is<PlanOutcome::NoPlan>()) return printed(arguments.json ? "null" : "no plan");
    const auto* pending = outcome.as<PlanOutcome::Pending>();
    const Int steps = pending ? pending->steps : 0;
    return printed(arguments.json ? fmt::format(R"({{"pending":{}}})", steps) : fmt::format("{} pending", steps));
}

Outcome vouch(const Arguments& arguments) {
    const std::string& log = arguments.words[0];
    if (!Files::exists(log)) return {.status = Outcome::failed, .errors = log + ": there is no such file"};
    const auto backup = VouchedBackup::read(StoreRecovery::tellingLines(log));
    if (!backup) return printed(arguments.json ? "null" : "no backup");
    const auto window = backup->bytes();
    const auto low = window ? std::optional<Int>{window->low} : std::nullopt;
    const auto high = window ? std::optional<Int>{window->high} : std::nullopt;
    if (!arguments.json) return printed(fmt::format("{} {}", backup->path, backup->statedSize.value_or("")));
    return printed(fmt::format(R"({{"path":{},"statedSize":{},"low":{},"high":{}}})", jsonText(backup->path),
                               jsonText(backup->statedSize), jsonText(low), jsonText(high)));
}

}  // namespace larkmoor::update
