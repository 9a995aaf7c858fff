// Progress of the local models' setup, and the file that tells it to this program's menu, to the family's other
// programs and to the next launch. It outlives its writer: it is also the receipt of what the setup created on this
// machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <vector>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/JSON/Coding.h"
#include "LarkmoorBase/Record.h"

namespace larkmoor {

// Times are seconds since 1970. Any thread.

/// The parts of a `LocalModelsProgress`.
namespace LocalModelsProgressParts {

/// One step of the setup. The states are text, so that a state of a later build is readable; it is not `done`.
struct Row {
    static constexpr std::string_view pending = "pending";
    static constexpr std::string_view active = "active";
    static constexpr std::string_view done = "done";
    static constexpr std::string_view skipped = "skipped";

    LARKMOOR_FIELDS(Row, (std::string, id),  // "runtime", "host", "model", "asr" or "vad"
                    (std::string, label), (std::string, state), (bool, download),  // bytes move over the network
                    (std::optional<Int>, bytes), (std::optional<Int>, totalBytes),
                    (bool, expected),  // the size is an estimate of ours
                    (bool, present))   // was on this machine before: nothing had to move
};

/// The `downloadedBytes` of a moment, for readers that show a rate.
LARKMOOR_RECORD(Sample, (double, at), (Int, bytes))

/// What the model host's store held before the setup used it; the models in ascending order.
LARKMOOR_RECORD(OllamaInventory, (std::string, folder), (bool, folderExisted), (std::vector<std::string>, models),
                (double, takenAt))

/// What the setup created: only that may ever be removed.
struct Receipts {
    LARKMOOR_FIELDS(Receipts, (std::optional<std::string>, runtimeDir), (std::optional<std::string>, agentPlist),
                    (std::optional<std::string>, pulledModel), (std::optional<std::string>, asrCacheDir),
                    (std::optional<std::string>, senkoDir), (std::optional<OllamaInventory>, ollama),
                    (std::optional<double>, pullBeganAt),  // a blob that was modified later is ours
                    (std::optional<bool>, oldModelWasOurs))

    /// Nothing was created; an inventory alone says just that.
    bool isEmpty() const { return !runtimeDir && !agentPlist && !pulledModel && !asrCacheDir && !senkoDir; }
};

}  // namespace LocalModelsProgressParts

struct LocalModelsProgress {
    using Row = LocalModelsProgressParts::Row;
    using Sample = LocalModelsProgressParts::Sample;
    using OllamaInventory = LocalModelsProgressParts::OllamaInventory;
    using Receipts = LocalModelsProgressParts::Receipts;

    /// At most, oldest first.
    static constexpr std::size_t maxSamples = 120;

    LARKMOOR_FIELDS(LocalModelsProgress, (std::int32_t, pid), (double, writtenAt),
                    (bool, running),  // the writer is at work
                    (std::vector<Row>, rows), (std::vector<Sample>, samples), (Receipts, installed),
                    (std::optional<bool>, migrating),  // from an older naming model
                    // What an undo takes away besides `installed`: what the passes before this one made, and places of
                    // ours that held nothing before a pass was about to fill them.
                    (std::optional<Receipts>, claimed))

    struct Count {
        std::size_t done = 0;
        std::size_t all = 0;

        bool operator==(const Count&) const = default;
    };

    // The views refer to `rows`.

    auto downloadRows() const { return rows | std::views::filter(&Row::download); }
    auto movedRows() const {
        return downloadRows() | std::views::filter([](const Row& row) { return !row.present; });
    }
    // Sums stop at the ends of 64 bits.

    /// What is to move; nullopt without a row that downloads.
    std::optional<Int> knownTotalBytes() const;
    /// What has moved: all of a row that is done, whatever it says of its bytes.
    Int downloadedBytes() const;
    /// What all the models take on the disk, those that were there before included; nullopt if no row knows.
    std::optional<Int> footprintBytes() const;
    Count downloadsDone() const;
    /// False without a row.
    bool allDownloadsDone() const;
    bool allStepsDone() const;
    static bool stepsDone(const std::optional<LocalModelsProgress>& progress);

    /// A crashed writer leaves `running` in the file.
    bool writerAlive() const { return isAlive(pid); }
    /// Whether there is such a process, of any user.
    static bool isAlive(std::int32_t pid);

    static std::string path(std::string_view support);
    /// For this user.
    static std::string defaultPath();

    /// Refuses what is not whole, and any object that has a name twice.
    static std::expected<LocalModelsProgress, CodingFailure> decoded(BytesView bytes);
    std::expected<Bytes, CodingFailure> encoded() const;

    /// Of the file: one with every sample and a hundred models that were there before has some 15 KB.
    static constexpr std::size_t maxBytes = std::size_t{1} << 20U;

    /// nullopt for a file that is missing, refused or larger than `maxBytes`. Blocks, but never for a pipe.
    static std::optional<LocalModelsProgress> read(const std::string& path);
    /// Readers see the old or the new file, whole, even if this process is killed meanwhile. Failures are ignored: the
    /// next publish is the retry. In each process one thread at a time; blocks, but does not wait for the disk.
    void write(const std::string& path) const;
    /// Removes what writers left that were killed amid `write`. Failures are ignored; blocks.
    static void sweepTemporaries(const std::string& path);
};

}  // namespace larkmoor
