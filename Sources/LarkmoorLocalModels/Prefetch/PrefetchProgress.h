// How far the speech helper's download of the two meeting models is, told by its lines on standard output. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "LarkmoorBase/Record.h"
#include "LarkmoorLocalModels/Pipeline/RowState.h"

namespace larkmoor {

// One line, a JSON object.
//   component  "asr" or "vad"
//   event      "start", "phase", "bytes", "done" or "failed"
//   op         the helper's operation counter
//   fraction   the helper's own; not used
//   done       bytes so far
//   cached     the asr model was there already
//   present    the vad models are there
//   dir        the folder of the asr model
LARKMOOR_RECORD(PrefetchLine, (std::optional<std::string>, component), (std::string, event), (std::optional<Int>, op),
                (std::optional<std::string>, phase), (std::optional<double>, fraction), (std::optional<Int>, done),
                (std::optional<bool>, cached), (std::optional<bool>, present), (std::optional<std::string>, dir),
                (std::optional<std::string>, reason), (std::optional<bool>, ok))

struct PrefetchProgress {
    RowState asr, vad;
    double shown = 0;  ///< the highest fraction so far: the row never goes back
    std::optional<std::int64_t> asrBytes{};
    std::optional<std::string> asrDir{};

    /// A line that is no `PrefetchLine` changes nothing.
    void applyRaw(std::string_view line);
    /// Unknown components and events change nothing, nor does a negative count.
    void apply(const PrefetchLine& line);

    bool operator==(const PrefetchProgress&) const = default;

  private:
    void applyASR(const PrefetchLine& line);
    void applyVAD(const PrefetchLine& line);
};

/// nullopt for text that is no such line.
std::optional<PrefetchLine> prefetchLine(std::string_view text);

}  // namespace larkmoor
