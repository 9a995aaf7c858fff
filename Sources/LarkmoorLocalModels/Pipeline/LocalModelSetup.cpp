#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "LarkmoorLocalModels/Undo/LocalModelsUndo.h"
#include "LarkmoorPlatform/Spawn.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/MeetingModels.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

constexpr std::string_view runtimeRow = "runtime", hostRow = "host", modelRow = "model", asrRow = "asr", vadRow = "vad";
constexpr std::string_view wasCancelled = "the install was cancelled";
constexpr std::size_t trioSize = 3;

double secondsSince1970(LocalModelSetup::Time time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::string parentFolder(const std::string& path) { return std::filesystem::path{path}.parent_path().string(); }

std::vector<LocalModelSetup::Row> newRows() {
    return {
        {.id = std::string{runtimeRow}, .label = "Ollama runtime", .download = true,
         .totalBytes = LocalModel::runtimeApproxBytes, .expected = true},
        {.id = std::string{hostRow}, .label = "Model host"},
        {.id = std::string{modelRow}, .label = std::string{LocalModel::titleModel}, .download = true,
         .totalBytes = LocalModel::approxDownloadBytes, .expected = true},
        {.id = std::string{asrRow}, .label = std::string{MeetingModels::asrName}, .download = true,
         .totalBytes = MeetingModels::asrMeasuredBytes, .expected = true},
        {.id = std::string{vadRow}, .label = std::string{MeetingModels::senkoName}},
    };
}

}  // namespace

LocalModelSetup::LocalModelSetup(Seams seams) : seams_(std::move(seams)), rows_(newRows()) {}

// A pass from outside

void LocalModelSetup::start() {
    if (running_) return;
    stop_ = {};
    ended_ = std::make_shared<OneShotEvent>(seams_.loop);
    running_ = true;
    spawn(seams_.loop, weak_from_this(), &LocalModelSetup::run);
}

Task<void> LocalModelSetup::cancel() {
    const auto ended = ended_;
    if (!ended) co_return;
    seams_.log("model-setup: cancel requested — stopping the pass");
    stop_.request_stop();
    co_await ended->wait();
}

/// However the pass ends, those who wait for its end go on.
Task<void> LocalModelSetup::run() {
    struct End {
        LocalModelSetup& self;
        ~End() {
            self.running_ = self.migrating_ = false;
            self.publish(true);
            self.ended_->set();
        }
    } const end{*this};
    co_await pass();
}

// The pass

Task<void> LocalModelSetup::pass() {
    snapshotReceipts_ = co_await seams_.workers.snapshotReceipts();
    installed_ = {};
    if (snapshotReceipts_) installed_.oldModelWasOurs = LocalModelsUndo::oldModelWasOurs(*snapshotReceipts_);
    for (const Row& row : newRows()) set(row.id, RowState::Pending{});
    co_await layoutFirstRound();
    co_await takeInventory();
    const auto binary = co_await runtimeStep();
    co_await hostStep(binary);
    co_await migrationStep();
    co_await layoutSecondRound();
    co_await modelStep();
    seams_.log(isTrioDone() ? "model-setup: trio done" : "model-setup: trio worked with quiet skips");
    co_await meetingModelsStep();
    std::string states;
    for (const Row& row : rows_) states += fmt::format("{}{}={}", states.empty() ? "" : " ", row.id, row.state.logged());
    seams_.log(fmt::format("model-setup: pass finished — {} (all five: {})", states, finished()));
}

Task<void> LocalModelSetup::layoutFirstRound() {
    layoutHeld_ = false;
    if (isCancelled()) co_return;
    const auto outcome = co_await seams_.workers.migrateLayout(snapshotReceipts_, stop_.get_token());
    layoutHeld_ = outcome.is<ModelLayoutMigration::Outcome::MoveFailed>();
    if (outcome.movedAnything()) publish(true);
}

Task<void> LocalModelSetup::takeInventory() {
    auto inventory = co_await seams_.workers.inventory();
    seams_.log(fmt::format("model-setup: inventory — folder {}, {} model(s): {}",
                           inventory.folderExisted ? "existed" : "absent", inventory.models.size(),
                           fmt::join(inventory.models, ", ")));
    installed_.ollama = std::move(inventory);
}

