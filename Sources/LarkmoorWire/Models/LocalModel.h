// The model that names memories: what it is called, what it costs to download, and where the host that runs it listens.
#pragma once

#include <cstdint>
#include <string_view>

namespace larkmoor::LocalModel {

/// The model this build names with, as the host must list it.
inline constexpr std::string_view titleModel = "fenwright/gemma3-4b-text";
/// The embedding model.
inline constexpr std::string_view embedModel = "nomic-embed-text";
/// What the user is told that the naming model costs.
inline constexpr std::string_view approxDownload = "2.5 GB";
/// The naming model's expected size, until the host tells the real one.
inline constexpr std::int64_t approxDownloadBytes = 2'498'344'265;
/// The expected size of the runtime's archive.
inline constexpr std::int64_t runtimeApproxBytes = 153'876'009;
/// The model host, without a path.
inline constexpr std::string_view endpoint = "http://127.0.0.1:11434";

}  // namespace larkmoor::LocalModel
