// The change of the naming model on a machine that an older build set up. The old model names until the new one has
// proved itself: pull, prove, move into our store, repoint the host, prove again, and only then delete the old one, if
// we had pulled it. Whatever fails before, the host serves the old folder as it did, and the next launch tries again.
#pragma once

#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/ClosedVariant.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"

namespace larkmoor {

struct ModelMigrationOutcomeCases {
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

class ModelMigrationOutcome
    : public ClosedVariant<ModelMigrationOutcomeCases, ModelMigrationOutcomeCases::Migrated,
                           ModelMigrationOutcomeCases::NotNeeded, ModelMigrationOutcomeCases::PullFailed,
                           ModelMigrationOutcomeCases::PingFailed, ModelMigrationOutcomeCases::RolledBack,
                           ModelMigrationOutcomeCases::MoveFailed> {
  public:
    using ClosedVariant::ClosedVariant;
};

/// Main thread; must not be destroyed while it runs. The stores' files are moved off it.
class ModelMigration {
  public:
    using Outcome = ModelMigrationOutcome;
    using Receipts = LocalModelsProgress::Receipts;
    using Ended = std::expected<void, SetupError>;
    enum class Decision { migrate, fresh, nothing };

    /// What older builds named memories with.
    static constexpr std::string_view oldModel = "gemma3:4b";

    struct Seams {
        /// The property list of the model host.
        std::function<Task<std::optional<std::string>>()> plistText;
        std::function<std::string()> ourModelsDir;
        /// The parent of the store of a host whose list names none.
        std::function<std::string()> defaultFolder;
        /// The parent of the store that the host uses now.
        std::function<Task<std::string>()> hostFolder;
        /// Those of the last pass.
        std::function<std::optional<Receipts>()> receipts;
        /// An earlier run may have been killed between the new list and the old model's deletion.
        bool wasCutShort = false;
        std::function<Task<std::optional<std::vector<std::string>>>()> tags;
        std::function<Task<bool>(std::string name)> pull;
        std::function<Task<bool>(std::string name)> ping;
        std::function<Task<std::optional<std::int32_t>>()> readPid;
        /// Without a folder the host keeps its models where it does by itself.
        std::function<Task<Ended>(std::optional<std::string> modelsDir)> writePlist;
        std::function<Task<Ended>()> reload;
        std::function<Task<void>(std::chrono::milliseconds)> pause;
        std::function<void(std::string)> log;
        /// Ends the wait for the repointed host, which is put back then.
        std::stop_token stop{};
    };

    /// What the property list says; no text is no list.
    static Decision decide(const std::optional<std::string>& plistText);
    /// Whether the old model was pulled by us.
    static bool mayDeleteOldModel(const std::optional<Receipts>& receipts);

    explicit ModelMigration(Seams seams) : seams_(std::move(seams)) {}

    Task<Outcome> run();

  private:
    Task<Ended> moveModel();
    Task<bool> repoint();
    Task<Outcome> rollBack();
    Task<Outcome> finish(bool oldModelIsThere);
    Task<Outcome> finishCutShort();

    Seams seams_;
    std::string oldFolder_;  ///< of the host, before it is repointed
};

}  // namespace larkmoor
