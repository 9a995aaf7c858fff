#include "Entry.h"

#include <fmt/format.h>

#include "LarkmoorBase/RawText.h"
#include "LarkmoorBase/Text.h"

namespace larkmoor::connect {

namespace {

using TimePoint = std::chrono::system_clock::time_point;
using Members = std::vector<JSONLiteral::Member>;

std::string timeText(TimePoint time) { return time == TimePoint::min() ? "never" : iso8601(time); }

std::string countText(std::size_t count, std::string_view noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

JSONLiteral list(const std::vector<std::string>& texts) { return JSONLiteral::array({texts.begin(), texts.end()}); }

JSONLiteral list(const std::vector<Observation>& observations) {
    std::vector<JSONLiteral> all;
    all.reserve(observations.size());
    for (const auto& [subject, text] : observations) {
        all.push_back(JSONLiteral::object({{"subject", subject}, {"text", text}}));
    }
    return JSONLiteral::array(std::move(all));
}

JSONLiteral fileObject(const ConnectorMemoryFile& file) {
    Members members{{"path", file.path}};
    if (file.bytes) members.push_back({"bytes", *file.bytes});
    if (file.modified) members.push_back({"modified", timeText(*file.modified)});
    return JSONLiteral::object(std::move(members));
}

std::string fileText(const ConnectorMemoryFile& file) {
    return fmt::format("{}{}", file.bytes ? countText(static_cast<std::size_t>(*file.bytes), "byte") : "unknown size",
                       file.modified ? ", changed " + timeText(*file.modified) : "");
}

}  // namespace

Entry Entry::of(const ScanReport& report) {
    const std::string state{rawText(report.state)};
    return {.id = report.identity.id,
            .summary = state,
            .observations = report.observations,
            .fields = {{"state", state},
                       {"detail", report.identity.detail},
                       {"observations", list(report.observations)},
                       {"backups", list(std::vector<std::string>{})}}};
}

Entry Entry::of(std::string id, const ConnectorOutcome& outcome) {
    const std::string result{rawText(outcome.result)};
    return {.id = std::move(id),
            .summary = result,
            .observations = outcome.observations,
            .refused = outcome.result == ConnectorOutcome::Result::refused,
            .fields = {
                {"result", result}, {"observations", list(outcome.observations)}, {"backups", list(outcome.backups)}}};
}

Entry Entry::of(std::string id, const ProjectReport& report) {
    Entry entry{.id = std::move(id), .summary = countText(report.projects.size(), "project")};
    std::vector<JSONLiteral> projects;
    for (const ConnectorProject& project : report.projects) {
        Members members{{"path", project.path}, {"lastActivity", timeText(project.lastActivity)}};
        entry.observations.push_back({project.path, "last activity " + timeText(project.lastActivity)});
        if (project.memory) {
            members.push_back({"memory", fileObject(*project.memory)});
            entry.observations.push_back(
                {project.path, "memory " + project.memory->path + ", " + fileText(*project.memory)});
        }
        projects.push_back(JSONLiteral::object(std::move(members)));
    }
    if (report.source) entry.fields.push_back({"source", *report.source});
    entry.fields.push_back({"projects", JSONLiteral::array(std::move(projects))});
    if (report.note) {
        entry.fields.push_back({"note", *report.note});
        entry.observations.push_back({report.source.value_or(entry.id), *report.note});
    }
    return entry;
}

Entry Entry::of(std::string id, const MemoryFileReport& report) {
    Entry entry{.id = std::move(id), .summary = countText(report.files.size(), "memory file")};
    std::vector<JSONLiteral> files;
    for (const ConnectorMemoryFile& file : report.files) {
        files.push_back(fileObject(file));
        entry.observations.push_back({file.path, fileText(file)});
    }
    entry.fields.push_back({"files", JSONLiteral::array(std::move(files))});
    return entry;
}

Entry Entry::staleness(std::string id, bool isStale) {
    return {.id = std::move(id), .summary = isStale ? "stale" : "not stale", .fields = {{"stale", isStale}}};
}

std::string plainText(const std::vector<Entry>& entries) {
    std::string text;
    for (const Entry& entry : entries) {
        text += fmt::format("{}: {}\n", entry.id, entry.summary);
        std::string_view current;
        for (const auto& [subject, words] : entry.observations) {
            if (subject != current) text += fmt::format("  {}\n", subject);
            current = subject;
            text += fmt::format("    {}\n", words);
        }
    }
    return text;
}

std::string json(const std::vector<Entry>& entries) {
    std::vector<JSONLiteral> objects;
    for (const Entry& entry : entries) {
        Members members{{"id", entry.id}};
        members.insert(members.end(), entry.fields.begin(), entry.fields.end());
        objects.push_back(JSONLiteral::object(std::move(members)));
    }
    return JSONLiteral::array(std::move(objects)).render("", "  ", {.spread = true}) + "\n";
}

}  // namespace larkmoor::connect
