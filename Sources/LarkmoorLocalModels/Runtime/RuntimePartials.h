// The partly downloaded archives of the runtime in the system's temporary folder. None is ever resumed.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace larkmoor {

/// "larkmoor-ollama-{pid}.tgz": each process has its own.
std::string partialName(std::int32_t pid);

/// The process of a partial's name; nullopt for any other name.
std::optional<std::int32_t> partialPID(std::string_view name);

/// Deletes the partials of processes that are gone, and logs each. Failures are ignored. Any thread.
void sweepStrayTarballs(const std::string& folder, const std::function<void(std::string)>& log);

}  // namespace larkmoor