/// The runtime for this pass; nullopt if there is none.
Task<std::optional<std::string>> LocalModelSetup::runtimeStep() {
    auto found = co_await seams_.workers.findRuntime();
    if (found) {
        if (std::ranges::find(seams_.ourBinaries, *found) != seams_.ourBinaries.end()) {
            installed_.runtimeDir = parentFolder(*found);
            set(runtimeRow, RowState::Done{"installed"});
        } else {
            markPresent(runtimeRow);
            set(runtimeRow, RowState::Done{"already on this Mac"});
        }
        co_return found;
    }
    if (isCancelled()) {
        quietSkip(runtimeRow, wasCancelled);
        co_return std::nullopt;
    }
    set(runtimeRow, RowState::Active{});
    auto fetched = co_await seams_.workers.fetchRuntime(transfers(std::string{runtimeRow}), stop_.get_token());
    if (!fetched) {
        quietSkip(runtimeRow, fetched.error().message);
        co_return std::nullopt;
    }
    installed_.runtimeDir = parentFolder(ModelsFolder::namingBinary(seams_.support));
    set(runtimeRow, RowState::Done{"downloaded"});
    co_return *std::move(fetched);
}

Task<void> LocalModelSetup::hostStep(std::optional<std::string> binary) {
    if (isCancelled()) co_return quietSkip(hostRow, wasCancelled);
    if (co_await seams_.workers.hostAnswers(stop_.get_token())) co_return set(hostRow, RowState::Done{"already running"});
    if (!binary) co_return quietSkip(hostRow, "no runtime landed this run — nothing to supervise");
    set(hostRow, RowState::Active{});
    // Named before it is made: a pass that ends in between leaves nothing that no receipt names.
    const auto supervised = co_await seams_.workers.superviseHost(*binary, stop_.get_token());
    if (!supervised) co_return quietSkip(hostRow, supervised.error().message);
    installed_.agentPlist = seams_.agentPlist;
    if (co_await seams_.workers.waitForHost(stop_.get_token())) co_return set(hostRow, RowState::Done{"running"});
    quietSkip(hostRow, "the model host did not come up — see the ollama log");
}

Task<void> LocalModelSetup::migrationStep() {
    if (layoutHeld_) {
        seams_.log(
            "model-setup: the layout migration could not move the folders — the naming model's migration waits for the "
            "next open rather than filling a store that may be inside the old Models folder");
        co_return;
    }
    if (isCancelled() || !isDone(hostRow)) co_return;
    migrating_ = true;
    publish(true);
    const auto outcome = co_await seams_.workers.migrate(snapshotReceipts_, stop_.get_token());
    migrating_ = false;
    publish(true);
    if (outcome.is<ModelMigration::Outcome::Migrated>()) installed_.pulledModel = LocalModel::titleModel;
}

/// The runtime moves once the naming model lives in our store.
Task<void> LocalModelSetup::layoutSecondRound() {
    if (isCancelled() || !isDone(hostRow) || layoutHeld_) co_return;
    const auto outcome = co_await seams_.workers.migrateLayout(snapshotReceipts_, stop_.get_token());
    if (outcome.movedAnything()) publish(true);
}

Task<void> LocalModelSetup::modelStep() {
    if (isCancelled()) co_return quietSkip(modelRow, wasCancelled);
    if (co_await seams_.workers.probeModel(stop_.get_token())) {
        markPresent(modelRow);
        co_return set(modelRow, RowState::Done{"already downloaded"});
    }
    if (!isDone(hostRow)) co_return quietSkip(modelRow, "no model host this run — nothing to pull from");
    // Before the first byte, so that a cancel amid the pull knows what to remove.
    installed_.pulledModel = LocalModel::titleModel;
    installed_.pullBeganAt = secondsSince1970(seams_.now());
    set(modelRow, RowState::Active{0.0});
    const auto pulled = co_await seams_.workers.pullModel(transfers(std::string{modelRow}), stop_.get_token());
    if (!pulled) co_return quietSkip(modelRow, pulled.error().message);
    set(modelRow, RowState::Done{"downloaded"});
}

