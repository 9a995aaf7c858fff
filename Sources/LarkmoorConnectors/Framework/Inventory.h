// What a harness keeps on this machine: the projects that it has worked in, and its memory files. All functions only
// read, and leave out what cannot be read.
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

    /// The record of one file, or nullopt if it does not exist.
    static std::optional<ConnectorMemoryFile> stat(const std::string& path);

    /// The records of the files directly in the folder whose extension is "md", sorted by name; empty if the folder
    /// cannot be listed.
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
    std::optional<ConnectorMemoryFile> memory;  ///< of this project

    bool operator==(const ConnectorProject&) const = default;
};

struct ProjectReport {
    std::optional<std::string> source;  ///< where the list was read from
    std::vector<ConnectorProject> projects;
    std::optional<std::string> note;  ///< why the list is empty, or what it leaves out

    bool operator==(const ProjectReport&) const = default;
};

namespace Inventory {

/// Used where no modification date is known.
inline constexpr auto distantPast = std::chrono::system_clock::time_point::min();

/// The newest modification date of the folder and the files directly in it; `distantPast` if it cannot be listed.
std::chrono::system_clock::time_point lastActivity(const std::string& folder);

/// Newest activity first; projects with the same date are sorted by path.
void sortByActivity(std::vector<ConnectorProject>& projects);

/// Whether it is a folder, or a link to one.
bool isFolder(const std::string& path);

}  // namespace Inventory

}  // namespace larkmoor
