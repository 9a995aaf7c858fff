// The last step of the models' setup: the speech helper's download, as the rows "asr" and "vad" show it.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

#include "LarkmoorBase/Task.h"
#include "LarkmoorLocalModels/Pipeline/Transfer.h"
#include "LarkmoorLocalModels/Prefetch/ModelPrefetch.h"
#include "LarkmoorLocalModels/Prefetch/PrefetchProgress.h"

namespace larkmoor {

/// What one line changes.
struct PrefetchChange {
    std::optional<std::string> asrDir{};     ///< a new folder of the speech model
    bool isCached = false;                   ///< the speech model was there before us
    std::optional<std::int64_t> asrBytes{};  ///< a new count
    std::optional<RowState> asr{};           ///< a new state; a fraction that moved is one
    /// `asr` is another fraction of a row that was active already. The count shows it too.
    bool isMoveOnly = false;

    bool operator==(const PrefetchChange&) const = default;
};

/// The progress of one run. Needs no lock, as the helper's lines arrive on the main thread, between two turns of the
/// loop, and not on a reading thread.
class PrefetchBox {
  public:
    PrefetchChange apply(std::string_view line);

    /// At the helper's end: what it has not finished is skipped, and everything if it was never started.
    void finish(bool wasStarted);

    const PrefetchProgress& progress() const { return progress_; }

  private:
    PrefetchProgress progress_;
};

/// What the step asks of the setup that owns the rows. Main thread.
struct PrefetchRows {
    std::function<void(std::string_view id, RowState)> set;
    std::function<void(std::string_view id, std::string_view why)> quietSkip;
    std::function<void(std::string_view id)> markPresent;
    std::function<void(std::string_view id, Transfer)> transfer;
    /// Receipts of what an undo removes. Only {speech} or a folder below it is ever passed: the helper's word alone
    /// must not name what is deleted.
    std::function<void(std::optional<std::string>)> setAsrCacheDir;
    std::function<void(std::string)> setSenkoDir;
    std::function<void(std::string)> log;
};

/// Ends when the helper has ended; both rows are then done or skipped. `helper` is what `prefetchHelper` found.
Task<void> runPrefetch(PrefetchSeams seams, PrefetchRows rows, std::optional<std::string> helper, std::string support,
                       std::stop_token stop);

}  // namespace larkmoor
