#include "LarkmoorKit/Models/LocalModelsMenuLine.h"

#include <algorithm>
#include <string>
#include <utility>

namespace larkmoor::LocalModelsMenuLine {

std::optional<MenuLine> line(const std::optional<LocalModelsProgress>& progress, bool writerAlive) {
    if (!progress || !progress->running || !writerAlive || progress->allDownloadsDone()) return std::nullopt;
    std::string title = progress->migrating.value_or(false) ? "Updating the naming model" : "Setting up local models";
    const auto total = progress->knownTotalBytes();
    const bool everySizeIsKnown = std::ranges::all_of(
        progress->movedRows(), [](const LocalModelsProgress::Row& row) { return row.totalBytes.has_value(); });
    if (!everySizeIsKnown || !total || *total <= 0) {
        return MenuLine{.title = std::move(title) + "…", .bar = RowProgresses::Indeterminate{}};
    }
    const double fraction = static_cast<double>(progress->downloadedBytes()) / static_cast<double>(*total);
    return MenuLine{.title = std::move(title), .bar = RowProgresses::Fill{std::clamp(fraction, 0.0, 1.0)}};
}

std::optional<MenuLine> line(const std::optional<LocalModelsProgress>& progress) {
    return line(progress, progress && progress->writerAlive());
}

}  // namespace larkmoor::LocalModelsMenuLine
