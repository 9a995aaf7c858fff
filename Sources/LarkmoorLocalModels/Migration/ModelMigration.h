// The change of the naming model on a machine that was set up by an older build.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"

namespace larkmoor::ModelMigration {

struct OutcomeCases {
    struct Migrated {
        std::int64_t freed = 0;  ///< bytes
        bool operator==(const Migrated&) const = default;
    };
    struct NotNeeded {
        bool operator==(const NotNeeded&) const = default;
    };
    struct PullFailed {
        bool operator==(const PullFailed&) const = default;
    };
    struct PingFailed {
        bool operator==(const PingFailed&) const = default;
    };
    struct RolledBack {
        bool operator==(const RolledBack&) const = default;
    };
    struct MoveFailed {
        bool operator==(const MoveFailed&) const = default;
    };
};

class Outcome
    : public ClosedVariant<OutcomeCases, OutcomeCases::Migrated, OutcomeCases::NotNeeded, OutcomeCases::PullFailed,
                           OutcomeCases::PingFailed, OutcomeCases::RolledBack, OutcomeCases::MoveFailed> {
  public:
    using ClosedVariant::ClosedVariant;
};

/// What older builds named memories with.
inline constexpr std::string_view oldModel = "gemma3:4b";

enum class Decision { migrate, fresh, nothing };

/// What the property list of the model host says; no text is no list.
Decision decide(const std::optional<std::string>& plistText);

/// Whether the old model was pulled by us.
bool mayDeleteOldModel(const std::optional<LocalModelsProgress::Receipts>& receipts);

}  // namespace larkmoor::ModelMigration
