#include "LarkmoorKit/Models/LocalModelsUndo.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <system_error>

#include "LarkmoorBase/BlockingWork.h"
#include "LarkmoorBase/Files.h"
#include "LarkmoorBase/JSON/Encoder.h"
#include "LarkmoorKit/Supervision/LoginItems.h"
#include "LarkmoorPlatform/HTTPClient.h"
#include "LarkmoorPlatform/LaunchAgents.h"
#include "LarkmoorWire/Identity/ClientInstance.h"

namespace larkmoor::LocalModelsUndo {

namespace {

LARKMOOR_RECORD(DeleteBody, (std::string, name))

bool wasThere(std::string_view name, const Receipts& receipts) {
    return receipts.ollama && std::ranges::find(receipts.ollama->models, name) != receipts.ollama->models.end();
}

std::string fileName(const std::string& path) { return std::filesystem::path{path}.filename().string(); }

double secondsSince1970(const std::optional<std::chrono::system_clock::time_point>& time) {
    return time ? std::chrono::duration<double>(time->time_since_epoch()).count() : 0;
}

// The steps' effects.

Task<void> deleteModel(std::string name, Seams seams) {
    constexpr std::chrono::seconds timeout{10};
    const auto body = Encoder::encode(DeleteBody{name});
    const auto answer = co_await seams.http.send({.method = "DELETE",
                                                  .url = seams.host + "/api/delete",
                                                  .body = body ? std::string{asText(*body)} : "{}",
                                                  .timeout = timeout});
    seams.log(fmt::format("cancel-install: delete model {} → {}", name,
                          answer ? fmt::to_string(answer->head.status) : "no host answered"));
}

Task<void> bootout(std::string plist, std::string label, Seams seams) {
    const auto status = co_await seams.launchctl.bootout(LoginItems::guiServiceTarget(::getuid(), label));
    if (!status) co_return;
    co_await seams.removePlist(plist, label);
    seams.log(fmt::format("cancel-install: bootout {} exit {}, plist removed", label, *status));
}

Task<void> remove(std::string path, Seams seams) {
    const auto failure = co_await BlockingWork::run([path] {
        std::error_code error;
        if (std::filesystem::remove_all(path, error) == 0 && !error)
            error = std::make_error_code(std::errc::no_such_file_or_directory);
        return error;
    });
    seams.log(failure ? fmt::format("cancel-install: {} not removed ({})", path, failure.message())
                      : fmt::format("cancel-install: removed {}", path));
}

}  // namespace

bool weInstalled(std::string_view name, const Receipts& receipts) {
    return receipts.pulledModel == name && !wasThere(name, receipts);
}

bool isPartialBlobAfterStart(std::string_view name, double modified, std::optional<double> since) {
    return since && name.starts_with("sha256-") && name.contains("-partial") && modified >= *since;
}

std::vector<std::string> partialBlobs(const Receipts& receipts) {
    if (!receipts.ollama || !receipts.pullBeganAt) return {};
    const std::string blobs = receipts.ollama->folder + "/blobs";
    std::vector<std::string> paths;
    for (const std::string& name : Files::names(blobs).value_or(std::vector<std::string>{})) {
        const std::string path = fmt::format("{}/{}", blobs, name);
        if (isPartialBlobAfterStart(name, secondsSince1970(Files::modified(path)), receipts.pullBeganAt)) {
            paths.push_back(path);
        }
    }
    return paths;
}

std::vector<Step> plan(const Receipts& receipts, const std::vector<std::string>& blobsAfterStart) {
    std::vector<Step> steps;
    if (receipts.pulledModel && weInstalled(*receipts.pulledModel, receipts)) {
        steps.emplace_back(Step::DeleteModel{*receipts.pulledModel});
    }
    if (receipts.agentPlist) {
        steps.emplace_back(Step::BootoutAgent{*receipts.agentPlist, std::string{ClientInstance::ollamaAgentLabel}});
    }
    if (receipts.ollama) {
        for (const std::string& blob : blobsAfterStart) steps.emplace_back(Step::RemoveFile{blob});
    }
    for (const auto& folder : {receipts.runtimeDir, receipts.asrCacheDir, receipts.senkoDir}) {
        if (folder) steps.emplace_back(Step::RemoveDirectory{*folder});
    }
    if (receipts.ollama && !receipts.ollama->folderExisted) {
        steps.emplace_back(Step::RemoveModelFolder{receipts.ollama->folder});
    }
    return steps;
}

std::vector<Step> planNow(const Receipts& receipts) { return plan(receipts, partialBlobs(receipts)); }

std::vector<std::string> describe(const std::vector<Step>& steps) {
    std::vector<std::string> lines;
    for (const Step& step : steps) {
        lines.push_back(step.visit(
            [](const Step::DeleteModel& model) {
                return fmt::format("will ask Ollama to remove the naming model Larkmoor downloaded ({})", model.name);
            },
            [](const Step::BootoutAgent& agent) {
                return fmt::format("the model host Larkmoor started ({})", agent.label);
            },
            [](const Step::RemoveDirectory& folder) { return folder.path; },
            [](const Step::RemoveFile& file) {
                return fmt::format("a partly downloaded model file ({})", fileName(file.path));
            },
            [](const Step::RemoveModelFolder& folder) {
                return fmt::format("the model folder Larkmoor created ({})", folder.path);
            }));
    }
    return lines;
}

std::vector<std::string> keeps(const Receipts& receipts) {
    if (!receipts.ollama) return {};
    const auto& [folder, folderExisted, models, takenAt] = *receipts.ollama;
    if (models.size() > 1) return {fmt::format("your {} existing Ollama models stay", models.size())};
    if (models.size() == 1) return {fmt::format("your existing Ollama model stays ({})", models.front())};
    if (folderExisted) return {"your Ollama folder stays; it was here before Larkmoor"};
    return {};
}

std::vector<std::string> caveats(const Receipts& receipts) {
    if (receipts.ollama || !receipts.pulledModel || receipts.agentPlist) return {};
    return {"partly downloaded model files in your Ollama folder may remain"};
}

bool leavesNothingBehind(const std::optional<Receipts>& receipts) { return receipts && receipts->ollama; }

Task<void> perform(std::vector<Step> steps, Seams seams) {
    for (const Step& step : steps) {
        co_await step.visit([&](const Step::DeleteModel& model) { return deleteModel(model.name, seams); },
                            [&](const Step::BootoutAgent& agent) { return bootout(agent.plist, agent.label, seams); },
                            [&](const Step::RemoveDirectory& folder) { return remove(folder.path, seams); },
                            [&](const Step::RemoveFile& file) { return remove(file.path, seams); },
                            [&](const Step::RemoveModelFolder& folder) { return remove(folder.path, seams); });
    }
}

}  // namespace larkmoor::LocalModelsUndo
