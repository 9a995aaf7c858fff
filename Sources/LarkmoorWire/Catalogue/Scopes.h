// What belongs to a scope, the path under which memories are filed: its standing rules, its board, its mods.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Cards.h"

namespace larkmoor {

struct RulesWalk {
    LARKMOOR_RECORD(Level, (std::string, path), (std::vector<std::string>, rules))
    LARKMOOR_FIELDS(RulesWalk, (std::string, path), (std::vector<Level>, levels), (Int, overflow),
                    (std::optional<bool>, announce), (std::optional<std::string>, note),
                    (std::optional<std::string>, onboarding))
};

LARKMOOR_RECORD(ScopeBoardEntry, (std::string, path), (std::vector<std::string>, folders),
                (std::vector<KindCount>, kinds))

LARKMOOR_RECORD(ModBehaviorEntry, (std::string, name), (std::string, trigger), (bool, wake),
                (std::optional<std::vector<std::string>>, tools), (std::optional<Int>, maxMutations),
                (std::optional<std::string>, laneState))

LARKMOOR_RECORD(ModBoardEntry, (std::string, slug), (std::string, scope), (Int, rev), (std::string, hint),
                (std::vector<std::string>, files), (std::vector<ModBehaviorEntry>, behaviors))

LARKMOOR_RECORD(ModRejectionEntry, (std::string, slug), (std::string, scope), (std::optional<std::string>, behavior),
                (std::string, reason))

LARKMOOR_RECORD(ModRunEntry, (std::string, mod), (std::string, behavior), (std::string, scope), (std::string, trigger),
                (double, startedAt), (double, endedAt), (std::optional<Int>, exit), (std::optional<Int>, turns),
                (std::string, outcome), (std::optional<std::string>, outputPath), (std::optional<std::string>, report),
                (std::optional<Int>, mutations))

LARKMOOR_RECORD(ModBoardAnswer, (std::vector<ModBoardEntry>, mods), (std::vector<ModRejectionEntry>, rejected),
                (std::vector<ModRunEntry>, runs))

}  // namespace larkmoor
