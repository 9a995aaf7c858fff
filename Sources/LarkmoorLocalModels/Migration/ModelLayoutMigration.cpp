#include "LarkmoorLocalModels/Migration/ModelLayoutMigration.h"

namespace larkmoor::ModelLayoutMigration {

bool Outcome::movedAnything() const {
    if (const auto* pending = as<RuntimePending>()) return !pending->moved.empty();
    if (const auto* migrated = as<Migrated>()) return !migrated->moved.empty();
    return false;
}

}  // namespace larkmoor::ModelLayoutMigration
