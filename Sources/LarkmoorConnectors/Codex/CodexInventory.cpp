#include "LarkmoorConnectors/Codex/CodexInventory.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <map>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/FileDescriptor.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorConnectors/ConfigFile/JSONText.h"

namespace larkmoor::CodexInventory {

namespace {

namespace fs = std::filesystem;

/// The first line without its line feed, if that is among the first 256 KiB.
std::optional<Bytes> firstLine(const std::string& of) {
    constexpr std::size_t longest = 262144, step = 16384;
    const FileDescriptor file{::open(of.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
    Bytes line;
    while (file && line.size() < longest) {
        const std::size_t held = line.size();
        line.resize(std::min(held + step, longest));
        const ssize_t count = ::read(file.get(), line.data() + held, line.size() - held);
        if (count == 0 || (count < 0 && errno != EINTR)) break;
        line.resize(held + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        const auto end = std::find(line.begin() + static_cast<std::ptrdiff_t>(held), line.end(), std::byte{'\n'});
        if (end == line.end()) continue;
        line.erase(end, line.end());
        return line;
    }
    return std::nullopt;
}

/// Calls `visit` with the path of each session's file. False if the store cannot be listed. Links are not followed, so
/// that none leads in a circle.
template <class Visit>
bool eachSession(const std::string& store, Visit visit) {
    std::error_code failed;
    fs::recursive_directory_iterator at{store, fs::directory_options::skip_permission_denied, failed};
    if (failed || ::access(store.c_str(), R_OK | X_OK) != 0) return false;
    for (const fs::recursive_directory_iterator end; !failed && at != end; at.increment(failed)) {
        std::error_code unknown;
        if (at->path().extension() == ".jsonl" && at->symlink_status(unknown).type() == fs::file_type::regular) {
            visit(at->path().string());
        }
    }
    return true;
}

}  // namespace

std::optional<std::string> sessionCwd(const std::string& of) {
    const auto line = firstLine(of);
    if (!line) return std::nullopt;
    const auto scan = JSONText::scanWithTrivia(*line, JSONDialect::strict);
    if (!scan) return std::nullopt;
    const JSONNode* type = scan->root.node({"type"});
    const JSONNode* cwd = scan->root.node({"payload", "cwd"});
    const auto folder = cwd == nullptr ? std::nullopt : cwd->text();
    if (type == nullptr || type->text() != "session_meta" || !folder) return std::nullopt;
    return std::string{*folder};
}

ProjectReport projects(const CodexPaths& paths) {
    ProjectReport report{.source = paths.sessionsDirectory(), .projects = {}, .note = {}};
    std::map<std::string, std::chrono::system_clock::time_point> newest;
    std::size_t without = 0;
    const bool isStore = eachSession(paths.sessionsDirectory(), [&](const std::string& session) {
        auto folder = sessionCwd(session);
        if (!folder) {
            ++without;
            return;
        }
        const auto modified = Files::modified(session).value_or(Inventory::distantPast);
        auto& known = newest.try_emplace(std::move(*folder), modified).first->second;
        known = std::max(known, modified);
    });
    for (const auto& [folder, modified] : newest) report.projects.push_back({folder, modified, std::nullopt});
    Inventory::sortByActivity(report.projects);
    if (!isStore) report.note = "no session store found";
    if (without == 1) report.note = "1 session file records no project cwd";
    if (without > 1) report.note = fmt::format("{} session files record no project cwd", without);
    return report;
}

MemoryFileReport memoryFiles(const CodexPaths& paths) {
    MemoryFileReport report;
    for (const std::string& path : {paths.configAgentsFile(), paths.homeAgentsFile}) {
        if (auto file = ConnectorMemoryFile::stat(path)) report.files.push_back(std::move(*file));
    }
    return report;
}

}  // namespace larkmoor::CodexInventory
