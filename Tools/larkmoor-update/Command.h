// The verbs of larkmoor-update: each is one function from its arguments to what the tool prints and returns.
#pragma once

#include <string>

#include "Verbs.h"

namespace larkmoor::update {

struct Arguments : VerbArguments {
    // Of a pick.
    std::string build{};   ///< of the application that looks for an update
    std::string system{};  ///< the system's version
    std::string base{};    ///< the feed's address; without it relative addresses have no meaning
    // Of an archive, both in base64.
    std::string key{}, signature{};
};

/// How two versions stand to each other.
Outcome compare(const Arguments& arguments);
/// Which item of a feed would be offered.
Outcome pick(const Arguments& arguments);
/// The menu's row after a list of events.
Outcome row(const Arguments& arguments);
/// Whether a backup could be put back; its stated size may be left out.
Outcome inspect(const Arguments& arguments);
/// Whose latch stands beside a store.
Outcome latch(const Arguments& arguments);
/// The records of a store folder's postponed builds.
Outcome ledger(const Arguments& arguments);
/// How many steps are pending by a Migrator's output.
Outcome plan(const Arguments& arguments);
/// The backup that an apply log vouches for.
Outcome vouch(const Arguments& arguments);
/// Whether an archive has the signature that a feed tells of it.
Outcome verify(const Arguments& arguments);

}  // namespace larkmoor::update
