#include "LarkmoorLocalModels/Prefetch/PrefetchProgress.h"

#include <algorithm>

#include "LarkmoorBase/JSON/Decoder.h"
#include "LarkmoorWire/Models/MeetingModels.h"

namespace larkmoor {

std::optional<PrefetchLine> prefetchLine(std::string_view text) {
    auto line = Decoder::decode<PrefetchLine>(asBytes(text));
    return line ? std::optional{*std::move(line)} : std::nullopt;
}

void PrefetchProgress::applyRaw(std::string_view line) {
    if (const auto read = prefetchLine(line)) apply(*read);
}

void PrefetchProgress::apply(const PrefetchLine& line) {
    if (line.component == "asr") applyASR(line);
    if (line.component == "vad") applyVAD(line);
}

void PrefetchProgress::applyASR(const PrefetchLine& line) {
    if (line.event == "start") {
        asr = RowState::Active{};
        asrDir = line.dir;
    } else if (line.event == "phase") {
        if (asr.is<RowState::Pending>()) asr = RowState::Active{};
    } else if (line.event == "bytes") {
        if (!line.done || *line.done < 0) return;
        // A row that is full before the helper says "done" would look finished.
        constexpr double most = 0.99, total = MeetingModels::asrMeasuredBytes;
        asrBytes = line.done;
        shown = std::max(shown, std::min(static_cast<double>(*line.done) / total, most));
        asr = RowState::Active{shown};
    } else if (line.event == "done") {
        asr = RowState::Done{line.cached.value_or(false) ? "already downloaded" : "downloaded"};
    } else if (line.event == "failed") {
        asr = RowState::Skipped{};
    }
}

void PrefetchProgress::applyVAD(const PrefetchLine& line) {
    if (line.event == "done" && line.present.value_or(false)) {
        vad = RowState::Done{"already on this Mac"};
    } else if (line.event == "done" || line.event == "failed") {
        vad = RowState::Skipped{};
    }
}

}  // namespace larkmoor
