// What a recall gives back: cards, and what a card opens to.
#pragma once

#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Filters.h"
#include "LarkmoorWire/Catalogue/Sessions.h"

namespace larkmoor {

LARKMOOR_RECORD(MomentBody, (std::string, text), (Int, hidden), (std::string, source), (bool, cleaned),
                (std::optional<std::string>, sessionArtifact), (std::optional<SessionLink>, startedBy),
                (std::optional<SessionLink>, mainChat))

LARKMOOR_RECORD(Card, (std::string, kind), (std::string, id), (std::optional<std::string>, state),
                (std::optional<std::string>, snippet), (std::string, why), (std::optional<Int>, src),
                (std::optional<std::string>, when), (std::optional<std::string>, chapter),
                (std::optional<std::string>, excerpt), (std::optional<std::string>, locator),
                (std::optional<std::string>, filed), (std::optional<std::string>, memoryKind),
                (std::optional<std::vector<FilterPair>>, filters), (std::optional<std::string>, title),
                (std::optional<SessionBody>, session), (std::optional<MomentBody>, body),
                (std::optional<std::string>, subagent))

LARKMOOR_RECORD(PrimeCard, (std::string, when), (std::string, whenRelative), (std::string, chapter),
                (std::string, gist), (std::string, evidence), (std::string, grabId))

}  // namespace larkmoor
