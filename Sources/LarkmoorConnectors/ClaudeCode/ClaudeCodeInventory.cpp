#include "LarkmoorConnectors/ClaudeCode/ClaudeCodeInventory.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <filesystem>
#include <ranges>
#include <span>
#include <tuple>

#include "LarkmoorBase/Files.h"

namespace larkmoor::ClaudeCodeInventory {

namespace fs = std::filesystem;

namespace {

using TimePoint = std::chrono::system_clock::time_point;

constexpr TimePoint distantPast = TimePoint::min();

bool isFolder(const std::string& path) {
    std::error_code ignored;
    return fs::is_directory(path, ignored);
}

TimePoint lastActivity(const std::string& folder) {
    const auto names = Files::names(folder);
    if (!names) return distantPast;
    TimePoint newest = Files::modified(folder).value_or(distantPast);
    for (const std::string& name : *names) {
        const std::string path = fmt::format("{}/{}", folder, name);
        if (!isFolder(path)) newest = std::max(newest, Files::modified(path).value_or(distantPast));
    }
    return newest;
}

/// Goes on from `reached`, which ends in a slash, with a folder or file whose name begins with `pending`: what comes
/// next is a name in that folder, or else belongs to this one.
std::optional<std::string> resolve(const std::string& reached, const std::string& pending,
                                   std::span<const std::string_view> rest) {
    const std::string path = reached + pending;
    if (rest.empty()) return Files::exists(path) ? std::optional{path} : std::nullopt;
    if (!pending.empty() && isFolder(path)) {
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
        if (!isFolder(folder)) continue;
        report.projects.push_back({.path = decodeProjectPath(name),
                                   .lastActivity = lastActivity(folder),
                                   .memory = ConnectorMemoryFile::stat(folder + "/memory/MEMORY.md")});
    }
    if (report.projects.empty()) report.note = "no session store found";
    std::ranges::sort(report.projects, [](const ConnectorProject& left, const ConnectorProject& right) {
        return std::tie(right.lastActivity, left.path) < std::tie(left.lastActivity, right.path);
    });
    return report;
}

MemoryFileReport memoryFiles(const ClaudeCodePaths& paths) {
    MemoryFileReport report;
    if (auto file = ConnectorMemoryFile::stat(paths.globalMemoryFile())) report.files.push_back(std::move(*file));
    for (auto& file : ConnectorMemoryFile::markdown(paths.memoryDirectory())) report.files.push_back(std::move(file));
    return report;
}

}  // namespace larkmoor::ClaudeCodeInventory
