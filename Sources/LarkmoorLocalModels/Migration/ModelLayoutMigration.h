// The move of the models' folders from where older builds scattered them to one root. Folders are renamed, what is not
// ours is copied at most, and a running host is repointed only when everything that it needs is in place; if it does
// not come back there, the folders and its property list are put back.
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

struct ModelLayoutOutcomeCases {
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

class ModelLayoutOutcome
    : public ClosedVariant<ModelLayoutOutcomeCases, ModelLayoutOutcomeCases::MoveFailed,
                           ModelLayoutOutcomeCases::RuntimePending, ModelLayoutOutcomeCases::Migrated,
                           ModelLayoutOutcomeCases::NotNeeded, ModelLayoutOutcomeCases::RolledBack> {
  public:
    using ClosedVariant::ClosedVariant;

    /// Whether folders were moved, so that the receipts name other paths now.
    bool movedAnything() const;
};

/// Main thread; must not be destroyed while it runs. The folders are moved off it.
class ModelLayoutMigration {
  public:
    using Outcome = ModelLayoutOutcome;
    using Receipts = LocalModelsProgress::Receipts;
    using Ended = std::expected<void, SetupError>;
    enum class Decision { migrate, fresh, nothing };

    /// The reason of a failure of the file system.
    using Done = std::expected<void, std::string>;
    using Exists = std::function<bool(const std::string& path)>;
    using Children = std::function<std::vector<std::string>(const std::string& folder)>;

    /// The functions on folders block, and are called one at a time off the main thread: they capture values only.
    struct FolderSeams {
        Exists exists;
        Children children;
        std::function<Done(const std::string& path)> makeDirectory;
        std::function<Done(const std::string& from, const std::string& to)> move;
        /// Two folders of one volume, at one stroke.
        std::function<Done(const std::string& one, const std::string& other)> exchange;
        std::function<Done(const std::string& from, const std::string& to)> copyTree;
        /// A failure is ignored.
        std::function<void(const std::string& path)> removeIfEmpty;
        /// Removes a folder that holds empty folders alone. True if it was that, or none, even if it was made anew.
        std::function<bool(const std::string& path)> removeIfHollow;
        std::function<Done(const std::string& path)> removeTree;

        /// Nothing outside our folder in `support` is ever removed, by whatever links or mounts it is reached.
        static FolderSeams live(const std::string& support);
    };

    struct Seams {
        std::string support;
        FolderSeams folders;
        std::function<Task<bool>(std::string binary)> verifyBinary;
        std::function<Task<std::optional<std::string>>()> plistText;
        std::function<Task<Ended>(std::string binary, std::optional<std::string> modelsDir)> writePlist;
        /// Those of the last pass.
        std::function<std::optional<Receipts>()> receipts;
        /// Takes the paths after the move; ends when the next launch will find them.
        std::function<Task<void>(Receipts)> writeReceipts;
        std::function<Task<std::optional<std::vector<std::string>>>()> tags;
        std::function<Task<bool>(std::string name)> ping;
        std::function<Task<std::optional<std::int32_t>>()> readPid;
        std::function<Task<Ended>()> reload;
        std::function<Task<void>(std::chrono::milliseconds)> pause;
        std::function<void(std::string)> log;
        /// Ends the wait for the repointed host, which is put back then.
        std::stop_token stop{};
    };

    /// What stands where; `asrCacheDir` is the speech model's folder in the receipts.
    static Decision decide(const std::string& support, const Exists& exists, const Children& names,
                           const std::optional<std::string>& asrCacheDir);
    /// By what is on the disk. Blocks.
    static bool isDue(const std::string& support, const Receipts& receipts);

    explicit ModelLayoutMigration(Seams seams) : seams_(std::move(seams)) {}

    Task<Outcome> run();

  private:
    /// How to put the host back; taken before it is repointed.
    struct RollbackPlan {
        std::string binary;
        std::optional<std::string> modelsDir;
        /// Of the repointed host. nullopt without a property list: there is no host of ours to repoint.
        std::optional<std::string> newBinary;
        std::string naming, runtime, store, spare, oldRuntimeDir, oldStore;
        bool storeWasThere = false;
        bool putTheRuntimeBack = false;
    };

    Task<Outcome> moveEverything();
    Task<Done> moveVoices();
    Task<Done> moveSpeech();
    Task<Done> moveOurSpeech(std::string cache);
    Task<Done> copySharedSpeech();
    Task<std::expected<RollbackPlan, std::string>> moveRuntime(std::optional<std::string> plist);
    RollbackPlan rollbackPlan(const std::optional<std::string>& plist) const;
    Task<bool> staysInPlace(const RollbackPlan& plan);
    Task<Done> moveStore(RollbackPlan& plan);
    Task<void> putStoreBack(RollbackPlan plan);
    Task<Done> removeSecondRuntime(const RollbackPlan& plan);
    Task<Done> moveOldRuntime(RollbackPlan& plan);
    Task<Done> exchangeWithNew(std::string folder, std::string target);
    Task<bool> repoint(RollbackPlan plan);
    Task<Outcome> rollBack(RollbackPlan plan);
    Task<RollbackPlan> whereTheFilesAre(RollbackPlan plan);
    Task<void> settleReceipts();
    Task<bool> removeOurs(std::string path);

    // The folders, off the main thread.
    Task<bool> exists(std::string path);
    Task<std::vector<std::string>> children(std::string folder);
    Task<Done> makeDirectory(std::string path);
    Task<Done> move(std::string from, std::string to);
    Task<Done> exchange(std::string one, std::string other);
    Task<void> removeIfEmpty(std::string path);
    Task<bool> removeIfHollow(std::string path);

    void summarize(std::string_view ending);
    /// The words of a failed step, with the file system's reason.
    static Done saying(const Done& done, std::string_view what);

    Seams seams_;
    std::vector<std::string> moved_;
    bool haveVoicesMoved_ = false;
    std::optional<std::string> asrCacheDir_;  ///< where the speech model is now
};

}  // namespace larkmoor
