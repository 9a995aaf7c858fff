#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <ranges>
#include <span>

#include "LarkmoorBase/Files.h"

namespace larkmoor::ClaudeCodeInventory {

namespace {

/// Continues from the folder `reached`, which ends in a slash, with a name that begins with `pending`. The next piece
/// of `rest` is either a name inside that folder, or belongs to the same name after a "-".
std::optional<std::string> resolve(const std::string& reached, const std::string& pending,
                                   std::span<const std::string_view> rest) {
    const std::string path = reached + pending;
    if (rest.empty()) return Files::exists(path) ? std::optional{path} : std::nullopt;
    if (!pending.empty() && Inventory::isFolder(path)) {
        if (auto found = resolve(path + "/", std::string{rest.front()}, rest.subspan(1))) return found;
    }
    return resolve(reached, fmt::format("{}-{}", pending, rest.front()), rest.subspan(1));
}

}  // namespace

std::string decodeProjectPath(std::string_view name) {
    if (name.starts_with('-')) name.remove_prefix(1);
    std::vector<std::string_view> pieces;
    for (const auto piece : std::views::split(name, '-')) pieces.emplace_back(piece.begin(), piece.end());
    if (pieces.empty()) return "/";
    if (auto path = resolve("/", std::string{pieces.front()}, std::span{pieces}.subspan(1))) return *path;
    return fmt::format("/{} (decoded path not verified on disk)", fmt::join(pieces, "/"));
}

ProjectReport projects(const ClaudeCodePaths& paths) {
    ProjectReport report{.source = paths.projectsDirectory(), .projects = {}, .note = {}};
    for (const std::string& name : Files::names(paths.projectsDirectory()).value_or(std::vector<std::string>{})) {
        const std::string folder = paths.projectsDirectory() + "/" + name;
        if (!Inventory::isFolder(folder)) continue;
        report.projects.push_back({.path = decodeProjectPath(name),
                                   .lastActivity = Inventory::lastActivity(folder),
                                   .memory = ConnectorMemoryFile::stat(folder + "/memory/MEMORY.md")});
    }
    if (report.projects.empty()) report.note = "no session store found";
    Inventory::sortByActivity(report.projects);
    return report;
}

MemoryFileReport memoryFiles(const ClaudeCodePaths& paths) {
    MemoryFileReport report;
    if (auto file = ConnectorMemoryFile::stat(paths.globalMemoryFile())) report.files.push_back(std::move(*file));
    for (auto& file : ConnectorMemoryFile::markdown(paths.memoryDirectory())) report.files.push_back(std::move(file));
    return report;
}

}  // namespace larkmoor::ClaudeCodeInventory
