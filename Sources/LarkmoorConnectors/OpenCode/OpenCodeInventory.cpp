#include "LarkmoorConnectors/OpenCode/OpenCodeInventory.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <ctime>

#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/OpenCode/OpenCodeSessionStore.h"

namespace larkmoor::OpenCodeInventory {

namespace {

std::optional<std::string> note(const OpenCodeSessionStore::Decoded& decoded) {
    if (decoded.skipped > 0) {
        return fmt::format("{} session {} recorded no decodable project directory", decoded.skipped,
                           decoded.skipped == 1 ? "row" : "rows");
    }
    if (decoded.sightings.empty()) return "the session store records no projects yet";
    return std::nullopt;
}

ProjectReport storedProjects(const OpenCodePaths& paths) {
    ProjectReport report{.source = paths.sessionDatabase(), .projects = {}, .note = {}};
    auto decoded = OpenCodeSessionStore::read(*report.source);
    if (!decoded) {
        const auto day = newestChildDay(paths.dataDirectory);
        report.note = fmt::format("session store present ({}{}) — its database did not answer: {}", *report.source,
                                  day ? ", latest " + *day : "", decoded.error().text);
        return report;
    }
    report.note = note(*decoded);
    for (auto& [directory, lastActivity] : decoded->sightings) {
        report.projects.push_back({std::move(directory), lastActivity, {}});
    }
    return report;
}

}  // namespace

ProjectReport projects(const OpenCodePaths& paths) {
    if (!Files::isAbsent(paths.sessionDatabase())) return storedProjects(paths);
    const std::string legacy = paths.dataDirectory + "/storage";
    std::string note = "no session store found";
    if (Inventory::isFolder(legacy)) {
        note = fmt::format("legacy JSON session store present ({}) — a pre-1.x layout this connector does not decode",
                           legacy);
    }
    return {.source = paths.dataDirectory, .projects = {}, .note = std::move(note)};
}

MemoryFileReport memoryFiles(const OpenCodePaths& paths) {
    MemoryFileReport report;
    for (const std::string& path : {paths.configAgentsFile(), paths.homeAgentsFile}) {
        if (auto file = ConnectorMemoryFile::stat(path)) report.files.push_back(std::move(*file));
    }
    return report;
}

std::optional<std::string> newestChildDay(const std::string& of) {
    std::optional<std::chrono::system_clock::time_point> newest;
    for (const std::string& name : Files::names(of).value_or(std::vector<std::string>{})) {
        newest = std::max(newest, Files::modified(fmt::format("{}/{}", of, name)));
    }
    if (!newest) return std::nullopt;
    const std::time_t seconds = std::chrono::system_clock::to_time_t(*newest);
    std::tm local{};
    if (::localtime_r(&seconds, &local) == nullptr) return std::nullopt;
    return fmt::format("{:04}-{:02}-{:02}", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
}

}  // namespace larkmoor::OpenCodeInventory
