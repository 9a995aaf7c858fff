#include "LarkmoorConnectors/Cursor/CursorInventory.h"

#include <fmt/format.h>

#include <algorithm>

#include "LarkmoorBase/FileURL.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::CursorInventory {

std::optional<std::string> folderPath(const std::string& in) {
    auto bytes = Files::read(in);
    if (!bytes) return std::nullopt;
    const auto document = JSONDocument::read(std::move(*bytes), JSONDialect::strict);
    const JSONNode* folder = document ? document->root().node({"folder"}) : nullptr;
    const auto url = folder == nullptr ? std::nullopt : folder->text();
    return url ? FileURL::path(*url) : std::nullopt;
}

std::chrono::system_clock::time_point lastActivity(const std::string& in) {
    std::optional<std::chrono::system_clock::time_point> newest;
    for (const std::string& name : Files::names(in).value_or(std::vector<std::string>{})) {
        newest = std::max(newest, Files::modified(fmt::format("{}/{}", in, name)));
    }
    if (!newest) newest = Files::modified(in);
    return newest.value_or(Inventory::distantPast);
}

ProjectReport projects(const CursorPaths& paths) {
    ProjectReport report{.source = paths.workspaceStorageDirectory, .projects = {}, .note = {}};
    std::size_t unnamed = 0;
    for (const std::string& name : Files::names(*report.source).value_or(std::vector<std::string>{})) {
        const std::string workspace = *report.source + "/" + name;
        if (!Inventory::isFolder(workspace)) continue;
        if (auto path = folderPath(workspace + "/workspace.json")) {
            report.projects.push_back({std::move(*path), lastActivity(workspace), {}});
        } else {
            ++unnamed;
        }
    }
    Inventory::sortByActivity(report.projects);
    if (unnamed > 0) {
        report.note = fmt::format("{} workspace {} no project folder and {} not decoded", unnamed,
                                  unnamed == 1 ? "entry names" : "entries name", unnamed == 1 ? "was" : "were");
    } else if (report.projects.empty()) {
        report.note = "no workspace store found";
    }
    return report;
}

}  // namespace larkmoor::CursorInventory
