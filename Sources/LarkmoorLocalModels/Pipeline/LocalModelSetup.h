// The setup of the local models: one quiet pass from any state of the machine to the one in which they work. Each step
// first looks whether its result is there already; a step that cannot finish is skipped, and the reason goes to the
// setup log alone. The next launch is the retry.
#pragma once

#include <chrono>
#include <expected>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/OneShotEvent.h"
#include "LarkmoorBase/Task.h"
#include "LarkmoorKit/Models/LocalModelsProgress.h"
#include "LarkmoorLocalModels/Migration/ModelLayoutMigration.h"
#include "LarkmoorLocalModels/Migration/ModelMigration.h"
#include "LarkmoorLocalModels/Pipeline/RowState.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Prefetch/RunPrefetch.h"

namespace larkmoor {

/// Main thread. Held by a shared pointer: a pass keeps it alive, and what arrives after its end is dropped.
class LocalModelSetup : public std::enable_shared_from_this<LocalModelSetup> {
  public:
    using Receipts = LocalModelsProgress::Receipts;
    using Time = std::chrono::system_clock::time_point;
    using Ended = std::expected<void, SetupError>;

    struct Row {
        std::string id, label;
        RowState state{};
        bool download = false;  ///< bytes move over the network
        std::optional<Int> bytes{}, totalBytes{};
        bool expected = false;  ///< `totalBytes` is an estimate of ours
        bool present = false;   ///< was on this machine before
    };

    /// What the first three steps do, and the migrations before them. A request to stop ends the work under way.
    struct TrioWorkers {
        using Stop = std::stop_token;

        // The receipts are those of the last pass.

        /// `wasCutShort`: an earlier one may have ended before it deleted the old model. `pull` downloads the model in
        /// the model's row.
        std::function<Task<ModelMigration::Outcome>(std::optional<Receipts>, bool wasCutShort,
                                                    std::function<Task<bool>(std::string)> pull, Stop)>
            migrate;
        /// `settle` takes the receipts with the paths after the move.
        std::function<Task<ModelLayoutMigration::Outcome>(std::optional<Receipts>,
                                                          std::function<Task<void>(Receipts)> settle, Stop)>
            migrateLayout;
        /// A runtime that may be run; nullopt if there is none.
        std::function<Task<std::optional<std::string>>()> findRuntime;
        /// Its path.
        std::function<Task<std::expected<std::string, SetupError>>(TransferListener, Stop)> fetchRuntime;
        std::function<Task<bool>(Stop)> hostAnswers;
        /// Whether the property list on the disk is that of a host of ours.
        std::function<Task<bool>()> ownsHost;
        std::function<Task<Ended>(std::string binary, Stop)> superviseHost;
        std::function<Task<bool>(Stop)> waitForHost;
        std::function<Task<bool>(Stop)> probeModel;
        std::function<Task<Ended>(TransferListener, Stop)> pullModel;
        std::function<Task<LocalModelsProgress::OllamaInventory>()> inventory;
        /// What the progress file says was installed by the passes before.
        std::function<Task<std::optional<Receipts>>()> snapshotReceipts;
        /// What the passes before may have left on this machine.
        std::function<Task<Receipts>()> claims;
        /// Whether there is anything at that path, other than an empty folder.
        std::function<Task<bool>(std::string path)> isFilled;
    };

    struct Seams {
        MainLoop& loop;
        TrioWorkers workers;
        PrefetchSeams prefetch;
        std::string support;     ///< Application Support
        std::string agentPlist;  ///< the path of the model host's property list
        /// The runtimes that are ours, wherever an older build put them.
        std::vector<std::string> ourBinaries;
        std::function<Time()> now;
        std::function<void(std::string)> log;  ///< the setup log
    };

    /// Where publishes go: each change of a state, and at most once a second what moved.
    using ProgressSink = std::function<void(const LocalModelsProgress&)>;
    /// Ends when what was published is where the next launch will find it.
    using Settled = std::function<Task<void>()>;

    explicit LocalModelSetup(Seams seams);

    void setProgressSink(ProgressSink sink, Settled settled = {}) {
        progressSink_ = std::move(sink);
        settled_ = std::move(settled);
    }

    /// Begins a pass, unless one is under way. `whenEnded` is called when nothing of it moves any more.
    void start(std::function<void()> whenEnded = {});
    /// Ends the pass, and returns when nothing of it moves any more.
    Task<void> cancel();
    /// Returns when no pass is under way.
    Task<void> waitForEnd();

    bool running() const { return running_; }
    /// Whether every step is done.
    bool finished() const;
    /// False before a pass has read what the passes before it made: until then nothing is published, and the progress
    /// file tells more than `snapshot`.
    bool knowsReceipts() const { return knowsReceipts_; }
    const Receipts& installed() const { return installed_; }
    /// The state of this moment, without a sample.
    LocalModelsProgress snapshot(Time now) const;

  private:
    Task<void> run();
    Task<void> pass();
    Task<void> attempt(std::string_view step, Task<void> work);
    Task<void> claim(std::optional<std::string> Receipts::* place, std::string path);
    Task<void> readReceipts();
    Task<void> layoutFirstRound();
    Task<void> takeInventory();
    Task<void> runtimeStep();
    Task<void> hostStep();
    Task<ModelLayoutMigration::Outcome> migrateLayout();
    Task<void> settleReceipts(Receipts moved);
    Task<void> migrationStep();
    Task<bool> pullForMigration();
    Task<void> beginPull();
    void endPull(bool isWhole);
    Task<void> layoutSecondRound();
    Task<void> modelStep();
    Task<void> meetingModelsStep();
    PrefetchRows prefetchRows();

    static std::vector<Row> newRows();
    static double secondsSince1970(Time time);
    bool isCancelled() const { return stop_.stop_requested(); }
    bool isDone(std::string_view id) const;
    bool isTrioDone() const;
    Row* find(std::string_view id);
    void set(std::string_view id, RowState state);
    void quietSkip(std::string_view id, std::string_view why);
    void markPresent(std::string_view id);
    void transfer(std::string_view id, Transfer transfer);
    TransferListener transfers(std::string id);
    void publish(bool force);
    Task<void> settle();

    Seams seams_;
    ProgressSink progressSink_;
    Settled settled_;
    std::vector<Row> rows_;
    Receipts installed_;
    Receipts claimed_;
    std::optional<Receipts> snapshotReceipts_;
    std::optional<std::string> runtime_;  ///< of this pass
    bool knowsReceipts_ = false;
    bool running_ = false;
    bool migrating_ = false;
    /// The folders could not be moved: nothing may be written into a store that may lie in the old one.
    bool layoutHeld_ = false;
    bool layoutRolledBack_ = false;
    Time lastPublish_{};
    std::vector<LocalModelsProgress::Sample> samples_;
    std::stop_source stop_;
    /// Of the last pass; none before the first.
    std::shared_ptr<OneShotEvent> ended_;
    std::function<void()> whenEnded_;
};

}  // namespace larkmoor