Task<void> LocalModelSetup::meetingModelsStep() {
    if (isCancelled()) {
        quietSkip(asrRow, wasCancelled);
        quietSkip(vadRow, wasCancelled);
        co_return;
    }
    co_await runPrefetch(co_await seams_.prefetchHelper());
}

// Rows

bool LocalModelSetup::finished() const {
    return std::ranges::all_of(rows_, [](const Row& row) { return row.state.is<RowState::Done>(); });
}

bool LocalModelSetup::isTrioDone() const {
    return std::ranges::all_of(rows_ | std::views::take(trioSize),
                               [](const Row& row) { return row.state.is<RowState::Done>(); });
}

bool LocalModelSetup::isDone(std::string_view id) const {
    const auto row = std::ranges::find(rows_, id, &Row::id);
    return row != rows_.end() && row->state.is<RowState::Done>();
}

LocalModelSetup::Row* LocalModelSetup::find(std::string_view id) {
    const auto row = std::ranges::find(rows_, id, &Row::id);
    return row == rows_.end() ? nullptr : &*row;
}

void LocalModelSetup::set(std::string_view id, RowState state) {
    Row* row = find(id);
    if (row == nullptr) return;
    row->state = std::move(state);
    seams_.log(fmt::format("model-setup: {} → {}", id, row->state.logged()));
    publish(true);
}

void LocalModelSetup::quietSkip(std::string_view id, std::string_view why) {
    set(id, RowState::Skipped{});
    seams_.log(fmt::format("model-setup: {} skipped quietly — {} (no failure words anywhere; the lazy first-use path "
                           "remains the fallback)",
                           id, why));
}

void LocalModelSetup::markPresent(std::string_view id) {
    if (Row* row = find(id)) row->present = true;
}

void LocalModelSetup::transfer(std::string_view id, Transfer transfer) {
    Row* row = find(id);
    if (row == nullptr) return;
    row->bytes = transfer.bytes;
    if (transfer.total) row->totalBytes = transfer.total;
    if (const auto fraction = transfer.fraction()) {
        row->state = RowState::Active{*fraction};
    } else if (row->totalBytes) {
        row->state = RowState::Active{static_cast<double>(transfer.bytes) / static_cast<double>(*row->totalBytes)};
    } else {
        row->state = RowState::Active{};
    }
    publish(false);
}

/// What arrives after the end of this object, or of the step, is dropped.
TransferListener LocalModelSetup::transfers(std::string id) {
    return [self = weak_from_this(), id = std::move(id)](Transfer transfer) {
        const auto alive = self.lock();
        if (!alive) return;
        const Row* row = alive->find(id);
        if (row != nullptr && row->state.is<RowState::Active>()) alive->transfer(id, transfer);
    };
}

// Publishing

void LocalModelSetup::publish(bool force) {
    constexpr std::chrono::seconds leastInterval{1};
    if (!seams_.progressSink) return;
    const Time now = seams_.now();
    // A clock that was set back must not silence the progress.
    if (!force && now >= lastPublish_ && now - lastPublish_ < leastInterval) return;
    lastPublish_ = now;
    LocalModelsProgress progress = snapshot(now);
    samples_.push_back({.at = progress.writtenAt, .bytes = progress.downloadedBytes()});
    if (samples_.size() > LocalModelsProgress::maxSamples) samples_.erase(samples_.begin());
    progress.samples = samples_;
    seams_.progressSink(progress);
}

LocalModelsProgress LocalModelSetup::snapshot(Time now) const {
    LocalModelsProgress progress{.pid = ::getpid(),
                                 .writtenAt = secondsSince1970(now),
                                 .running = running_,
                                 .installed = installed_,
                                 .migrating = migrating_};
    for (const Row& row : rows_) {
        progress.rows.push_back({.id = row.id,
                                 .label = row.label,
                                 .state = std::string{row.state.word()},
                                 .download = row.download,
                                 .bytes = row.bytes,
                                 .totalBytes = row.totalBytes,
                                 .expected = row.expected,
                                 .present = row.present});
    }
    return progress;
}

}  // namespace larkmoor
