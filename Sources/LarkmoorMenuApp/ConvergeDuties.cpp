#include "LarkmoorMenuApp/ConvergeDuties.h"

#include <fmt/format.h>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/RawText.h"
#include "LarkmoorConnectors/ClaudeChat/ClaudeChatRetirement.h"

namespace larkmoor::ConvergeDuties {

namespace {

constexpr auto profile = Connectors::Profile::production;

void log(const Seams& seams, const std::vector<Converge::Step>& steps) {
    for (const Converge::Step& step : steps) {
        if (const auto said = line(step)) seams.log(*said);
    }
}

}  // namespace

MenuDuties::Connectors make(const Seams& seams) {
    return {
        .converge = [seams] { return convergeOwnWiring(seams); },
        .retiredBundleID = std::string{ClaudeChatRetirement::claudeBundleID},
        .retire = [seams] { return retireWhenClaudeQuits(seams); },
    };
}

Task<void> convergeOwnWiring(Seams seams) {
    if (!seams.bundle) co_return;
    const auto steps = co_await BlockingWork::run([seams] {
        return Converge::run(seams.home, *seams.bundle, seams.applications, profile,
                             [&seams] { return ClaudeChatRetirement::isClaudeAmong(seams.runningApplications()); });
    });
    log(seams, steps);
}

Task<void> retireWhenClaudeQuits(Seams seams) {
    if (!seams.bundle) co_return;
    const auto steps = co_await BlockingWork::run([seams] {
        return Converge::retire(seams.home, *seams.bundle, profile,
                                [&seams] { return ClaudeChatRetirement::isClaudeAmong(seams.runningApplications()); });
    });
    log(seams, steps);
}

std::optional<std::string> line(const Converge::Step& step) {
    if (step.outcome.result == ConnectorOutcome::Result::unchanged) return std::nullopt;
    std::string details;
    for (const auto& [subject, text] : step.outcome.observations) {
        details += fmt::format("{}{}: {}", details.empty() ? "" : "; ", subject, text);
    }
    return fmt::format("[larkmoor-menu] converge (m:1474, m:1613): {} → {}: {}", step.name,
                       rawText(step.outcome.result), details);
}

}  // namespace larkmoor::ConvergeDuties
