// The verbs on the file of the setup's progress.
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Command.h"
#include "JSONText.h"
#include "LarkmoorKit/Models/LocalModelsMenuLine.h"
#include "LarkmoorKit/Models/LocalModelsUndo.h"
#include "LarkmoorLocalModels/Pipeline/UndoPlan.h"
#include "LarkmoorWire/Models/ModelsFolder.h"

namespace larkmoor::models {

namespace {

std::string json(std::string_view kind, const std::string& subject) {
    return fmt::format(R"({{"{}":{}}})", kind, jsonText(subject));
}

std::string json(const LocalModelsUndo::Step& step) {
    using Step = LocalModelsUndo::Step;
    return step.visit([](const Step::DeleteModel& model) { return json("deleteModel", model.name); },
                      [](const Step::BootoutAgent& agent) { return json("bootoutAgent", agent.plist); },
                      [](const Step::RemoveDirectory& folder) { return json("removeDirectory", folder.path); },
                      [](const Step::RemoveFile& file) { return json("removeFile", file.path); },
                      [](const Step::RemoveModelFolder& folder) { return json("removeModelFolder", folder.path); });
}

}  // namespace

Outcome undo(const Arguments& arguments) {
    if (arguments.plan.empty()) return {.status = Outcome::wrongUsage, .errors = "undo wants --plan FILE"};
    const auto progress = LocalModelsProgress::read(arguments.plan);
    if (!progress) return {.status = Outcome::failed, .errors = arguments.plan + " is no progress file"};
    const auto steps = UndoPlan::of(*progress, ModelsFolder::defaultSupport());
    std::vector<std::string> lines = LocalModelsUndo::describe(steps);
    if (!arguments.json) {
        for (std::string& line : lines) line += '\n';
        return {.output = fmt::format("{}", fmt::join(lines, ""))};
    }
    lines.clear();
    for (const auto& step : steps) lines.push_back(json(step));
    return {.output = fmt::format("[{}]\n", fmt::join(lines, ","))};
}

Outcome line(const Arguments& arguments) {
    const auto line = LocalModelsMenuLine::line(LocalModelsProgress::read(arguments.words[0]));
    if (!line) return {.output = arguments.json ? "null\n" : ""};
    const auto* fill = std::get_if<RowProgresses::Fill>(&line->bar);
    if (!arguments.json) {
        constexpr int percent = 100;
        return {.output =
                    line->title + (fill ? fmt::format(" {}%", static_cast<int>(fill->value * percent)) : "") + "\n"};
    }
    return {.output = fmt::format("{{\"title\":{},\"fraction\":{}}}\n", jsonText(line->title),
                                  jsonText(fill ? std::optional{fill->value} : std::nullopt))};
}

}  // namespace larkmoor::models
