// The rows of the models' setup, and how they are published.
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <ranges>
#include <utility>

#include "LarkmoorLocalModels/Pipeline/LocalModelSetup.h"
#include "LarkmoorWire/Models/LocalModel.h"
#include "LarkmoorWire/Models/MeetingModels.h"

namespace larkmoor {

namespace {

constexpr std::size_t trioSize = 3;

}  // namespace

double LocalModelSetup::secondsSince1970(Time time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::vector<LocalModelSetup::Row> LocalModelSetup::newRows() {
    return {
        {.id = "runtime",
         .label = "Ollama runtime",
         .download = true,
         .totalBytes = LocalModel::runtimeApproxBytes,
         .expected = true},
        {.id = "host", .label = "Model host"},
        {.id = "model",
         .label = std::string{LocalModel::titleModel},
         .download = true,
         .totalBytes = LocalModel::approxDownloadBytes,
         .expected = true},
        {.id = "asr",
         .label = std::string{MeetingModels::asrName},
         .download = true,
         .totalBytes = MeetingModels::asrMeasuredBytes,
         .expected = true},
        {.id = "vad", .label = std::string{MeetingModels::senkoName}},
    };
}

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
    seams_.log(
        fmt::format("model-setup: {} skipped quietly — {} (no failure words anywhere; the lazy first-use path "
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
    if (!progressSink_ || !knowsReceipts_) return;
    const Time now = seams_.now();
    // A clock that was set back must not silence the progress.
    if (!force && now >= lastPublish_ && now - lastPublish_ < leastInterval) return;
    lastPublish_ = now;
    LocalModelsProgress progress = snapshot(now);
    samples_.push_back({.at = progress.writtenAt, .bytes = progress.downloadedBytes()});
    if (samples_.size() > LocalModelsProgress::maxSamples) samples_.erase(samples_.begin());
    progress.samples = samples_;
    progressSink_(progress);
}

Task<void> LocalModelSetup::settle() {
    if (settled_) co_await settled_();
}

LocalModelsProgress LocalModelSetup::snapshot(Time now) const {
    LocalModelsProgress progress{.pid = ::getpid(),
                                 .writtenAt = secondsSince1970(now),
                                 .running = running_,
                                 .installed = installed_,
                                 .migrating = migrating_,
                                 .claimed = claimed_ == Receipts{} ? std::nullopt : std::optional{claimed_}};
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
