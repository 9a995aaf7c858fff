// OpenCode's database of sessions: which of its generations writes it, and which folders it has worked in. Only reads;
// each function opens the database anew and blocks as long as the disk does, but 10 s at most for a query; for a lock
// each of them waits 1.5 s, and `read` twice that.
#pragma once

#include <boost/describe.hpp>

#include <chrono>
#include <cstddef>
#include <expected>
#include <optional>
#include <string>
#include <vector>

namespace larkmoor::OpenCodeSessionStore {

/// Known by the tables; `unknown` if they cannot be read or are neither's.
BOOST_DEFINE_ENUM_CLASS(Writer, openCode1, openCode2, unknown)

/// nullopt if there is no database.
std::optional<Writer> writer(const std::string& of);

/// Whether the old generation has written a session within the week before `now`, and after the new one had taken over
/// its sessions. False if that cannot be read.
bool isOpenCode1StillUsed(const std::string& in, std::chrono::system_clock::time_point now);

/// A folder that the new generation has worked in.
struct Sighting {
    std::string directory;
    std::chrono::system_clock::time_point lastActivity;

    bool operator==(const Sighting&) const = default;
};

struct Decoded {
    std::vector<Sighting> sightings;  ///< one for each folder, newest first, then by the folder's name
    std::size_t skipped = 0;          ///< rows without a folder or a time

    bool operator==(const Decoded&) const = default;
};

/// Why the sessions could not be read, in SQLite's words if it has any.
struct [[nodiscard]] Refusal {
    std::string text;

    bool operator==(const Refusal&) const = default;
};

/// A view, which might never end, and more than 256 MiB of folders are refused.
std::expected<Decoded, Refusal> read(const std::string& path);

/// The first column of every row of the query as text, empty where it holds no text; nullopt on any failure.
std::optional<std::vector<std::string>> answers(const std::string& path, const std::string& sql);

}  // namespace larkmoor::OpenCodeSessionStore
