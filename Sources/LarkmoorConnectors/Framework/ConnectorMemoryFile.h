// One file in which a harness keeps what it remembers.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace larkmoor {

struct ConnectorMemoryFile {
    std::string path;
    std::optional<std::int64_t> bytes;
    std::optional<std::chrono::system_clock::time_point> modified;

    /// Of one file, or nothing if none is there.
    static std::optional<ConnectorMemoryFile> stat(const std::string& path);

    /// Of the files directly in the folder whose extension is "md", in plain order of their names; none where the
    /// folder cannot be listed.
    static std::vector<ConnectorMemoryFile> markdown(const std::string& folder);

    bool operator==(const ConnectorMemoryFile&) const = default;
};

}  // namespace larkmoor
