#include "LarkmoorConnectors/Framework/Observations.h"

#include <fmt/format.h>

#include <algorithm>

namespace larkmoor::Observations {

std::vector<Observation> folded(const std::vector<Observation>& list) {
    std::vector<Observation> distinct;
    for (const Observation& observation : list) {
        if (std::ranges::find(distinct, observation) == distinct.end()) distinct.push_back(observation);
    }
    for (Observation& observation : distinct) {
        const auto count = std::ranges::count(list, observation);
        if (count > 1) observation.text += fmt::format(" ({} entries)", count);
    }
    return distinct;
}

std::vector<Observation> of(const BlockFinding& finding, const Place& place) {
    std::vector<Observation> said;
    const auto say = [&](std::string text) { said.push_back({place.file, std::move(text)}); };
    finding.visit(
        [&](const BlockFinding::Unreadable& unreadable) {
            say(fmt::format("this file did not read as {} — {}", place.format, unreadable.reason));
        },
        [&](const BlockFinding::Drifted& drifted) {
            for (const std::string& reason : drifted.reasons) {
                say(fmt::format("the Larkmoor {} here — {}", place.noun, reason));
            }
        },
        [&](const BlockFinding::Foreign& foreign) {
            for (const std::string& reason : foreign.reasons) say(reason);
        },
        [&](const BlockFinding::FileAbsent&) { say("there is no file here"); },
        [&](const BlockFinding::Absent&) { say(fmt::format("this file holds no Larkmoor {}", place.noun)); },
        [&](const BlockFinding::Connected&) {
            say(fmt::format("the Larkmoor {} here runs {}", place.noun, place.command));
        });
    return said;
}

}  // namespace larkmoor::Observations
