// The move of the models' scattered folders of older builds under one root.
#pragma once

#include <string>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"

namespace larkmoor::ModelLayoutMigration {

struct OutcomeCases {
    struct MoveFailed {
        std::string why;
        bool operator==(const MoveFailed&) const = default;
    };
    /// The naming runtime follows once its store is ours.
    struct RuntimePending {
        std::vector<std::string> moved;
        bool operator==(const RuntimePending&) const = default;
    };
    struct Migrated {
        std::vector<std::string> moved;
        bool operator==(const Migrated&) const = default;
    };
    struct NotNeeded {
        bool operator==(const NotNeeded&) const = default;
    };
    struct RolledBack {
        bool operator==(const RolledBack&) const = default;
    };
};

class Outcome : public ClosedVariant<OutcomeCases, OutcomeCases::MoveFailed, OutcomeCases::RuntimePending,
                                     OutcomeCases::Migrated, OutcomeCases::NotNeeded, OutcomeCases::RolledBack> {
  public:
    using ClosedVariant::ClosedVariant;

    /// Whether folders were moved, so that the receipts name other paths now.
    bool movedAnything() const;
};

}  // namespace larkmoor::ModelLayoutMigration
