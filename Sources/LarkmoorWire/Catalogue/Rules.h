// What may not be recorded, and the standing rules of a folder.
#pragma once

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Record.h"
#include "LarkmoorWire/Catalogue/Filters.h"

namespace larkmoor {

BOOST_DEFINE_ENUM_CLASS(RuleKind, app, site, word, phrase, topic)

BOOST_DEFINE_ENUM_CLASS(RuleTier, usageOnly, never)

BOOST_DEFINE_ENUM_CLASS(RuleOrigin, shipped, user)

LARKMOOR_RECORD(Rule, (std::string, id), (RuleKind, kind), (std::string, value), (RuleTier, tier), (RuleOrigin, origin),
                (bool, enabled))

struct RulesWalk {
    LARKMOOR_RECORD(Level, (std::string, path), (std::vector<std::string>, rules))
    LARKMOOR_FIELDS(RulesWalk, (std::string, path), (std::vector<Level>, levels), (Int, overflow),
                    (std::optional<bool>, announce), (std::optional<std::string>, note),
                    (std::optional<std::string>, onboarding))
};

LARKMOOR_RECORD(ScopeBoardEntry, (std::string, path), (std::vector<std::string>, folders),
                (std::vector<KindCount>, kinds))

}  // namespace larkmoor
