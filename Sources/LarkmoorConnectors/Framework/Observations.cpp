#include "LarkmoorConnectors/Framework/Observations.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

#include "LarkmoorBase/Files.h"

namespace larkmoor {

namespace Observations {

std::vector<Observation> folded(const std::vector<Observation>& list) {
    std::map<std::pair<std::string_view, std::string_view>, std::size_t> counts;
    std::vector<Observation> distinct;
    for (const Observation& observation : list) {
        if (++counts[{observation.subject, observation.text}] == 1) distinct.push_back(observation);
    }
    for (Observation& observation : distinct) {
        const std::size_t count = counts.at({observation.subject, observation.text});
        if (count > 1) observation.text += fmt::format(" ({} entries)", count);
    }
    return distinct;
}

std::vector<Observation> of(const BlockFinding& finding, const BlockFile& file, const Block& block) {
    std::vector<Observation> said;
    const auto say = [&](std::string text) { said.push_back({file.path, std::move(text)}); };
    finding.visit(
        [&](const BlockFinding::Unreadable& unreadable) {
            say(fmt::format("this file did not read as {} — {}", FileDocuments::name(file.format), unreadable.reason));
        },
        [&](const BlockFinding::Drifted& drifted) {
            for (const std::string& reason : drifted.reasons) {
                say(block.sentence.empty() ? fmt::format("the Larkmoor {} here — {}", block.noun, reason) : reason);
            }
        },
        [&](const BlockFinding::Foreign& foreign) {
            for (const std::string& reason : foreign.reasons) say(reason);
        },
        [&](const BlockFinding::FileAbsent&) { say("there is no file here"); },
        [&](const BlockFinding::Absent&) {
            if (block.sentence.empty()) say(fmt::format("this file holds no Larkmoor {}", block.noun));
        },
        [&](const BlockFinding::Connected&) {
            say(block.sentence.empty() ? fmt::format("the Larkmoor {} here runs {}", block.noun, block.command)
                                       : std::string{block.sentence});
        });
    return said;
}

}  // namespace Observations

namespace Drift {

namespace {

/// A command may name both kinds of development build, and then says so twice.
std::vector<std::string> whereElse(const std::string& found) {
    std::vector<std::string> reasons;
    if (found.contains("/fenwright/larkmoor")) {
        reasons.push_back("the command points into a source checkout: " + found);
    }
    for (const char* build : {"dist-dev", "dist-prod"}) {
        if (found.contains(build)) reasons.push_back("the command points at a development build: " + found);
    }
    if (reasons.empty()) reasons.push_back("the command is not the one this build writes: " + found);
    return reasons;
}

}  // namespace

std::vector<std::string> reasons(const std::string& found, const std::string& expected, const std::string& binary) {
    std::vector<std::string> reasons;
    if (found != expected) reasons = whereElse(found);
    if (!Files::exists(binary)) reasons.push_back("the file the command names is not on disk: " + binary);
    return reasons;
}

}  // namespace Drift

namespace ScanJoin {

ConnectorState state(std::span<const BlockFinding> findings) {
    const auto isConnected = [](const BlockFinding& finding) { return finding.is<BlockFinding::Connected>(); };
    const auto isOurs = [&](const BlockFinding& finding) {
        return isConnected(finding) || finding.is<BlockFinding::Drifted>();
    };
    if (std::ranges::all_of(findings, isConnected)) return ConnectorState::connected;
    return std::ranges::any_of(findings, isOurs) ? ConnectorState::drifted : ConnectorState::found;
}

}  // namespace ScanJoin

}  // namespace larkmoor
