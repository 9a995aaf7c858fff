// What a harness knows on this machine: the projects that it has worked in and the files in which it keeps what it
// remembers. Everything here only reads, and leaves out what does not read.
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

struct MemoryFileReport {
    std::vector<ConnectorMemoryFile> files;

    bool operator==(const MemoryFileReport&) const = default;
};

struct ConnectorProject {
    std::string path;  ///< the project's folder
    std::chrono::system_clock::time_point lastActivity;
    std::optional<ConnectorMemoryFile> memory;  ///< the project's own

    bool operator==(const ConnectorProject&) const = default;
};

struct ProjectReport {
    std::optional<std::string> source;  ///< where the list was read from
    std::vector<ConnectorProject> projects;
    std::optional<std::string> note;  ///< why the list is empty

    bool operator==(const ProjectReport&) const = default;
};

namespace Inventory {

/// The date of what has none.
inline constexpr auto distantPast = std::chrono::system_clock::time_point::min();

/// The newest modification date of the folder and the files directly in it; `distantPast` if it cannot be listed.
std::chrono::system_clock::time_point lastActivity(const std::string& folder);

/// The newest activity first, and projects of one date by their paths.
void sortByActivity(std::vector<ConnectorProject>& projects);

/// Whether it is a folder, or a link to one.
bool isFolder(const std::string& path);

}  // namespace Inventory

}  // namespace larkmoor
