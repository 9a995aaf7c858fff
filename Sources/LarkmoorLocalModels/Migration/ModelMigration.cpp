#include "LarkmoorLocalModels/Migration/ModelMigration.h"

#include "LarkmoorKit/Models/LocalModelsUndo.h"
#include "LarkmoorLocalModels/Runtime/HostPlist.h"

namespace larkmoor::ModelMigration {

Decision decide(const std::optional<std::string>& plistText) {
    if (!plistText) return Decision::fresh;
    return HostPlist::hostPlistLacksModelsDir(plistText) ? Decision::migrate : Decision::nothing;
}

bool mayDeleteOldModel(const std::optional<LocalModelsProgress::Receipts>& receipts) {
    return receipts && receipts->oldModelWasOurs.value_or(LocalModelsUndo::weInstalled(oldModel, *receipts));
}

}  // namespace larkmoor::ModelMigration
