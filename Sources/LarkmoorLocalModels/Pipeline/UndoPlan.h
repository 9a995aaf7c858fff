// What a cancel takes away when passes were killed or ended before it: what each of them made, and nothing that has
// become the user's since.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorKit/Models/LocalModelsProgress.h"
#include "LarkmoorKit/Models/LocalModelsUndo.h"

namespace larkmoor::UndoPlan {

using Receipts = LocalModelsProgress::Receipts;

/// The claims with what a pass after them installed. Where both say something the claims stand, but for a pull: the
/// model, its store and the beginning are one fact, and the last pull's counts. The first inventory of a store is the
/// one that knew what was there before us. The speech model's folder is not taken over.
Receipts merged(Receipts claimed, const Receipts& installed);

/// What the passes up to this file's may have left on this machine.
Receipts claims(const LocalModelsProgress& progress);

/// The steps of what is installed and of what is claimed, each once, in the order of `LocalModelsUndo::plan`. Of the
/// claims only what is on the disk counts, and no store goes that holds a model of the user's by now, nor the models in
/// the runtime's folder of an older build, nor what else is behind a link to the runtime's folder. Where a pull into
/// another store was on its way into ours, ours goes, too. `support` is Application Support. Blocks as long as the disk
/// does.
std::vector<LocalModelsUndo::Step> of(const LocalModelsProgress& progress, const std::string& support);

/// Whether the models to be deleted are in our own store, of which our own host alone may be asked: where that does not
/// run, another of the user's may have its port, with models of its own.
bool asksOurHost(const LocalModelsProgress& progress);

}  // namespace larkmoor::UndoPlan
